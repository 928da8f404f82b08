#include "sounds/sound_file.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

constexpr std::string_view magic = "Sound ";
constexpr std::string_view whitespace = " \t\n\v\f\r";
constexpr std::size_t maxFieldBytes = 11;  // a number without its blank

// Takes what stands before the next blank off the front of `rest`; false if that is no number of this type.
template <typename Number>
bool TakeNumber(std::string_view& rest, Number& number) {
    const std::size_t length = rest.find(' ');
    if (length == std::string_view::npos || length > maxFieldBytes) return false;
    const char* end = rest.data() + length;
    const auto result = std::from_chars(rest.data(), end, number);
    rest.remove_prefix(length + 1);
    return result.ec == std::errc() && result.ptr == end;
}

// The same for a flag: any number, true unless it is 0.
bool TakeFlag(std::string_view& rest, bool& flag) {
    int32_t number = 0;
    if (!TakeNumber(rest, number)) return false;
    flag = number != 0;
    return true;
}

void AppendNumber(std::string& text, uint32_t number) { text += std::to_string(number) + ' '; }

}  // namespace

bool IsPlayable(const sound_header_t& header) {
    return header.rateDivisor >= 1 && header.rateDivisor <= maxRateDivisor &&
           std::isfinite(header.baseVolume);
}

bool IsSoundFileName(std::string_view name) {
    return !name.empty() && name.size() <= maxSoundNameBytes && name.find('\0') == std::string_view::npos &&
           name.find_first_of(whitespace) == std::string_view::npos;
}

uint32_t ParseSoundFields(std::string_view bytes, sound_header_t& header, uint32_t* compressedBytes) {
    std::string_view rest = bytes;
    const std::size_t nameBytes = rest.substr(0, maxSoundNameBytes + 1).find('\0');
    if (nameBytes == std::string_view::npos) return 0;
    header.name = rest.substr(0, nameBytes);
    if (!header.name.empty() && !IsSoundFileName(header.name)) return 0;
    rest.remove_prefix(nameBytes + 1);
    if (rest.empty() || rest.front() != ' ') return 0;
    rest.remove_prefix(1);

    const bool isWellFormed = TakeNumber(rest, header.frameCount) && TakeFlag(rest, header.isStereo) &&
                              TakeFlag(rest, header.is16Bit) && TakeNumber(rest, header.rateDivisor) &&
                              TakeNumber(rest, header.lockFlags) && TakeNumber(rest, header.baseVolume);
    if (!isWellFormed || !IsPlayable(header)) return 0;
    if (compressedBytes && !TakeNumber(rest, *compressedBytes)) return 0;
    return static_cast<uint32_t>(bytes.size() - rest.size());
}

uint32_t ParseSoundHeader(std::string_view bytes, sound_header_t& header) {
    if (bytes.substr(0, magic.size()) != magic) return 0;
    const uint32_t fieldBytes = ParseSoundFields(bytes.substr(magic.size()), header, nullptr);
    return fieldBytes == 0 ? 0 : static_cast<uint32_t>(magic.size()) + fieldBytes;
}

std::string FormatSoundFields(const sound_header_t& header, const uint32_t* compressedBytes) {
    char volume[64];
    const auto end =
        std::to_chars(volume, volume + sizeof volume, header.baseVolume, std::chars_format::fixed, 3).ptr;
    const auto volumeBytes = static_cast<std::size_t>(end - volume);
    if (!IsSoundFileName(header.name) || !std::isfinite(header.baseVolume) || volumeBytes > maxFieldBytes)
        return {};

    std::string text = header.name;
    text += '\0';
    text += ' ';
    AppendNumber(text, header.frameCount);
    AppendNumber(text, header.isStereo);
    AppendNumber(text, header.is16Bit);
    AppendNumber(text, header.rateDivisor);
    AppendNumber(text, header.lockFlags);
    text.append(volume, volumeBytes);
    text += ' ';
    if (compressedBytes) AppendNumber(text, *compressedBytes);
    return text;
}

std::string FormatSoundHeader(const sound_header_t& header) {
    const std::string fields = FormatSoundFields(header, nullptr);
    return fields.empty() ? fields : std::string(magic) + fields;
}
