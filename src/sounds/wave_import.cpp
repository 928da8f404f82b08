// wave_import.cpp - turns a PCM wave file into a sound file. Touches files only: needs no running system.
#include <algorithm>
#include <string>

#include "foundation/part_file.h"
#include "sounds/riff_reader.h"
#include "sounds/simple_sound.h"
#include "sounds/sound_file.h"

namespace {

constexpr uint32_t copyBytes = 1000;

// Copies sample bytes; 8-bit ones are unsigned in a wave file and signed in a sound file.
bool CopySamples(FILE* wave, PartFile_t& sound, uint64_t bytes, bool is8Bit) {
    uint8_t block[copyBytes];
    while (bytes > 0) {
        const auto count = static_cast<std::size_t>(std::min<uint64_t>(bytes, copyBytes));
        if (std::fread(block, 1, count, wave) != count) return false;
        if (is8Bit) FlipSign8(block, count);
        if (!sound.Write(block, count)) return false;
        bytes -= count;
    }
    return true;
}

}  // namespace

bool SimpleSound_t::ImportWaveFile(const char* wavePath, const char* soundPath, const char* name,
                                   uint32_t lockFlags, float baseVolume) {
    const file_t wave(std::fopen(wavePath, "rb"));
    wave_format_t format;
    uint32_t dataBytes = 0;
    if (!wave || !FindWaveData(wave.get(), format, dataBytes) || !IsImportablePcm(format)) return false;

    sound_header_t header;
    header.name = name ? name : "";
    header.frameCount = dataBytes / format.blockAlign;
    header.isStereo = format.channels == 2;
    header.is16Bit = format.bitsPerSample == 16;
    header.rateDivisor = RateDivisorOf(format);
    header.lockFlags = lockFlags;
    header.baseVolume = baseVolume;
    const std::string head = FormatSoundHeader(header);
    if (head.empty()) return false;

    PartFile_t sound(soundPath);
    return sound.Write(head.data(), head.size()) &&
           CopySamples(wave.get(), sound, header.SampleBytes(), !header.is16Bit) && sound.Commit();
}
