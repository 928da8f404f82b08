// level_meter.cpp - reads the ring where the host alone changes it: behind the output.
#include "tools/level_meter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>

#include "core/mix_ring.h"
#include "tools/sound_levels.h"

namespace tools {

namespace {

constexpr uint32_t mostFrames = 8192;  // the history
constexpr int barLength = 10, decibelsPerMark = 4;

// Both frames of an entry.
int32_t PeakOf(double entry) {
    const auto bits = std::bit_cast<uint64_t>(entry + 0x1p63);
    const auto low = static_cast<int32_t>(bits & 0xFFFFFF) - 0x80000;
    const auto high = static_cast<int32_t>(bits >> 32 & 0xFFFFF) - 0x80000;
    return std::max(std::abs(low), std::abs(high));
}

}  // namespace

level_pair_t MeasureSent(uint32_t frames) { return MeasureRing(AudioSystem::ringBase, frames); }

level_pair_t MeasureRing(uint32_t endUnit, uint32_t frames) {
    using namespace AudioSystem;
    if (ringLength == 0) return {};
    frames = std::min(frames, mostFrames) & ~1u;
    const uint32_t entries = ringLength / 2;
    const uint32_t first = (endUnit / 2 + entries - frames) % entries & ~1u;
    int32_t left = 0, right = 0;
    for (uint32_t i = 0; i < frames; i += 2) {
        const uint32_t entry = (first + i) % entries;
        left = std::max(left, PeakOf(ringEntries[entry]));
        right = std::max(right, PeakOf(ringEntries[entry + 1]));
    }
    return {left / 32768.0, right / 32768.0};
}

std::string LevelBar(double level) {
    const double marks = level > 0 ? barLength + Decibels(level) / decibelsPerMark : 0;
    const int full = std::clamp(static_cast<int>(std::ceil(marks)), 0, barLength);
    return std::string(static_cast<size_t>(full), '#') +
           std::string(static_cast<size_t>(barLength - full), '.');
}

}  // namespace tools
