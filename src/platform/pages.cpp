#include "platform/pages.h"

#include <sys/mman.h>
#include <unistd.h>

namespace platform {

namespace {

uint8_t* MapPages(std::size_t bytes, int access) noexcept {
    void* base = mmap(nullptr, bytes, access, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return base == MAP_FAILED ? nullptr : static_cast<uint8_t*>(base);
}

// How many bytes before the next address that is a multiple of a page's size.
std::size_t RestOf(std::size_t pageBytes, const uint8_t* at) noexcept {
    return -reinterpret_cast<uintptr_t>(at) & (pageBytes - 1);
}

}  // namespace

uint32_t SystemPageBytes() noexcept { return static_cast<uint32_t>(sysconf(_SC_PAGESIZE)); }

uint8_t* ReservePages(std::size_t bytes) noexcept { return MapPages(bytes, PROT_NONE); }

// Where the system gives huge pages unasked, one word of a table would cost 2 MiB.
uint8_t* AllocateZeroPages(std::size_t bytes) noexcept {
    uint8_t* base = MapPages(bytes, PROT_READ | PROT_WRITE);
    if (base) madvise(base, bytes, MADV_NOHUGEPAGE);
    return base;
}

// The system aligns to small pages only, so one huge page more is mapped, and what stands out is cut off.
uint8_t* AllocateHugePages(std::size_t bytes) noexcept {
    uint8_t* mapped = MapPages(bytes + hugePageBytes, PROT_READ | PROT_WRITE);
    if (!mapped) return nullptr;
    const std::size_t before = RestOf(hugePageBytes, mapped), behind = hugePageBytes - before;
    if (before != 0) munmap(mapped, before);
    if (behind != 0) munmap(mapped + before + bytes, behind);
    madvise(mapped + before, bytes, MADV_HUGEPAGE);  // refused where there are none: small ones serve, too
    return mapped + before;
}

void DiscardPages(uint8_t* first, std::size_t bytes) noexcept {
    const std::size_t before = RestOf(SystemPageBytes(), first);
    if (before >= bytes) return;
    const std::size_t inside = (bytes - before) / SystemPageBytes() * SystemPageBytes();
    if (inside != 0) madvise(first + before, inside, MADV_DONTNEED);
}

bool CommitPages(uint8_t* first, std::size_t bytes) noexcept {
    return mprotect(first, bytes, PROT_READ | PROT_WRITE) == 0;
}

// A fresh mapping in the old one's place drops the content and the access in one step.
bool DecommitPages(uint8_t* first, std::size_t bytes) noexcept {
    return mmap(first, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1, 0) !=
           MAP_FAILED;
}

void ReleasePages(uint8_t* base, std::size_t bytes) noexcept {
    if (base) munmap(base, bytes);
}

}  // namespace platform
