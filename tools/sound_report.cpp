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

json_t DecibelJson(double decibels) {
    if (!std::isfinite(decibels)) return nullptr;
    return std::round(decibels * 1000.0) / 1000.0;
}

std::string JsonText(const json_t& json, int indentation) {
    return json.dump(indentation, ' ', false, json_t::error_handler_t::replace) + "\n";
}

void PrintJson(const json_t& json) { std::fputs(JsonText(json, 2).c_str(), stdout); }

}  // namespace tools
