// mix_kernels.h - the inner loops that add the samples of one voice into the mix ring.
//
// A ring entry is a double V = (0x80000 + h) * 2^43 + (0x80000 + l) * 2^11 and holds the same channel of two
// consecutive output frames: l is the sum of the even frame (low slot), h that of the odd one (high slot), in
// steps of a 16-bit sample. Entry 2p is the left channel of pair p, entry 2p + 1 the right. One addition
// mixes two frames. core/mix_ring.h has the ring's geometry and its conversion to 16 bits.
//
// Samples are offset binary: 0x8000 (16 bits) or 0x80 (8 bits) is silence.
//
// Plain update   V = (V + W) - (2^58 + 2^26)      W = sample words hhhh * 2^43 + llll * 2^11
// Gain update    V = (V + W * k / 256) - bias     bias = 128 * k * (2^43 + 2^11), k = volume in 1/256 steps
//
// Both are exact until the result is stored as a double: that store, to nearest with ties to even, is the
// only rounding. Every set below gives the same 64 bits for the same calls, as long as the sums stay in their
// slots. Nothing saturates and nothing checks that: it is the caller's to see to.
//
// A kernel reads nothing before the first or behind the last source frame that its arguments call for, and
// writes no entry but those of the pairs it mixes, each as a whole: the mixing thread may read them
// meanwhile.
//
// Thread: host, inside a mix step. No wait, no allocation. Errors: none.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

// Adds sourceFrames source frames at full volume, each repeated divisor times.
//   entries       the ring's entries, 16-byte aligned pairs (left, right)
//   ringAt        ring position of the first output frame, in ring units (2 an output frame); bit 1 set means
//                 that the first output frame is an odd one. Divisors 2 and 4 ignore it and start on the pair
//   source        first source frame, any alignment
//   sourceFrames  0 mixes nothing
//   divisor       output frames per source frame: 1, 2 or 4; any other value mixes nothing
// The stretch must not pass the end of the ring: the caller splits it there.
using plain_kernel_t = void (*)(double* entries, uint32_t ringAt, const uint8_t* source,
                                uint32_t sourceFrames, int32_t divisor) noexcept;

// Adds outputFrames output frames with a gain for each channel; output frame j reads the source frame at
// index (fraction + j * step) >> 10, with no interpolation.
//   leftGain, rightGain  16.16 fixed point for 16-bit sources, 8.24 for 8-bit ones; only k (1/256 steps)
//   counts step, fraction       in 1/1024 source frames
using gain_kernel_t = void (*)(double* entries, uint32_t ringAt, const uint8_t* source, uint32_t outputFrames,
                               int32_t leftGain, int32_t rightGain, uint32_t step,
                               uint32_t fraction) noexcept;

// What a multi-source kernel mixes: one, two or four mono sources (taps) for each channel, alternating left,
// right. Output frame j of a channel reads each of its taps at index (start + j * step) >> 10.
struct taps_t {
    const uint8_t* sources[8];
    int32_t k[8];        // gains in 1/256 steps
    uint32_t starts[2];  // left, right; these and step in 1/1024 source frames
    uint32_t step;
};

// Adds outputFrames output frames of all taps in one walk: each entry is read, rounded and written once. On
// entries below 0, which are no sums of the format, the sets may differ.
using taps_kernel_t = void (*)(double* entries, uint32_t ringAt, uint32_t outputFrames,
                               const taps_t& taps) noexcept;

// Turns entries, an even number of them, into 16-bit stereo frames: the low slot to the nearest integer,
// the high slot down, both clipped. Reads each entry once, as a whole. Thread: mixing.
using convert_kernel_t = void (*)(const double* entries, uint32_t entryCount, uint8_t* out) noexcept;

// Stores silence in entries. Thread: host.
using silence_kernel_t = void (*)(double* entries, uint32_t entryCount) noexcept;

// Adds 2^63 to each entry, takes off bias as an integer, and collects the bits. Thread: host.
using collect_kernel_t = uint64_t (*)(const double* entries, uint32_t entryCount, uint64_t bias) noexcept;

// Samples that will be read next, by another voice: the kernels ask for them bit by bit while they mix, so
// that they come from memory while the processor computes. A hint: no address can be wrong, and
// bytesPer8Frames may be rough. Thread: host.
struct fetch_ahead_t {
    uintptr_t at;
    uintptr_t bytesPer8Frames;  // output frames
};
extern fetch_ahead_t fetchAhead;

// Nothing to ask for: always the same line, which is near.
fetch_ahead_t NoFetchAhead() noexcept;

// One variant of all kernels.
struct kernel_set_t {
    const char* name;
    bool (*isSupported)() noexcept;  // whether this CPU can run the set
    plain_kernel_t plain[4];         // by KernelIndex
    gain_kernel_t gain[4];
    taps_kernel_t taps[2][3];  // 8 and 16 bits; one, two and four taps a channel
    convert_kernel_t convert;
    silence_kernel_t silence;
    collect_kernel_t collect;
};

constexpr unsigned KernelIndex(bool is16Bit, bool isStereo) noexcept {
    return (is16Bit ? 2u : 0u) + (isStereo ? 1u : 0u);
}

extern const kernel_set_t referenceKernels;  // slow and obvious: the definition
extern const kernel_set_t portableKernels;   // any CPU
#if defined(__x86_64__)
extern const kernel_set_t avx2Kernels;  // AVX2 and FMA
#endif

// All sets of this build, best first. A set may be one that this CPU cannot run.
std::span<const kernel_set_t* const> AllKernelSets() noexcept;

// The set in use: the best one that this CPU supports, chosen once, unless SelectKernels has named another.
const kernel_set_t& ActiveKernels() noexcept;

// Forces a set by name. False, and no change, for an unknown name or a set that this CPU cannot run. Not
// while the system runs.
bool SelectKernels(std::string_view name) noexcept;

// The eight kernels of the active set on the mix ring. Arguments as above.
void MixPlainStereo16(uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames,
                      int32_t divisor) noexcept;
void MixPlainMono16(uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames, int32_t divisor) noexcept;
void MixPlainStereo8(uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames, int32_t divisor) noexcept;
void MixPlainMono8(uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames, int32_t divisor) noexcept;
void MixGainStereo16(uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
                     int32_t rightGain, uint32_t step, uint32_t fraction) noexcept;
void MixGainMono16(uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
                   int32_t rightGain, uint32_t step, uint32_t fraction) noexcept;
void MixGainStereo8(uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
                    int32_t rightGain, uint32_t step, uint32_t fraction) noexcept;
void MixGainMono8(uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
                  int32_t rightGain, uint32_t step, uint32_t fraction) noexcept;

// The six multi-source kernels of the active set on the mix ring. Sources and tap gains alternate left,
// right; leftGain and rightGain apply to all taps of a channel, 16.16 fixed point for 16-bit sources, 8.24
// for 8-bit ones. A tap's gain is their product in 1/256 steps; one that passes 32 bits is held there.
void MixTapsOne16(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, uint32_t outputFrames,
                  uint32_t leftStart, uint32_t rightStart, uint32_t step, float leftTap1, float rightTap1,
                  int32_t leftGain, int32_t rightGain) noexcept;
void MixTapsOne8(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, uint32_t outputFrames,
                 uint32_t leftStart, uint32_t rightStart, uint32_t step, float leftTap1, float rightTap1,
                 int32_t leftGain, int32_t rightGain) noexcept;
void MixTapsTwo16(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, const uint8_t* left2,
                  const uint8_t* right2, uint32_t outputFrames, uint32_t leftStart, uint32_t rightStart,
                  uint32_t step, float leftTap1, float rightTap1, float leftTap2, float rightTap2,
                  int32_t leftGain, int32_t rightGain) noexcept;
void MixTapsTwo8(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, const uint8_t* left2,
                 const uint8_t* right2, uint32_t outputFrames, uint32_t leftStart, uint32_t rightStart,
                 uint32_t step, float leftTap1, float rightTap1, float leftTap2, float rightTap2,
                 int32_t leftGain, int32_t rightGain) noexcept;
void MixTapsFour16(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, const uint8_t* left2,
                   const uint8_t* right2, const uint8_t* left3, const uint8_t* right3, const uint8_t* left4,
                   const uint8_t* right4, uint32_t outputFrames, uint32_t leftStart, uint32_t rightStart,
                   uint32_t step, float leftTap1, float rightTap1, float leftTap2, float rightTap2,
                   float leftTap3, float rightTap3, float leftTap4, float rightTap4, int32_t leftGain,
                   int32_t rightGain) noexcept;
void MixTapsFour8(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, const uint8_t* left2,
                  const uint8_t* right2, const uint8_t* left3, const uint8_t* right3, const uint8_t* left4,
                  const uint8_t* right4, uint32_t outputFrames, uint32_t leftStart, uint32_t rightStart,
                  uint32_t step, float leftTap1, float rightTap1, float leftTap2, float rightTap2,
                  float leftTap3, float rightTap3, float leftTap4, float rightTap4, int32_t leftGain,
                  int32_t rightGain) noexcept;
