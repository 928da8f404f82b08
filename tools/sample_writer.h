// sample_writer.h - samples in the form of a sound file: signed, 8 bits or 16 bits low byte first.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

namespace tools {

class SampleWriter_t {
  public:
    // `file` is borrowed.
    SampleWriter_t(FILE* file, bool is16Bit) : out(file), wide(is16Bit) {}

    // Rounds to nearest, halves to even, without dither; full scale is 1.0. What passes the ends of the range
    // is clipped and counted. False: the file could not be written.
    bool Write(const std::vector<double>& samples);

    uint64_t SamplesWritten() const { return samplesWritten; }
    uint64_t ClippedSamples() const { return clippedSamples; }

  private:
    int32_t Quantise(double sample);

    FILE* out;
    bool wide;
    std::vector<uint8_t> bytes;
    uint64_t samplesWritten = 0, clippedSamples = 0;
};

}  // namespace tools
