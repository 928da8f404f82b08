// pages.h - address ranges whose memory comes and goes by page.
//
// Thread: any, as long as two do not handle the same pages. Sizes are multiples of SystemPageBytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

uint32_t SystemPageBytes() noexcept;

// A range of addresses without memory and without access; null if there is none to be had.
[[nodiscard]] uint8_t* ReservePages(std::size_t bytes) noexcept;

// Gives part of a reserved range memory, zero-filled, readable and writable. What is committed already keeps
// its content. False: no memory, nothing changed.
[[nodiscard]] bool CommitPages(uint8_t* first, std::size_t bytes) noexcept;

// Takes memory and content away; the addresses stay reserved.
bool DecommitPages(uint8_t* first, std::size_t bytes) noexcept;

// Zeroed memory of which only what is touched is there: large tables that stay nearly empty cost nothing. Any
// size. Null if there is none; ReleasePages gives it back.
[[nodiscard]] uint8_t* AllocateZeroPages(std::size_t bytes) noexcept;

// Memory for what is read at many places at once, on huge pages where the system has them; zero-filled,
// aligned to hugePageBytes, and so is its size. Null if there is none; ReleasePages gives it back.
constexpr std::size_t hugePageBytes = std::size_t{2} << 20;
[[nodiscard]] uint8_t* AllocateHugePages(std::size_t bytes) noexcept;

// Takes the memory of all pages that lie wholly inside, and their content with it: zeros come back at the
// next touch.
void DiscardPages(uint8_t* first, std::size_t bytes) noexcept;

// Gives the whole range back, committed pages included. Null does nothing.
void ReleasePages(uint8_t* base, std::size_t bytes) noexcept;

}  // namespace platform
