// mix_ring.h - the circular array in which all voices meet, and the thread that drains it.
//
// 52,920 ring units (0.6 seconds, 2 units an output frame). A ring position u addresses frame u / 2; frame f
// lies in pair f / 2, the entries 2p (left) and 2p + 1 (right), an even frame in the low slot, an odd one in
// the high slot (kernels/mix_kernels.h has the layout of an entry). All cursors stay multiples of 8 ring
// units.
//
//   ringBase ... sent ... ringOutput ... mixed ... ringBase + mixHorizon ... far ... ringClear ... history
//   ... ringBase
//
// The history is one device buffer long: frames that have gone by, kept so that a starting voice can still be
// added.
#pragma once

#include <bit>
#include <cstdint>

#include "foundation/relaxed.h"
#include "kernels/entry_format.h"

namespace AudioSystem {

// Silence, as the bits of an entry.
constexpr auto silentEntryBits = std::bit_cast<uint64_t>(silentEntry);

extern uint32_t ringLength;  // ring units; 0 while there is no ring
extern double* ringEntries;  // ringLength / 2 entries, owned; host adds and clears, mixing thread reads
extern Relaxed_t<uint32_t> ringBase;   // where the output stood at the latest tick; host writes
extern Relaxed_t<uint32_t> ringClear;  // next position to be cleared; host writes
extern uint32_t ringOutput;            // next position for the device; mixing thread writes, under ringLock
extern uint32_t ringRewind;            // how far behind ringBase this tick's voices start; under ringLock
// How much of the device's content behind its write position is the ring's, in the ring's own order: what may
// be sent again. Silence that was written in place of frames that nobody had mixed breaks the order, and the
// count begins anew. Mixing thread writes, the tick reads.
extern Relaxed_t<uint32_t> resendableUnits;
// Passes that had fewer mixed frames than the device wanted, and how many frames of silence went out instead,
// since the start. Mixing thread writes.
extern Relaxed_t<uint32_t> underrunCount;
extern Relaxed_t<uint32_t> underrunFrames;
extern uint8_t* outputStaging;  // 16-bit stereo frames on their way to the device; mixing thread only

// How much gain, in 1/256 steps, each block of the ring may hold; ringLoadUnknown for a block that nothing is
// known of. Host thread only (kernels/mix_guard.h).
constexpr uint32_t ringLoadBlockUnits = 512;
constexpr uint32_t ringLoadUnknown = 0xFFFF;
extern uint32_t* ringLoads;
extern double* ringScratch;  // as large as the ring; the guard's, while a call is checked

// Sets the cursors and allocates the ring, silent, its loads and the staging buffer. False, and nothing is
// allocated, if there is no memory. Thread: host.
//   length       ring units, a multiple of 8
//   deviceBytes  size of the device buffer, a multiple of 8: its half is the length of the history
[[nodiscard]] bool AllocateRing(unsigned length, unsigned deviceBytes);

// Releases all of it; ringLength becomes 0. Harmless without a ring. Thread: host.
void FreeRing();

// Silences frames at ringClear and moves ringBase and ringClear by them. Thread: host.
void ClearAndAdvance(unsigned frames) noexcept;

// Converts frames from start on (ring units, a multiple of 4) to 16-bit stereo at the beginning of
// outputStaging, round the ring's end if need be. A sum that passes 16 bits is clipped. Thread: mixing.
void ConvertFrames(unsigned start, unsigned frames) noexcept;

// The mixing thread's body, and one pass of it. Thread: mixing.
void MixingThreadProc(void*);
void OutputPass() noexcept;

}  // namespace AudioSystem
