// number_text.cpp - numbers as text. std::to_chars and std::from_chars know no locale.
#include "number_text.h"

#include <array>
#include <charconv>

namespace tools {

std::string FixedText(double value, int decimals) {
    std::array<char, 400> digits;  // the largest double has 309 before the point
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                   std::chars_format::fixed, decimals);
    const std::string text(digits.data(), end.ptr);
    const bool isMinusZero = text.front() == '-' && text.find_first_not_of("-0.") == std::string::npos;
    return isMinusZero ? text.substr(1) : text;
}

std::string CountText(uint64_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

double ShortestDouble(float value) {
    std::array<char, 64> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    double result = value;
    std::from_chars(digits.data(), end.ptr, result);
    return result;
}

}  // namespace tools
