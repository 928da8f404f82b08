// mix_guard.cpp - counts gain, scans blocks, and mixes with care where a block is nearly full.
#include "kernels/mix_guard.h"

#include <algorithm>
#include <cstdlib>

#include "core/mix_ring.h"
#include "kernels/entry_format.h"
#include "kernels/mix_kernels.h"

namespace {

using AudioSystem::ringEntries, AudioSystem::ringLoads, AudioSystem::ringLoadBlockUnits,
    AudioSystem::ringScratch;

constexpr uint32_t fullScale = 256;  // gain, in 1/256 steps
constexpr uint32_t slotHolds = 16 * fullScale;

// One entry in 1/256 sample steps, both slots with their bias of 0x80000: what the packed value holds.
constexpr int64_t lowMost = int64_t{0xFFFFFF} << 8, highMost = int64_t{0xFFFFF} << 8;
struct slots_t {
    int64_t low, high;
};

// A low slot that is held at its lower end may come out half a step below it, as the rounding of a store
// leaves it: that is not yet a sum from the other end.
slots_t Unpack(double entry) {
    constexpr int64_t halfStep = 0x80;
    const int64_t eighths =
        static_cast<int64_t>(entry / 8.0) + halfStep;  // exact: every term of an entry is a multiple of 8
    return {(eighths & 0xFFFFFFFF) - halfStep, eighths >> 32};
}

double Pack(slots_t slots) { return static_cast<double>((slots.high << 32) + slots.low) * 8.0; }

// The entries of the whole pairs that the stretch touches.
struct stretch_t {
    uint32_t firstEntry, endEntry;

    stretch_t(uint32_t ringAt, uint32_t frames)
        : firstEntry((ringAt >> 1) & ~1u), endEntry(((ringAt >> 1) + frames + 1) & ~1u) {}
    uint32_t FirstBlock() const { return 2 * firstEntry / ringLoadBlockUnits; }
    uint32_t LastBlock() const { return (2 * endEntry - 1) / ringLoadBlockUnits; }
};

// Whether both slots of every entry stand inside so many full scales, a power of two. Their fields are moved
// so that the bits that such a sum leaves clear are the same for all.
template <uint32_t fullScales>
bool IsInside(uint32_t block) {
    constexpr uint64_t most = fullScales * 0x8000, bias = 0x80000 - most;
    constexpr uint64_t outside = (0xFFFFF & ~(2 * most - 1)) << 32 | (0xFFFFFF & ~(2 * most - 1));
    const uint32_t first = block * ringLoadBlockUnits / 2;
    const uint32_t end = std::min(first + ringLoadBlockUnits / 2, AudioSystem::ringLength / 2);
    return (ActiveKernels().collect(ringEntries + first, end - first, bias << 32 | bias) & outside) == 0;
}

// The gain that what the block holds is worth; one more, as the look does not see half a step. Most mixes are
// nowhere near the range that their voices could fill, so the narrow look comes first.
uint32_t FindLoad(uint32_t block) {
    if (IsInside<2>(block)) return 2 * fullScale + 1;
    return IsInside<8>(block) ? 8 * fullScale + 1 : AudioSystem::ringLoadUnknown;
}

// Most calls of a tick go to the same stretch. What they add to its blocks is counted once for all of them,
// and reaches ringLoads when a call goes elsewhere or the loads are settled.
struct {
    uint32_t firstBlock = 1, lastBlock = 0;  // none
    uint32_t mostBefore = 0;                 // of the loads of these blocks
    uint32_t added = 0;

    bool Covers(uint32_t first, uint32_t last) const { return first >= firstBlock && last <= lastBlock; }
    bool Holds(uint32_t gain) const { return mostBefore + added + gain <= slotHolds; }
} recent;

// Adds the gain to every block, looking into those that might then be too full. False if some still might
// overflow.
bool TakeLoadOfEach(uint32_t firstBlock, uint32_t lastBlock, uint32_t gain) {
    SettleLoads();
    uint32_t most = 0;
    for (uint32_t block = firstBlock; block <= lastBlock; ++block) {
        uint32_t& load = ringLoads[block];
        if (load + gain > slotHolds) load = FindLoad(block);
        load = std::min(load + gain, AudioSystem::ringLoadUnknown);
        most = std::max(most, load);
    }
    recent = {firstBlock, lastBlock, most};
    return most <= slotHolds;
}

bool TakeLoad(const stretch_t& stretch, uint32_t gain) {
    const uint32_t firstBlock = stretch.FirstBlock(), lastBlock = stretch.LastBlock();
    if (!recent.Covers(firstBlock, lastBlock) || !recent.Holds(gain))
        return TakeLoadOfEach(firstBlock, lastBlock, gain);
    recent.added += gain;
    return true;
}

// Finds out what the call adds by mixing it into silence, and makes room in the entries that it would push
// out of a slot, so that it brings them to that slot's end. At no time does a sum stand in the ring that has
// spilled: the mixing thread may read it.
template <typename MixInto>
void MixChecked(const stretch_t& stretch, MixInto mixInto) {
    const slots_t silence = Unpack(silentEntry);
    for (uint32_t e = stretch.firstEntry; e < stretch.endEntry; ++e) ringScratch[e] = Pack(silence);
    mixInto(ringScratch);
    for (uint32_t e = stretch.firstEntry; e < stretch.endEntry; ++e) {
        const slots_t added = Unpack(ringScratch[e]);
        slots_t sum = Unpack(ringEntries[e]);
        sum.low += added.low - silence.low;
        sum.high += added.high - silence.high;
        const slots_t held{std::clamp<int64_t>(sum.low, 0, lowMost),
                           std::clamp<int64_t>(sum.high, 0, highMost)};
        if (held.low == sum.low && held.high == sum.high) continue;
        ringEntries[e] = Pack({held.low - added.low + silence.low, held.high - added.high + silence.high});
    }
    mixInto(ringEntries);
}

template <typename MixInto>
void MixGuarded(const stretch_t& stretch, uint32_t gain, MixInto mixInto) {
    if (stretch.firstEntry == stretch.endEntry) return;
    if (TakeLoad(stretch, gain)) {
        mixInto(ringEntries);
    } else {
        MixChecked(stretch, mixInto);
    }
}

}  // namespace

void SettleLoads() noexcept {
    for (uint32_t block = recent.firstBlock; block <= recent.lastBlock; ++block)
        ringLoads[block] = std::min(ringLoads[block] + recent.added, AudioSystem::ringLoadUnknown);
    recent = {};
}

void MixPlainGuarded(unsigned kernel, uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames,
                     int32_t divisor) noexcept {
    if (divisor != 1 && divisor != 2 && divisor != 4) return;  // no kernel mixes it
    if (divisor != 1) ringAt &= ~3u;                           // these start on the pair
    const stretch_t stretch(ringAt, sourceFrames * static_cast<uint32_t>(divisor));
    MixGuarded(stretch, fullScale, [=](double* entries) {
        ActiveKernels().plain[kernel](entries, ringAt, source, sourceFrames, divisor);
    });
}

void MixGainGuarded(unsigned kernel, uint32_t ringAt, const uint8_t* source, uint32_t outputFrames,
                    int32_t leftGain, int32_t rightGain, uint32_t step, uint32_t fraction) noexcept {
    const bool is16Bit = kernel >= KernelIndex(true, false);
    const int32_t left = std::abs(leftGain >> (is16Bit ? 8 : 16)),
                  right = std::abs(rightGain >> (is16Bit ? 8 : 16));
    MixGuarded(stretch_t(ringAt, outputFrames), static_cast<uint32_t>(std::max(left, right)),
               [=](double* entries) {
                   ActiveKernels().gain[kernel](entries, ringAt, source, outputFrames, leftGain, rightGain,
                                                step, fraction);
               });
}
