// mix_kernels_portable.cpp - the kernels for any CPU. Host thread. Without a fused multiply-add a gain update
// would round twice in doubles, so the gain path counts in integers of 8 (every term is a multiple of 8) and
// rounds once, on the way back.
#include <bit>
#include <cstddef>

#include "kernels/entry_format.h"
#include "kernels/mix_kernels.h"

namespace {

constexpr uint8_t silentFrame16[] = {0x00, 0x80, 0x00, 0x80};
constexpr uint8_t silentFrame8[] = {0x80, 0x80};

template <unsigned sampleBytes, unsigned channels>
struct format_t {
    static constexpr size_t frameBytes = sampleBytes * channels;
    static constexpr unsigned gainShift = sampleBytes == 2 ? 8 : 16;  // to 1/256 steps
    static constexpr bool isStereo = channels == 2;
    static constexpr const uint8_t* silentFrame = sampleBytes == 2 ? silentFrame16 : silentFrame8;

    // In 16-bit form, offset binary. The right channel of a mono frame is its left one.
    static uint32_t Sample(const uint8_t* frame, unsigned channel) noexcept {
        const uint8_t* at = frame + (isStereo ? channel * sampleBytes : 0);
        if constexpr (sampleBytes == 2) return static_cast<uint32_t>(at[0] | at[1] << 8);
        return static_cast<uint32_t>(at[0] << 8);
    }
};

struct plain_t {
    static void Update(double& entry, uint32_t low, uint32_t high, unsigned) noexcept {
        const uint64_t word = wordExponentBits | static_cast<uint64_t>(high) << 32 | low;
        entry += std::bit_cast<double>(word) - silentWord;
    }
};

struct gain_t {
    int64_t k[2];  // left, right

    // Wraps instead of overflowing: where the sum fits the slots, it is right however large the terms.
    void Update(double& entry, uint32_t low, uint32_t high, unsigned channel) const noexcept {
        const uint64_t silence = static_cast<uint64_t>(silentSample) << 32 | silentSample;
        const uint64_t samples = (static_cast<uint64_t>(high) << 32 | low) - silence;
        const uint64_t before = static_cast<uint64_t>(static_cast<int64_t>(entry * 0.125));
        const uint64_t after = before + samples * static_cast<uint64_t>(k[channel]);
        entry = static_cast<double>(static_cast<int64_t>(after)) * 8.0;
    }
};

// One pair of entries from two source frames.
template <class format, class update_t>
void AddPair(double* pair, const uint8_t* low, const uint8_t* high, const update_t& update) noexcept {
    update.Update(pair[0], format::Sample(low, 0), format::Sample(high, 0), 0);
    update.Update(pair[1], format::Sample(low, 1), format::Sample(high, 1), 1);
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
    const gain_t gain{{leftGain >> format::gainShift, rightGain >> format::gainShift}};
    uint32_t position = fraction;
    AddFrames<format>(FirstPair(entries, ringAt), (ringAt & 2) != 0, outputFrames, gain, [&]() noexcept {
        const uint8_t* frame = source + size_t{position >> 10} * format::frameBytes;
        position += step;
        return frame;
    });
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
};
