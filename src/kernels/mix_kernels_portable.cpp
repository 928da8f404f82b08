// mix_kernels_portable.cpp - the kernels for any CPU. Host thread.
//
// At full volume both channels of a pair go through one two-wide vector of the compiler's own kind, which
// becomes SSE2, NEON or scalar code. With a gain, without a fused multiply-add, a product would be rounded
// before the sum is; so these updates are made in whole numbers, and the conversion back to a double is the
// only rounding.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdlib>
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

template <unsigned sampleBytes_, unsigned channels_>
struct format_t {
    static constexpr unsigned sampleBytes = sampleBytes_, channels = channels_;
    static constexpr size_t frameBytes = sampleBytes * channels;
    static constexpr unsigned gainShift = sampleBytes == 2 ? 8 : 16;  // to 1/256 steps
    static constexpr const uint8_t* silentFrame = sampleBytes == 2 ? silentFrame16 : silentFrame8;

    // Two frames in one number; left and right bring each channel's samples to where they stand in its word,
    // an 8-bit one as the high byte of a 16-bit one. What else they bring along, sampleMask takes off.
    static constexpr uint64_t sampleMask = sampleBytes == 2 ? 0x0000FFFF0000FFFF : 0x0000FF000000FF00;

    static uint64_t Both(const uint8_t* low, const uint8_t* high) noexcept {
        if constexpr (frameBytes == 4) return Load<uint32_t>(low) | Load<uint32_t>(high) << 32;
        if constexpr (frameBytes == 2) return Load<uint16_t>(low) | Load<uint16_t>(high) << 32;
        return Load<uint8_t>(low) | Load<uint8_t>(high) << 32;
    }
    template <class number_t>
    static number_t Left(number_t both) noexcept {
        return sampleBytes == 2 ? both : both << 8;
    }
    template <class number_t>
    static number_t Right(number_t both) noexcept {
        return frameBytes == 4 ? both >> 16 : frameBytes == 1 ? both << 8 : both;
    }
};

// How samples enter a pair of entries.
struct plain_t {
    template <class format>
    void Add(double* pair, const uint8_t* low, const uint8_t* high) const noexcept {
        const integers_t both{format::Both(low, high)};
        const integers_t samples = __builtin_shufflevector(format::Left(both), format::Right(both), 0, 2);
        doubles_t entries;
        std::memcpy(&entries, pair, sizeof entries);
        entries +=
            reinterpret_cast<doubles_t>((samples & format::sampleMask) | wordExponentBits) - silentWord;
        std::memcpy(pair, &entries, sizeof entries);
    }
};

// In whole numbers, which hold all that fits the slots; beyond them they wrap.
struct gain_t {
    uint64_t k[2];  // left, right; in 1/256 steps, times 8: a word's last place counts 2^11
    uint64_t bias[2];

    static constexpr int32_t endK = 16 * 256;  // from here on one voice alone may pass a slot

    gain_t(int32_t left, int32_t right) noexcept
        : k{Scaled(left), Scaled(right)}, bias{k[0] * silentSamples, k[1] * silentSamples} {}

    template <class format>
    void Add(double* pair, const uint8_t* low, const uint8_t* high) const noexcept {
        const uint64_t both = format::Both(low, high);
        const uint64_t samples[] = {format::Left(both) & format::sampleMask,
                                    format::Right(both) & format::sampleMask};
        for (unsigned i = 0; i < 2; ++i) {
            const auto before = static_cast<uint64_t>(static_cast<int64_t>(pair[i]));
            pair[i] = static_cast<double>(static_cast<int64_t>(before + (samples[i] * k[i] - bias[i])));
        }
    }

  private:
    static constexpr uint64_t silentSamples = uint64_t{silentSample} << 32 | silentSample;

    static uint64_t Scaled(int32_t k) noexcept { return static_cast<uint64_t>(int64_t{k} * 8); }
};

// Source frames one after the other.
template <class format>
struct contiguous_t {
    const uint8_t* source;

    const uint8_t* TakeFrame() noexcept {
        const uint8_t* frame = source;
        source += format::frameBytes;
        return frame;
    }
};

// Source frames by position, in 1/1024 frames.
template <class format>
struct stepped_t {
    const uint8_t* source;
    uint32_t position, step;

    const uint8_t* TakeFrame() noexcept {
        const uint8_t* frame = source + size_t{position >> 10} * format::frameBytes;
        position += step;
        return frame;
    }
};

// Asks for the next voice's samples, a step for every eight frames that are mixed.
class fetch_t {
  public:
    fetch_t() : at(fetchAhead.at), stride(fetchAhead.bytesPer8Frames) {}
    ~fetch_t() { fetchAhead.at = at; }

    void Step() noexcept {
        __builtin_prefetch(reinterpret_cast<const void*>(at));
        at += stride;
    }

  private:
    uintptr_t at;
    const uintptr_t stride;
};

// Places frames in slots one by one.
template <class format, class frames_t, class update_t>
void AddFrames(double* pair, bool isOddStart, uint32_t count, frames_t frames,
               const update_t update) noexcept {
    if (count == 0) return;
    if (isOddStart) {
        update.template Add<format>(pair, format::silentFrame, frames.TakeFrame());
        pair += 2;
        --count;
    }
    const auto addTwo = [&]() noexcept {
        const uint8_t* low = frames.TakeFrame();
        update.template Add<format>(pair, low, frames.TakeFrame());
        pair += 2;
    };
    fetch_t fetch;
    for (; count >= 8; count -= 8) {
        fetch.Step();
        addTwo();
        addTwo();
        addTwo();
        addTwo();
    }
    for (; count >= 2; count -= 2) addTwo();
    if (count != 0) update.template Add<format>(pair, frames.TakeFrame(), format::silentFrame);
}

double* FirstPair(double* entries, uint32_t ringAt) noexcept { return entries + (ringAt >> 1 & ~1u); }

template <class format>
void MixPlain(double* entries, uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames,
              int32_t divisor) noexcept {
    double* pair = FirstPair(entries, ringAt);
    if (divisor == 1) {
        AddFrames<format>(pair, (ringAt & 2) != 0, sourceFrames, contiguous_t<format>{source}, plain_t{});
    } else if (divisor == 2 || divisor == 4) {
        for (; sourceFrames != 0; --sourceFrames, source += format::frameBytes)
            for (int32_t repeats = divisor / 2; repeats != 0; --repeats, pair += 2)
                plain_t{}.Add<format>(pair, source, source);
    }
}

template <class format>
void MixGain(double* entries, uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
             int32_t rightGain, uint32_t step, uint32_t fraction) noexcept {
    const int32_t left = leftGain >> format::gainShift, right = rightGain >> format::gainShift;
    if (std::max(std::abs(left), std::abs(right)) >= gain_t::endK)
        return referenceKernels.gain[KernelIndex(format::sampleBytes == 2, format::channels == 2)](
            entries, ringAt, source, outputFrames, leftGain, rightGain, step, fraction);
    const gain_t gain(left, right);
    double* pair = FirstPair(entries, ringAt);
    const bool isOddStart = (ringAt & 2) != 0;
    if (step == 1024) {
        source += size_t{fraction >> 10} * format::frameBytes;
        AddFrames<format>(pair, isOddStart, outputFrames, contiguous_t<format>{source}, gain);
    } else {
        AddFrames<format>(pair, isOddStart, outputFrames, stepped_t<format>{source, fraction, step}, gain);
    }
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

void Silence(double* entries, uint32_t entryCount) noexcept {
    std::fill(entries, entries + entryCount, silentEntry);
}

uint64_t Collect(const double* entries, uint32_t entryCount, uint64_t bias) noexcept {
    uint64_t seen = 0;
    for (uint32_t e = 0; e < entryCount; ++e) seen |= std::bit_cast<uint64_t>(entries[e] + 0x1p63) - bias;
    return seen;
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
    Silence,
    Collect,
};
