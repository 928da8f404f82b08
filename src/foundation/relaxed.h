// A word that two threads share without a lock: each access is atomic and relaxed, so a reader sees some
// value that was written whole, and nothing about any other word follows from it.
#pragma once

#include <atomic>

template <typename T>
class Relaxed_t {
  public:
    constexpr Relaxed_t() noexcept : value() {}
    constexpr Relaxed_t(T initial) noexcept : value(initial) {}
    Relaxed_t(const Relaxed_t& other) noexcept : value(static_cast<T>(other)) {}
    Relaxed_t& operator=(const Relaxed_t& other) noexcept { return *this = static_cast<T>(other); }

    operator T() const noexcept { return value.load(std::memory_order_relaxed); }
    Relaxed_t& operator=(T newValue) noexcept {
        value.store(newValue, std::memory_order_relaxed);
        return *this;
    }

  private:
    std::atomic<T> value;
};
