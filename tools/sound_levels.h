// sound_levels.h - how loud a sound is, and how far one is from another.
#pragma once

#include "outcome.h"
#include "sample_reader.h"

namespace tools {

struct sound_levels_t {
    double peak = 0.0;  // 1.0 is full scale
    double rms = 0.0;   // over all samples of all channels; full scale 1.0
};

// Reads all that is left in the reader; fullScale is 32768 or, of an 8-bit sound, 128.
outcome_t MeasureLevels(SampleReader_t& reader, double fullScale, sound_levels_t& levels);

// 20 log10, -infinity for 0.
double Decibels(double level);

// The signal-to-noise ratio in dB of `other` against `original`, over as many samples as both have: infinite
// where nothing differs. originalScale: what a sample of `original` is multiplied by to stand beside `other`.
outcome_t MeasureSignalToNoise(SampleReader_t& original, int32_t originalScale, SampleReader_t& other,
                               double& decibels);

}  // namespace tools
