// loudness.cpp - libebur128 behind LoudnessMeter_t. Histograms: memory does not grow with the signal.
#include "tools/loudness.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace tools {

namespace {

constexpr double silence = -std::numeric_limits<double>::infinity();
constexpr uint32_t momentaryBlocks = 4;  // of a tenth of a second

}  // namespace

struct LoudnessMeter_t::state_t {
    ebur128_state* meter = nullptr;
    size_t channels = 0, blockFrames = 0, blockFilled = 0;
    bool isGood = false;
    loudness_t result;

    void EndBlock() {
        blockFilled = 0;
        double momentary = silence;
        ebur128_loudness_momentary(meter, &momentary);
        result.momentaryLufs.push_back(static_cast<float>(momentary));
        if (result.momentaryLufs.size() >= momentaryBlocks)
            result.loudestMomentaryLufs = std::max(result.loudestMomentaryLufs, momentary);
    }
};

LoudnessMeter_t::LoudnessMeter_t(uint32_t channels, uint32_t rateHz) : state(std::make_unique<state_t>()) {
    state->channels = channels;
    state->blockFrames = std::max(1u, rateHz / 10);
    state->result.loudestMomentaryLufs = silence;
    state->meter =
        ebur128_init(channels, rateHz,
                     EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_TRUE_PEAK | EBUR128_MODE_HISTOGRAM);
    state->isGood = state->meter != nullptr;
}

LoudnessMeter_t::~LoudnessMeter_t() {
    if (state->meter) ebur128_destroy(&state->meter);
}

bool LoudnessMeter_t::IsThere() { return true; }

void LoudnessMeter_t::Add(const double* interleaved, size_t frames) {
    while (state->isGood && frames > 0) {
        const size_t count = std::min(frames, state->blockFrames - state->blockFilled);
        state->isGood = ebur128_add_frames_double(state->meter, interleaved, count) == EBUR128_SUCCESS;
        interleaved += count * state->channels;
        frames -= count;
        if ((state->blockFilled += count) == state->blockFrames) state->EndBlock();
    }
}

std::optional<loudness_t> LoudnessMeter_t::Finish() {
    if (!state->isGood) return std::nullopt;
    loudness_t& result = state->result;
    ebur128_loudness_global(state->meter, &result.integratedLufs);
    ebur128_loudness_range(state->meter, &result.rangeLu);
    double peak = 0.0;
    for (unsigned channel = 0; channel < state->channels; ++channel) {
        double channelPeak = 0.0;
        ebur128_true_peak(state->meter, channel, &channelPeak);
        peak = std::max(peak, channelPeak);
    }
    result.truePeakDb = 20.0 * std::log10(peak);
    for (size_t i = 0; i < std::min<size_t>(momentaryBlocks - 1, result.momentaryLufs.size()); ++i)
        result.momentaryLufs[i] = static_cast<float>(silence);
    return result;
}

}  // namespace tools
