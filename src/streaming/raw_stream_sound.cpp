#include "streaming/raw_stream_sound.h"

#include <cstring>
#include <new>

#include "core/settings.h"
#include "platform/pages.h"
#include "sounds/typed_sound.h"
#include "streaming/raw_stream_voice.h"

namespace {

constexpr char sortName[] = "RawStreamSound";
constexpr int32_t voiceMixMode = 0;

uint64_t PageBytes() { return platform::SystemPageBytes(); }

}  // namespace

RawStreamSound_t::RawStreamSound_t(const char* newName, uint32_t channels, uint32_t bitsPerSample,
                                   uint32_t sampleRate, uint32_t capacityFrames, const char* archive)
    : RawStreamSound_t() {  // so that what throws below is followed by the destructor
    if (sampleRate < 1 || sampleRate > 44100) return;
    is16Bit = bitsPerSample == 16;
    isStereo = channels == 2;
    bytesPerFrame = (is16Bit ? 2 : 1) * (isStereo ? 2 : 1);
    if (uint64_t{capacityFrames} * bytesPerFrame > UINT32_MAX) return;  // bytesFed counts them
    rateDivisor = 44100 / sampleRate;
    frameCount = capacityFrames;
    samples = platform::ReservePages(RangeBytes());
    if (!samples) {
        frameCount = 0;
        return;
    }
    name = newName;
    if (AudioSystem::EnterSound(this, archive)) return;
    platform::ReleasePages(samples, RangeBytes());
    samples = nullptr;
    frameCount = 0;
    name = defaultSoundName;
}

RawStreamSound_t::~RawStreamSound_t() {
    DestroyVoice();
    platform::ReleasePages(samples, RangeBytes());
    samples = nullptr;
}

uint64_t RawStreamSound_t::RangeBytes() const {
    return (uint64_t{frameCount} * bytesPerFrame / PageBytes() + 1) * PageBytes();
}

bool RawStreamSound_t::IsASortOf(const char* className) const {
    return SameText(className, sortName) || Sound_t::IsASortOf(className);
}

void RawStreamSound_t::FeedData(const void* data, uint32_t bytes) {
    if (bytes == 0 || uint64_t{bytesFed} + bytes > uint64_t{frameCount} * bytesPerFrame) return;
    if (Store(data, bytes) && wantPlaying && voice) Resume(bytesFed / bytesPerFrame);
    ReleasePlayed();
}

bool RawStreamSound_t::Store(const void* data, uint32_t bytes) {
    const uint64_t neededPages = (uint64_t{bytesFed} + bytes - 1) / PageBytes() + 1;
    if (neededPages > committedPages) {
        const uint64_t first = committedPages * PageBytes();
        if (!platform::CommitPages(samples + first, neededPages * PageBytes() - first)) return false;
        committedPages = static_cast<uint32_t>(neededPages);
    }
    // A 16-bit sample may come in two pieces: its high byte, wherever it comes, is the one that is turned.
    uint8_t* to = samples + bytesFed;
    std::memcpy(to, data, bytes);
    const uint32_t firstHigh = is16Bit ? (bytesFed % 2 == 0 ? 1 : 0) : 0;
    for (uint32_t i = firstHigh; i < bytes; i += is16Bit ? 2 : 1) to[i] ^= 0x80;
    bytesFed += bytes;
    return true;
}

// Lets the voice play up to stopFrame. One that has stopped goes on from where it stands, fraction included:
// frames that a slow voice has begun are not begun again. Play does nothing for one that still plays.
void RawStreamSound_t::Resume(uint32_t stopFrame) {
    voice->stopPosition = stopFrame;
    voice->Play();
}

// The page that holds the play position stays.
void RawStreamSound_t::ReleasePlayed() {
    const uint64_t playedBytes = voice ? (uint64_t{voice->queueBase} + voice->position) * bytesPerFrame : 0;
    const auto played = static_cast<uint32_t>(playedBytes / PageBytes());
    if (played <= releasedPages) return;
    platform::DecommitPages(samples + releasedPages * PageBytes(), (played - releasedPages) * PageBytes());
    releasedPages = played;
}

// Plays up to, not including, the last frame that has been fed: the next piece, if one comes, goes on with
// it.
void RawStreamSound_t::PlayOneShot() {
    wantPlaying = true;
    const uint32_t lastFrame = bytesFed == 0 ? 0 : (bytesFed - 1) / bytesPerFrame;
    if (voice) {
        if (voice->isPlaying || lastFrame <= voice->queueBase + voice->position) return;
    } else {
        if (frameCount == 0) return;
        voice = new (std::nothrow) RawStreamVoice_t(this, voiceMixMode);
        if (!voice) return;
        voice->SetVolume(leftVolume, rightVolume);
        voice->SetFrequency(frequency);
        voice->position = resumePosition;  // SetPos would take the very end for the beginning
        if (lastFrame <= resumePosition) return;
    }
    Resume(lastFrame);
}

void RawStreamSound_t::StopStream() {
    wantPlaying = false;
    if (!voice) return;
    voice->Stop();
    resumePosition = voice->queueBase + voice->position;
}

void RawStreamSound_t::DestroyVoice() { delete voice; }

void RawStreamSound_t::SetStreamVolume(float left, float right) {
    leftVolume = left;
    rightVolume = right;
    if (voice) voice->SetVolume(left, right);
}

void RawStreamSound_t::SetStreamFrequency(float ratio) {
    frequency = ratio;
    if (voice) voice->SetFrequency(ratio);
}

Sound_t* RawStreamSound_t::GetDefaultSound() { return DefaultOf<RawStreamSound_t>(sortName); }

Sound_t* RawStreamSound_t::GetTypedSound(const char* soundName, const char* archiveName) {
    return TypedSound(soundName, archiveName, sortName, GetDefaultSound);
}
