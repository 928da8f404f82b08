// audio_source.h - the samples of any file that libsndfile opens, block by block.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "outcome.h"

namespace tools {

class AudioSource_t {
  public:
    // Only regular files: some formats need seeking.
    outcome_t Open(const std::filesystem::path& path);

    uint32_t Channels() const { return static_cast<uint32_t>(info.channels); }
    uint32_t RateHz() const { return static_cast<uint32_t>(info.samplerate); }
    // What the file claims; how much comes may differ.
    uint64_t ClaimedFrames() const { return info.frames > 0 ? static_cast<uint64_t>(info.frames) : 0; }
    uint32_t Format() const { return static_cast<uint32_t>(info.format); }  // SF_FORMAT_...
    // Whether the samples are plain integers of 16 bits.
    bool Is16Bit() const;
    // SF_CHANNEL_MAP_... for each channel; empty if the file does not say.
    std::vector<int> ChannelMap() const;

    // The next block, interleaved, full scale 1.0: integer samples of up to 32 bits come exactly. Empty at
    // the end. No sample is infinite or not a number: those become full scale and silence, and are counted.
    outcome_t ReadBlock(std::vector<double>& block);

    uint64_t RepairedSamples() const { return repairedSamples; }

  private:
    struct closer_t {
        void operator()(SNDFILE* open) const { sf_close(open); }
    };

    std::string shownName;
    SF_INFO info{};
    std::unique_ptr<SNDFILE, closer_t> file;
    uint64_t repairedSamples = 0;
};

}  // namespace tools
