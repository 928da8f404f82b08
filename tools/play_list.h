// play_list.h - the sounds that `play` plays, in order: files of any kind, and what archives hold.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/outcome.h"

class Sound_t;

namespace tools {

struct play_entry_t {
    std::string title;  // for people
    Sound_t* sound = nullptr;
};

class PlayList_t {
  public:
    PlayList_t() = default;
    PlayList_t(const PlayList_t&) = delete;
    PlayList_t& operator=(const PlayList_t&) = delete;
    ~PlayList_t();  // removes what was imported

    // Reads the headers, and imports what is no file of the engine into a temporary folder.
    outcome_t Prepare(const std::vector<std::string>& files);

    // Loads all into the running engine, each file as an archive of its own: names may repeat.
    outcome_t Load();
    const std::vector<play_entry_t>& Entries() const { return entries; }

  private:
    struct file_t {
        std::string title;
        std::filesystem::path path;  // what the engine loads
        bool isArchive;
        std::vector<std::string> names;  // of its sounds
    };

    outcome_t PrepareFile(const std::string& file);
    outcome_t Import(const std::string& file, file_t& prepared);

    std::vector<file_t> files;
    std::vector<play_entry_t> entries;
    std::filesystem::path folder;
};

}  // namespace tools
