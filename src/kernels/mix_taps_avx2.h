// mix_taps_avx2.h - the multi-source kernels of the AVX2 set, which are compiled in a file of their own.
#pragma once

#include "kernels/mix_kernels.h"

template <unsigned sampleBytes, unsigned tapCount>
void MixTapsAvx2(double* entries, uint32_t ringAt, uint32_t outputFrames, const taps_t& taps) noexcept;
