#include "streaming/stream_voice.h"

#include <algorithm>

#include "core/settings.h"
#include "foundation/raised_flag.h"
#include "streaming/queue_walk.h"

namespace {

StreamSound_t* StreamOf(const ListNode_t* node) { return static_cast<StreamSound_t*>(node->data); }

uint64_t SampleBytes(const StreamSound_t& sound) { return uint64_t{sound.frameCount} * sound.bytesPerFrame; }

}  // namespace

StreamVoice_t::StreamVoice_t(StreamSound_t* sound, int32_t mode) : Voice_t(sound, mode), streamSound(sound) {
    mixFlags = prepareExact;
    GrowLookAhead(*sound);
    holds.KeepRoom(soundQueue.count);
    (void)HoldUpTo(0);
}

StreamVoice_t::~StreamVoice_t() {
    Stop();
    holds.DropAll();
}

// A look-ahead that a short queue cuts grows with it.
void StreamVoice_t::GrowLookAhead(const StreamSound_t& sound) {
    const uint64_t grown = lookAheadBytes + SampleBytes(sound), limit = AudioSystem::streamLookAheadBytes;
    lookAheadBytes = static_cast<uint32_t>(std::min(grown, limit));
    lookAheadFrames = lookAheadBytes / bytesPerFrame;
}

// Holds what lies from the position up to frame `end` of the current sound, which the coming pass reads, and
// the look-ahead behind it.
bool StreamVoice_t::HoldUpTo(uint64_t end) {
    const uint64_t frameBytes = bytesPerFrame, soundBytes = SampleBytes(*streamSound);
    const uint64_t wantedEnd = end * frameBytes + lookAheadBytes;
    holds.Want(streamSound->pages,
               streamSound->pages.SpanOf(position * frameBytes, std::min(wantedEnd, soundBytes)));
    uint64_t rest = wantedEnd > soundBytes ? wantedEnd - soundBytes : 0;
    for (QueueWalk_t walk(*this); rest > 0 && walk.node; walk.Next()) {
        StreamSound_t& sound = *StreamOf(walk.node);
        const uint64_t bytes = std::min(rest, SampleBytes(sound));
        holds.Want(sound.pages, sound.pages.SpanOf(0, bytes));
        rest -= bytes;
    }
    windowStart = position;
    return holds.Update();
}

bool StreamVoice_t::PrepareFrame(uint32_t frames) {
    const uint32_t end = PassEnd(frames);
    if (!HoldUpTo(end)) return false;
    if (PageWatch_t* watch = streamSound->pages.watch) watch->OnUse(position, end);
    return true;
}

void StreamVoice_t::SetSound(Sound_t* sound, uint32_t newBase) {
    streamSound = static_cast<StreamSound_t*>(sound);
    Voice_t::SetSound(sound, newBase);
    lookAheadFrames = lookAheadBytes / bytesPerFrame;
    if (!isMoving) (void)HoldUpTo(0);
}

void StreamVoice_t::SetPos(uint32_t target) {
    if (totalLength == 0) return;
    isMoving = true;
    Voice_t::SetPos(target);
    isMoving = false;
    (void)HoldUpTo(position);
}

bool StreamVoice_t::IsCompatibleSound(Sound_t* sound) { return sound->IsASortOf("StreamSound"); }

void StreamVoice_t::QueueSound(Sound_t* sound) {
    const uint32_t lengthBefore = totalLength;
    holds.KeepRoom(soundQueue.count + 1);  // first: it may find no memory
    {
        const RaisedFlag_t moving(isMoving);
        Voice_t::QueueSound(sound);
    }
    if (totalLength == lengthBefore) return;  // refused
    GrowLookAhead(*static_cast<StreamSound_t*>(sound));
    (void)HoldUpTo(position);
}

void StreamVoice_t::ReleaseSound() {
    Sound_t* silence = StreamSound_t::GetDefaultSound();
    QueueAlone(silence);
    lookAheadBytes = 0;
    isMoving = true;
    SetSound(silence, 0);
    isMoving = false;
    totalLength = 0;
    (void)HoldUpTo(0);
}
