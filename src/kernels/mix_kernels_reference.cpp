// mix_kernels_reference.cpp - the definition of the kernels, in whole numbers. Host thread; never tuned.
// Every number here is an integer: an entry is a multiple of 8, and so is a word times k / 256.
#include <algorithm>
#include <bit>
#include <cstring>

#include "kernels/entry_format.h"
#include "kernels/mix_kernels.h"
#include "platform/sanitizer.h"

namespace {

__extension__ typedef __int128 int128_t;  // an update with any 32-bit gain fits

struct source_t {
    const uint8_t* bytes;
    bool is16Bit, isStereo;
};

// In 16-bit form, offset binary. A mono frame has the same sample on both channels.
int128_t SampleAt(const source_t& source, uint64_t frame, unsigned channel) {
    const uint64_t index = source.isStereo ? frame * 2 + channel : frame;
    if (source.is16Bit) return source.bytes[2 * index] + source.bytes[2 * index + 1] * 256;
    return source.bytes[index] * 256;
}

// What storing the exact value as a double does: to nearest with ties to even.
double RoundToDouble(int128_t value) {
    const bool isNegative = value < 0;
    int128_t magnitude = isNegative ? -value : value;
    int128_t unit = 1;  // the last place of a 53-bit mantissa
    while (magnitude >= (unit << 53)) unit *= 2;
    const int128_t rest = magnitude % unit;
    magnitude -= rest;
    const bool isOdd = (magnitude / unit) % 2 != 0;
    if (2 * rest > unit || (2 * rest == unit && isOdd)) magnitude += unit;
    return static_cast<double>(isNegative ? -magnitude : magnitude);
}

// What two samples at k / 256 add to both slots of an entry.
int128_t Contribution(int128_t low, int128_t high, int64_t k) {
    const int128_t high1 = int128_t{1} << 43, low1 = int128_t{1} << 11;  // one sample step in each slot
    const int128_t word = high * high1 + low * low1;
    const int128_t bias = 128 * k * (high1 + low1);
    return word * k / 256 - bias;
}

// One update of one entry, one rounding. A plain update is a gain of 256.
void UpdateEntry(double& entry, int128_t contribution) {
    entry = RoundToDouble(static_cast<int128_t>(entry) + contribution);
}

// Mixes output frames firstFrame to firstFrame + frames; output frame j of them takes source frame
// indexOf(j).
template <class index_t>
void MixFrames(double* entries, uint64_t firstFrame, uint64_t frames, const source_t& source, int64_t leftK,
               int64_t rightK, index_t indexOf) {
    if (frames == 0) return;
    auto slotSample = [&](uint64_t frame, unsigned channel) -> int128_t {
        const bool isMixed = frame >= firstFrame && frame - firstFrame < frames;
        return isMixed ? SampleAt(source, indexOf(frame - firstFrame), channel) : 0x8000;
    };
    const uint64_t firstPair = firstFrame / 2, lastPair = (firstFrame + frames - 1) / 2;
    for (uint64_t pair = firstPair; pair <= lastPair; ++pair) {
        for (unsigned channel = 0; channel < 2; ++channel)
            UpdateEntry(entries[2 * pair + channel],
                        Contribution(slotSample(2 * pair, channel), slotSample(2 * pair + 1, channel),
                                     channel == 0 ? leftK : rightK));
    }
}

template <bool is16Bit, bool isStereo>
void MixPlain(double* entries, uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames,
              int32_t divisor) noexcept {
    if (divisor != 1 && divisor != 2 && divisor != 4) return;
    const uint64_t repeats = static_cast<uint64_t>(divisor);
    uint64_t firstFrame = ringAt / 2;
    if (divisor != 1) firstFrame = firstFrame / 2 * 2;
    MixFrames(entries, firstFrame, sourceFrames * repeats, {source, is16Bit, isStereo}, 256, 256,
              [=](uint64_t j) { return j / repeats; });
}

template <bool is16Bit, bool isStereo>
void MixGain(double* entries, uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
             int32_t rightGain, uint32_t step, uint32_t fraction) noexcept {
    const unsigned gainShift = is16Bit ? 8 : 16;
    auto indexOf = [=](uint64_t j) { return (fraction + static_cast<uint32_t>(j) * step) >> 10; };
    MixFrames(entries, ringAt / 2, outputFrames, {source, is16Bit, isStereo}, leftGain >> gainShift,
              rightGain >> gainShift, indexOf);
}

// The taps of a channel are summed before they are rounded.
template <bool is16Bit, unsigned tapCount>
void MixTaps(double* entries, uint32_t ringAt, uint32_t outputFrames, const taps_t& taps) noexcept {
    if (outputFrames == 0) return;
    const uint64_t firstFrame = ringAt / 2, endFrame = firstFrame + outputFrames;
    for (uint64_t pair = firstFrame / 2; 2 * pair < endFrame; ++pair) {
        for (unsigned channel = 0; channel < 2; ++channel) {
            int128_t sum = 0;
            for (unsigned tap = channel; tap < 2 * tapCount; tap += 2) {
                auto slotSample = [&](uint64_t frame) -> int128_t {
                    if (frame < firstFrame || frame >= endFrame) return 0x8000;
                    const uint32_t j = static_cast<uint32_t>(frame - firstFrame);
                    return SampleAt({taps.sources[tap], is16Bit, false},
                                    (taps.starts[channel] + j * taps.step) >> 10, 0);
                };
                sum += Contribution(slotSample(2 * pair), slotSample(2 * pair + 1), taps.k[tap]);
            }
            UpdateEntry(entries[2 * pair + channel], sum);
        }
    }
}

int16_t Clip(int32_t sum) { return static_cast<int16_t>(std::clamp(sum, -32768, 32767)); }

// Adding 2^63 fixes the exponent: the slots then stand at fixed bits, the low one rounded.
RINGMIX_NO_TSAN void Convert(const double* entries, uint32_t entryCount, uint8_t* out) noexcept {
    for (uint32_t e = 0; e < entryCount; e += 2, out += 8) {
        for (uint32_t channel = 0; channel < 2; ++channel) {
            const auto fields = std::bit_cast<uint64_t>(entries[e + channel] + 0x1p63);
            const int16_t low = Clip(static_cast<int32_t>(fields & 0xFFFFFF) - 0x80000);
            const int16_t high = Clip(static_cast<int32_t>(fields >> 32 & 0xFFFFF) - 0x80000);
            std::memcpy(out + 2 * channel, &low, 2);
            std::memcpy(out + 2 * channel + 4, &high, 2);
        }
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

}  // namespace

constinit const kernel_set_t referenceKernels = {
    "reference",
    IsSupported,
    {MixPlain<false, false>, MixPlain<false, true>, MixPlain<true, false>, MixPlain<true, true>},
    {MixGain<false, false>, MixGain<false, true>, MixGain<true, false>, MixGain<true, true>},
    {{MixTaps<false, 1>, MixTaps<false, 2>, MixTaps<false, 4>},
     {MixTaps<true, 1>, MixTaps<true, 2>, MixTaps<true, 4>}},
    Convert,
    Silence,
    Collect,
};
