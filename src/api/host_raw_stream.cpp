// host_raw_stream.cpp - sounds that the host feeds.
#include "api/host_access.h"
#include "streaming/raw_stream_voice.h"

namespace ringmix {

using host::Ask;
using host::Refuse;
using host::With;
using host::WithEngine;

namespace {

result_t CheckOptions(const raw_stream_options_t& options) {
    const char* name = options.name;
    if (!name || name[0] == '\0' || SameText(name, defaultSoundName))
        return Refuse(problem_t::badArgument, "a name is needed");
    if (options.channels != 1 && options.channels != 2)
        return Refuse(problem_t::badArgument, "\"%s\": %u channels are neither 1 nor 2", name,
                      options.channels);
    if (options.bits != 8 && options.bits != 16)
        return Refuse(problem_t::badArgument, "\"%s\": %u bits are neither 8 nor 16", name, options.bits);
    if (options.rateHz < 1 || options.rateHz > 44100)
        return Refuse(problem_t::badArgument, "\"%s\": a rate of %u Hz is not from 1 to 44100", name,
                      options.rateHz);
    const uint64_t bytes = uint64_t{options.capacityFrames} * options.channels * (options.bits / 8);
    if (bytes == 0 || bytes > UINT32_MAX)
        return Refuse(problem_t::badArgument, "\"%s\": a capacity of %u frames is 0, or 4 GiB or more", name,
                      options.capacityFrames);
    return {};
}

uint32_t PlayedFrames(const RawStreamSound_t& sound) {
    return sound.voice ? sound.voice->queueBase + sound.voice->position : sound.resumePosition;
}

}  // namespace

result_t RawStreamHandle_t::Make(const raw_stream_options_t& options, RawStreamHandle_t& stream) {
    stream = {};
    if (result_t isFine = CheckOptions(options); !isFine) return isFine;
    return WithEngine([&] {
        host::ReserveSoundHandle();  // before the stream: nobody could name what has no handle
        auto* sound = new RawStreamSound_t(options.name, options.channels, options.bits, options.rateHz,
                                           options.capacityFrames, options.archiveName);
        if (!SameText(sound->name.text, options.name)) {
            delete sound;
            const Sound_t* other = AudioSystem::GetSound(options.name, options.archiveName);
            return other && SameText(other->name.text, options.name)
                       ? Refuse(problem_t::nameTaken, "the archive holds another sound named \"%s\"",
                                options.name)
                       : Refuse(problem_t::outOfMemory, "\"%s\": no addresses for %u frames", options.name,
                                options.capacityFrames);
        }
        stream.id = host::HandleOf(static_cast<Sound_t&>(*sound)).id;
        return result_t{};
    });
}

bool RawStreamHandle_t::IsAlive() const {
    return Ask(*this, false, [](RawStreamSound_t&) { return true; });
}

result_t RawStreamHandle_t::Feed(const void* samples, uint32_t frames) const {
    return With(*this, [&](RawStreamSound_t& sound) {
        if (!samples && frames > 0) return Refuse(problem_t::badArgument, "samples are needed");
        const uint32_t fedBefore = sound.bytesFed;
        const uint32_t room = sound.frameCount - fedBefore / sound.bytesPerFrame;
        if (frames > room)
            return Refuse(problem_t::full, "\"%s\" has room for %u frames more, not for %u", sound.name.text,
                          room, frames);
        sound.FeedData(samples, frames * sound.bytesPerFrame);
        if (frames > 0 && sound.bytesFed == fedBefore)
            return Refuse(problem_t::outOfMemory, "\"%s\": no memory for %u frames", sound.name.text, frames);
        return result_t{};
    });
}

result_t RawStreamHandle_t::Play() const {
    return With(*this, [](RawStreamSound_t& sound) {
        sound.PlayOneShot();
        if (sound.voice) host::Watch(*sound.voice, false);
        return result_t{};
    });
}

result_t RawStreamHandle_t::Stop() const {
    return With(*this, [](RawStreamSound_t& sound) {
        sound.StopStream();
        return result_t{};
    });
}

result_t RawStreamHandle_t::SetVolume(float left, float right) const {
    return With(*this, [&](RawStreamSound_t& sound) {
        if (!host::IsVolume(left)) return host::RefuseVolume(left);
        sound.SetStreamVolume(left, right);
        return result_t{};
    });
}

result_t RawStreamHandle_t::SetFrequency(float ratio) const {
    return With(*this, [&](RawStreamSound_t& sound) {
        if (!host::IsFrequency(ratio)) return host::RefuseFrequency(ratio);
        sound.SetStreamFrequency(ratio);
        return result_t{};
    });
}

bool RawStreamHandle_t::IsPlaying() const {
    return Ask(*this, false, [](RawStreamSound_t& sound) { return sound.voice && sound.voice->isPlaying; });
}

raw_stream_statistics_t RawStreamHandle_t::GetStatistics() const {
    return Ask(*this, raw_stream_statistics_t{}, [](RawStreamSound_t& sound) {
        const uint64_t pages = sound.committedPages - sound.releasedPages;
        return raw_stream_statistics_t{sound.bytesFed / sound.bytesPerFrame, PlayedFrames(sound),
                                       sound.frameCount, pages * AudioSystem::systemPageSize};
    });
}

VoiceHandle_t RawStreamHandle_t::GetVoice() const {
    return Ask(*this, VoiceHandle_t{}, [](RawStreamSound_t& sound) {
        return VoiceHandle_t{sound.voice ? sound.voice->anchor.Id() : 0};
    });
}

result_t RawStreamHandle_t::Free() const { return SoundHandle_t{id}.Free(); }

}  // namespace ringmix
