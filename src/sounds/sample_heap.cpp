#include "sounds/sample_heap.h"

#include <algorithm>
#include <bit>
#include <new>

#include "platform/pages.h"
#include "platform/sanitizer.h"

namespace {

constexpr std::size_t lineBytes = 64;
constexpr unsigned mostTries = 16;  // in the one list whose blocks may be too small

constexpr std::size_t RoundUp(std::size_t bytes, std::size_t unit) {
    return (bytes + unit - 1) / unit * unit;
}

}  // namespace

// The line before the samples. The blocks of a chunk stand one behind the other, no two free ones side by
// side; one of 0 bytes ends it.
struct SampleHeap_t::block_t {
    std::size_t bytes;  // this line included
    block_t* before;    // in the chunk, null for the first
    bool isFree;
    block_t *previous, *next;  // of its list, while it is free

    uint8_t* Begin() { return reinterpret_cast<uint8_t*>(this); }
    block_t* After() { return reinterpret_cast<block_t*>(Begin() + bytes); }
    static block_t* At(uint8_t* address) { return reinterpret_cast<block_t*>(address); }
};

uint8_t* SampleHeap_t::Allocate(uint64_t bytes) noexcept {
    if (bytes > SIZE_MAX / 2) return nullptr;
    const std::size_t wanted = RoundUp(static_cast<std::size_t>(bytes), lineBytes) + lineBytes;
    const std::lock_guard lock(mutex);
    block_t* block = FindFree(wanted);
    if (!block) block = AddChunk(wanted);
    if (!block) return nullptr;
    LeaveList(*block);
    CutTo(*block, wanted);
    return block->Begin() + lineBytes;
}

void SampleHeap_t::Free(uint8_t* samples) noexcept {
    if (!samples) return;
    const std::lock_guard lock(mutex);
    block_t* block = block_t::At(samples - lineBytes);
    if (block_t* after = block->After(); after->isFree) {
        LeaveList(*after);
        block->bytes += after->bytes;
    }
    if (block_t* before = block->before; before && before->isFree) {
        LeaveList(*before);
        before->bytes += block->bytes;
        block = before;
    }
    block_t* after = block->After();
    if (!block->before && after->bytes == 0) {
        platform::ReleasePages(block->Begin(), block->bytes + lineBytes);
        return;
    }
    after->before = block;
    EnterList(*block);
    platform::DiscardHugePages(block->Begin() + lineBytes, block->bytes - lineBytes);
}

// A block of at least so many bytes, still in its list; null if there is none at hand.
SampleHeap_t::block_t* SampleHeap_t::FindFree(std::size_t bytes) noexcept {
    const auto list = static_cast<std::size_t>(std::bit_width(bytes));
    unsigned tries = 0;
    for (block_t* block = freeBlocks[list]; block && tries < mostTries; block = block->next, ++tries)
        if (block->bytes >= bytes) return block;
    const auto larger = std::find_if(freeBlocks.begin() + static_cast<std::ptrdiff_t>(list) + 1,
                                     freeBlocks.end(), [](block_t* head) { return head != nullptr; });
    return larger == freeBlocks.end() ? nullptr : *larger;
}

// A chunk that is one free block of at least so many bytes.
SampleHeap_t::block_t* SampleHeap_t::AddChunk(std::size_t bytes) noexcept {
    const std::size_t size = std::max(chunkBytes, RoundUp(bytes + lineBytes, platform::hugePageBytes));
    uint8_t* base = platform::AllocateHugePages(size);
    if (!base) return nullptr;
    auto* block = new (base) block_t{size - lineBytes, nullptr, true, nullptr, nullptr};
    new (block->After()) block_t{0, block, false, nullptr, nullptr};
    EnterList(*block);
    return block;
}

// Takes the block for so many of its bytes; what is left over is free.
void SampleHeap_t::CutTo(block_t& block, std::size_t bytes) noexcept {
    const std::size_t left = block.bytes - bytes;
    if (left <= lineBytes) return;
    block_t* after = block.After();
    block.bytes = bytes;
    auto* rest = new (block.After()) block_t{left, &block, true, nullptr, nullptr};
    after->before = rest;
    EnterList(*rest);
}

void SampleHeap_t::EnterList(block_t& block) noexcept {
    block_t*& head = freeBlocks[static_cast<std::size_t>(std::bit_width(block.bytes))];
    block.isFree = true;
    block.previous = nullptr;
    block.next = head;
    if (head) head->previous = &block;
    head = &block;
}

void SampleHeap_t::LeaveList(block_t& block) noexcept {
    block_t*& head = freeBlocks[static_cast<std::size_t>(std::bit_width(block.bytes))];
    (block.previous ? block.previous->next : head) = block.next;
    if (block.next) block.next->previous = block.previous;
    block.isFree = false;
}

#ifdef RINGMIX_ASAN

samples_t AllocateSamples(uint64_t bytes) noexcept { return samples_t(new (std::nothrow) uint8_t[bytes]); }
void FreeSamples(uint8_t* samples) noexcept { delete[] samples; }

#else

namespace {
constinit SampleHeap_t sampleHeap;
}

samples_t AllocateSamples(uint64_t bytes) noexcept { return samples_t(sampleHeap.Allocate(bytes)); }
void FreeSamples(uint8_t* samples) noexcept { sampleHeap.Free(samples); }

#endif
