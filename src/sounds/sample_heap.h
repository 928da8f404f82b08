// sample_heap.h - where the samples of loaded sounds lie: close together, on huge pages. Voices read at
// hundreds of places at once, and on small pages each of them waits for its address to be translated.
//
// Memory comes in chunks of chunkBytes, a larger block in a chunk of its own. They take memory as they are
// filled, a huge page at a time where the system has these. It goes back to the system with a chunk's last
// block, except for one chunk that waits for the next block, and before that once about mostIdleBytes more of
// the chunk are idle than in use.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

class SampleHeap_t {
  public:
    static constexpr std::size_t chunkBytes = std::size_t{8} << 20;
    static constexpr std::size_t mostIdleBytes = chunkBytes / 2;

    SampleHeap_t() = default;
    SampleHeap_t(const SampleHeap_t&) = delete;
    SampleHeap_t& operator=(const SampleHeap_t&) = delete;

    // A block of its own also for 0 bytes, at the start of a cache line, with any content. Null if there is
    // no memory. Thread: any.
    [[nodiscard]] uint8_t* Allocate(uint64_t bytes) noexcept;
    // Null does nothing. Thread: any.
    void Free(uint8_t* samples) noexcept;

  private:
    struct block_t;

    block_t* FindFree(std::size_t bytes) noexcept;
    block_t* AddChunk(std::size_t bytes) noexcept;
    void CutTo(block_t& block, std::size_t bytes) noexcept;
    block_t& JoinNeighbours(block_t& block) noexcept;
    static void Trim(block_t& chunk) noexcept;
    void EnterList(block_t& block) noexcept;
    void LeaveList(block_t& block) noexcept;

    std::mutex mutex;
    std::array<block_t*, 65> freeBlocks{};  // by the bit width of their bytes
    block_t* spare = nullptr;               // the chunk without blocks, one free block
};

// The heap of all sounds, for samples and for compressed data. Under the address sanitizer each block comes
// from the common heap, so that it sees what reads outside. Null samples: there is no memory, or none to
// free.
void FreeSamples(uint8_t* samples) noexcept;
struct free_samples_t {
    void operator()(uint8_t* samples) const noexcept { FreeSamples(samples); }
};
using samples_t = std::unique_ptr<uint8_t[], free_samples_t>;
[[nodiscard]] samples_t AllocateSamples(uint64_t bytes) noexcept;
