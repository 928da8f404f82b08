// mix_ring.cpp - owns the ring and its cursors.
#include "core/mix_ring.h"

#include <algorithm>
#include <new>

#include "kernels/mix_guard.h"
#include "kernels/mix_kernels.h"

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

double* AllocateEntries(uint32_t count) {
    return static_cast<double*>(::operator new(count * sizeof(double), ringAlignment, std::nothrow));
}

uint32_t LoadBlocks() { return ringLength / ringLoadBlockUnits + 1; }

void Silence(uint32_t firstEntry, uint32_t endEntry) {
    ActiveKernels().silence(ringEntries + firstEntry, endEntry - firstEntry);
    SettleLoads();
    // Blocks that are silent as a whole have no load; of those at the ends it is not known what else they
    // hold.
    const uint32_t firstUnit = 2 * firstEntry, endUnit = 2 * endEntry;
    for (uint32_t block = firstUnit / ringLoadBlockUnits; block * ringLoadBlockUnits < endUnit; ++block) {
        const uint32_t blockEnd = std::min((block + 1) * ringLoadBlockUnits, ringLength);
        const bool isWhole = block * ringLoadBlockUnits >= firstUnit && blockEnd <= endUnit;
        ringLoads[block] = isWhole ? 0 : ringLoadUnknown;
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
    if (ringLoads) SettleLoads();
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

}  // namespace AudioSystem
