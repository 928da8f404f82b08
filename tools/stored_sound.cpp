// stored_sound.cpp - the two kinds differ in their header and in what they call their bytes; all else is
// shared.
#include "stored_sound.h"

#include <algorithm>

#include "compressed/ima_adpcm_file.h"
#include "compressed/ima_adpcm_sound.h"

namespace tools {

namespace {

bool BlocksHoldTheFrames(const stored_sound_t& sound) {
    const sound_header_t& header = sound.header;
    return ImaBlocksHold(header.frameCount, sound.compressedBytes, sound.blockBytes, header.is16Bit,
                         header.isStereo);
}

}  // namespace

uint32_t ParseStoredSound(std::string_view start, stored_sound_t& sound) {
    sound = {};
    const uint32_t headBytes = ParseImaHead(start, sound.blockBytes);
    if (headBytes == 0) {
        sound.blockBytes = 0;
        return ParseSoundHeader(start, sound.header);
    }
    const uint32_t fieldBytes =
        ParseSoundFields(start.substr(headBytes), sound.header, &sound.compressedBytes);
    return fieldBytes != 0 && BlocksHoldTheFrames(sound) ? headBytes + fieldBytes : 0;
}

std::string FormatStoredSound(const stored_sound_t& sound) {
    return sound.IsAdpcm() ? FormatImaHeader(sound.blockBytes, sound.header, sound.compressedBytes)
                           : FormatSoundHeader(sound.header);
}

stored_sound_t DescribeSound(const Sound_t& sound) {
    stored_sound_t stored;
    stored.header = {sound.name.text,   sound.frameCount, sound.isStereo,  sound.is16Bit,
                     sound.rateDivisor, sound.lockFlags,  sound.baseVolume};
    if (sound.IsASortOf("IMA_ADPCM_Sound")) {
        const auto& adpcm = static_cast<const IMA_ADPCM_Sound_t&>(sound);
        stored.blockBytes = adpcm.blockBytes;
        stored.compressedBytes = adpcm.compressedBytes;
    }
    return stored;
}

byte_reader_t ReadStoredBytes(const Sound_t& sound) {
    const bool isAdpcm = sound.IsASortOf("IMA_ADPCM_Sound");
    const bool is16Bit = sound.is16Bit;
    const uint8_t* next =
        isAdpcm ? static_cast<const IMA_ADPCM_Sound_t&>(sound).compressedData : sound.samples;
    return [=, left = DescribeSound(sound).StoredBytes()](uint8_t* to, size_t count) mutable {
        count = static_cast<size_t>(std::min<uint64_t>(count, left));
        std::copy_n(next, count, to);
        if (!isAdpcm) {
            if (is16Bit) FlipSign16(to, count / 2);
            if (!is16Bit) FlipSign8(to, count);
        }
        next += count;
        left -= count;
        return count;
    };
}

}  // namespace tools
