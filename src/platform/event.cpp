#include "platform/event.h"

#include <chrono>
#include <thread>

#include "platform/manual_clock.h"

namespace platform {
namespace {
constexpr std::chrono::microseconds mostAwake{50};  // most threads have woken and done their work by then
const unsigned processors = std::thread::hardware_concurrency();
}  // namespace

// Needs nothing here that could be lacking.
bool Event_t::Create() {
    const std::lock_guard lock(mutex);
    isOpen = true;
    isSet = false;
    return true;
}

void Event_t::Close() {
    {
        const std::lock_guard lock(mutex);
        isOpen = false;
    }
    changed.notify_all();
}

void Event_t::Set() {
    {
        const std::lock_guard lock(mutex);
        if (!isOpen) return;
        isSet = true;
    }
    changed.notify_one();
}

uint32_t Event_t::Wait(uint32_t timeoutMs) {
    ManualClock_t* clock = CurrentManualClock();
    return clock && clock->TakesTurns() ? clock->WaitFor(*this, timeoutMs) : WaitRealTime(timeoutMs);
}

uint32_t Event_t::WaitAwake(uint32_t timeoutMs) {
    ManualClock_t* clock = CurrentManualClock();
    const bool isRealTime = !clock || !clock->TakesTurns();
    if (isRealTime && processors > 1) {
        const auto end = std::chrono::steady_clock::now() + mostAwake;
        while (!isSet && std::chrono::steady_clock::now() < end) {}
    }
    return Wait(timeoutMs);
}

uint32_t Event_t::WaitRealTime(uint32_t timeoutMs) {
    std::unique_lock lock(mutex);
    const auto isOver = [this] { return isSet || !isOpen; };
    if (timeoutMs == waitForever) {
        changed.wait(lock, isOver);
    } else if (!changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), isOver)) {
        return waitTimedOut;
    }
    if (!isOpen) return waitFailed;
    isSet = false;
    return waitSignalled;
}

}  // namespace platform
