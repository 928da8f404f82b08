// sample_writer.cpp - see the header.
#include "sample_writer.h"

#include <cmath>

namespace tools {

int32_t SampleWriter_t::Quantise(double sample) {
    const double scale = wide ? 32768.0 : 128.0;
    const double rounded = std::nearbyint(sample * scale);
    if (rounded >= -scale && rounded <= scale - 1) return static_cast<int32_t>(rounded);
    ++clippedSamples;
    if (std::isnan(rounded)) return 0;
    return static_cast<int32_t>(rounded > 0 ? scale - 1 : -scale);
}

bool SampleWriter_t::Write(const std::vector<double>& samples) {
    bytes.clear();
    for (const double sample : samples) {
        const int32_t value = Quantise(sample);
        bytes.push_back(static_cast<uint8_t>(value));
        if (wide) bytes.push_back(static_cast<uint8_t>(value >> 8));
    }
    samplesWritten += samples.size();
    return bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
}

}  // namespace tools
