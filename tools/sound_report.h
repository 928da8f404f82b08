// sound_report.h - the properties of a sound as the tables and the JSON of several commands show them.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "stored_sound.h"

namespace tools {

using json_t = nlohmann::ordered_json;

std::vector<std::string> LocksOf(uint32_t lockFlags);

// Whole rates are integers; one of 5512.5 Hz exists.
std::string RateText(const stored_sound_t& sound);
json_t RateJson(const stored_sound_t& sound);

// To a thousandth; null for what is infinite, which JSON does not know.
json_t DecibelJson(double decibels);

// With the bytes of names that are no UTF-8 replaced. indentation: -1 puts all on one line.
std::string JsonText(const json_t& json, int indentation);

// On standard output.
void PrintJson(const json_t& json);

}  // namespace tools
