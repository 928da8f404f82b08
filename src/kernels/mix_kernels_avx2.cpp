// mix_kernels_avx2.cpp - the kernels for CPUs with AVX2 and FMA. Host thread. Four entries at a time: two
// pairs, four output frames. A byte shuffle puts four source frames into packed words, the fused multiply-add
// rounds once.
//
// Only kernels and internal-linkage helpers here: this file alone is compiled for AVX2, and an inline
// function that it shared with others could be linked as its copy.
//
// No load reaches past the source frames that the counts call for, however wide it is. Every store is whole
// 8-byte entries: the mixing thread may be reading them.
#include "kernels/mix_kernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "kernels/entry_format.h"
#include "kernels/mix_taps_avx2.h"
#include "platform/sanitizer.h"

namespace {

constexpr unsigned groupFrames = 4;  // output frames of one step, and its entries

constexpr uint8_t silentFrame16[] = {0x00, 0x80, 0x00, 0x80};
constexpr uint8_t silentFrame8[] = {0x80, 0x80};

template <unsigned sampleBytes_, unsigned channels>
struct format_t {
    static constexpr unsigned sampleBytes = sampleBytes_;
    static constexpr unsigned frameBytes = sampleBytes * channels;
    static constexpr unsigned rightByte = channels == 2 ? sampleBytes : 0;  // of a frame
    static constexpr unsigned gainShift = sampleBytes == 2 ? 8 : 16;        // to 1/256 steps
    static constexpr const uint8_t* silentFrame = sampleBytes == 2 ? silentFrame16 : silentFrame8;
};

struct shuffle_t {
    alignas(32) uint8_t bytes[32];
};

// The shuffle from a block of source bytes, present in both lanes, to the words of one group. The block's
// source frames fill `divisor` output frames each.
template <class format, unsigned divisor>
constexpr shuffle_t MakeShuffle() {
    shuffle_t shuffle{};
    for (uint8_t& index : shuffle.bytes) index = 0x80;  // gives 0
    for (unsigned frame = 0; frame < groupFrames; ++frame) {
        for (unsigned channel = 0; channel < 2; ++channel) {
            const unsigned from = frame / divisor * format::frameBytes + channel * format::rightByte;
            const unsigned word = frame / 2 * 2 + channel;
            // An 8-bit sample is the high byte of a 16-bit one.
            const unsigned to = word * 8 + frame % 2 * 4 + (2 - format::sampleBytes);
            for (unsigned i = 0; i < format::sampleBytes; ++i)
                shuffle.bytes[to + i] = static_cast<uint8_t>(from + i);
        }
    }
    return shuffle;
}

template <class format, unsigned divisor>
constexpr shuffle_t groupShuffle = MakeShuffle<format, divisor>();

template <class value_t>
value_t Load(const uint8_t* from) noexcept {
    value_t value;
    memcpy(&value, from, sizeof value);
    return value;
}

// Exactly `bytes` bytes, repeated over both lanes.
template <unsigned bytes>
__m256i LoadBlock(const uint8_t* from) noexcept {
    if constexpr (bytes == 16)
        return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
    else if constexpr (bytes == 8)
        return _mm256_set1_epi64x(Load<int64_t>(from));
    else if constexpr (bytes == 4)
        return _mm256_set1_epi32(Load<int32_t>(from));
    else if constexpr (bytes == 2)
        return _mm256_set1_epi16(Load<int16_t>(from));
    else
        return _mm256_set1_epi8(Load<int8_t>(from));
}

// How a word, its silence taken off, enters an entry.
struct plain_t {
    __m256d Add(__m256d entries, __m256d words) const noexcept { return _mm256_add_pd(entries, words); }
    __m128d Add(__m128d entries, __m128d words) const noexcept { return _mm_add_pd(entries, words); }
};

struct gain_t {
    __m256d gains;  // left, right, left, right; 1.0 is k = 256

    __m256d Add(__m256d entries, __m256d words) const noexcept {
        return _mm256_fmadd_pd(words, gains, entries);
    }
    __m128d Add(__m128d entries, __m128d words) const noexcept {
        return _mm_fmadd_pd(words, _mm256_castpd256_pd128(gains), entries);
    }
};

template <class update_t>
void AddSamples(double* at, __m256i samples, const update_t& update) noexcept {
    const __m256i words = _mm256_or_si256(samples, _mm256_set1_epi64x(wordExponentBits));
    const __m256d offsets = _mm256_sub_pd(_mm256_castsi256_pd(words), _mm256_set1_pd(silentWord));
    _mm256_storeu_pd(at, update.Add(_mm256_loadu_pd(at), offsets));
}

template <class format, unsigned divisor, class update_t>
void AddGroup(double* at, __m256i block, const update_t& update) noexcept {
    const __m256i shuffle =
        _mm256_load_si256(reinterpret_cast<const __m256i*>(groupShuffle<format, divisor>.bytes));
    AddSamples(at, _mm256_shuffle_epi8(block, shuffle), update);
}

// The slow way, for the ends of a stretch: one pair from two source frames.
template <class format, class update_t>
void AddPair(double* at, const uint8_t* low, const uint8_t* high, const update_t& update) noexcept {
    auto word = [=](unsigned offset) noexcept {
        uint64_t samples;
        if constexpr (format::sampleBytes == 2)
            samples =
                static_cast<uint64_t>(Load<uint16_t>(high + offset)) << 32 | Load<uint16_t>(low + offset);
        else
            samples = static_cast<uint64_t>(high[offset]) << 40 | static_cast<uint64_t>(low[offset]) << 8;
        return static_cast<long long>(wordExponentBits | samples);
    };
    const __m128d words = _mm_castsi128_pd(_mm_set_epi64x(word(format::rightByte), word(0)));
    _mm_storeu_pd(at, update.Add(_mm_loadu_pd(at), _mm_sub_pd(words, _mm_set1_pd(silentWord))));
}

// Source frames one after the other.
template <class format>
struct contiguous_t {
    static constexpr bool canStep = false;
    const uint8_t* source;

    const uint8_t* TakeFrame() noexcept {
        const uint8_t* frame = source;
        source += format::frameBytes;
        return frame;
    }
    __m256i TakeGroup() noexcept {
        const __m256i block = LoadBlock<groupFrames * format::frameBytes>(source);
        source += groupFrames * format::frameBytes;
        return block;
    }
};

// Source frames by position, in 1/1024 frames.
template <class format>
struct stepped_t {
    static constexpr bool canStep = true;
    const uint8_t* source;
    uint32_t position, step;

    const uint8_t* TakeFrame() noexcept {
        const uint8_t* frame = source + size_t{position >> 10} * format::frameBytes;
        position += step;
        return frame;
    }
    // Loads frame by frame: near the end of a stretch nothing behind a frame may be read.
    __m256i TakeGroup() noexcept {
        const uint8_t* a = TakeFrame();
        const uint8_t* b = TakeFrame();
        const uint8_t* c = TakeFrame();
        const uint8_t* d = TakeFrame();
        if constexpr (format::frameBytes == 4) {
            return _mm256_broadcastsi128_si256(
                _mm_setr_epi32(Load<int32_t>(a), Load<int32_t>(b), Load<int32_t>(c), Load<int32_t>(d)));
        } else if constexpr (format::frameBytes == 2) {
            const uint32_t ab = Load<uint16_t>(a) | static_cast<uint32_t>(Load<uint16_t>(b)) << 16;
            const uint32_t cd = Load<uint16_t>(c) | static_cast<uint32_t>(Load<uint16_t>(d)) << 16;
            return _mm256_set1_epi64x(static_cast<long long>(ab | static_cast<uint64_t>(cd) << 32));
        } else {
            const uint32_t ab = static_cast<uint32_t>(*a | *b << 8);
            return _mm256_set1_epi32(static_cast<int>(ab | static_cast<uint32_t>(*c | *d << 8) << 16));
        }
    }
};

// Source frames by position, taken out of windows of 16 bytes, one for each half of a group: the frame at the
// half's own position and the one a step later. That one is step / 1024 frames on, or one more, as the
// fractions add up, so there are only two shuffles to choose from. The bytes of a window must all belong to
// frames that the call may read: towards the end of a stretch there is none, and stepped_t goes on.
template <class format>
class windows_t {
  public:
    windows_t(const stepped_t<format>& frames, uint32_t count)
        : near(ShuffleFor(frames.step >> 10)),
          far(ShuffleFor((frames.step >> 10) + 1)),
          mostFraction(_mm256_set1_epi32(Ordered(1023 - (frames.step & 1023)))),
          advance(_mm256_set1_epi32(Scaled(groupFrames * frames.step))) {
        const int low = Ordered(frames.position), high = Ordered(frames.position + 2 * frames.step);
        fractions = _mm256_setr_epi32(low, low, low, low, high, high, high, high);
        const uint64_t last = frames.position + (uint64_t{count} - 1) * frames.step;
        const uint64_t endFrame = (last >> 10) + 1;
        const bool isUsable = last <= UINT32_MAX && frames.step <= mostStep && endFrame >= windowFrames;
        endPosition = isUsable ? (endFrame - windowFrames + 1) << 10 : 0;
    }

    // Whether all windows of the next groups lie inside the stretch.
    bool Holds(const stepped_t<format>& frames, uint32_t groups) const noexcept {
        return frames.position + uint64_t{groups * groupFrames - 2} * frames.step < endPosition;
    }

    // The words of a group, without their exponents.
    __m256i TakeSamples(stepped_t<format>& frames) noexcept {
        const uint8_t* low = frames.source + size_t{frames.position >> 10} * format::frameBytes;
        const uint8_t* high =
            frames.source + size_t{(frames.position + 2 * frames.step) >> 10} * format::frameBytes;
        const __m256i window =
            _mm256_inserti128_si256(_mm256_castsi128_si256(LoadWindow(low)), LoadWindow(high), 1);
        const __m256i isFar = _mm256_cmpgt_epi32(fractions, mostFraction);
        fractions = _mm256_add_epi32(fractions, advance);
        frames.position += groupFrames * frames.step;
        return _mm256_shuffle_epi8(window, _mm256_blendv_epi8(near, far, isFar));
    }

  private:
    static constexpr unsigned windowFrames = 16 / format::frameBytes;
    static constexpr uint32_t mostStep = (windowFrames - 1) << 10;  // the second frame is still in the window
    // The bytes of a slot that a sample fills.
    static constexpr int sampleBytesMask = format::sampleBytes == 2 ? 0x0101 : 0x0100;

    // The shuffle that takes every slot from the window's first frame.
    static constexpr shuffle_t firstFrames = MakeShuffle<format, groupFrames>();

    // The high slots from a later frame.
    static __m256i ShuffleFor(uint32_t laterFrame) noexcept {
        const auto offset = static_cast<int>(laterFrame * format::frameBytes * sampleBytesMask);
        return _mm256_add_epi8(_mm256_load_si256(reinterpret_cast<const __m256i*>(firstFrames.bytes)),
                               _mm256_setr_epi32(0, offset, 0, offset, 0, offset, 0, offset));
    }

    // A position's fraction at the upper end of a word, where what passes a whole frame falls off; and the
    // same, made to be compared as a signed number.
    static int Scaled(uint32_t position) noexcept { return static_cast<int>(position << 22); }
    static int Ordered(uint32_t position) noexcept { return Scaled(position ^ 512); }

    static __m128i LoadWindow(const uint8_t* from) noexcept {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    }

    const __m256i near, far;
    const __m256i mostFraction;  // up to here the near one
    const __m256i advance;
    __m256i fractions;  // of each half's first frame
    uint64_t endPosition;
};

// Asks for the next voice's samples, a step for every eight frames that are mixed.
class fetch_t {
  public:
    fetch_t() : at(fetchAhead.at), stride(fetchAhead.bytesPer8Frames) {}
    ~fetch_t() { fetchAhead.at = at; }

    void Step() noexcept {
        _mm_prefetch(reinterpret_cast<const char*>(at), _MM_HINT_T0);
        at += stride;
    }
    // One request for both where they lie in one line.
    void StepTwice() noexcept {
        _mm_prefetch(reinterpret_cast<const char*>(at), _MM_HINT_T0);
        if (stride > 32) _mm_prefetch(reinterpret_cast<const char*>(at + stride), _MM_HINT_T0);
        at += 2 * stride;
    }

  private:
    uintptr_t at;
    const uintptr_t stride;
};

double* FirstPair(double* entries, uint32_t ringAt) noexcept { return entries + (ringAt >> 1 & ~1u); }

template <class format, class frames_t, class update_t>
void AddFrames(double* entries, uint32_t ringAt, uint32_t count, frames_t frames,
               const update_t update) noexcept {
    if (count == 0) return;
    double* at = FirstPair(entries, ringAt);
    if ((ringAt & 2) != 0) {
        AddPair<format>(at, format::silentFrame, frames.TakeFrame(), update);
        at += 2;
        --count;
    }
    fetch_t fetch;
    if constexpr (frames_t::canStep) {
        if (count >= groupFrames) {
            windows_t<format> windows(frames, count);
            for (; count >= 2 * groupFrames && windows.Holds(frames, 2); count -= 2 * groupFrames) {
                fetch.Step();
                AddSamples(at, windows.TakeSamples(frames), update);
                AddSamples(at + groupFrames, windows.TakeSamples(frames), update);
                at += 2 * groupFrames;
            }
        }
    }
    if constexpr (!frames_t::canStep) {  // four at a time: the loop itself costs as much as a group
        for (; count >= 4 * groupFrames; count -= 4 * groupFrames, at += 4 * groupFrames) {
            fetch.StepTwice();
            for (unsigned i = 0; i < 4; ++i)
                AddGroup<format, 1>(at + i * groupFrames, frames.TakeGroup(), update);
        }
    }
    for (; count >= groupFrames; count -= groupFrames, at += groupFrames)
        AddGroup<format, 1>(at, frames.TakeGroup(), update);
    if (count >= 2) {
        const uint8_t* low = frames.TakeFrame();
        AddPair<format>(at, low, frames.TakeFrame(), update);
        at += 2;
        count -= 2;
    }
    if (count != 0) AddPair<format>(at, frames.TakeFrame(), format::silentFrame, update);
}

// Divisors 2 and 4: each source frame fills both slots of one pair, or of two.
template <class format, unsigned divisor>
void AddRepeated(double* at, const uint8_t* source, uint32_t sourceFrames) noexcept {
    constexpr unsigned blockFrames = groupFrames / divisor;
    constexpr unsigned blockBytes = blockFrames * format::frameBytes;
    const auto addGroup = [&]() noexcept {
        AddGroup<format, divisor>(at, LoadBlock<blockBytes>(source), plain_t{});
        source += blockBytes;
        at += groupFrames;
    };
    fetch_t fetch;
    for (; sourceFrames >= 4 * blockFrames; sourceFrames -= 4 * blockFrames) {
        fetch.StepTwice();
        for (unsigned i = 0; i < 4; ++i) addGroup();
    }
    for (; sourceFrames >= blockFrames; sourceFrames -= blockFrames) addGroup();
    if (sourceFrames != 0) AddPair<format>(at, source, source, plain_t{});
}

template <class format>
void MixPlain(double* entries, uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames,
              int32_t divisor) noexcept {
    if (divisor == 1)
        AddFrames<format>(entries, ringAt, sourceFrames, contiguous_t<format>{source}, plain_t{});
    else if (divisor == 2)
        AddRepeated<format, 2>(FirstPair(entries, ringAt), source, sourceFrames);
    else if (divisor == 4)
        AddRepeated<format, 4>(FirstPair(entries, ringAt), source, sourceFrames);
}

template <class format>
void MixGain(double* entries, uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
             int32_t rightGain, uint32_t step, uint32_t fraction) noexcept {
    const double left = (leftGain >> format::gainShift) * 0x1p-8;
    const double right = (rightGain >> format::gainShift) * 0x1p-8;
    const gain_t gain{_mm256_setr_pd(left, right, left, right)};
    if (step == 1024) {
        source += size_t{fraction >> 10} * format::frameBytes;
        AddFrames<format>(entries, ringAt, outputFrames, contiguous_t<format>{source}, gain);
    } else {
        AddFrames<format>(entries, ringAt, outputFrames, stepped_t<format>{source, fraction, step}, gain);
    }
}

// Eight frames of packed saturation at a time, then the rest pair by pair. No part of it that touches memory
// is a function of its own: the ring is read while the host adds to it, and the thread sanitizer is to look
// away from all of that.
RINGMIX_NO_TSAN void Convert(const double* entries, uint32_t entryCount, uint8_t* out) noexcept {
    const __m256d fieldBase = _mm256_set1_pd(0x1p63);  // fixes the exponent: slots at fixed bits
    const __m256i fieldMask = _mm256_set1_epi64x(0x000FFFFF00FFFFFF), bias = _mm256_set1_epi32(0x80000);
    const auto slots = [=](__m256d values) noexcept {
        const __m256i bits = _mm256_castpd_si256(_mm256_add_pd(values, fieldBase));
        return _mm256_sub_epi32(_mm256_and_si256(bits, fieldMask), bias);
    };
    const __m256i byFrame = _mm256_setr_epi8(0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15, 0, 1, 4, 5,
                                             2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15);
    for (; entryCount >= 16; entryCount -= 16, entries += 16, out += 64) {
        for (unsigned i = 0; i < 16; i += 8) {
            const __m256i words = _mm256_packs_epi32(slots(_mm256_loadu_pd(entries + i)),
                                                     slots(_mm256_loadu_pd(entries + i + 4)));
            const __m256i frames = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(words, byFrame), 0xD8);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + std::size_t{4} * i), frames);
        }
    }
    for (; entryCount != 0; entryCount -= 2, entries += 2, out += 8) {
        const __m256i pair = slots(_mm256_castpd128_pd256(_mm_loadu_pd(entries)));
        const __m256i frame = _mm256_shuffle_epi8(_mm256_packs_epi32(pair, pair), byFrame);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(frame));
    }
}

void Silence(double* entries, uint32_t entryCount) noexcept {
    const __m256d silence = _mm256_set1_pd(silentEntry);
    for (; entryCount >= 16; entryCount -= 16, entries += 16)
        for (unsigned i = 0; i < 16; i += 4) _mm256_storeu_pd(entries + i, silence);
    for (; entryCount != 0; --entryCount, ++entries) *entries = silentEntry;
}

uint64_t Collect(const double* entries, uint32_t entryCount, uint64_t bias) noexcept {
    const __m256d fieldBase = _mm256_set1_pd(0x1p63);
    const __m256i biases = _mm256_set1_epi64x(static_cast<long long>(bias));
    __m256i seen = _mm256_setzero_si256();
    const auto look = [&](__m256d values) noexcept {
        const __m256i fields =
            _mm256_sub_epi64(_mm256_castpd_si256(_mm256_add_pd(values, fieldBase)), biases);
        seen = _mm256_or_si256(seen, fields);
    };
    for (; entryCount >= 16; entryCount -= 16, entries += 16)
        for (unsigned i = 0; i < 16; i += 4) look(_mm256_loadu_pd(entries + i));
    for (; entryCount != 0; --entryCount, ++entries) look(_mm256_broadcast_sd(entries));
    const __m128i half = _mm_or_si128(_mm256_castsi256_si128(seen), _mm256_extracti128_si256(seen, 1));
    return static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_or_si128(half, _mm_unpackhi_epi64(half, half))));
}

bool IsSupported() noexcept { return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"); }

using mono8_t = format_t<1, 1>;
using stereo8_t = format_t<1, 2>;
using mono16_t = format_t<2, 1>;
using stereo16_t = format_t<2, 2>;

}  // namespace

constinit const kernel_set_t avx2Kernels = {
    "avx2",
    IsSupported,
    {MixPlain<mono8_t>, MixPlain<stereo8_t>, MixPlain<mono16_t>, MixPlain<stereo16_t>},
    {MixGain<mono8_t>, MixGain<stereo8_t>, MixGain<mono16_t>, MixGain<stereo16_t>},
    {{MixTapsAvx2<1, 1>, MixTapsAvx2<1, 2>, MixTapsAvx2<1, 4>},
     {MixTapsAvx2<2, 1>, MixTapsAvx2<2, 2>, MixTapsAvx2<2, 4>}},
    Convert,
    Silence,
    Collect,
};

#endif
