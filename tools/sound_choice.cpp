// sound_choice.cpp - see the header.
#include "tools/sound_choice.h"

#include "tools/sound_classes.h"

namespace tools {

namespace {

constexpr size_t mostNamesTold = 8;

std::string NamesOf(const ArchiveFile_t& archive) {
    std::string names;
    const std::vector<archive_sound_t>& sounds = archive.Sounds();
    for (size_t i = 0; i < std::min(sounds.size(), mostNamesTold); ++i)
        names += (i == 0 ? "" : ", ") + sounds[i].Name();
    return sounds.size() > mostNamesTold ? names + ", ..." : names;
}

}  // namespace

outcome_t SoundChoice_t::Open(const std::string& path, const std::string* name) {
    if (!IsEngineFile(path) && ArchiveFile_t::IsArchive(path)) return OpenArchive(path, name);
    if (outcome_t opened = file.Open(path); !opened) return opened;
    stored = file.Stored();
    samples.emplace(file.Samples());
    if (name == nullptr || *name == stored.header.name) return Success();
    return Failure(path, "Its sound is called " + stored.header.name);
}

outcome_t SoundChoice_t::OpenArchive(const std::string& path, const std::string* name) {
    if (outcome_t read = archive.Read(path); !read) return read;
    const archive_sound_t* sound = nullptr;
    if (name != nullptr) {
        sound = archive.Find(*name);
        if (sound == nullptr) return Failure(path, "Has no sound " + *name + "; it has " + NamesOf(archive));
    } else if (archive.Sounds().size() == 1) {
        sound = &archive.Sounds().front();
    } else {
        return Failure(path, "Holds " + std::to_string(archive.Sounds().size()) +
                                 " sounds: pick one with --name (" + NamesOf(archive) + ")");
    }
    outcome_t opened = OpenSamples(path, *sound, file, samples);
    stored = sound->stored;
    return opened;
}

}  // namespace tools
