// ima_blocks.h - a run of IMA ADPCM blocks of one size, and the decoder states of the voices that play them.
#pragma once

#include "compressed/ima_adpcm.h"

struct ImaBlocks_t {
    const uint8_t* data;
    uint32_t blockBytes;
    uint32_t samplesPerBlock;  // frames
    bool isStereo;

    // Decodes frames start up to end to out. The first block goes on from `state`, every further one from its
    // own head. False: a block's head is bad; what was decoded before it stays.
    bool Decode(int16_t* out, uint32_t start, uint32_t end, ImaChannelState_t* state) const noexcept;
};

// One voice's decoder, zero: two channels, of which a mono sound uses the first. Voices change sounds inside
// the tick, where nothing may come from the heap: states that are given back are kept for the next voice.
// Thread: host.
ImaChannelState_t* NewImaState();
void FreeImaState(ImaChannelState_t* state) noexcept;  // null does nothing
