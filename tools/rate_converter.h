// rate_converter.h - resampling of a stream of blocks, by libsamplerate's best sinc converter.
#pragma once

#include <samplerate.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "outcome.h"

namespace tools {

class RateConverter_t {
  public:
    // Equal rates: blocks come through exactly. Otherwise in single precision.
    outcome_t Open(const std::string& shownName, uint32_t channels, uint32_t fromHz, uint32_t toHz);

    // Interleaved frames in, what is ready of the output appended. isLast: what is still held back comes
    // too, and the whole then has round(frames in x toHz / fromHz) frames.
    outcome_t Convert(const std::vector<double>& in, bool isLast, std::vector<double>& out);

  private:
    struct closer_t {
        void operator()(SRC_STATE* open) const { src_delete(open); }
    };

    uint64_t FullLength() const;
    void Append(const float* frames, uint64_t count, bool isLast, std::vector<double>& out);
    void PadToLength(std::vector<double>& out);

    std::string name;
    uint32_t channels = 1;
    double ratio = 1.0;
    uint64_t framesIn = 0, framesOut = 0;
    std::unique_ptr<SRC_STATE, closer_t> state;  // null: equal rates
};

}  // namespace tools
