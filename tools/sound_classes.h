// sound_classes.h - the kinds of sound that the engine keeps in files. The extension of a sound file's name
// picks its class; it is also the tag of the sound's record in an archive.
#pragma once

#include <filesystem>
#include <string_view>

namespace tools {

struct sound_class_t {
    const char* tag;
    const char* className;
    bool isAdpcm;   // the file holds IMA ADPCM blocks, not samples
    bool isStream;  // stays in its file: the record in an archive is the file's path
};

// Null if no class has that tag.
const sound_class_t* FindSoundClass(std::string_view tag);

// By the extension of the name.
const sound_class_t* SoundClassOf(const std::filesystem::path& path);

// Whether the engine itself loads this file.
inline bool IsEngineFile(const std::filesystem::path& path) { return SoundClassOf(path) != nullptr; }

}  // namespace tools
