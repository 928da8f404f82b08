// mix_guard.h - mixing that cannot spill: a sum that would leave its slot of a ring entry saturates instead.
//
// A slot holds 16 full-scale voices, and up to there nothing differs from the bare kernels, bit for bit.
// Overflow is found by looking: the ring keeps count, block by block, of the gain that a block may hold
// (ringLoads in core/mix_ring.h). Where a call could pass 16 full scales, the block is scanned, and counts
// for 2 or 8 of them if that is all that it holds; only where an entry stands beyond is the call at hand
// checked entry by entry.
//
// Thread: host, inside a mix step. No wait, no allocation. Errors: none.
#pragma once

#include <cstdint>

// Arguments as in mix_kernels.h; kernel is KernelIndex of the format. On the mix ring, with the active
// kernels.
void MixPlainGuarded(unsigned kernel, uint32_t ringAt, const uint8_t* source, uint32_t sourceFrames,
                     int32_t divisor) noexcept;
void MixGainGuarded(unsigned kernel, uint32_t ringAt, const uint8_t* source, uint32_t outputFrames,
                    int32_t leftGain, int32_t rightGain, uint32_t step, uint32_t fraction) noexcept;

// Brings ringLoads up to date. To be called before anybody else reads or writes them.
void SettleLoads() noexcept;
