// sample_reader.h - the samples of a stored sound, block by block, whatever form they are stored in.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "outcome.h"
#include "stored_sound.h"

namespace tools {

class SampleReader_t {
  public:
    // Memory follows from the size of the sound's blocks: its bytes must be known to exist.
    SampleReader_t(std::string shownName, const stored_sound_t& sound, byte_reader_t reader);

    // The next samples, interleaved, -32768 to 32767 or, of an 8-bit sound, -128 to 127. Empty at the end.
    // Fails where the bytes end early, and at a block that would stop a voice.
    outcome_t Next(std::vector<int16_t>& samples);

  private:
    outcome_t ReadSamples(std::vector<int16_t>& samples);
    outcome_t DecodeBlocks(std::vector<int16_t>& samples);
    bool Fill(size_t count);

    std::string name;
    stored_sound_t stored;
    byte_reader_t readBytes;
    std::vector<uint8_t> bytes;
    uint64_t framesRead = 0;
    uint64_t blocksRead = 0;
};

}  // namespace tools
