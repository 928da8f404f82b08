// measure.h - clocks and medians of the comparison.
//
// Contestants take turns, slice by slice, so that a change of the machine's mood hits them all; what counts
// is processor time, as others may use the machine meanwhile, and the median of the slices.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

struct budget_t {
    int rounds;           // slices of each contestant
    uint32_t sliceTicks;  // of 735 frames
};

constexpr uint32_t framesPerTick = 735;  // 60 ticks a second
constexpr uint32_t soundFrames = 44100;

double ProcessNs();  // processor time of all threads
double ThreadNs();   // and of the calling one
double WallNs();

double Median(std::vector<double> values);  // of at least one

// A second of 16-bit stereo noise for each seed, quiet enough that 1024 of them stay in range.
const std::vector<int16_t>& Noise(unsigned seed);
