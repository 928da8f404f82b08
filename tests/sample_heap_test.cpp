// sample_heap_test.cpp - blocks that keep what is written to them, and memory that goes back.
#include "sounds/sample_heap.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "platform/pages.h"

namespace {

using platform::hugePageBytes;

bool IsMapped(uint8_t* at) {
    at -= reinterpret_cast<uintptr_t>(at) % platform::SystemPageBytes();
    unsigned char state;
    return mincore(at, 1, &state) == 0;
}

bool IsResident(uint8_t* at) {
    at -= reinterpret_cast<uintptr_t>(at) % platform::SystemPageBytes();
    unsigned char state = 0;
    return mincore(at, 1, &state) == 0 && (state & 1) != 0;
}

// Takes and gives back at random; each block is full of a byte of its own, which another block or the heap's
// own notes would spoil.
TEST(SampleHeap, KeepsEveryBlock) {
    struct held_t {
        uint8_t* at;
        std::size_t bytes;
        uint8_t content;
    };
    const std::size_t sizes[] = {0, 1, 63, 64, 65, 4096, 176400, hugePageBytes, SampleHeap_t::chunkBytes + 1};
    SampleHeap_t heap;
    std::vector<held_t> held;
    std::vector<uint8_t*> everHeld;
    std::minstd_rand random(7);
    const auto giveBack = [&](std::size_t which) {
        const held_t block = held[which];
        for (const std::size_t i : {std::size_t{0}, block.bytes / 2, block.bytes - 1}) {
            if (i < block.bytes) {
                ASSERT_EQ(block.at[i], block.content);
            }
        }
        heap.Free(block.at);
        held[which] = held.back();
        held.pop_back();
    };
    for (unsigned round = 0; round < 3000; ++round) {
        if (!held.empty() && random() % 100 < (round < 2000 ? 45u : 60u)) {
            giveBack(random() % held.size());
            continue;
        }
        const std::size_t pick = random() % 200;  // the largest now and then only
        const std::size_t bytes = pick < 3 ? sizes[6 + pick] : sizes[pick % 6] + random() % 5000;
        const held_t block{heap.Allocate(bytes), bytes, static_cast<uint8_t>(random())};
        ASSERT_NE(block.at, nullptr);
        ASSERT_EQ(reinterpret_cast<uintptr_t>(block.at) % 64, 0u);
        std::memset(block.at, block.content, bytes);
        held.push_back(block);
        everHeld.push_back(block.at);
    }
    while (!held.empty()) giveBack(held.size() - 1);
    std::erase_if(everHeld, [](uint8_t* at) { return !IsMapped(at); });
    if (everHeld.empty()) return;
    const auto [first, last] = std::minmax_element(everHeld.begin(), everHeld.end());
    EXPECT_LT(*last - *first, static_cast<std::ptrdiff_t>(SampleHeap_t::chunkBytes)) << "more than one chunk";
}

// Neighbours that are free become one block, whatever the order: what they filled can be had in one piece,
// and its memory goes back.
TEST(SampleHeap, JoinsFreeNeighbours) {
    constexpr std::size_t bytes = SampleHeap_t::chunkBytes / 4;
    for (const auto& order : {std::vector{0, 1, 2}, {2, 1, 0}, {0, 2, 1}, {1, 0, 2}}) {
        SampleHeap_t heap;
        uint8_t* blocks[3];
        for (uint8_t*& block : blocks) {
            block = heap.Allocate(bytes);
            std::memset(block, 1, bytes);
        }
        uint8_t* guard = heap.Allocate(1);
        EXPECT_TRUE(IsResident(blocks[1] + bytes / 2));
        for (const int which : order) heap.Free(blocks[which]);
        for (uint8_t* block : blocks) {
            EXPECT_TRUE(IsMapped(block + bytes / 2));
            EXPECT_FALSE(IsResident(block + bytes / 2));
        }
        uint8_t* whole = heap.Allocate(3 * bytes);
        EXPECT_EQ(whole, blocks[0]);
        heap.Free(whole);
        heap.Free(guard);
    }
}

// One empty chunk waits for the next block, and costs a huge page at most; others go, and so do large ones.
TEST(SampleHeap, KeepsOneEmptyChunk) {
    constexpr std::size_t bytes = SampleHeap_t::chunkBytes - hugePageBytes / 2;
    SampleHeap_t heap;
    uint8_t *first = heap.Allocate(bytes), *second = heap.Allocate(bytes),
            *large = heap.Allocate(2 * SampleHeap_t::chunkBytes);
    for (uint8_t* block : {first, second, large}) std::memset(block, 1, bytes);
    for (uint8_t* block : {first, second, large}) heap.Free(block);
    EXPECT_TRUE(IsMapped(first));
    EXPECT_FALSE(IsResident(first + bytes / 2));
    EXPECT_FALSE(IsMapped(second));
    EXPECT_FALSE(IsMapped(large));
    EXPECT_EQ(heap.Allocate(1), first);
}

TEST(SampleHeap, RefusesWhatNoMachineHas) {
    SampleHeap_t heap;
    EXPECT_EQ(heap.Allocate(UINT64_MAX), nullptr);
    EXPECT_EQ(heap.Allocate(uint64_t{1} << 62), nullptr);
    heap.Free(nullptr);
}

}  // namespace
