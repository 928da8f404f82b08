// wave_header.h - the head of the wave files that the program writes.
#pragma once

#include <cstdint>
#include <string>

#include "tools/engine_rates.h"

namespace tools {

// PCM: 8 bits unsigned, 16 bits signed low byte first.
struct wave_shape_t {
    uint32_t channels = 2;
    uint32_t bits = 16;
    uint32_t rateHz = outputRateHz;

    uint32_t BytesPerFrame() const { return channels * bits / 8; }
    // Sizes in a wave file have 32 bits, and data of odd size are padded.
    uint32_t MaxFrames() const { return (0xFFFFFFFFu - 36 - 1) / BytesPerFrame(); }
};

constexpr uint32_t maxWaveFrames = (0xFFFFFFFFu - 36) / 4;  // of what the renderer writes

// The 44 bytes ahead of that many frames, at most MaxFrames. A zero byte follows data of odd size.
std::string FormatWaveHeader(uint32_t frames, const wave_shape_t& shape = {});

}  // namespace tools
