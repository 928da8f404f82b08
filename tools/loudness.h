// loudness.h - how loud a signal is to people: EBU R 128, as libebur128 measures it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "tools/outcome.h"

namespace tools {

// LUFS and dB; -infinity for silence.
struct loudness_t {
    double integratedLufs = 0.0;
    double rangeLu = 0.0;
    double truePeakDb = 0.0;  // of the signal between the samples
    double loudestMomentaryLufs = 0.0;
    // Over the 0.4 seconds that end at each tenth of a second; none for the first three.
    std::vector<float> momentaryLufs;
};

constexpr double momentarySeconds = 0.1;  // from one to the next

class LoudnessMeter_t {
  public:
    // One or two channels are left and right; what more there are, in the order of wave files.
    LoudnessMeter_t(uint32_t channels, uint32_t rateHz);
    ~LoudnessMeter_t();
    LoudnessMeter_t(const LoudnessMeter_t&) = delete;
    LoudnessMeter_t& operator=(const LoudnessMeter_t&) = delete;

    // False in a program that was built without libebur128; it then measures nothing.
    static bool IsThere();

    void Add(const double* interleaved, size_t frames);
    std::optional<loudness_t> Finish();  // empty: it cannot measure

  private:
    struct state_t;
    std::unique_ptr<state_t> state;
};

}  // namespace tools
