// level_meter.h - how loud what the engine has just sent is.
#pragma once

#include <cstdint>
#include <string>

namespace tools {

struct level_pair_t {
    double left = 0, right = 0;  // full scale is 1.0; beyond it is clipped
};

// The peaks of the latest frames before the output's base, at most the ring's history. Host thread.
level_pair_t MeasureSent(uint32_t frames);

// The same of what lies before any ring position and has been sent.
level_pair_t MeasureRing(uint32_t endUnit, uint32_t frames);

// Ten characters: each full one is 4 dB, the last one the uppermost.
std::string LevelBar(double level);

}  // namespace tools
