// mix_taps_avx2.cpp - the multi-source kernels for CPUs with AVX2. Host thread. Sixteen output frames at a
// time: the products of all taps of a channel are summed as 32-bit integers, which already lie as the two
// slots of an entry do, and enter it with one rounding.
//
// Only internal-linkage helpers besides the kernels, as in mix_kernels_avx2.cpp.
#include "kernels/mix_taps_avx2.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

constexpr uint32_t blockFrames = 16, blockEntries = 16;

// A block is a few dozen vectors that must stay in registers: left to itself the compiler makes calls of its
// parts.
#define RINGMIX_INLINE [[gnu::always_inline]] inline

// Four entries and what is added to them: in each 64-bit element the sums of the low and the high slot, plus
// 2^31. In units of 8 the low one counts 1, the high one 2^32.
//
// Added at once they would need more bits than a double has. So the entry is taken apart at 2^35; above and
// below, the sums are exact, and adding the two halves is the only rounding.
RINGMIX_INLINE __m256d AddSums(__m256d entries, __m256i sums) noexcept {
    // From 2^87 on a double is a multiple of 2^35, and its last bit counts that much: whole numbers can be
    // added to the bits. below comes out short of 2^87, so that it holds the 2^34 that the bias of the low
    // sum makes.
    constexpr double aboveUnit = 0x1p87 + 0x1p50, below = aboveUnit - 0x1p55 - 0x1p34;
    constexpr double aboveBias = aboveUnit + 0x1p66;  // the bias of the high sum
    const __m256d rounded = _mm256_add_pd(entries, _mm256_set1_pd(aboveUnit));
    const __m256d entriesBelow =
        _mm256_sub_pd(entries, _mm256_sub_pd(rounded, _mm256_set1_pd(below)));  // - 2^55 - 2^34
    const __m256i withHigh = _mm256_add_epi64(_mm256_castpd_si256(rounded), _mm256_srli_epi64(sums, 32));
    const __m256d high = _mm256_sub_pd(_mm256_castsi256_pd(withHigh), _mm256_set1_pd(aboveBias));
    // The bits of 2^55, whose last one counts 8, with the low sum in them.
    const __m256i low = _mm256_blend_epi32(sums, _mm256_set1_epi64x(0x4360000000000000), 0xAA);
    return _mm256_add_pd(high, _mm256_add_pd(entriesBelow, _mm256_castsi256_pd(low)));
}

RINGMIX_INLINE void AddToEntries(double* at, __m256i sums) noexcept {
    _mm256_storeu_pd(at, AddSums(_mm256_loadu_pd(at), sums));
}

// One channel's taps over a block: the sums of pairs 0, 1, 4, 5 and of pairs 2, 3, 6, 7.
struct channel_sums_t {
    __m256i outer, inner;
};

template <unsigned tapCount>
RINGMIX_INLINE channel_sums_t SumTaps(const __m256i* samples, const __m256i* gains) noexcept {
    const __m256i bias = _mm256_set1_epi32(INT32_MIN);
    channel_sums_t sums{bias, bias};
    for (unsigned tap = 0; tap < tapCount; tap += 2) {
        const __m256i first = samples[2 * tap];
        const __m256i second = tapCount == 1 ? _mm256_setzero_si256() : samples[2 * tap + 2];
        const __m256i gain = gains[tap];
        sums.outer =
            _mm256_add_epi32(sums.outer, _mm256_madd_epi16(_mm256_unpacklo_epi16(first, second), gain));
        sums.inner =
            _mm256_add_epi32(sums.inner, _mm256_madd_epi16(_mm256_unpackhi_epi16(first, second), gain));
    }
    return sums;
}

// samples alternate left, right, tap by tap, and are signed; silence is 0.
template <unsigned tapCount>
RINGMIX_INLINE void AddBlock(double* at, const __m256i* samples, const __m256i* gains) noexcept {
    const channel_sums_t left = SumTaps<tapCount>(samples, gains);
    const channel_sums_t right = SumTaps<tapCount>(samples + 1, gains + 1);
    const auto addPairs = [=](double* near, double* far, __m256i lefts, __m256i rights) noexcept {
        const __m256i even = _mm256_unpacklo_epi64(lefts, rights), odd = _mm256_unpackhi_epi64(lefts, rights);
        AddToEntries(near, _mm256_permute2x128_si256(even, odd, 0x20));
        AddToEntries(far, _mm256_permute2x128_si256(even, odd, 0x31));
    };
    addPairs(at, at + 8, left.outer, right.outer);
    addPairs(at + 4, at + 12, left.inner, right.inner);
}

// Memory form, as the high bytes of 16-bit samples if they are of 8 bits, to signed.
__m256i Signed(__m256i samples) noexcept { return _mm256_xor_si256(samples, _mm256_set1_epi16(INT16_MIN)); }

template <unsigned sampleBytes>
RINGMIX_INLINE __m256i LoadBlock(const uint8_t* at) noexcept {
    if constexpr (sampleBytes == 2) return Signed(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)));
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    return Signed(_mm256_slli_epi16(_mm256_cvtepu8_epi16(bytes), 8));
}

// One channel's way through its taps.
template <unsigned sampleBytes>
struct channel_t {
    uint32_t position, step;
    uint64_t endPosition;  // up to here a block of consecutive frames may be read; 0: never
    uint64_t endWindow;    // up to here windows at step may be

    static constexpr uint32_t windowFrames = 16 / sampleBytes;

    channel_t(uint32_t start, uint32_t step_, uint32_t outputFrames) : position(start), step(step_) {
        const uint64_t last = start + (uint64_t{outputFrames} - 1) * step;
        const uint64_t endFrame = (last >> 10) + 1;
        const auto endFor = [=](uint32_t frames) noexcept {
            return last <= UINT32_MAX && endFrame >= frames ? (endFrame - frames + 1) << 10 : 0;
        };
        endPosition = step == 1024 ? endFor(blockFrames) : 0;
        endWindow = step <= (windowFrames - 1) * 1024 / 3 ? endFor(windowFrames) : 0;
    }

    bool HasBlock() const noexcept { return position < endPosition; }
    bool HasWindows() const noexcept { return position + uint64_t{12} * step < endWindow; }

    size_t ByteOffset(uint32_t framesAhead) const noexcept {
        return size_t{(position + framesAhead * step) >> 10} * sampleBytes;
    }

    // The shuffle that takes 4 frames out of each of four windows.
    __m256i WindowShuffle() const noexcept {
        const int s = static_cast<int>(step);
        const __m256i frames = _mm256_setr_epi32(0, s, 2 * s, 3 * s, 0, s, 2 * s, 3 * s);
        const auto indices = [=, this](uint32_t low, uint32_t high) noexcept {
            const int a = static_cast<int>((position + low * step) & 1023),
                      b = static_cast<int>((position + high * step) & 1023);
            return _mm256_srli_epi32(_mm256_add_epi32(frames, _mm256_setr_epi32(a, a, a, a, b, b, b, b)), 10);
        };
        const __m256i words = _mm256_packs_epi32(indices(0, 8), indices(4, 12));
        if constexpr (sampleBytes == 2)
            return _mm256_add_epi16(_mm256_mullo_epi16(words, _mm256_set1_epi16(0x0202)),
                                    _mm256_set1_epi16(0x0100));
        return _mm256_or_si256(_mm256_slli_epi16(words, 8), _mm256_set1_epi16(0x0080));
    }

    __m256i LoadWindows(const uint8_t* source, __m256i shuffle) const noexcept {
        const auto load = [=, this](uint32_t low, uint32_t high) noexcept {
            const auto at = [=, this](uint32_t frame) noexcept {
                return _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + ByteOffset(frame)));
            };
            const __m256i window = _mm256_inserti128_si256(_mm256_castsi128_si256(at(low)), at(high), 1);
            return _mm256_shuffle_epi8(window, shuffle);
        };
        return Signed(_mm256_blend_epi32(load(0, 8), load(4, 12), 0xCC));
    }

    // Fewer frames, into the slots from firstSlot on; silence before and behind.
    __m256i LoadPart(const uint8_t* source, uint32_t firstSlot, uint32_t frames) const noexcept {
        uint8_t slots[blockFrames * sampleBytes + 16];
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(slots),
                            sampleBytes == 2 ? _mm256_set1_epi16(INT16_MIN) : _mm256_set1_epi8(INT8_MIN));
        uint8_t* to = slots + firstSlot * sampleBytes;
        if (step == 1024 && endPosition != 0) {
            memcpy(to, source + ByteOffset(0), frames * sampleBytes);
        } else {
            for (uint32_t i = 0; i < frames; ++i)
                memcpy(to + i * sampleBytes, source + ByteOffset(i), sampleBytes);
        }
        return LoadBlock<sampleBytes>(slots);
    }
};

template <unsigned sampleBytes, unsigned tapCount>
class walk_t {
  public:
    walk_t(const taps_t& taps_, uint32_t outputFrames) noexcept
        : taps(taps_),
          channels{{taps.starts[0], taps.step, outputFrames}, {taps.starts[1], taps.step, outputFrames}} {
        for (unsigned tap = 0; tap < tapCount; tap += 2) {
            for (unsigned channel = 0; channel < 2; ++channel) {
                const int32_t second = tapCount == 1 ? 0 : taps.k[2 * tap + 2 + channel];
                gains[tap + channel] = _mm256_set1_epi32(static_cast<int32_t>(
                    static_cast<uint32_t>(second) << 16 | static_cast<uint16_t>(taps.k[2 * tap + channel])));
            }
        }
    }

    // Mixes as many whole blocks as can be read without care.
    void AddBlocks(double*& at, uint32_t& frames) noexcept {
        __m256i samples[2 * tapCount];
        for (; frames >= blockFrames && channels[0].HasBlock() && channels[1].HasBlock();
             Advance(at, frames)) {
            for (unsigned i = 0; i < 2 * tapCount; ++i)
                samples[i] = LoadBlock<sampleBytes>(taps.sources[i] + channels[i % 2].ByteOffset(0));
            AddBlock<tapCount>(at, samples, gains);
        }
        for (; frames >= blockFrames && channels[0].HasWindows() && channels[1].HasWindows();
             Advance(at, frames)) {
            const __m256i shuffles[2] = {channels[0].WindowShuffle(), channels[1].WindowShuffle()};
            for (unsigned i = 0; i < 2 * tapCount; ++i)
                samples[i] = channels[i % 2].LoadWindows(taps.sources[i], shuffles[i % 2]);
            AddBlock<tapCount>(at, samples, gains);
        }
    }

    // Only the pairs that the frames touch are written.
    void AddPart(double* at, uint32_t firstSlot, uint32_t frames) noexcept {
        __m256i samples[2 * tapCount];
        for (unsigned i = 0; i < 2 * tapCount; ++i)
            samples[i] = channels[i % 2].LoadPart(taps.sources[i], firstSlot, frames);
        for (auto& channel : channels) channel.position += frames * channel.step;
        alignas(32) double entries[blockEntries];
        for (unsigned i = 0; i < blockEntries; i += 4) _mm256_store_pd(entries + i, _mm256_setzero_pd());
        const uint32_t endEntry = (firstSlot + frames + 1) & ~1u;
        for (uint32_t i = 0; i < endEntry; i += 2) _mm_store_pd(entries + i, _mm_loadu_pd(at + i));
        AddBlock<tapCount>(entries, samples, gains);
        for (uint32_t i = 0; i < endEntry; i += 2) _mm_storeu_pd(at + i, _mm_load_pd(entries + i));
    }

  private:
    void Advance(double*& at, uint32_t& frames) noexcept {
        at += blockEntries;
        frames -= blockFrames;
        for (auto& channel : channels) channel.position += blockFrames * channel.step;
    }

    const taps_t& taps;
    channel_t<sampleBytes> channels[2];
    __m256i gains[tapCount == 1 ? 2 : tapCount];  // alternating left, right, each of two taps
};

// Whether the sums of products stay in 32 bits: up to a gain of 255 of all taps of a channel together.
template <unsigned tapCount>
bool HasSmallGains(const taps_t& taps) noexcept {
    int64_t sums[2] = {};
    for (unsigned i = 0; i < 2 * tapCount; ++i) {
        if (taps.k[i] < -INT16_MAX || taps.k[i] > INT16_MAX) return false;
        sums[i % 2] += abs(taps.k[i]);
    }
    return sums[0] < 0xFFFF && sums[1] < 0xFFFF;
}

}  // namespace

template <unsigned sampleBytes, unsigned tapCount>
void MixTapsAvx2(double* entries, uint32_t ringAt, uint32_t outputFrames, const taps_t& taps) noexcept {
    if (outputFrames == 0) return;
    if (!HasSmallGains<tapCount>(taps))
        return portableKernels.taps[sampleBytes - 1][tapCount / 2](entries, ringAt, outputFrames, taps);
    walk_t<sampleBytes, tapCount> walk(taps, outputFrames);
    double* at = entries + (ringAt >> 1 & ~1u);
    if ((ringAt & 2) != 0) {
        walk.AddPart(at, 1, 1);
        at += 2;
        --outputFrames;
    }
    while (outputFrames != 0) {
        walk.AddBlocks(at, outputFrames);
        const uint32_t part = outputFrames < blockFrames ? outputFrames : blockFrames;
        if (part == 0) break;
        walk.AddPart(at, 0, part);
        at += blockEntries;
        outputFrames -= part;
    }
}

template void MixTapsAvx2<1, 1>(double*, uint32_t, uint32_t, const taps_t&) noexcept;
template void MixTapsAvx2<1, 2>(double*, uint32_t, uint32_t, const taps_t&) noexcept;
template void MixTapsAvx2<1, 4>(double*, uint32_t, uint32_t, const taps_t&) noexcept;
template void MixTapsAvx2<2, 1>(double*, uint32_t, uint32_t, const taps_t&) noexcept;
template void MixTapsAvx2<2, 2>(double*, uint32_t, uint32_t, const taps_t&) noexcept;
template void MixTapsAvx2<2, 4>(double*, uint32_t, uint32_t, const taps_t&) noexcept;

#endif
