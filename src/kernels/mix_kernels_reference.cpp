// mix_kernels_reference.cpp - the definition of the kernels, in whole numbers. Host thread; never tuned.
// Every number here is an integer: an entry is a multiple of 8, and so is a word times k / 256.
#include "kernels/mix_kernels.h"

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

// One update of one entry: both slots at once, one rounding. A plain update is a gain of 256.
void UpdateEntry(double& entry, int128_t low, int128_t high, int64_t k) {
    const int128_t high1 = int128_t{1} << 43, low1 = int128_t{1} << 11;  // one sample step in each slot
    const int128_t word = high * high1 + low * low1;
    const int128_t bias = 128 * k * (high1 + low1);
    entry = RoundToDouble(static_cast<int128_t>(entry) + word * k / 256 - bias);
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
            UpdateEntry(entries[2 * pair + channel], slotSample(2 * pair, channel),
                        slotSample(2 * pair + 1, channel), channel == 0 ? leftK : rightK);
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

bool IsSupported() noexcept { return true; }

}  // namespace

constinit const kernel_set_t referenceKernels = {
    "reference",
    IsSupported,
    {MixPlain<false, false>, MixPlain<false, true>, MixPlain<true, false>, MixPlain<true, true>},
    {MixGain<false, false>, MixGain<false, true>, MixGain<true, false>, MixGain<true, true>},
};
