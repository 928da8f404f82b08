// convert_frames.cpp - takes stretches of the ring to 16 bits. Mixing thread. The host may be adding to the
// very entries that are read: each is one 8-byte access, and whatever was read too early is sent again by the
// next pass.
#include <cstddef>

#include "core/mix_ring.h"
#include "kernels/mix_kernels.h"

namespace AudioSystem {

void ConvertFrames(unsigned start, unsigned frames) noexcept {
    const convert_kernel_t convert = ActiveKernels().convert;
    const uint32_t first = start / 2;
    const uint32_t entries = ringLength / 2;
    if (first + frames > entries) {
        convert(ringEntries + first, entries - first, outputStaging);
        convert(ringEntries, first + frames - entries, outputStaging + std::size_t{entries - first} * 4);
    } else {
        convert(ringEntries + first, frames, outputStaging);
    }
}

}  // namespace AudioSystem
