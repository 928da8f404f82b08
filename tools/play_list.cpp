// play_list.cpp - see the header.
#include "tools/play_list.h"

#include <unistd.h>

#include "sounds/sound.h"
#include "tools/archive_file.h"
#include "tools/sound_classes.h"
#include "tools/sound_import.h"
#include "tools/sound_reader.h"

namespace tools {

PlayList_t::~PlayList_t() {
    std::error_code ignored;
    if (!folder.empty()) std::filesystem::remove_all(folder, ignored);
}

outcome_t PlayList_t::Prepare(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (outcome_t prepared = PrepareFile(name); !prepared) return prepared;
    }
    return Success();
}

outcome_t PlayList_t::PrepareFile(const std::string& file) {
    file_t prepared{file, file, false, {}};
    if (IsEngineFile(file)) {
        SoundFile_t sound;
        if (outcome_t opened = sound.Open(file); !opened) return opened;
        prepared.names.push_back(sound.Stored().header.name);
    } else if (ArchiveFile_t::IsArchive(file)) {
        ArchiveFile_t archive;
        if (outcome_t read = archive.Read(file); !read) return read;
        prepared.isArchive = true;
        for (const archive_sound_t& sound : archive.Sounds()) {
            if (!sound.fileTrouble) return sound.fileTrouble;
            prepared.names.push_back(sound.Name());
        }
    } else if (outcome_t imported = Import(file, prepared); !imported) {
        return imported;
    }
    files.push_back(std::move(prepared));
    return Success();
}

outcome_t PlayList_t::Import(const std::string& file, file_t& prepared) {
    if (folder.empty()) {
        std::error_code error;
        std::string pattern = (std::filesystem::temp_directory_path(error) / "ringmix-XXXXXX").string();
        if (error) return Failure("temporary folder", error.message());
        if (mkdtemp(pattern.data()) == nullptr) return SystemFailure(pattern);
        folder = pattern;
    }
    import_options_t options;
    options.name = "imported";
    prepared.names.push_back(*options.name);
    prepared.path = folder / (std::to_string(files.size()) + ".sn");
    import_report_t report;
    return ImportSound(file, prepared.path, options, report);
}

outcome_t PlayList_t::Load() {
    for (size_t i = 0; i < files.size(); ++i) {
        const file_t& file = files[i];
        const std::string archive = "play-" + std::to_string(i);
        if (file.isArchive) {
            AudioSystem::LoadArchive(file.path.c_str(), archive.c_str());
        } else {
            AudioSystem::LoadSound(file.path.c_str(), archive.c_str());
        }
        for (const std::string& name : file.names) {
            Sound_t* sound = AudioSystem::GetSound(name.c_str(), archive.c_str());
            if (std::string_view(sound->name.text) == defaultSoundName)
                return Failure(file.title, "The engine cannot load this file");
            entries.push_back({file.isArchive ? file.title + ": " + name : file.title, sound});
        }
    }
    return Success();
}

}  // namespace tools
