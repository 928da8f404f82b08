// typed_sound.h - what every sound class offers in the same way: its default sound, and look-up by name and
// class.
#pragma once

#include "sounds/sound.h"

// The default sound of a class, made on first demand.
template <typename Default>
Sound_t* DefaultOf(const char* sortName) {
    if (Sound_t* sound = AudioSystem::FindDefaultSound(sortName)) return sound;
    return AudioSystem::SetDefaultSound(sortName, std::make_unique<Default>());
}

// The sound of that name, or the class's default sound if there is none or it is of another class.
inline Sound_t* TypedSound(const char* soundName, const char* archiveName, const char* sortName,
                           Sound_t* (*getDefault)()) {
    Sound_t* sound = AudioSystem::GetSound(soundName, archiveName);
    const bool isDefault = SameText(sound->name.text, defaultSoundName);
    return isDefault || !sound->IsASortOf(sortName) ? getDefault() : sound;
}
