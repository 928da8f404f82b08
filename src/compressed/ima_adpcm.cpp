// ima_adpcm.cpp - decodes two nibbles with one look-up, and both channels of a frame side by side where the
// CPU has saturating 16-bit vectors.
#include "compressed/ima_adpcm.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

constexpr int32_t lastStepIndex = 88;

constexpr int32_t stepTable[lastStepIndex + 1] = {
    7,    8,     9,     10,    11,    12,    13,    14,    16,    17,    19,    21,    23,    25,   28,
    31,   34,    37,    41,    45,    50,    55,    60,    66,    73,    80,    88,    97,    107,  118,
    130,  143,   157,   173,   190,   209,   230,   253,   279,   307,   337,   371,   408,   449,  494,
    544,  598,   658,   724,   796,   876,   963,   1060,  1166,  1282,  1411,  1552,  1707,  1878, 2066,
    2272, 2499,  2749,  3024,  3327,  3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845, 8630,
    9493, 10442, 11487, 12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767};

constexpr int32_t indexTable[16] = {-1, -1, -1, -1, 2, 4, 6, 8, -1, -1, -1, -1, 2, 4, 6, 8};

constexpr int32_t Difference(int32_t step, unsigned nibble) {
    int32_t difference = step >> 3;
    if (nibble & 1) difference += step >> 2;
    if (nibble & 2) difference += step >> 1;
    if (nibble & 4) difference += step;
    return nibble & 8 ? -difference : difference;
}

constexpr uint32_t stepIndices = lastStepIndex + 1;

constexpr uint8_t NextStepIndex(uint32_t index, unsigned nibble) {
    return static_cast<uint8_t>(
        std::clamp(static_cast<int32_t>(index) + indexTable[nibble], 0, lastStepIndex));
}

// A difference has up to 17 bits: in two parts of the same sign, added one after the other with saturation at
// 16 bits, it leads to the same sample.
struct difference_t {
    int16_t part, rest;
};

struct differences_t {
    difference_t first, second;
};

constexpr difference_t InParts(int32_t difference) {
    return {static_cast<int16_t>(difference / 2), static_cast<int16_t>(difference - difference / 2)};
}

// Two nibbles at once, the earlier one in the low half of the pair. A column for each step index: the row, of
// the pair, is known ahead. Only the step from index to index has to wait for the one before it, so that
// table is kept apart and small.
template <typename Value>
constexpr auto MakePairTable(Value value) {
    std::array<decltype(value(0, 0)), 256 * stepIndices> table{};
    for (uint32_t i = 0; i < table.size(); ++i) table[i] = value(i % stepIndices, i / stepIndices);
    return table;
}

constexpr auto afterPair = MakePairTable(
    [](uint32_t index, unsigned pair) { return NextStepIndex(NextStepIndex(index, pair & 15), pair >> 4); });
constexpr auto pairDifferences = MakePairTable([](uint32_t index, unsigned pair) {
    const uint32_t between = NextStepIndex(index, pair & 15);
    return differences_t{InParts(Difference(stepTable[index], pair & 15)),
                         InParts(Difference(stepTable[between], pair >> 4))};
});

// One channel on its way through a block.
struct decoder_t {
    uint64_t index;
    int32_t predictor;

    explicit decoder_t(const ImaChannelState_t& state)
        : index(static_cast<uint64_t>(state.stepIndex)), predictor(state.predictor) {}

    // A branch rather than a clamp: it is hardly ever taken, and costs the next sample no wait.
    int16_t Move(int32_t difference) {
        predictor += difference;
        if (predictor != static_cast<int16_t>(predictor)) [[unlikely]]
            predictor = predictor < 0 ? -32768 : 32767;
        return static_cast<int16_t>(predictor);
    }

    int16_t Decode(unsigned nibble) {
        const auto now = static_cast<uint32_t>(index);
        index = NextStepIndex(now, nibble);
        return Move(Difference(stepTable[now], nibble));
    }

    const differences_t& TakeTwo(unsigned pair) {
        const uint64_t row = pair * stepIndices;
        const differences_t& differences = (&pairDifferences[row])[index];
        index = (&afterPair[row])[index];
        return differences;
    }

    void Leave(ImaChannelState_t& state) const {
        state.stepIndex = static_cast<int32_t>(index);
        state.predictor = predictor;
    }
};

int16_t ReadSample(const uint8_t* bytes) {
    return static_cast<int16_t>(static_cast<uint16_t>(bytes[0] | bytes[1] << 8));
}

bool ReadHead(const uint8_t* head, int16_t* dest, ImaChannelState_t& state) {
    state.predictor = *dest = ReadSample(head);
    if (head[2] > lastStepIndex) return false;  // also what would be negative as a signed byte
    state.stepIndex = head[2];
    return head[3] == 0;
}

void WriteHead(uint8_t* head, int16_t sample, ImaChannelState_t& state) {
    state.predictor = sample;
    head[0] = static_cast<uint8_t>(sample & 0xFF);
    head[1] = static_cast<uint8_t>(static_cast<uint16_t>(sample) >> 8);
    head[2] = static_cast<uint8_t>(state.stepIndex);
    head[3] = 0;
}

unsigned Encode(int16_t sample, ImaChannelState_t& state) {
    return EncodeSample(sample, state.stepIndex, state.predictor);
}

// Two frames from each two bytes: the left nibbles are the high ones.
unsigned LeftPair(const uint8_t* bytes) { return bytes[0] >> 4 | (bytes[1] & 0xF0u); }
unsigned RightPair(const uint8_t* bytes) { return (bytes[0] & 15u) | (bytes[1] & 15u) << 4; }

#if defined(__SSE2__)

__m128i Load(const differences_t& from) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&from)); }

// parts holds one sample's in its lowest bits, the next one's `distance` bytes on.
template <int distance>
__m128i AddParts(__m128i predictors, __m128i parts) {
    return _mm_adds_epi16(_mm_adds_epi16(predictors, parts), _mm_srli_si128(parts, distance));
}

void DecodeMonoPairs(const uint8_t* bytes, uint32_t pairs, int16_t* dest, decoder_t& decoder) {
    __m128i predictor = _mm_cvtsi32_si128(decoder.predictor);
    for (; pairs != 0; --pairs, ++bytes, dest += 2) {
        const __m128i parts = Load(decoder.TakeTwo(*bytes));
        const __m128i first = AddParts<2>(predictor, parts);
        predictor = AddParts<2>(first, _mm_srli_si128(parts, 4));
        const int32_t both = _mm_cvtsi128_si32(_mm_unpacklo_epi16(first, predictor));
        std::memcpy(dest, &both, sizeof both);
    }
    decoder.predictor = static_cast<int16_t>(_mm_extract_epi16(predictor, 0));
}

// Both channels side by side.
void DecodeStereoPairs(const uint8_t* bytes, uint32_t pairs, int16_t* dest, decoder_t& left,
                       decoder_t& right) {
    __m128i predictors =
        _mm_unpacklo_epi16(_mm_cvtsi32_si128(left.predictor), _mm_cvtsi32_si128(right.predictor));
    for (; pairs != 0; --pairs, bytes += 2, dest += 4) {
        const __m128i parts =
            _mm_unpacklo_epi16(Load(left.TakeTwo(LeftPair(bytes))), Load(right.TakeTwo(RightPair(bytes))));
        const __m128i first = AddParts<4>(predictors, parts);
        predictors = AddParts<4>(first, _mm_srli_si128(parts, 8));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dest), _mm_unpacklo_epi32(first, predictors));
    }
    left.predictor = static_cast<int16_t>(_mm_extract_epi16(predictors, 0));
    right.predictor = static_cast<int16_t>(_mm_extract_epi16(predictors, 1));
}

#else

void DecodeTwo(decoder_t& decoder, unsigned pair, int16_t* first, int16_t* second) {
    const differences_t differences = decoder.TakeTwo(pair);  // a copy: the samples may not lie in it
    *first = decoder.Move(differences.first.part + differences.first.rest);
    *second = decoder.Move(differences.second.part + differences.second.rest);
}

void DecodeMonoPairs(const uint8_t* bytes, uint32_t pairs, int16_t* dest, decoder_t& decoder) {
    for (; pairs != 0; --pairs, ++bytes, dest += 2) DecodeTwo(decoder, *bytes, dest, dest + 1);
}

void DecodeStereoPairs(const uint8_t* bytes, uint32_t pairs, int16_t* dest, decoder_t& left,
                       decoder_t& right) {
    for (; pairs != 0; --pairs, bytes += 2, dest += 4) {
        DecodeTwo(left, LeftPair(bytes), dest, dest + 2);
        DecodeTwo(right, RightPair(bytes), dest + 1, dest + 3);
    }
}

#endif

}  // namespace

bool DecodeBlockMono(const uint8_t* block, int16_t* dest, uint32_t firstFrame, uint32_t endFrame,
                     ImaChannelState_t* state) noexcept {
    if (firstFrame >= endFrame) return true;
    uint32_t frame = firstFrame;
    if (frame == 0) {
        if (!ReadHead(block, dest++, *state)) return false;
        ++frame;
    }
    decoder_t decoder(*state);
    const uint8_t* bytes = block + 4 + (frame - 1) / 2;
    if (frame % 2 == 0 && frame < endFrame) {
        *dest++ = decoder.Decode(*bytes++ >> 4);
        ++frame;
    }
    const uint32_t pairs = (endFrame - frame) / 2;
    DecodeMonoPairs(bytes, pairs, dest, decoder);
    if ((endFrame - frame) % 2 != 0) dest[std::size_t{2} * pairs] = decoder.Decode(bytes[pairs] & 15);
    decoder.Leave(*state);
    return true;
}

bool DecodeBlockStereo(const uint8_t* block, int16_t* dest, uint32_t firstFrame, uint32_t endFrame,
                       ImaChannelState_t* state) noexcept {
    if (firstFrame >= endFrame) return true;
    uint32_t frame = firstFrame;
    if (frame == 0) {
        if (!ReadHead(block, dest++, state[0])) return false;
        if (!ReadHead(block + 4, dest++, state[1])) return false;
        ++frame;
    }
    decoder_t left(state[0]), right(state[1]);
    const uint8_t* bytes = block + 7 + frame;
    const uint32_t pairs = (endFrame - frame) / 2;
    DecodeStereoPairs(bytes, pairs, dest, left, right);
    bytes += std::size_t{2} * pairs;
    dest += std::size_t{4} * pairs;
    if ((endFrame - frame) % 2 != 0) {
        dest[0] = left.Decode(*bytes >> 4);
        dest[1] = right.Decode(*bytes & 15);
    }
    left.Leave(state[0]);
    right.Leave(state[1]);
    return true;
}

uint8_t EncodeSample(int16_t sample, int32_t& stepIndex, int32_t& predictor) noexcept {
    int32_t difference = sample - predictor;
    int32_t step = stepTable[stepIndex];
    unsigned nibble = 0;
    if (difference < 0) {
        nibble = 8;
        difference = -difference;
    }
    for (unsigned bit = 4; bit > 0; bit >>= 1, step >>= 1) {
        if (difference >= step) {
            nibble |= bit;
            difference -= step;
        }
    }
    decoder_t decoder({stepIndex, predictor});
    decoder.Decode(nibble);
    ImaChannelState_t next;
    decoder.Leave(next);
    stepIndex = next.stepIndex;
    predictor = next.predictor;
    return static_cast<uint8_t>(nibble);
}

void EncodeBlockMono(const int16_t* source, uint8_t* block, uint32_t blockBytes,
                     ImaChannelState_t* state) noexcept {
    WriteHead(block, *source++, *state);
    for (uint32_t at = 4; at < blockBytes; ++at) {
        const unsigned low = Encode(*source++, *state);
        const unsigned high = Encode(*source++, *state);
        block[at] = static_cast<uint8_t>(high << 4 | low);
    }
}

void EncodeBlockStereo(const int16_t* source, uint8_t* block, uint32_t blockBytes,
                       ImaChannelState_t* state) noexcept {
    WriteHead(block, *source++, state[0]);
    WriteHead(block + 4, *source++, state[1]);
    for (uint32_t at = 8; at < blockBytes; ++at) {
        const unsigned left = Encode(*source++, state[0]);
        const unsigned right = Encode(*source++, state[1]);
        block[at] = static_cast<uint8_t>(left << 4 | right);
    }
}
