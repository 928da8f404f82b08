// The guard against an exact sum per slot that is held inside the slot after every voice.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <random>
#include <vector>

#include "core/mix_ring.h"
#include "kernels/mix_guard.h"
#include "kernels/mix_kernels.h"

namespace {

using namespace AudioSystem;

constexpr unsigned ringUnits = 52920;
constexpr unsigned stereo16 = KernelIndex(true, true);

struct MixGuard : testing::Test {
    void SetUp() override { ASSERT_TRUE(AllocateRing(ringUnits, 32768)); }
    void TearDown() override { FreeRing(); }

    static std::vector<double> Entries() { return {ringEntries, ringEntries + ringUnits / 2}; }

    // The slot of a frame in whole steps, the low one rounded as the conversion rounds it.
    static int32_t Slot(uint32_t frame, unsigned channel) {
        const auto bits =
            std::bit_cast<uint64_t>(ringEntries[frame / 2 * 2 + channel] + 9223372036854775808.0);
        const uint64_t field = frame % 2 == 0 ? bits & 0xFFFFFF : bits >> 32 & 0xFFFFF;
        return static_cast<int32_t>(field) - 0x80000;
    }
};

std::vector<uint8_t> Stereo16(const std::vector<int>& samples) {
    std::vector<uint8_t> bytes;
    for (const int sample : samples) {
        const auto word = static_cast<uint16_t>(sample + 0x8000);
        bytes.push_back(static_cast<uint8_t>(word & 0xFF));
        bytes.push_back(static_cast<uint8_t>(word >> 8));
    }
    return bytes;
}

// One row: that many voices of one sample value in even frames (low slot) and one in odd ones, left; silence
// right.
struct row_t {
    const char* name;
    int voices, even, odd, wantEven, wantOdd;
};

TEST_F(MixGuard, OnlyASumThatWouldLeaveItsSlotIsHeld) {
    const row_t rows[] = {
        {"16 of full scale have room", 16, -32768, 32767, -524288, 524272},
        {"17 high positive", 17, 0, 32767, 0, 524287},
        {"17 high negative", 17, 0, -32768, 0, -524288},
        {"17 low negative stays out of the high slot", 17, -32768, 100, -524288, 1700},
        {"40 low positive has room", 40, 32767, -3, 1310680, -120},
        {"600 low positive", 600, 32767, 0, 16252927, 0},
        {"both ends at once", 30, -32768, 32767, -524288, 524287},
    };
    for (const row_t& row : rows) {
        SCOPED_TRACE(row.name);
        FreeRing();
        ASSERT_TRUE(AllocateRing(ringUnits, 32768));
        std::vector<int> samples;
        for (int frame = 0; frame < 8; ++frame) {
            samples.push_back(frame % 2 == 0 ? row.even : row.odd);
            samples.push_back(0);
        }
        const auto source = Stereo16(samples), silent = Stereo16(std::vector<int>(16));
        for (int voice = 0; voice < row.voices; ++voice) {
            // Silence fills what is counted, so that the guard looks at two voices in the ring.
            for (int i = 0; voice == 2 && i < 14; ++i) MixPlainGuarded(stereo16, 1016, silent.data(), 8, 1);
            MixPlainGuarded(stereo16, 1016, source.data(), 8, 1);
        }
        for (uint32_t frame = 508; frame < 516; ++frame) {
            EXPECT_EQ(Slot(frame, 0), frame % 2 == 0 ? row.wantEven : row.wantOdd) << frame;
            EXPECT_EQ(Slot(frame, 1), 0) << frame;
        }
        EXPECT_EQ(std::bit_cast<uint64_t>(ringEntries[506]), silentEntryBits);
        EXPECT_EQ(std::bit_cast<uint64_t>(ringEntries[516]), silentEntryBits);
    }
}

// Whole steps only (gains of 1, 2 and 16), so that the model needs no rounding.
TEST_F(MixGuard, RandomLoadsGiveTheHeldSums) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 generator(seed);
        const auto random = [&] { return static_cast<uint32_t>(generator()); };
        FreeRing();
        ASSERT_TRUE(AllocateRing(ringUnits, 32768));
        const uint32_t base = random() % 20000;
        std::vector<int64_t> model(2 * 900);
        const unsigned bias = random() % 4;  // loud one way, so that slots do fill
        for (unsigned voice = 0; voice < 60; ++voice) {
            const uint32_t from = random() % 300, frames = random() % 600;
            const int gain = voice % 7 == 0 ? 16 : voice % 3 == 0 ? 2 : 1;
            std::vector<int> samples(2 * frames);
            for (int& s : samples) s = bias == 0 ? int(random() % 65536) - 32768 : bias == 1 ? 32767 : -32768;
            const auto source = Stereo16(samples);
            const uint32_t ringAt = 2 * (base + from);
            if (gain == 1) {
                MixPlainGuarded(stereo16, ringAt, source.data(), frames, 1);
            } else {
                MixGainGuarded(stereo16, ringAt, source.data(), frames, gain * 65536, 65536, 1024, 0);
            }
            for (uint32_t i = 0; i < 2 * frames; ++i) {
                const int64_t most = (base + from + i / 2) % 2 == 0 ? 16252927 : 524287;
                int64_t& sum = model[2 * from + i];
                sum = std::clamp<int64_t>(sum + samples[i] * (i % 2 == 0 ? gain : 1), -524288, most);
            }
        }
        for (uint32_t i = 0; i < model.size(); ++i) ASSERT_EQ(Slot(base + i / 2, i % 2), model[i]) << i;
    }
}

// A sum half a step below its slot is still at its lower end; where the odd frame is negative the entry has
// the bits to hold it.
TEST_F(MixGuard, FractionsAtTheLowerEndDoNotSpill) {
    const auto full = Stereo16({-32768, 0, -100, 0}), low = Stereo16({-1, 0, 0, 0}),
               silent = Stereo16({0, 0, 0, 0});
    for (const int k : {1, 32, 64, 127, 128, 200}) {
        SCOPED_TRACE(k);
        for (const int loud : {2, 20}) {  // one that only a look at the entries can tell, one that is held
            FreeRing();
            ASSERT_TRUE(AllocateRing(ringUnits, 32768));
            for (int voice = 0; voice < loud; ++voice) MixPlainGuarded(stereo16, 0, full.data(), 2, 1);
            MixGainGuarded(stereo16, 0, low.data(), 2, k * 256, k * 256, 1024, 0);
            for (int voice = 0; voice < 13; ++voice) MixPlainGuarded(stereo16, 0, silent.data(), 2, 1);
            for (int voice = 0; voice < 14; ++voice) MixPlainGuarded(stereo16, 0, full.data(), 2, 1);
            MixPlainGuarded(stereo16, 0, silent.data(), 2, 1);
            uint8_t out[8];
            ActiveKernels().convert(ringEntries, 2, out);
            int16_t samples[4];
            std::memcpy(samples, out, sizeof samples);
            EXPECT_EQ(samples[0], -32768) << loud;
            EXPECT_NEAR(samples[2], -100 * (loud + 14), 2) << loud;
        }
    }
}

TEST_F(MixGuard, AClearedStretchStartsAfresh) {
    const auto source = Stereo16(std::vector<int>(2 * 2000, 32767));
    const uint32_t at = ringClear;
    for (int voice = 0; voice < 20; ++voice) MixPlainGuarded(stereo16, at, source.data(), 2000, 1);
    EXPECT_EQ(Slot(at / 2 + 1, 0), 524287);
    ClearAndAdvance(2000);
    for (int voice = 0; voice < 20; ++voice) MixPlainGuarded(stereo16, at, source.data(), 1000, 1);
    for (uint32_t frame = at / 2; frame < at / 2 + 1000; ++frame) {
        ASSERT_EQ(Slot(frame, 1), frame % 2 == 0 ? 20 * 32767 : 524287) << frame;
    }
    EXPECT_EQ(Slot(at / 2 + 1001, 0), 0);
}

}  // namespace
