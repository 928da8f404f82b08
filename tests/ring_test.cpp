// ring_test.cpp - the ring without an engine, at its edges: conversion to 16 bits, clearing, cursors. All
// else engine_model_test.cpp and kernel_test.cpp compare.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "core/mix_ring.h"

namespace {

using namespace AudioSystem;

constexpr uint32_t ringFrames = 26'460;

double Entry(double low, double high) {
    return (0x80000 + high) * 8796093022208.0 + (0x80000 + low) * 2048.0;  // 2^43 and 2^11
}

class Ring_t : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(AllocateRing(2 * ringFrames, 32768)); }
    void TearDown() override { FreeRing(); }

    static std::vector<int16_t> Convert(uint32_t start, uint32_t frames) {
        std::memset(outputStaging, 0x55, 32768);
        ConvertFrames(start, frames);
        std::vector<int16_t> words(2 * frames + 2);
        std::memcpy(words.data(), outputStaging, words.size() * 2);
        EXPECT_EQ(words[2 * frames], 0x5555) << "wrote past its frames";
        words.resize(2 * frames);
        return words;
    }
};

TEST_F(Ring_t, SumsBecomeWords) {
    const struct {
        double low, high;
        int16_t wantLow, wantHigh;
    } cases[] = {
        {32767, -32768, 32767, -32768},
        {40000, -40000, 32767, -32768},
        {-40000, 40000, -32768, 32767},
        {600000, 524287, 32767, 32767},
        {-524288, -524287, -32768, -32768},
        {2.5, 2.75, 2, 2},  // ties of the low one go to even; the high one goes down
        {3.5, -2.25, 4, -3},
        {-2.5, 0, -2, 0},
        {2.75, 0, 3, 0},
        {-1, 4 + 255 / 256.0, -1, 4},  // the fraction of the high slot stays there
    };
    EXPECT_EQ(std::bit_cast<uint64_t>(Entry(0, 0)), silentEntryBits);
    for (const auto& row : cases) {
        for (const uint32_t channel : {0u, 1u}) {
            std::vector<int16_t> want(4);
            want[channel] = row.wantLow;
            want[channel + 2] = row.wantHigh;
            ringEntries[10] = ringEntries[11] = Entry(0, 0);
            ringEntries[10 + channel] = Entry(row.low, row.high);
            EXPECT_EQ(Convert(20, 2), want) << row.low << ", " << row.high;
        }
    }
}

// Every frame of the ring holds its own number; stretches come out in order, round the end and up to it.
TEST_F(Ring_t, StretchesComeOutInOrder) {
    for (uint32_t frame = 0; frame < ringFrames; frame += 2) {
        ringEntries[frame] = Entry(frame, frame + 1);
        ringEntries[frame + 1] = Entry(-1.0 - frame, -2.0 - frame);
    }
    const uint32_t stretches[][2] = {{0, 8},        {52912, 8}, {52904, 8}, {52912, 4},
                                     {52916, 4000}, {0, 8188},  {52912, 0}};
    for (const auto [start, frames] : stretches) {
        std::vector<int16_t> want;
        for (uint32_t i = 0; i < frames; ++i) {
            const auto frame = static_cast<int16_t>((start / 2 + i) % ringFrames);
            want.insert(want.end(), {frame, static_cast<int16_t>(-1 - frame)});
        }
        EXPECT_EQ(Convert(start, frames), want) << start;
    }
}

// Exactly the entries from ringClear on lose their content, and both cursors move alike.
TEST_F(Ring_t, ClearsWhatTheCursorPasses) {
    EXPECT_EQ(ringClear, 36536u);
    const struct {
        uint32_t frames, base, clear;
    } steps[] = {
        {0, 0, 36536}, {13000, 26000, 9616}, {8196, 42392, 26008}, {13456, 16384, 0}, {26456, 16376, 52912}};
    const double mixed = Entry(7, 7);
    for (const auto [frames, base, clear] : steps) {
        const uint32_t first = ringClear / 2;
        std::fill_n(ringEntries, ringFrames, mixed);
        ClearAndAdvance(frames);
        EXPECT_EQ(ringBase, base);
        EXPECT_EQ(ringClear, clear);
        for (uint32_t i = 0; i < ringFrames; ++i) {
            const double want = i < frames ? Entry(0, 0) : mixed;
            ASSERT_EQ(ringEntries[(first + i) % ringFrames], want) << i << " entries on";
        }
    }
}

}  // namespace
