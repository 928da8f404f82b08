// block_chain.h - the raw material of the node pools: blocks of equal elements, only released all together.
//
// The owner keeps the head pointer and threads the elements on a free list of its own.
// Thread: no lock; the owner guards it.
#pragma once

#include <cstddef>

struct BlockChain {
    // The block that was allocated before this one, null in the oldest. The elements follow this word
    // directly.
    BlockChain* older;

    // Makes a block the new head of a chain and returns it; its elements are uninitialised.
    //   head         null for an empty chain
    //   elementSize  bytes; elements may need no stricter alignment than a pointer
    // Errors: std::bad_alloc, also for a product that no size_t holds; the chain is then as before.
    static BlockChain* AddBlock(BlockChain*& head, size_t elementCount, size_t elementSize);

    // Releases the block at head and all older ones. Null is harmless.
    static void FreeBlocks(BlockChain* head) noexcept;

    void* Elements() noexcept { return this + 1; }
};
