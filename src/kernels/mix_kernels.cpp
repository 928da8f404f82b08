// mix_kernels.cpp - owns the list of kernel sets and the choice among them. The choice is made on first use
// and stays, unless the host forces another before it starts the system.
#include "kernels/mix_kernels.h"

#include "core/mix_ring.h"

namespace {

const kernel_set_t* const allKernelSets[] = {
#if defined(__x86_64__)
    &avx2Kernels,
#endif
    &portableKernels,
    &referenceKernels,
};

const kernel_set_t* FindBest() noexcept {
    for (const kernel_set_t* set : allKernelSets)
        if (set->isSupported()) return set;
    return &portableKernels;
}

// Made on first use rather than as a file-level object: constructors elsewhere may already mix.
const kernel_set_t*& Active() noexcept {
    static const kernel_set_t* active = FindBest();
    return active;
}

constexpr unsigned mono8 = KernelIndex(false, false), stereo8 = KernelIndex(false, true);
constexpr unsigned mono16 = KernelIndex(true, false), stereo16 = KernelIndex(true, true);

}  // namespace

fetch_ahead_t fetchAhead = NoFetchAhead();

fetch_ahead_t NoFetchAhead() noexcept { return {reinterpret_cast<uintptr_t>(&fetchAhead), 0}; }

std::span<const kernel_set_t* const> AllKernelSets() noexcept { return allKernelSets; }

const kernel_set_t& ActiveKernels() noexcept { return *Active(); }

bool SelectKernels(std::string_view name) noexcept {
    for (const kernel_set_t* set : allKernelSets) {
        if (name != set->name) continue;
        if (!set->isSupported()) return false;
        Active() = set;
        return true;
    }
    return false;
}

void MixPlainStereo16(uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames,
                      int32_t divisor) noexcept {
    ActiveKernels().plain[stereo16](AudioSystem::ringEntries, ringAt, source, sourceFrames, divisor);
}

void MixPlainMono16(uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames, int32_t divisor) noexcept {
    ActiveKernels().plain[mono16](AudioSystem::ringEntries, ringAt, source, sourceFrames, divisor);
}

void MixPlainStereo8(uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames,
                     int32_t divisor) noexcept {
    ActiveKernels().plain[stereo8](AudioSystem::ringEntries, ringAt, source, sourceFrames, divisor);
}

void MixPlainMono8(uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames, int32_t divisor) noexcept {
    ActiveKernels().plain[mono8](AudioSystem::ringEntries, ringAt, source, sourceFrames, divisor);
}

void MixGainStereo16(uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
                     int32_t rightGain, uint32_t step, uint32_t fraction) noexcept {
    ActiveKernels().gain[stereo16](AudioSystem::ringEntries, ringAt, source, outputFrames, leftGain,
                                   rightGain, step, fraction);
}

void MixGainMono16(uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
                   int32_t rightGain, uint32_t step, uint32_t fraction) noexcept {
    ActiveKernels().gain[mono16](AudioSystem::ringEntries, ringAt, source, outputFrames, leftGain, rightGain,
                                 step, fraction);
}

void MixGainStereo8(uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
                    int32_t rightGain, uint32_t step, uint32_t fraction) noexcept {
    ActiveKernels().gain[stereo8](AudioSystem::ringEntries, ringAt, source, outputFrames, leftGain, rightGain,
                                  step, fraction);
}

void MixGainMono8(uint32_t ringAt, const uint8_t* source, uint32_t outputFrames, int32_t leftGain,
                  int32_t rightGain, uint32_t step, uint32_t fraction) noexcept {
    ActiveKernels().gain[mono8](AudioSystem::ringEntries, ringAt, source, outputFrames, leftGain, rightGain,
                                step, fraction);
}
