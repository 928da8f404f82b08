// host_sound.cpp - sounds by handle. Loads run without the lock: they touch no voice, so a pump ticks on.
#include "api/host_access.h"
#include "api/load_problem.h"
#include "streaming/base_stream.h"
#include "voices/sliding_voice.h"

namespace ringmix {

using host::Ask;
using host::Refuse;
using host::With;
using host::WithEngine;

namespace {

constexpr int32_t changesSoon = 0, farAhead = 2;

// Runs a load without the lock; `sound` is the handle of what it came to.
template <typename Load, typename Explain>
result_t LoadUnlocked(SoundHandle_t& sound, Load load, Explain explain) {
    sound = {};
    if (!AudioSystem::initialized) return Refuse(problem_t::notRunning, "the engine does not run");
    try {
        host::ReserveSoundHandle();  // before the load: nobody could name what has no handle
        const AudioSystem::load_outcome_t outcome = load();
        if (outcome.sound) sound = host::HandleOf(*outcome.sound);
        return outcome.step == AudioSystem::load_step_t::loaded ? result_t{} : explain(outcome);
    } catch (const std::bad_alloc&) {
        return Refuse(problem_t::outOfMemory, "out of memory");
    }
}

result_t CheckOptions(const voice_options_t& options) {
    if (!host::IsVolume(options.leftVolume)) return host::RefuseVolume(options.leftVolume);
    if (!host::IsFrequency(options.frequency)) return host::RefuseFrequency(options.frequency);
    return {};
}

// Locks of the sound win over the options.
result_t MakeWatchedVoice(Sound_t& sound, const voice_options_t& options, Voice_t*& voice) {
    if (result_t isFine = CheckOptions(options); !isFine) return isFine;
    const int32_t mixMode = options.isMixedFarAhead ? farAhead : changesSoon;
    if (!options.isSliding) {
        voice = sound.CreateCompatibleVoice(mixMode);
    } else if (host::KindOf(sound) == sound_kind_t::simple) {
        voice = new SlidingVoice_t(&sound, mixMode);
    } else {
        return Refuse(problem_t::incompatible, "\"%s\" cannot slide: it is no simple sound", sound.name.text);
    }
    if (!voice)
        return Refuse(problem_t::incompatible, "\"%s\" is a raw stream, which has its own voice",
                      sound.name.text);
    voice->isLooping = options.isLooping;
    voice->SetVolume(options.leftVolume, options.rightVolume);
    voice->SetFrequency(options.frequency);
    try {
        host::Watch(*voice, options.wantsLoopNews);
    } catch (const std::bad_alloc&) {
        delete voice;
        throw;
    }
    return {};
}

}  // namespace

result_t SoundHandle_t::Load(const char* path, const char* archiveName, SoundHandle_t& sound) {
    if (!path) return Refuse(problem_t::badArgument, "a path is needed");
    return LoadUnlocked(
        sound, [&] { return AudioSystem::TryLoadSound(path, archiveName); },
        [&](const auto& outcome) { return host::ExplainFile(outcome, path); });
}

result_t SoundHandle_t::LoadFromMemory(const char* name, const void* image, uint32_t imageBytes,
                                       SoundHandle_t& sound) {
    if (!name || !image) return Refuse(problem_t::badArgument, "a name and an image are needed");
    return LoadUnlocked(
        sound, [&] { return AudioSystem::TryLoadSoundFromBuffer(name, image, imageBytes); },
        [&](const auto& outcome) { return host::ExplainImage(outcome, name, image, imageBytes); });
}

result_t SoundHandle_t::Find(const char* soundName, const char* archiveName, SoundHandle_t& sound) {
    sound = {};
    if (!soundName) return Refuse(problem_t::badArgument, "a name is needed");
    return WithEngine([&] {
        Sound_t* found = AudioSystem::GetSound(soundName, archiveName);
        if (!found || SameText(found->name.text, defaultSoundName))
            return Refuse(problem_t::notFound, "the archive \"%s\" holds no sound named \"%s\"",
                          archiveName ? archiveName : AudioSystem::defaultArchiveName.text, soundName);
        sound = host::HandleOf(*found);
        return result_t{};
    });
}

bool SoundHandle_t::IsAlive() const {
    return Ask(*this, false, [](Sound_t&) { return true; });
}

const char* SoundHandle_t::GetName() const {
    return Ask(*this, "", [](Sound_t& sound) -> const char* { return sound.name.text; });
}

const char* SoundHandle_t::GetArchiveName() const {
    return Ask(*this, "", [](Sound_t& sound) -> const char* { return sound.archiveName.text; });
}

sound_info_t SoundHandle_t::GetInfo() const {
    return Ask(*this, sound_info_t{}, [](Sound_t& sound) {
        sound_info_t info;
        info.kind = host::KindOf(sound);
        info.frames = sound.frameCount;
        info.rateHz = 44100 / sound.rateDivisor;
        info.channels = sound.isStereo ? 2 : 1;
        info.bits = sound.is16Bit ? 16 : 8;
        info.baseVolume = sound.baseVolume;
        info.isVolumeLocked = (sound.lockFlags & lockVolume) != 0;
        info.isPanLocked = (sound.lockFlags & lockPan) != 0;
        info.isFrequencyLocked = (sound.lockFlags & lockFrequency) != 0;
        return info;
    });
}

result_t SoundHandle_t::MakeVoice(VoiceHandle_t& handle, const voice_options_t& options) const {
    handle = {};
    return With(*this, [&](Sound_t& sound) {
        Voice_t* voice = nullptr;
        result_t isMade = MakeWatchedVoice(sound, options, voice);
        if (isMade) handle = host::HandleOf(*voice);
        return isMade;
    });
}

result_t SoundHandle_t::PlayOnce(VoiceHandle_t& handle, const voice_options_t& options) const {
    handle = {};
    return With(*this, [&](Sound_t& sound) {
        if (options.isLooping)
            return Refuse(problem_t::badArgument, "what plays once cannot loop: make a voice");
        if (sound.frameCount == 0)
            return Refuse(problem_t::nothingToPlay, "\"%s\" has no frames", sound.name.text);
        Voice_t* voice = nullptr;
        result_t isMade = MakeWatchedVoice(sound, options, voice);
        if (!isMade) return isMade;
        const VoiceHandle_t playing = host::HandleOf(*voice);
        voice->deleteWhenDone = true;
        voice->Play();
        handle = playing;
        return isMade;
    });
}

result_t SoundHandle_t::ReadRequested() const {
    return With(*this, [](Sound_t& sound) {
        AudioSystem::LoadDataSupply(&sound);
        return result_t{};
    });
}

result_t SoundHandle_t::Free() const {
    return With(*this, [](Sound_t& sound) {
        const String_t name(sound.name), archive(sound.archiveName);  // the sound's own go with it
        AudioSystem::FreeVoicesUsingSound(name.text, archive.text);
        AudioSystem::FreeSound(name.text, archive.text);
        return result_t{};
    });
}

}  // namespace ringmix
