// entry_format.h - the numbers behind ring entries and packed sample words, for the kernel variants.
//
// Constants only: the variants are compiled for different CPUs, and a function shared between them could be
// linked as the copy that an older CPU cannot run.
//
// A packed word 0x43E0hhhh0000llll, read as a double, is 2^63 + hhhh * 2^43 + llll * 2^11: its last place is
// 2^11, so two 16-bit samples in offset binary become a number without a conversion.
#pragma once

#include <cstdint>

constexpr uint64_t wordExponentBits = 0x43E0000000000000u;  // 2^63, both samples 0

// A word whose samples are both silent. Word minus this is exact in a double, at most 48 bits long, and 0 for
// silence: what is left for the update is one addition, or one fused multiply-add, that rounds.
constexpr double silentWord = 0x1p63 + 0x1p58 + 0x1p26;

constexpr double silentEntry = 0x1p62 + 0x1p30;  // both slots 0

constexpr uint32_t silentSample = 0x8000;  // in a slot; as an 8-bit sample 0x80
