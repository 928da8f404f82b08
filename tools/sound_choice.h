// sound_choice.h - the one sound of the engine that a file and a name mean, opened for reading.
#pragma once

#include <optional>
#include <string>

#include "tools/archive_file.h"
#include "tools/sound_reader.h"

namespace tools {

// What it opens lives as long as it does.
class SoundChoice_t {
  public:
    // `name` picks a sound of an archive; null: the only one.
    outcome_t Open(const std::string& path, const std::string* name);

    // Both from a successful Open on. `stored.header.name` is the sound's name.
    stored_sound_t stored;
    std::optional<SampleReader_t> samples;

  private:
    outcome_t OpenArchive(const std::string& path, const std::string* name);

    ArchiveFile_t archive;
    SoundFile_t file;
};

}  // namespace tools
