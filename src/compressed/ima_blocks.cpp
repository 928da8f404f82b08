#include "compressed/ima_blocks.h"

#include <cstddef>

namespace {

union pooled_state_t {
    ImaChannelState_t channels[2];
    pooled_state_t* nextFree;
};

pooled_state_t* freeStates = nullptr;

}  // namespace

bool ImaBlocks_t::Decode(int16_t* out, uint32_t start, uint32_t end,
                         ImaChannelState_t* state) const noexcept {
    const auto decodeBlock = isStereo ? DecodeBlockStereo : DecodeBlockMono;
    while (start < end) {
        const uint8_t* block = data + std::size_t{start / samplesPerBlock} * blockBytes;
        const uint32_t firstFrame = start % samplesPerBlock;
        const bool isLastBlock = end - start < samplesPerBlock - firstFrame;
        const uint32_t endFrame = isLastBlock ? firstFrame + (end - start) : samplesPerBlock;
        if (!decodeBlock(block, out, firstFrame, endFrame, state)) return false;
        start += endFrame - firstFrame;
        out += std::size_t{endFrame - firstFrame} * (isStereo ? 2 : 1);
    }
    return true;
}

ImaChannelState_t* NewImaState() {
    pooled_state_t* state = freeStates;
    if (state) {
        freeStates = state->nextFree;
    } else {
        state = new pooled_state_t;
    }
    state->channels[0] = state->channels[1] = {};
    return state->channels;
}

void FreeImaState(ImaChannelState_t* state) noexcept {
    if (!state) return;
    auto* pooled = reinterpret_cast<pooled_state_t*>(state);
    pooled->nextFree = freeStates;
    freeStates = pooled;
}
