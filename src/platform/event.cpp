#include "platform/event.h"

#include <chrono>

#include "platform/manual_clock.h"

namespace platform {

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
