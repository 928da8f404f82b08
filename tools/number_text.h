// number_text.h - numbers as text, the same in every locale.
#pragma once

#include <cstdint>
#include <string>

namespace tools {

// Fixed notation with that many decimals; "-inf" and "inf" for infinities; 0 has no sign.
std::string FixedText(double value, int decimals);

// "1 frame", "2 frames".
std::string CountText(uint64_t count, const char* one, const char* many);

// The double that a person would write for this float: 0.8f is 0.8, not 0.800000011920929.
double ShortestDouble(float value);

}  // namespace tools
