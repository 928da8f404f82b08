// ima_adpcm_test.cpp - the codec of one block: worked bytes, and a plain model a nibble at a time. What the
// encoder writes is compared with another program's in ima_import_test.cpp.
#include "compressed/ima_adpcm.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "ima_sounds.h"

namespace {

using namespace std::string_literals;
using samples_t = std::vector<int16_t>;

constexpr int publishedSteps[] = {
    7,    8,     9,     10,    11,    12,    13,    14,    16,    17,    19,    21,    23,    25,   28,
    31,   34,    37,    41,    45,    50,    55,    60,    66,    73,    80,    88,    97,    107,  118,
    130,  143,   157,   173,   190,   209,   230,   253,   279,   307,   337,   371,   408,   449,  494,
    544,  598,   658,   724,   796,   876,   963,   1060,  1166,  1282,  1411,  1552,  1707,  1878, 2066,
    2272, 2499,  2749,  3024,  3327,  3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845, 8630,
    9493, 10442, 11487, 12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767};

struct model_t {
    int index = 0, predictor = 0;

    int16_t Decode(int nibble) {
        const int step = publishedSteps[index];
        int diff = step >> 3;
        if (nibble & 1) diff += step >> 2;
        if (nibble & 2) diff += step >> 1;
        if (nibble & 4) diff += step;
        predictor = std::clamp(predictor + (nibble & 8 ? -diff : diff), -32768, 32767);
        index = std::clamp(index + (nibble & 4 ? 2 * (nibble & 3) + 2 : -1), 0, 88);
        return static_cast<int16_t>(predictor);
    }
};

// Every frame of a block whose head is in order.
samples_t ModelDecode(const std::string& block, bool isStereo) {
    const uint8_t* bytes = BytesOf(block);
    model_t models[2];
    samples_t samples;
    for (unsigned c = 0; c < (isStereo ? 2u : 1u); ++c) {
        samples.push_back(static_cast<int16_t>(bytes[4 * c] + 256 * bytes[4 * c + 1]));
        models[c] = {bytes[4 * c + 2], samples.back()};
    }
    const uint32_t frames = ImaSamplesPerBlock(static_cast<uint32_t>(block.size()), isStereo);
    for (uint32_t frame = 1; frame < frames; ++frame) {
        const uint8_t byte = bytes[isStereo ? frame + 7 : 4 + (frame - 1) / 2];
        samples.push_back(models[0].Decode(isStereo || frame % 2 == 0 ? byte >> 4 : byte & 15));
        if (isStereo) samples.push_back(models[1].Decode(byte & 15));
    }
    return samples;
}

// What came out, then the states: left index and predictor, right ones.
std::string Decode(const std::string& block, bool isStereo, uint32_t first, uint32_t end,
                   ImaChannelState_t left, ImaChannelState_t right) {
    constexpr int16_t untouched = 0x5A5A;
    ImaChannelState_t states[2] = {left, right};
    samples_t out(20, untouched);
    const auto decode = isStereo ? DecodeBlockStereo : DecodeBlockMono;
    std::string text = decode(BytesOf(block), out.data(), first, end, states) ? "" : "bad ";
    for (const int16_t sample : out)
        if (sample != untouched) text += std::to_string(sample) + ' ';
    for (const ImaChannelState_t& state : states)
        text += '|' + std::to_string(state.stepIndex) + ' ' + std::to_string(state.predictor);
    return text;
}

TEST(ImaAdpcm, WorkedBlocks) {
    const std::string mono = "\xE8\x03\x10\x00\x41\x07"s;  // 1000, index 16: step 34; nibbles 1, 4, 7, 0
    const std::string stereo = "\x01\x00\x00\x00\xFF\xFF\x58\x00\x80\x08\x71"s;
    const struct {
        const char* name;
        std::string block;
        bool isStereo;
        uint32_t first, end;
        ImaChannelState_t left, right;
        const char* want;
    } rows[] = {
        {"head alone", mono, false, 0, 1, {7, 7}, {5, 6}, "1000 |16 1000|5 6"},
        {"low half first", mono, false, 0, 2, {7, 7}, {5, 6}, "1000 1012 |15 1012|5 6"},
        {"then the high one", mono, false, 2, 3, {15, 1012}, {5, 6}, "1046 |17 1046|5 6"},
        {"whole", mono, false, 0, 5, {7, 7}, {5, 6}, "1000 1012 1046 1114 1124 |24 1124|5 6"},
        {"nothing", mono, false, 3, 3, {7, 7}, {5, 6}, "|7 7|5 6"},
        {"from any state", mono, false, 4, 5, {88, -5}, {5, 6}, "4090 |87 4090|5 6"},
        {"8 is minus an eighth", "\0\0\x58\0\x08"s, false, 0, 2, {}, {}, "0 -4095 |87 -4095|0 0"},
        {"least index", "\0\0\0\0\x80"s, false, 0, 3, {9, 9}, {}, "0 0 0 |0 0|0 0"},
        {"most", "\xFF\x7F\x55\0\x77"s, false, 0, 3, {}, {}, "32767 32767 32767 |88 32767|0 0"},
        {"least", "\0\x80\x55\0\xFF"s, false, 0, 3, {}, {}, "-32768 -32768 -32768 |88 -32768|0 0"},
        {"two heads", stereo, true, 0, 1, {7, 7}, {7, 7}, "1 -1 |0 1|88 -1"},
        {"left in the high half", stereo, true, 0, 3, {}, {}, "1 -1 1 4094 1 370 |0 1|86 370"},
        {"an odd frame is like an even one", stereo, true, 3, 4, {}, {}, "11 1 |8 11|0 1"},
        {"nothing", stereo, true, 1, 1, {7, 7}, {5, 6}, "|7 7|5 6"},
        {"reserved", "\1\0\5\1\x77"s, false, 0, 3, {7, 7}, {5, 6}, "bad 1 |5 1|5 6"},
        {"it counts at the head only", "\1\0\5\1\x77"s, false, 1, 2, {}, {}, "11 |8 11|0 0"},
        {"index 89", "\1\0\x59\0\x77"s, false, 0, 3, {7, 7}, {5, 6}, "bad 1 |7 1|5 6"},
        {"negative index", "\1\0\xFF\0\x77"s, false, 0, 3, {7, 7}, {5, 6}, "bad 1 |7 1|5 6"},
        {"reserved left", "\1\0\5\xFF\2\0\6\0\x77"s, true, 0, 2, {7, 7}, {7, 7}, "bad 1 |5 1|7 7"},
        {"reserved right", "\1\0\5\0\2\0\6\1\x77"s, true, 0, 2, {7, 7}, {7, 7}, "bad 1 2 |5 1|6 2"},
        {"index right", "\1\0\5\0\2\0\x80\0\x77"s, true, 0, 2, {7, 7}, {7, 7}, "bad 1 2 |5 1|7 2"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Decode(row.block, row.isStereo, row.first, row.end, row.left, row.right), row.want)
            << row.name;
    EXPECT_EQ(ImaSamplesPerBlock(512, false), 1017u);
    EXPECT_EQ(ImaSamplesPerBlock(2048, true), 2041u);
}

// In parts it is decoded by voices that are compared in stream_equality_test.cpp.
TEST(ImaAdpcm, BlocksOfNoise) {
    for (uint32_t trial = 0; trial < 400; ++trial) {
        const bool isStereo = trial % 2 != 0;
        const uint32_t sizes[] = {8, 9, 36, 512, 2048, 4, 5, 6},
                       blockBytes = sizes[trial / 2 % (isStereo ? 5 : 8)];
        const std::string block = RandomBlocks(1, blockBytes, isStereo, trial);
        ASSERT_EQ(DecodeBlocks(block, blockBytes, isStereo), ModelDecode(block, isStereo))
            << "seed " << trial;
    }
}

}  // namespace
