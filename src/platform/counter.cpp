#include "platform/counter.h"

#include <chrono>

#include "platform/manual_clock.h"

namespace platform {
namespace {
// The manual clock's rate for the real one, too: callers keep 32 bits of a difference, which then span
// minutes.
using counts_t = std::chrono::duration<uint64_t, std::ratio<1, ManualClock_t::countsPerSecond>>;
}  // namespace

uint64_t CounterFrequency() noexcept { return ManualClock_t::countsPerSecond; }

uint64_t ReadCounter() noexcept {
    if (ManualClock_t* clock = CurrentManualClock()) return clock->ReadCounter();
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<counts_t>(now).count();
}

}  // namespace platform
