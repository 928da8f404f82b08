// stored_sound.h - a sound in the form of a sound file: what its header says, and the bytes behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "engine_rates.h"
#include "sounds/sound_file.h"

class Sound_t;

namespace tools {

struct stored_sound_t {
    sound_header_t header;
    uint32_t blockBytes = 0;       // of IMA ADPCM; 0: plain samples
    uint32_t compressedBytes = 0;  // of IMA ADPCM

    bool IsAdpcm() const { return blockBytes != 0; }
    uint64_t StoredBytes() const { return IsAdpcm() ? compressedBytes : header.SampleBytes(); }
    uint32_t Channels() const { return header.isStereo ? 2 : 1; }
    uint32_t Bits() const { return header.is16Bit ? 16 : 8; }
    double RateHz() const { return static_cast<double>(outputRateHz) / header.rateDivisor; }
    double Seconds() const { return header.frameCount / RateHz(); }
};

// Reads the header of a sound file of either kind from its first bytes. Returns its length, or 0 if it is
// malformed, or promises frames that its blocks cannot hold.
uint32_t ParseStoredSound(std::string_view start, stored_sound_t& sound);

// The header's bytes. Empty if the name or a number does not fit the form.
std::string FormatStoredSound(const stored_sound_t& sound);

constexpr uint32_t maxStoredHeaderBytes = 512;  // no header of either kind is longer

// Takes up to `count` of the stored bytes; fewer only at their end.
using byte_reader_t = std::function<size_t(uint8_t* to, size_t count)>;

// Of a loaded simple or IMA ADPCM sound. The reader starts at the first byte and borrows the sound.
stored_sound_t DescribeSound(const Sound_t& sound);
byte_reader_t ReadStoredBytes(const Sound_t& sound);

}  // namespace tools
