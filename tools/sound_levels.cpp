// sound_levels.cpp - sums of a block are exact in 64 bits; what is lost between blocks no decibel shows.
#include "sound_levels.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tools {

outcome_t MeasureLevels(SampleReader_t& reader, double fullScale, sound_levels_t& levels) {
    int32_t peak = 0;
    double squares = 0.0, samples = 0.0;
    std::vector<int16_t> block;
    do {
        if (outcome_t read = reader.Next(block); !read) return read;
        int64_t blockSquares = 0;
        for (const int32_t sample : block) {
            peak = std::max(peak, std::abs(sample));
            blockSquares += int64_t{sample} * sample;
        }
        squares += static_cast<double>(blockSquares);
        samples += static_cast<double>(block.size());
    } while (!block.empty());
    levels = {peak / fullScale, samples > 0 ? std::sqrt(squares / samples) / fullScale : 0.0};
    return Success();
}

double Decibels(double level) { return 20.0 * std::log10(level); }

outcome_t MeasureSignalToNoise(SampleReader_t& original, int32_t originalScale, SampleReader_t& other,
                               double& decibels) {
    double signal = 0.0, noise = 0.0;
    std::vector<int16_t> blocks[2];
    size_t at[2] = {0, 0};
    for (;;) {
        for (const int side : {0, 1}) {
            if (at[side] < blocks[side].size()) continue;
            if (outcome_t read = (side == 0 ? original : other).Next(blocks[side]); !read) return read;
            at[side] = 0;
        }
        const size_t count = std::min(blocks[0].size() - at[0], blocks[1].size() - at[1]);
        if (count == 0) break;
        int64_t blockSignal = 0, blockNoise = 0;
        for (size_t i = 0; i < count; ++i) {
            const int64_t wanted = int64_t{blocks[0][at[0]++]} * originalScale;
            const int64_t error = blocks[1][at[1]++] - wanted;
            blockSignal += wanted * wanted;
            blockNoise += error * error;
        }
        signal += static_cast<double>(blockSignal);
        noise += static_cast<double>(blockNoise);
    }
    decibels = noise > 0.0 ? 10.0 * std::log10(signal / noise) : std::numeric_limits<double>::infinity();
    return Success();
}

}  // namespace tools
