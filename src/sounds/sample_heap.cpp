// sample_heap.cpp - a chunk is a row of blocks, each with a line of its own before its samples; free ones are
// also in lists by size, so that neither finding nor joining them takes longer the more there are.
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

// The line before the samples. No two free blocks stand side by side.
struct SampleHeap_t::block_t {
    std::size_t bytes;  // this line included
    block_t* before;    // in the chunk, null for the first
    block_t* first;     // of the chunk
    bool isLast;        // of the chunk
    bool isFree = true;
    bool wasTrimmed = false;  // the chunk, and has small pages since; in its first block only
    block_t *previous = nullptr, *next = nullptr;  // of its list, while it is free
    // Of the chunk, in its first block only.
    std::size_t bytesInUse = 0;
    std::size_t bytesIdle = 0;  // that were freed and may still have memory, roughly

    uint8_t* Begin() { return reinterpret_cast<uint8_t*>(this); }
    block_t* After() { return isLast ? nullptr : reinterpret_cast<block_t*>(Begin() + bytes); }
    bool IsWholeChunk() const { return !before && isLast; }
};

uint8_t* SampleHeap_t::Allocate(uint64_t bytes) noexcept {
    static_assert(sizeof(block_t) <= lineBytes);
    if (bytes > SIZE_MAX / 2) return nullptr;
    const std::size_t wanted = RoundUp(static_cast<std::size_t>(bytes), lineBytes) + lineBytes;
    const std::lock_guard lock(mutex);
    block_t* block = FindFree(wanted);
    if (!block) block = AddChunk(wanted);
    if (!block) return nullptr;
    if (block == spare) spare = nullptr;
    LeaveList(*block);
    CutTo(*block, wanted);
    block->first->bytesInUse += block->bytes;
    block->first->bytesIdle -= std::min(block->first->bytesIdle, block->bytes);
    return block->Begin() + lineBytes;
}

void SampleHeap_t::Free(uint8_t* samples) noexcept {
    if (!samples) return;
    const std::lock_guard lock(mutex);
    auto* freed = reinterpret_cast<block_t*>(samples - lineBytes);
    block_t& chunk = *freed->first;
    chunk.bytesInUse -= freed->bytes;
    chunk.bytesIdle += freed->bytes;
    block_t& block = JoinNeighbours(*freed);
    if (block.IsWholeChunk() && (spare || chunk.wasTrimmed || chunk.bytes > chunkBytes))
        return platform::ReleasePages(chunk.Begin(), chunk.bytes);
    EnterList(block);
    if (block.IsWholeChunk()) {
        spare = &chunk;
        // A part of its first huge page given back would leave small pages there.
        platform::DiscardPages(chunk.Begin() + platform::hugePageBytes,
                               chunk.bytes - platform::hugePageBytes);
        chunk.bytesIdle = 0;
    } else if (chunk.bytesIdle > chunk.bytesInUse + mostIdleBytes) {
        Trim(chunk);
    }
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

// A chunk that is one free block of at least so many bytes; no larger than needed where addresses, or memory
// that may be locked, are scarce.
SampleHeap_t::block_t* SampleHeap_t::AddChunk(std::size_t bytes) noexcept {
    const std::size_t least = RoundUp(bytes, platform::hugePageBytes);
    std::size_t size = std::max(chunkBytes, least);
    uint8_t* base = platform::AllocateHugePages(size);
    if (!base && size > least) base = platform::AllocateHugePages(size = least);
    if (!base) return nullptr;
    auto* block = new (base) block_t{size, nullptr, reinterpret_cast<block_t*>(base), true};
    EnterList(*block);
    return block;
}

// Takes the block for so many of its bytes; what is left over is free.
void SampleHeap_t::CutTo(block_t& block, std::size_t bytes) noexcept {
    const std::size_t left = block.bytes - bytes;
    if (left <= lineBytes) return;
    block_t* after = block.After();
    auto* rest = new (block.Begin() + bytes) block_t{left, &block, block.first, block.isLast};
    block.bytes = bytes;
    block.isLast = false;
    if (after) after->before = rest;
    EnterList(*rest);
}

// The block with the free ones beside it.
SampleHeap_t::block_t& SampleHeap_t::JoinNeighbours(block_t& block) noexcept {
    const auto join = [this](block_t& first, block_t& second, block_t& wasFree) {
        LeaveList(wasFree);
        first.bytes += second.bytes;
        first.isLast = second.isLast;
        if (block_t* after = first.After()) after->before = &first;
    };
    if (block_t* after = block.After(); after && after->isFree) join(block, *after, *after);
    block_t* before = block.before;
    if (!before || !before->isFree) return block;
    join(*before, block, *before);
    return *before;
}

// Gives the memory of all free blocks of the chunk back to the system.
void SampleHeap_t::Trim(block_t& chunk) noexcept {
    for (block_t* block = &chunk; block; block = block->After())
        if (block->isFree) platform::DiscardPages(block->Begin() + lineBytes, block->bytes - lineBytes);
    chunk.bytesIdle = 0;
    chunk.wasTrimmed = true;
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
