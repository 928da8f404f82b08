// riff_reader.h - finds the format and the data of a RIFF/WAVE file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

struct wave_format_t {
    uint16_t tag = 0;  // 1 = PCM, also behind an extensible head
    uint16_t channels = 0;
    uint32_t samplesPerSecond = 0;
    uint16_t blockAlign = 0;  // bytes per frame, or per compressed block
    uint16_t bitsPerSample = 0;
};

// Reads on from the beginning of the file to the first byte of its data. Chunks of other kinds are stepped
// over.
//   dataBytes  of the data chunk, as far as the file goes: a size that was never filled in counts up to the
//   end
// False if the file cannot be searched, is no RIFF/WAVE file, or lacks one of the two chunks.
bool FindWaveData(FILE* file, wave_format_t& format, uint32_t& dataBytes);

uint32_t ReadLittleEndian32(const uint8_t* bytes);

// What the engine takes as PCM: 8 or 16 bits, 1 or 2 channels, packed frames, a rate from 1 to 44,100 Hz.
bool IsImportablePcm(const wave_format_t& format);

// Of a rate that IsPlayableRate accepts.
bool IsPlayableRate(const wave_format_t& format);
uint32_t RateDivisorOf(const wave_format_t& format);

struct close_file_t {
    void operator()(FILE* file) const { std::fclose(file); }
};
using file_t = std::unique_ptr<FILE, close_file_t>;
