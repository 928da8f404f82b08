// A wrapper without a sound (the default constructor's, or any while the engine is down) answers harmlessly.
#include <ringmix/sound_wrapper.h>
#include <ringmix/voice_wrapper.h>

#include "api/no_memory.h"
#include "sounds/sound.h"
#include "streaming/base_stream.h"

SoundWrapper_t::SoundWrapper_t() : sound(nullptr) {}
SoundWrapper_t::SoundWrapper_t(const SoundWrapper_t&) = default;
SoundWrapper_t::~SoundWrapper_t() = default;
SoundWrapper_t& SoundWrapper_t::operator=(const SoundWrapper_t&) = default;

void SoundWrapper_t::SetSoundPointer(Sound_t* newSound) { sound = newSound; }

bool SoundWrapper_t::IsDefault() { return !sound || SameText(sound->name.text, defaultSoundName); }

bool SoundWrapper_t::IsASortOf(const char* className) {
    return sound && className && sound->IsASortOf(className);
}

VoiceWrapper_t* SoundWrapper_t::CreateCompatibleVoice(int mixMode) {
    auto* wrapper = new (std::nothrow) VoiceWrapper_t;
    api::IfMemoryAllows([&] {
        if (wrapper && sound) wrapper->SetVoicePointer(sound->CreateCompatibleVoice(mixMode));
    });
    return wrapper;
}

void SoundWrapper_t::LoadDataSupply() { AudioSystem::LoadDataSupply(sound); }

void SoundWrapper_t::LoadSound(const char* path, const char* archiveName) {
    api::IfMemoryAllows([&] { AudioSystem::LoadSound(path, archiveName); });
}

void SoundWrapper_t::LoadSoundFromBuffer(const char* name, void* image, unsigned int imageBytes) {
    api::IfMemoryAllows([&] { AudioSystem::LoadSoundFromBuffer(name, image, imageBytes); });
}

SoundWrapper_t* SoundWrapper_t::GetSound(const char* soundName, const char* archiveName) {
    auto* wrapper = new (std::nothrow) SoundWrapper_t;
    api::IfMemoryAllows([&] {
        if (wrapper) wrapper->SetSoundPointer(AudioSystem::GetSound(soundName, archiveName));
    });
    return wrapper;
}

void SoundWrapper_t::FreeSound(const char* soundName, const char* archiveName) {
    AudioSystem::FreeSound(soundName, archiveName);
}

void SoundWrapper_t::FreeArchive(const char* archiveName) { AudioSystem::FreeArchive(archiveName); }
void SoundWrapper_t::FreeAll() { Sound_t::FreeAll(); }
