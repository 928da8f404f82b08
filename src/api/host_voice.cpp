// host_voice.cpp - voices by handle: what the engine would drop without a word is refused with a reason.
#include "api/host_access.h"
#include "sounds/sound.h"
#include "voices/sliding_voice.h"

namespace ringmix {

using host::Ask;
using host::Refuse;
using host::With;

namespace {

bool IsRaw(Voice_t& voice) { return host::KindOf(voice) == voice_kind_t::rawStream; }

result_t RefuseRaw() {
    return Refuse(problem_t::incompatible,
                  "the voice of a raw stream plays what the stream is fed, in order");
}

template <typename Operation>
result_t WithSliding(VoiceHandle_t handle, Operation slide) {
    return With(handle, [&](Voice_t& voice) {
        auto* sliding = dynamic_cast<SlidingVoice_t*>(&voice);
        if (!sliding) return Refuse(problem_t::incompatible, "the voice was not made to slide");
        return slide(*sliding);
    });
}

}  // namespace

bool VoiceHandle_t::IsAlive() const {
    return Ask(*this, false, [](Voice_t&) { return true; });
}

bool VoiceHandle_t::IsPlaying() const {
    return Ask(*this, false, [](Voice_t& voice) { return voice.isPlaying; });
}

uint32_t VoiceHandle_t::GetPosition() const {
    return Ask(*this, 0u, [](Voice_t& voice) { return voice.queueBase + voice.position; });
}

uint32_t VoiceHandle_t::GetLength() const {
    return Ask(*this, 0u, [](Voice_t& voice) { return voice.totalLength; });
}

bool VoiceHandle_t::CanPlay(SoundHandle_t sound) const {
    return Ask(*this, false, [&](Voice_t& voice) {
        Sound_t* other = host::Find(sound);
        return other && voice.IsCompatibleSound(other);
    });
}

result_t VoiceHandle_t::Play() const {
    return With(*this, [](Voice_t& voice) {
        voice.Play();
        if (voice.totalLength == 0) return Refuse(problem_t::nothingToPlay, "the voice has nothing to play");
        return result_t{};
    });
}

result_t VoiceHandle_t::Stop() const {
    return With(*this, [](Voice_t& voice) {
        voice.Stop();
        return result_t{};
    });
}

result_t VoiceHandle_t::Reset() const {
    return With(*this, [](Voice_t& voice) {
        voice.Stop();
        if (IsRaw(voice)) return RefuseRaw();
        voice.SetPos(0);
        return result_t{};
    });
}

result_t VoiceHandle_t::SetPosition(uint32_t frame) const {
    return With(*this, [&](Voice_t& voice) {
        if (IsRaw(voice)) return RefuseRaw();
        voice.SetPos(frame);
        return result_t{};
    });
}

result_t VoiceHandle_t::SetLooping(bool isLooping) const {
    return With(*this, [&](Voice_t& voice) {
        if (IsRaw(voice)) return RefuseRaw();
        voice.isLooping = isLooping;
        return result_t{};
    });
}

result_t VoiceHandle_t::SetVolume(float left, float right) const {
    return With(*this, [&](Voice_t& voice) {
        if (!host::IsVolume(left)) return host::RefuseVolume(left);
        if (voice.lockFlags & lockVolume)
            return Refuse(problem_t::incompatible, "the sound's volume is locked");
        voice.SetVolume(left, right);
        return result_t{};
    });
}

result_t VoiceHandle_t::SetFrequency(float ratio) const {
    return With(*this, [&](Voice_t& voice) {
        if (!host::IsFrequency(ratio)) return host::RefuseFrequency(ratio);
        if (voice.lockFlags & lockFrequency)
            return Refuse(problem_t::incompatible, "the sound's frequency is locked");
        voice.SetFrequency(ratio);
        return result_t{};
    });
}

result_t VoiceHandle_t::Queue(SoundHandle_t handle) const {
    return With(*this, [&](Voice_t& voice) {
        return With(handle, [&](Sound_t& sound) {
            if (!voice.IsCompatibleSound(&sound))
                return Refuse(problem_t::incompatible, "the voice cannot play \"%s\": another kind of sound",
                              sound.name.text);
            if (sound.frameCount == 0)
                return Refuse(problem_t::nothingToPlay, "\"%s\" has no frames", sound.name.text);
            const uint32_t lengthBefore = voice.totalLength;
            voice.QueueSound(&sound);
            if (voice.totalLength == lengthBefore)
                return Refuse(problem_t::full, "the queue would pass 4294967295 frames");
            return result_t{};
        });
    });
}

result_t VoiceHandle_t::Release() const {
    return With(*this, [](Voice_t& voice) {
        if (IsRaw(voice)) return RefuseRaw();
        voice.Stop();
        voice.ReleaseSound();
        return result_t{};
    });
}

result_t VoiceHandle_t::SlideFrequency(uint32_t fromFrame, uint32_t toFrame, float ratioAtFrom,
                                       float ratioAtTo) const {
    return WithSliding(*this, [&](SlidingVoice_t& voice) {
        for (const float ratio : {ratioAtFrom, ratioAtTo}) {
            if (!(ratio >= 0.2f && ratio <= 10.0f))
                return Refuse(problem_t::badArgument, "a slide to a frequency of %g is not from 0.2 to 10.0",
                              static_cast<double>(ratio));
        }
        voice.SetFrequencySlide(fromFrame, toFrame, ratioAtFrom, ratioAtTo);
        return result_t{};
    });
}

result_t VoiceHandle_t::SlideVolume(uint32_t fromFrame, uint32_t toFrame, float leftAtFrom, float leftAtTo,
                                    float rightAtFrom, float rightAtTo) const {
    return WithSliding(*this, [&](SlidingVoice_t& voice) {
        for (const float left : {leftAtFrom, leftAtTo}) {
            if (!host::IsVolume(left)) return host::RefuseVolume(left);
        }
        voice.SetVolumeSlide(fromFrame, toFrame, leftAtFrom, leftAtTo, rightAtFrom, rightAtTo);
        return result_t{};
    });
}

result_t VoiceHandle_t::ClearSlides() const {
    return WithSliding(*this, [](SlidingVoice_t& voice) {
        voice.ClearFrequencySlide();
        voice.ClearVolumeSlide();
        return result_t{};
    });
}

result_t VoiceHandle_t::Free() const {
    return With(*this, [](Voice_t& voice) {
        delete &voice;
        return result_t{};
    });
}

}  // namespace ringmix
