// mix_kernels_portable.cpp - the kernels for any CPU. Host thread. Both channels of a pair go through one
// two-wide vector of the compiler's own kind, which becomes SSE2, NEON or scalar code.
//
// Without a fused multiply-add a product would be rounded before the sum is. So what is added, and the entry
// itself, are taken apart at 2^35: above and below, each sum is exact in a double, and adding the two sums is
// the only rounding.
#include <bit>
#include <cstddef>
#include <cstring>

#include "kernels/entry_format.h"
#include "kernels/mix_kernels.h"
#include "platform/sanitizer.h"

namespace {

static_assert(std::endian::native == std::endian::little, "samples are read as they lie in memory");

typedef double doubles_t __attribute__((vector_size(16)));  // left, right
typedef uint64_t integers_t __attribute__((vector_size(16)));

constexpr uint8_t silentFrame16[] = {0x00, 0x80, 0x00, 0x80};
constexpr uint8_t silentFrame8[] = {0x80, 0x80};

template <class value_t>
uint64_t Load(const uint8_t* from) noexcept {
    value_t value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <unsigned sampleBytes, unsigned channels>
struct format_t {
    static constexpr size_t frameBytes = sampleBytes * channels;
    static constexpr unsigned gainShift = sampleBytes == 2 ? 8 : 16;  // to 1/256 steps
    static constexpr const uint8_t* silentFrame = sampleBytes == 2 ? silentFrame16 : silentFrame8;

    // The packed words of two frames, still without their exponent.
    static integers_t Samples(const uint8_t* low, const uint8_t* high) noexcept {
        constexpr uint64_t each = 0x0000FFFF0000FFFF;
        if constexpr (frameBytes == 4) {
            const uint64_t both = Load<uint32_t>(low) | Load<uint32_t>(high) << 32;
            return integers_t{both & each, both >> 16 & each};
        } else if constexpr (channels == 2) {
            const uint64_t both = Load<uint16_t>(low) | Load<uint16_t>(high) << 32;
            return integers_t{both << 8 & each, both & each << 8 & each};
        } else if constexpr (sampleBytes == 2) {
            const uint64_t both = Load<uint16_t>(low) | Load<uint16_t>(high) << 32;
            return integers_t{both, both};
        } else {
            const uint64_t both = Load<uint8_t>(low) << 8 | Load<uint8_t>(high) << 40;
            return integers_t{both, both};
        }
    }
};

struct plain_t {
    doubles_t Sum(doubles_t entries, doubles_t words) const noexcept {
        return entries + (words - silentWord);
    }
};

struct gain_t {
    doubles_t gains;

    doubles_t Sum(doubles_t entries, doubles_t words) const noexcept {
        constexpr double atHighSlot = 0x1.8p95;  // a sum with this is a multiple of 2^43
        constexpr double atFraction = 0x1.8p87;  // and with this one of 2^35, the least of a high slot's
        const doubles_t offsets = words - silentWord;
        const doubles_t high = (offsets + atHighSlot) - atHighSlot;
        const doubles_t entryHigh = (entries + atFraction) - atFraction;
        return (entryHigh + high * gains) + ((entries - entryHigh) + (offsets - high) * gains);
    }
};

// One pair of entries from two source frames.
template <class format, class update_t>
void AddPair(double* pair, const uint8_t* low, const uint8_t* high, const update_t& update) noexcept {
    const integers_t bits = format::Samples(low, high) | wordExponentBits;
    doubles_t entries;
    std::memcpy(&entries, pair, sizeof entries);
    entries = update.Sum(entries, reinterpret_cast<doubles_t>(bits));
    std::memcpy(pair, &entries, sizeof entries);
}

// Places frames in slots one by one; takeFrame gives the source frames in order.
template <class format, class update_t, class take_t>
void AddFrames(double* pair, bool isOddStart, uint32_t frames, const update_t& update,
               take_t takeFrame) noexcept {
    if (frames == 0) return;
    if (isOddStart) {
        AddPair<format>(pair, format::silentFrame, takeFrame(), update);
        pair += 2;
        --frames;
    }
    for (; frames >= 2; frames -= 2, pair += 2) {
        const uint8_t* low = takeFrame();
        AddPair<format>(pair, low, takeFrame(), update);
    }
    if (frames != 0) AddPair<format>(pair, takeFrame(), format::silentFrame, update);
}

double* FirstPair(double* entries, uint32_t ringAt) noexcept { return entries + (ringAt >> 1 & ~1u); }

template <class format>
void MixPlain(double* entries, uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames,
              int32_t divisor) noexcept {
    double* pair = FirstPair(entries, ringAt);
    if (divisor == 1) {
        AddFrames<format>(pair, (ringAt & 2) != 0, sourceFrames, plain_t{}, [&source]() noexcept {
            const uint8_t* frame = source;
            source += format::frameBytes;
            return frame;
        });
    } else if (divisor == 2 || divisor == 4) {
        for (; sourceFrames != 0; --sourceFrames, source += format::frameBytes)
            for (int32_t repeats = divisor / 2; repeats != 0; --repeats, pair += 2)
                AddPair<format>(pair, source, source, plain_t{});
    }
}

template <class format>
void MixGain(double* entries, uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
             int32_t rightGain, uint32_t step, uint32_t fraction) noexcept {
    const gain_t gain{
        doubles_t{(leftGain >> format::gainShift) * 0x1p-8, (rightGain >> format::gainShift) * 0x1p-8}};
    uint32_t position = fraction;
    AddFrames<format>(FirstPair(entries, ringAt), (ringAt & 2) != 0, outputFrames, gain, [&]() noexcept {
        const uint8_t* frame = source + size_t{position >> 10} * format::frameBytes;
        position += step;
        return frame;
    });
}

// Several taps in one update: their sum, in whole units of 8, as every term is a multiple of 8. Wraps instead
// of overflowing: where the sum fits the slots, it is right however large the terms.
template <unsigned sampleBytes, unsigned tapCount>
void MixTaps(double* entries, uint32_t ringAt, uint32_t outputFrames, const taps_t& taps) noexcept {
    const uint32_t oddStart = ringAt >> 1 & 1;
    uint32_t positions[2] = {taps.starts[0] - oddStart * taps.step, taps.starts[1] - oddStart * taps.step};
    const uint64_t endSlot = uint64_t{oddStart} + outputFrames;
    const auto sampleAt = [&](unsigned tap, uint32_t position) noexcept -> uint64_t {
        const uint8_t* at = taps.sources[tap] + size_t{position >> 10} * sampleBytes;
        return (sampleBytes == 2 ? Load<uint16_t>(at) : Load<uint8_t>(at) << 8) - silentSample;
    };
    double* entry = FirstPair(entries, ringAt);
    for (uint64_t slot = 0; outputFrames != 0 && slot < endSlot; slot += 2) {
        const bool hasLow = slot >= oddStart, hasHigh = slot + 1 < endSlot;
        for (unsigned channel = 0; channel < 2; ++channel, ++entry) {
            uint32_t& position = positions[channel];
            uint64_t low = 0, high = 0;
            for (unsigned tap = channel; tap < 2 * tapCount; tap += 2) {
                const auto k = static_cast<uint64_t>(int64_t{taps.k[tap]});
                if (hasLow) low += sampleAt(tap, position) * k;
                if (hasHigh) high += sampleAt(tap, position + taps.step) * k;
            }
            position += 2 * taps.step;
            const auto before = static_cast<uint64_t>(static_cast<int64_t>(*entry * 0.125));
            *entry = static_cast<double>(static_cast<int64_t>(before + (high << 32) + low)) * 8.0;
        }
    }
}

int16_t Clip(int32_t sum) noexcept {
    return static_cast<int16_t>(sum < -32768 ? -32768 : sum > 32767 ? 32767 : sum);
}

// Both slots of an entry, where neither needs to be clipped: their bits from 0 and from 32 on, biased by
// 0x8000. Otherwise some bit above these 16 is set.
uint64_t Fields(uint64_t bits) noexcept {
    constexpr uint64_t mask = 0x000FFFFF00FFFFFF, bias = 0x80000 - 0x8000;
    return (bits & mask) - (bias << 32 | bias);
}

uint64_t ClippedFields(uint64_t bits) noexcept {
    const auto low = Clip(static_cast<int32_t>(bits & 0xFFFFFF) - 0x80000);
    const auto high = Clip(static_cast<int32_t>(bits >> 32 & 0xFFFFF) - 0x80000);
    return static_cast<uint64_t>(high + 0x8000) << 32 | static_cast<uint64_t>(low + 0x8000);
}

RINGMIX_NO_TSAN void Convert(const double* entries, uint32_t entryCount, uint8_t* out) noexcept {
    for (uint32_t e = 0; e < entryCount; e += 2, out += 8) {
        const auto leftBits = std::bit_cast<uint64_t>(entries[e] + 0x1p63);
        const auto rightBits = std::bit_cast<uint64_t>(entries[e + 1] + 0x1p63);
        uint64_t left = Fields(leftBits), right = Fields(rightBits);
        if (((left | right) & 0xFFFF0000FFFF0000) != 0) {
            left = ClippedFields(leftBits);
            right = ClippedFields(rightBits);
        }
        const uint64_t frames = (left | right << 16) ^ 0x8000800080008000;
        std::memcpy(out, &frames, sizeof frames);
    }
}

bool IsSupported() noexcept { return true; }

using mono8_t = format_t<1, 1>;
using stereo8_t = format_t<1, 2>;
using mono16_t = format_t<2, 1>;
using stereo16_t = format_t<2, 2>;

}  // namespace

constinit const kernel_set_t portableKernels = {
    "portable",
    IsSupported,
    {MixPlain<mono8_t>, MixPlain<stereo8_t>, MixPlain<mono16_t>, MixPlain<stereo16_t>},
    {MixGain<mono8_t>, MixGain<stereo8_t>, MixGain<mono16_t>, MixGain<stereo16_t>},
    {{MixTaps<1, 1>, MixTaps<1, 2>, MixTaps<1, 4>}, {MixTaps<2, 1>, MixTaps<2, 2>, MixTaps<2, 4>}},
    Convert,
};
