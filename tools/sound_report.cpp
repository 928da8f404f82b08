// sound_report.cpp - see the header.
#include "sound_report.h"

#include <cmath>
#include <cstdio>

#include "number_text.h"
#include "sounds/sound.h"

namespace tools {

std::vector<std::string> LocksOf(uint32_t lockFlags) {
    std::vector<std::string> locks;
    if (lockFlags & lockVolume) locks.emplace_back("volume");
    if (lockFlags & lockPan) locks.emplace_back("pan");
    if (lockFlags & lockFrequency) locks.emplace_back("frequency");
    return locks;
}

std::string RateText(const stored_sound_t& sound) {
    const double rateHz = sound.RateHz();
    return FixedText(rateHz, rateHz == std::floor(rateHz) ? 0 : 1);
}

json_t RateJson(const stored_sound_t& sound) {
    const double rateHz = sound.RateHz();
    if (rateHz == std::floor(rateHz)) return static_cast<uint32_t>(rateHz);
    return rateHz;
}

void PrintJson(const json_t& json) {
    std::printf("%s\n", json.dump(2, ' ', false, json_t::error_handler_t::replace).c_str());
}

}  // namespace tools
