// engine_rates.h - the sample rates whose voices play on the engine's full path, in Hz.
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>

namespace tools {

constexpr uint32_t outputRateHz = 44100;
constexpr std::array<uint32_t, 3> engineRatesHz = {44100, 22050, 11025};  // highest first: it wins a tie

constexpr bool IsEngineRate(uint64_t rateHz) {
    for (const uint32_t rate : engineRatesHz) {
        if (rate == rateHz) return true;
    }
    return false;
}

constexpr uint32_t NearestEngineRate(uint64_t rateHz) {
    const auto distance = [rateHz](uint32_t rate) { return rate > rateHz ? rate - rateHz : rateHz - rate; };
    uint32_t nearest = engineRatesHz[0];
    for (const uint32_t rate : engineRatesHz) {
        if (distance(rate) < distance(nearest)) nearest = rate;
    }
    return nearest;
}

}  // namespace tools
