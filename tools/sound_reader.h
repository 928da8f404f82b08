// sound_reader.h - what a sound file holds, without starting the engine.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "outcome.h"
#include "sample_reader.h"
#include "stored_sound.h"

namespace tools {

class SoundFile_t {
  public:
    // Checks the header, that all it promises is there, and that a name with the extension of a sound class
    // is that of the right one.
    outcome_t Open(const std::filesystem::path& path);

    const stored_sound_t& Stored() const { return stored; }

    // From the first sample on; one at a time, for as long as the file is open.
    SampleReader_t Samples();

  private:
    struct closer_t {
        void operator()(FILE* open) const { std::fclose(open); }
    };

    std::string shownName;
    std::unique_ptr<FILE, closer_t> file;
    stored_sound_t stored;
    long dataStart = 0;
};

}  // namespace tools
