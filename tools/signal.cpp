// signal.cpp - see the header.
#include "tools/signal.h"

#include <algorithm>
#include <cmath>

namespace tools {

namespace {

void AddSample(channel_levels_t& levels, double sample, double highest) {
    levels.lowest = std::min(levels.lowest, sample);
    levels.highest = std::max(levels.highest, sample);
    levels.sum += sample;
    levels.squares += sample * sample;
    levels.fullScaleSamples += sample >= highest || sample <= -1.0 ? 1 : 0;
}

}  // namespace

double channel_levels_t::Peak() const { return std::max(-lowest, highest); }

double signal_levels_t::Peak() const {
    double peak = 0.0;
    for (const channel_levels_t& channel : channels) peak = std::max(peak, channel.Peak());
    return peak;
}

double signal_levels_t::Rms() const {
    double squares = 0.0;
    for (const channel_levels_t& channel : channels) squares += channel.squares;
    const double samples = static_cast<double>(frames) * static_cast<double>(channels.size());
    return samples > 0 ? std::sqrt(squares / samples) : 0.0;
}

uint64_t signal_levels_t::FullScaleSamples() const {
    uint64_t samples = 0;
    for (const channel_levels_t& channel : channels) samples += channel.fullScaleSamples;
    return samples;
}

SignalLevels_t::SignalLevels_t(uint32_t channels, double highestValue) : highest(highestValue) {
    levels.channels.resize(channels);
}

void SignalLevels_t::Add(const double* interleaved, size_t frames) {
    const size_t channels = levels.channels.size();
    for (size_t i = 0; i < frames * channels; ++i)
        AddSample(levels.channels[i % channels], interleaved[i], highest);
    levels.frames += frames;
}

Envelope_t::Envelope_t(uint32_t channels, uint64_t frames, uint32_t mostColumns, double highestValue)
    : channelCount(channels),
      frameCount(frames),
      columnCount(static_cast<uint32_t>(std::min<uint64_t>(frames, mostColumns))),
      highest(highestValue),
      columns(size_t{columnCount} * channels) {
    if (columnCount > 0) nextColumnFrame = FirstFrame(1);
    // A column begins where its first sample stands, not at 0.
    for (channel_levels_t& column : columns) {
        column.lowest = 2.0;
        column.highest = -2.0;
    }
}

uint64_t Envelope_t::FirstFrame(uint32_t column) const {
    return (frameCount * column + columnCount - 1) / columnCount;
}

void Envelope_t::Add(const double* interleaved, size_t frames) {
    for (size_t frame = 0; frame < frames && framesAdded < frameCount; ++frame, ++framesAdded) {
        if (framesAdded == nextColumnFrame) nextColumnFrame = FirstFrame(++current + 1);
        for (uint32_t channel = 0; channel < channelCount; ++channel) {
            AddSample(columns[size_t{current} * channelCount + channel],
                      interleaved[frame * channelCount + channel], highest);
        }
    }
}

double Envelope_t::Rms(uint32_t channel, uint32_t column) const {
    const uint64_t end =
        std::min(column + 1 < columnCount ? FirstFrame(column + 1) : frameCount, framesAdded);
    const uint64_t first = FirstFrame(column);
    return end > first ? std::sqrt(At(channel, column).squares / static_cast<double>(end - first)) : 0.0;
}

}  // namespace tools
