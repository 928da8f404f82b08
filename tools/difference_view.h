// difference_view.h - gathers, while two runs of samples are compared, what a picture of their difference
// shows.
#pragma once

#include <cstdint>
#include <optional>

#include "tools/pictures.h"

namespace tools {

class DifferenceView_t {
  public:
    // Of the longer one.
    explicit DifferenceView_t(uint64_t frames);

    // The next sample of both, left and right by turns, as 16-bit numbers; empty behind the end of one of
    // them.
    void Add(std::optional<int> heard, std::optional<int> wanted);

    const difference_t& Difference() const { return difference; }

  private:
    difference_t difference;
    bool hasDiffered = false;
    uint64_t samples = 0;
    uint32_t samplesAfter = 0;  // taken since the first difference
};

}  // namespace tools
