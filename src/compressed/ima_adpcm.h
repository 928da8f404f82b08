// ima_adpcm.h - the codec of 4-bit IMA ADPCM blocks: any range of frames of one block, resumed from a voice's
// state.
//
// A mono block of n bytes holds 2n - 7 frames: frame 0 as a 16-bit sample, a step index, a zero byte, then
// nibbles, low half first. A stereo block holds n - 7: two such heads, left first, then a byte a frame, left
// in the high half (unlike a wave file, which has groups of four left and four right bytes). All fields are
// little-endian. The arithmetic of a nibble is the published one.
//
// A call that begins at frame 0 takes all it needs from the head; one that begins later goes on from `state`.
// Decoding P to Q and then Q to R with one state gives what decoding P to R gives.
#pragma once

#include <cstdint>

struct ImaChannelState_t {
    int32_t stepIndex;  // 0 to 88
    int32_t predictor;  // the last sample decoded
};

constexpr uint32_t ImaSamplesPerBlock(uint32_t blockBytes, bool isStereo) {
    return isStereo ? blockBytes - 7 : 2 * blockBytes - 7;
}

// Sizes that hold a frame and overflow nothing.
constexpr bool IsImaBlockSize(uint32_t blockBytes, bool isStereo) {
    return blockBytes >= (isStereo ? 8u : 4u) && blockBytes <= 0x40000000u;
}

// Decode frames firstFrame up to endFrame (at most the frames of a block) of the block to dest, as signed
// 16-bit samples, left and right interleaved. state is one channel, or two, left first. False: a head with a
// reserved byte that is not 0 or a step index above 88; what was decoded before it stays. Thread: any, no
// wait, no allocation.
bool DecodeBlockMono(const uint8_t* block, int16_t* dest, uint32_t firstFrame, uint32_t endFrame,
                     ImaChannelState_t* state) noexcept;
bool DecodeBlockStereo(const uint8_t* block, int16_t* dest, uint32_t firstFrame, uint32_t endFrame,
                       ImaChannelState_t* state) noexcept;

// The nibble of a sample, 0 to 15; both states go on as the decoder's will.
uint8_t EncodeSample(int16_t sample, int32_t& stepIndex, int32_t& predictor) noexcept;

// Encode as many frames as a block holds. stepIndex of each channel runs on from block to block; predictor is
// renewed.
void EncodeBlockMono(const int16_t* source, uint8_t* block, uint32_t blockBytes,
                     ImaChannelState_t* state) noexcept;
void EncodeBlockStereo(const int16_t* source, uint8_t* block, uint32_t blockBytes,
                       ImaChannelState_t* state) noexcept;
