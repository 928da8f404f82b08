// picture_signal.h - charts of sound: waveform, spectrogram, loudness.
#pragma once

#include "tools/loudness.h"
#include "tools/picture_chart.h"
#include "tools/pictures.h"

namespace tools {

// Into the box, one lane for each channel. `hasTimes`: labels below the last one.
void DrawWaveform(Canvas_t& canvas, const box_t& box, const SignalView_t& signal, bool hasTimes);
void DrawSpectrogram(Canvas_t& canvas, const box_t& box, const SignalView_t& signal);
void DrawLoudness(Canvas_t& canvas, const box_t& box, const loudness_t& loudness, double seconds);

// Of one of so many: "left", "mono", "channel 3".
std::string ChannelName(uint32_t channel, uint32_t channels);

constexpr uint32_t mostLanes = 8;  // channels beyond are not drawn

}  // namespace tools
