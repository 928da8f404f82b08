// sound_file.h - the text header that stands before the samples of a sound file.
//
// "Sound " name NUL " " frameCount isStereo is16Bit rateDivisor lockFlags baseVolume, each number followed by
// one blank. Numbers read and write the same in every locale.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

constexpr uint32_t maxSoundNameBytes = 99;     // without the terminator
constexpr uint32_t maxSoundHeaderBytes = 256;  // no header is longer
constexpr uint32_t maxRateDivisor = 44100;     // 1 Hz

struct sound_header_t {
    std::string name;
    uint32_t frameCount = 0;
    bool isStereo = false;
    bool is16Bit = false;
    uint32_t rateDivisor = 1;
    uint32_t lockFlags = 0;
    float baseVolume = 1.0f;

    uint32_t BytesPerFrame() const { return (is16Bit ? 2u : 1u) * (isStereo ? 2u : 1u); }
    uint64_t SampleBytes() const { return uint64_t{frameCount} * BytesPerFrame(); }
};

// Whether the engine can work with these numbers: a divisor from 1 to maxRateDivisor, a volume that is a
// number.
bool IsPlayable(const sound_header_t& header);

// Whether a sound file is written with this name: 1 to 99 bytes, no whitespace. One without a name can be
// read.
bool IsSoundFileName(std::string_view name);

// Reads a header from the beginning of `bytes`. Returns its length, where the samples begin, or 0 if it is
// malformed: a wrong start, a name or number too long, a number out of range or not playable.
uint32_t ParseSoundHeader(std::string_view bytes, sound_header_t& header);

// The header's bytes. Empty if the name or a number does not fit the form.
std::string FormatSoundHeader(const sound_header_t& header);

// The part of both that stands behind the word "Sound ", from the name on: other sound files have it too,
// with the number of compressed bytes as one field more. Null for compressedBytes: there is no such field.
uint32_t ParseSoundFields(std::string_view bytes, sound_header_t& header, uint32_t* compressedBytes);
std::string FormatSoundFields(const sound_header_t& header, const uint32_t* compressedBytes);
