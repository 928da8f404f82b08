// mix_ring.cpp - owns the ring and its cursors. The host adds to entries that this file's conversion may be
// reading on the mixing thread: each is one 8-byte access, and whatever was read too early is sent again by
// the next pass.
#include "core/mix_ring.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "platform/sanitizer.h"

namespace AudioSystem {

uint32_t ringLength = 0;
double* ringEntries = nullptr;
Relaxed_t<uint32_t> ringBase, ringClear;
uint32_t ringOutput = 0;
uint32_t ringRewind = 0;
Relaxed_t<uint32_t> resendableUnits;
Relaxed_t<uint32_t> underrunCount, underrunFrames;
uint8_t* outputStaging = nullptr;
uint32_t* ringLoads = nullptr;
double* ringScratch = nullptr;

namespace {

constexpr std::align_val_t ringAlignment{64};  // whole vectors, and no cache line shared with anything else
constexpr double fieldBase =
    9223372036854775808.0;  // 2^63: added to an entry, it fixes the exponent, so that the
                            // slots stand at fixed bits and the low one is rounded
constexpr int32_t slotBias = 0x80000;
constexpr uint32_t lowSlotMask = 0xFFFFFF, highSlotMask = 0xFFFFF;

double* AllocateEntries(uint32_t count) {
    return static_cast<double*>(::operator new(count * sizeof(double), ringAlignment, std::nothrow));
}

uint32_t LoadBlocks() { return ringLength / ringLoadBlockUnits + 1; }

void Silence(uint32_t firstEntry, uint32_t endEntry) {
    for (uint32_t e = firstEntry; e < endEntry; ++e)
        std::memcpy(&ringEntries[e], &silentEntryBits, sizeof(double));
    // Blocks that are silent as a whole have no load; of those at the ends it is not known what else they
    // hold.
    const uint32_t firstUnit = 2 * firstEntry, endUnit = 2 * endEntry;
    for (uint32_t block = firstUnit / ringLoadBlockUnits; block * ringLoadBlockUnits < endUnit; ++block) {
        const uint32_t blockEnd = std::min((block + 1) * ringLoadBlockUnits, ringLength);
        const bool isWhole = block * ringLoadBlockUnits >= firstUnit && blockEnd <= endUnit;
        ringLoads[block] = isWhole ? 0 : ringLoadUnknown;
    }
}

int16_t Clip(int32_t sum) { return static_cast<int16_t>(std::clamp(sum, -32768, 32767)); }

int16_t LowSlot(uint64_t fields) { return Clip(static_cast<int32_t>(fields & lowSlotMask) - slotBias); }

int16_t HighSlot(uint64_t fields) {
    return Clip(static_cast<int32_t>((fields >> 32) & highSlotMask) - slotBias);
}

// The one place that reads entries while the host may be adding to them; the thread sanitizer is told not to
// look.
RINGMIX_NO_TSAN void ConvertEntries(uint32_t firstEntry, uint32_t endEntry, uint8_t* out) {
    for (uint32_t e = firstEntry; e < endEntry; e += 2, out += 8) {
        const auto left = std::bit_cast<uint64_t>(ringEntries[e] + fieldBase);
        const auto right = std::bit_cast<uint64_t>(ringEntries[e + 1] + fieldBase);
        const int16_t words[4] = {LowSlot(left), LowSlot(right), HighSlot(left), HighSlot(right)};
        std::memcpy(out, words, sizeof words);
    }
}

}  // namespace

bool AllocateRing(unsigned length, unsigned deviceBytes) {
    ringLength = length;
    ringBase = 0;
    ringOutput = 0;
    ringRewind = 0;
    underrunCount = underrunFrames = 0;
    resendableUnits = length;  // the history is silent, and so is a device that has played nothing
    ringClear = length - (deviceBytes >> 1);
    ringEntries = AllocateEntries(length >> 1);
    ringScratch = AllocateEntries(length >> 1);
    ringLoads = new (std::nothrow) uint32_t[LoadBlocks()];
    outputStaging = new (std::nothrow) uint8_t[std::size_t{deviceBytes >> 1} * 2];
    if (!ringEntries || !ringScratch || !ringLoads || !outputStaging) {
        FreeRing();
        return false;
    }
    Silence(0, length >> 1);
    return true;
}

void FreeRing() {
    ::operator delete(ringEntries, ringAlignment);
    ::operator delete(ringScratch, ringAlignment);
    delete[] ringLoads;
    delete[] outputStaging;
    ringEntries = ringScratch = nullptr;
    ringLoads = nullptr;
    outputStaging = nullptr;
    ringLength = 0;
}

// One frame takes the place of one entry here: a pair holds two frames in two entries.
void ClearAndAdvance(unsigned frames) noexcept {
    const uint32_t first = ringClear / 2;
    const uint32_t entries = ringLength / 2;
    if (first + frames > entries) {
        Silence(first, entries);
        Silence(0, first + frames - entries);
    } else {
        Silence(first, first + frames);
    }
    ringBase = (ringBase + 2 * frames) % ringLength;
    ringClear = (ringClear + 2 * frames) % ringLength;
}

void ConvertFrames(unsigned start, unsigned frames) noexcept {
    const uint32_t first = start / 2;
    const uint32_t entries = ringLength / 2;
    if (first + frames > entries) {
        ConvertEntries(first, entries, outputStaging);
        ConvertEntries(0, first + frames - entries, outputStaging + std::size_t{entries - first} * 4);
    } else {
        ConvertEntries(first, first + frames, outputStaging);
    }
}

}  // namespace AudioSystem
