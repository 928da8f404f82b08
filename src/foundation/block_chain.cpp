// block_chain.cpp - a block is one allocation: the link word, then the elements.
#include "foundation/block_chain.h"

#include <cstdint>
#include <new>

BlockChain* BlockChain::AddBlock(BlockChain*& head, size_t elementCount, size_t elementSize) {
    if (elementSize != 0 && elementCount > (SIZE_MAX - sizeof(BlockChain)) / elementSize) {
        throw std::bad_array_new_length();
    }
    void* storage = ::operator new(sizeof(BlockChain) + elementCount * elementSize);
    head = new (storage) BlockChain{head};
    return head;
}

void BlockChain::FreeBlocks(BlockChain* head) noexcept {
    while (head != nullptr) {
        BlockChain* older = head->older;
        ::operator delete(head);
        head = older;
    }
}
