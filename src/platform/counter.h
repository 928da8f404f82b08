// counter.h - the monotonic high-resolution counter, real or held by the manual clock.
#pragma once

#include <cstdint>

namespace platform {

uint64_t CounterFrequency() noexcept;  // counts a second
uint64_t ReadCounter() noexcept;

}  // namespace platform
