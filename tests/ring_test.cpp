// ring_test.cpp - the ring without an engine: conversion to 16 bits, clearing, cursors.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <vector>

#include "core/mix_ring.h"

namespace {

using namespace AudioSystem;

double Entry(double low, double high) {
    return (0x80000 + high) * 8796093022208.0 + (0x80000 + low) * 2048.0;  // 2^43 and 2^11
}

class Ring_t : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(AllocateRing(52920, 32768)); }
    void TearDown() override { FreeRing(); }

    std::vector<int16_t> Convert(uint32_t start, uint32_t frames) {
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
    struct case_t {
        const char* what;
        double low, high;
        int16_t wantLow, wantHigh;
    };
    const case_t cases[] = {
        {"plain", 1, -2, 1, -2},
        {"extremes", 32767, -32768, 32767, -32768},
        {"extremes, the other way", -32768, 32767, -32768, 32767},
        {"clipped", 40000, -40000, 32767, -32768},
        {"clipped, the other way", -40000, 40000, -32768, 32767},
        {"far up", 600000, 524287, 32767, 32767},
        {"far down", -524288, -524287, -32768, -32768},
        {"ties go to even", 2.5, 0, 2, 0},
        {"ties go to even, up", 3.5, 0, 4, 0},
        {"ties below 0", -2.5, 0, -2, 0},
        {"low is rounded", 2.75, 0, 3, 0},
        {"high goes down", 0, 2.75, 0, 2},
        {"high goes down below 0", 0, -2.25, 0, -3},
        {"the fraction of the high slot stays there", -1, 4 + 255 / 256.0, -1, 4},
    };
    EXPECT_EQ(std::bit_cast<uint64_t>(Entry(0, 0)), silentEntryBits);
    for (const case_t& row : cases) {
        for (const uint32_t channel : {0u, 1u}) {
            std::vector<int16_t> want(4);
            want[channel] = row.wantLow;
            want[channel + 2] = row.wantHigh;
            ringEntries[10] = ringEntries[11] = Entry(0, 0);
            ringEntries[10 + channel] = Entry(row.low, row.high);
            EXPECT_EQ(Convert(20, 2), want) << row.what;
        }
    }
}

// Every frame of the ring holds its own number; stretches come out in order, round the end and up to it.
TEST_F(Ring_t, StretchesComeOutInOrder) {
    constexpr uint32_t framesOfRing = 26460;
    for (uint32_t frame = 0; frame < framesOfRing; frame += 2) {
        ringEntries[frame] = Entry(frame, frame + 1);
        ringEntries[frame + 1] = Entry(-1.0 - frame, -2.0 - frame);
    }
    const struct {
        uint32_t start, frames;
    } stretches[] = {{0, 8},     {4, 2},     {52912, 8},    {52904, 8},
                     {52912, 4}, {52916, 2}, {52916, 4000}, {0, 8188}};
    for (const auto [start, frames] : stretches) {
        std::vector<int16_t> want;
        for (uint32_t i = 0; i < frames; ++i) {
            const auto frame = static_cast<int16_t>((start / 2 + i) % framesOfRing);
            want.insert(want.end(), {frame, static_cast<int16_t>(-1 - frame)});
        }
        EXPECT_EQ(Convert(start, frames), want) << start;
    }
    EXPECT_EQ(Convert(52912, 0).size(), 0u);
}

// Exactly the entries from ringClear on lose their content, and both cursors move alike.
TEST_F(Ring_t, ClearsWhatTheCursorPasses) {
    const struct {
        uint32_t frames, base, clear;
    } steps[] = {{0, 0, 36536},         {13000, 26000, 9616}, {0, 26000, 9616},
                 {8192, 42384, 26000},  {4, 42392, 26008},    {13456, 16384, 52920 - 52920},
                 {26456, 16376, 52912}, {4, 16384, 0}};
    const double mixed = Entry(7, 7);
    for (const auto [frames, base, clear] : steps) {
        const uint32_t first = ringClear / 2;
        for (uint32_t e = 0; e < ringLength / 2; ++e) ringEntries[e] = mixed;
        ClearAndAdvance(frames);
        EXPECT_EQ(ringBase, base);
        EXPECT_EQ(ringClear, clear);
        uint32_t wrong = 0;
        for (uint32_t i = 0; i < 26460; ++i) {
            const double want = i < frames ? std::bit_cast<double>(silentEntryBits) : mixed;
            wrong += ringEntries[(first + i) % 26460] != want;
        }
        EXPECT_EQ(wrong, 0u) << frames << " frames from entry " << first;
    }
}

}  // namespace
