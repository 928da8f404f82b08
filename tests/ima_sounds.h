// ima_sounds.h - IMA ADPCM blocks of noise and whole sounds of them, and what they decode to.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "compressed/ima_adpcm.h"
#include "compressed/ima_adpcm_file.h"
#include "compressed/ima_adpcm_sound.h"
#include "sounds/sound_file.h"

// Any nibbles behind heads that are in order.
inline std::string RandomBlocks(uint32_t count, uint32_t blockBytes, bool isStereo, uint32_t seed) {
    std::mt19937 random(seed);
    std::string blocks(std::size_t{count} * blockBytes, '\0');
    for (char& byte : blocks) byte = static_cast<char>(random());
    for (std::size_t head = 0; head < blocks.size(); head += blockBytes) {
        for (std::size_t at = head; at < head + (isStereo ? 8 : 4); at += 4) {
            blocks[at + 2] = static_cast<char>(random() % 89);
            blocks[at + 3] = 0;
        }
    }
    return blocks;
}

inline const uint8_t* BytesOf(const std::string& bytes) {
    return reinterpret_cast<const uint8_t*>(bytes.data());
}

// Whole blocks, each in one call; left and right interleaved.
inline std::vector<int16_t> DecodeBlocks(const std::string& blocks, uint32_t blockBytes, bool isStereo) {
    const uint32_t frames = ImaSamplesPerBlock(blockBytes, isStereo);
    const std::size_t perBlock = frames * (isStereo ? 2u : 1u), count = blocks.size() / blockBytes;
    std::vector<int16_t> samples(count * perBlock);
    ImaChannelState_t channels[2] = {};
    for (std::size_t block = 0; block < count; ++block) {
        (isStereo ? DecodeBlockStereo : DecodeBlockMono)(BytesOf(blocks) + block * blockBytes,
                                                         &samples[block * perBlock], 0, frames, channels);
    }
    return samples;
}

// All frames of a sound, as signed samples; none if a block is bad.
inline std::vector<int16_t> Decode(IMA_ADPCM_Sound_t& sound) {
    frame_window_t window;
    void* state = sound.NewDecoderState();
    std::vector<int16_t> samples;
    if (sound.MoveWindow(window, 0, sound.frameCount, 0, state)) {
        samples.resize(std::size_t{sound.frameCount} * sound.bytesPerFrame / 2);
        if (!samples.empty()) std::memcpy(samples.data(), sound.samples, samples.size() * 2);
        FlipSign16(samples.data(), samples.size());
    }
    sound.ReleaseWindow(window);
    sound.FreeDecoderState(state);
    return samples;
}

// The image of a sound of noise: of ADPCM in blocks of that size, or of plain samples for 0.
inline std::string NoiseImage(sound_header_t header, uint32_t blockBytes, uint32_t seed) {
    if (blockBytes == 0) {
        const std::string block =
            RandomBlocks(1, static_cast<uint32_t>(header.SampleBytes()) + 8, true, seed);
        return FormatSoundHeader(header) + block.substr(8);
    }
    header.is16Bit = true;
    const uint32_t perBlock = ImaSamplesPerBlock(blockBytes, header.isStereo);
    const uint32_t blockCount = (header.frameCount + perBlock - 1) / perBlock;
    const std::string blocks = RandomBlocks(blockCount, blockBytes, header.isStereo, seed);
    return FormatImaHeader(blockBytes, header, static_cast<uint32_t>(blocks.size())) + blocks;
}
