// scene_sounds.cpp - events know a sound by the scene's name, the engine by the name inside its file.
// Imported files get internal names that no other sound of the scene has, so that two of them never meet in
// an archive.
#include "tools/scene_sounds.h"

#include <unistd.h>

#include <utility>

#include "sounds/sound.h"
#include "tools/archive_file.h"
#include "tools/sound_classes.h"
#include "tools/sound_import.h"
#include "tools/sound_reader.h"

namespace tools {

namespace {

// Null for what the engine does not hold: loads are silent.
Sound_t* FindLoaded(const std::string& name, const std::string& archive) {
    Sound_t* sound = AudioSystem::GetSound(name.c_str(), archive.c_str());
    return std::string_view(sound->name.text) == defaultSoundName ? nullptr : sound;
}

const char* ExtensionOf(store_t store) {
    switch (store) {
        case store_t::pcm:
            return ".sn";
        case store_t::adpcm:
            return ".isn";
        case store_t::stream:
            return ".ssn";
        case store_t::adpcmStream:
            return ".iss";
    }
    return nullptr;
}

}  // namespace

SceneSounds_t::~SceneSounds_t() {
    std::error_code ignored;
    if (!folder.empty()) std::filesystem::remove_all(folder, ignored);
}

std::string SceneSounds_t::ArchiveOf(const setting_t<std::string>& name) {
    return name ? name->value : AudioSystem::defaultArchiveName.text;
}

outcome_t SceneSounds_t::AddName(const std::string& name, uint32_t line) {
    return names.insert(name).second ? Success() : Failure(scene.At(line), "there is another sound " + name);
}

// What the engine would leave out of a load without a word is an error here.
outcome_t SceneSounds_t::AddArchive(const scene_archive_t& archive) {
    archive_entry_t entry{
        &archive, scene.path.parent_path() / archive.file->value, ArchiveOf(archive.name), {}};
    for (const archive_entry_t& other : archives) {
        if (other.name != entry.name) continue;
        return Failure(scene.At(archive.line), "archive " + entry.name + " is loaded already");
    }
    ArchiveFile_t contents;
    if (outcome_t read = contents.Read(entry.path); !read) return read;
    for (const archive_sound_t& sound : contents.Sounds()) {
        if (!sound.fileTrouble) return sound.fileTrouble;
        if (outcome_t added = AddName(sound.Name(), archive.line); !added) return added;
        entry.soundNames.push_back(sound.Name());
    }
    archives.push_back(std::move(entry));
    return Success();
}

// Trouble with a file, and where the scene asks for it.
outcome_t SceneSounds_t::InScene(const scene_sound_t& sound, const outcome_t& trouble) const {
    return Failure(scene.At(sound.file->line), trouble.subject + ": " + trouble.reason);
}

outcome_t SceneSounds_t::AddEntry(const scene_sound_t& sound) {
    entry_t entry{&sound, scene.path.parent_path() / sound.file->value, {}, {}, false};
    entry.isImported = !IsEngineFile(entry.path);
    if (!entry.isImported) {
        if (sound.store) {
            return Failure(scene.At(sound.store->line),
                           sound.file->value +
                               " is a sound file of the engine already: store is "
                               "for files that are imported");
        }
        SoundFile_t file;
        if (outcome_t opened = file.Open(entry.path); !opened) return InScene(sound, opened);
        entry.internalName = file.Stored().header.name;
    }
    entry.name = entry.isImported ? entry.path.stem().string() : entry.internalName;
    if (sound.name) entry.name = sound.name->value;
    if (outcome_t added = AddName(entry.name, sound.name ? sound.name->line : sound.line); !added)
        return added;
    entries.push_back(entry);
    return Success();
}

// Two files with one internal name in one archive: the engine would keep the first and drop the other without
// a word.
outcome_t SceneSounds_t::CheckInternalNames() {
    std::map<std::pair<std::string, std::string>, const std::filesystem::path*> owners;
    for (const archive_entry_t& archive : archives) {
        for (const std::string& name : archive.soundNames) owners[{archive.name, name}] = &archive.path;
    }
    for (const entry_t& entry : entries) {
        if (entry.isImported) continue;
        const std::string archive = ArchiveOf(entry.source->archive);
        const auto [owner, isNew] = owners.emplace(std::pair(archive, entry.internalName), &entry.path);
        std::error_code error;
        if (isNew || std::filesystem::equivalent(*owner->second, entry.path, error)) continue;
        return Failure(scene.At(entry.source->line), "archive " + archive + " already has a sound " +
                                                         entry.internalName + ", from " +
                                                         owner->second->string());
    }
    return Success();
}

outcome_t SceneSounds_t::Resolve() {
    for (const scene_archive_t& archive : scene.archives) {
        if (outcome_t added = AddArchive(archive); !added) return added;
    }
    for (const scene_sound_t& sound : scene.sounds) {
        if (outcome_t added = AddEntry(sound); !added) return added;
    }
    return CheckInternalNames();
}

outcome_t SceneSounds_t::MakeFolder() {
    if (!folder.empty()) return Success();
    std::error_code error;
    std::string pattern = (std::filesystem::temp_directory_path(error) / "ringmix-XXXXXX").string();
    if (error) return Failure("temporary folder", error.message());
    if (mkdtemp(pattern.data()) == nullptr) return SystemFailure(pattern);
    folder = pattern;
    return Success();
}

outcome_t SceneSounds_t::Import() {
    std::set<std::string> taken;
    for (const archive_entry_t& archive : archives) {
        taken.insert(archive.soundNames.begin(), archive.soundNames.end());
    }
    for (const entry_t& entry : entries) taken.insert(entry.internalName);
    for (size_t i = 0; i < entries.size(); ++i) {
        entry_t& entry = entries[i];
        if (!entry.isImported) continue;
        if (outcome_t made = MakeFolder(); !made) return made;
        import_options_t options;
        options.name = "imported-" + std::to_string(i);
        while (taken.contains(*options.name)) *options.name += '+';
        entry.internalName = *options.name;
        const store_t store = entry.source->store ? entry.source->store->value : store_t::pcm;
        const std::filesystem::path source =
            std::exchange(entry.path, folder / (std::to_string(i) + ExtensionOf(store)));
        import_report_t report;
        if (outcome_t imported = ImportSound(source, entry.path, options, report); !imported)
            return InScene(*entry.source, imported);
    }
    return Success();
}

outcome_t SceneSounds_t::LoadArchive(const archive_entry_t& archive) {
    AudioSystem::LoadArchive(archive.path.c_str(), archive.name.c_str());
    for (const std::string& name : archive.soundNames) {
        Sound_t* sound = FindLoaded(name, archive.name);
        if (sound == nullptr)
            return Failure(archive.path.string(), "The engine does not load its sound " + name);
        loaded[name] = sound;
    }
    return Success();
}

outcome_t SceneSounds_t::Load() {
    for (const archive_entry_t& archive : archives) {
        if (outcome_t isLoaded = LoadArchive(archive); !isLoaded) return isLoaded;
    }
    for (const entry_t& entry : entries) {
        const std::string archive = ArchiveOf(entry.source->archive);
        AudioSystem::LoadSound(entry.path.c_str(), archive.c_str());
        Sound_t* sound = FindLoaded(entry.internalName, archive);
        if (sound == nullptr) return Failure(entry.path.string(), "The engine cannot load this sound file");
        loaded[entry.name] = sound;
    }
    return Success();
}

}  // namespace tools
