// signal.h - how strong a signal is: over all of it, and column by column of a picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tools {

struct channel_levels_t {
    double lowest = 0.0, highest = 0.0;  // full scale is 1.0
    double sum = 0.0, squares = 0.0;
    uint64_t fullScaleSamples = 0;  // that stand at either end of the range, where clipping leaves them

    double Peak() const;
};

struct signal_levels_t {
    uint64_t frames = 0;
    std::vector<channel_levels_t> channels;

    double Peak() const;  // of all channels; 0 without any
    double Rms() const;
    uint64_t FullScaleSamples() const;
};

// `highestValue`: what the largest sample of the format is, such as 32767 / 32768.
class SignalLevels_t {
  public:
    SignalLevels_t(uint32_t channels, double highestValue);

    void Add(const double* interleaved, size_t frames);
    const signal_levels_t& Levels() const { return levels; }

  private:
    double highest;
    signal_levels_t levels;
};

// A signal of known length in columns of (nearly) equal width, of which each has one frame at least.
class Envelope_t {
  public:
    Envelope_t(uint32_t channels, uint64_t frames, uint32_t mostColumns, double highestValue);

    void Add(const double* interleaved, size_t frames);  // what passes the length is left out

    uint32_t Channels() const { return channelCount; }
    uint32_t Columns() const { return columnCount; }
    uint64_t Frames() const { return frameCount; }
    uint64_t FirstFrame(uint32_t column) const;
    const channel_levels_t& At(uint32_t channel, uint32_t column) const {
        return columns[size_t{column} * channelCount + channel];
    }
    double Rms(uint32_t channel, uint32_t column) const;

  private:
    uint32_t channelCount;
    uint64_t frameCount;
    uint32_t columnCount;
    double highest;
    uint64_t framesAdded = 0;
    uint32_t current = 0;  // column
    uint64_t nextColumnFrame = 0;
    std::vector<channel_levels_t> columns;
};

}  // namespace tools
