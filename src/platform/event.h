// event.h - an auto-reset event: one Set lets one Wait through.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace platform {

constexpr uint32_t waitSignalled = 0, waitTimedOut = 258, waitFailed = 0xFFFFFFFFu;
constexpr uint32_t waitForever = 0xFFFFFFFFu;

// Lives as long as its owner likes and is open in between: waiting on a closed event fails at once, setting
// one does nothing, and Close wakes whoever waits. Thread: any.
class Event_t {
  public:
    bool Create();  // open and clear; false, and still closed, if there is none to be had
    void Close();
    void Set();
    // waitSignalled, waitTimedOut, or waitFailed if the event is closed.
    [[nodiscard]] uint32_t Wait(uint32_t timeoutMs);
    // The same for what comes within microseconds: it looks for that long before it sleeps, as going to sleep
    // and waking up would take longer.
    [[nodiscard]] uint32_t WaitAwake(uint32_t timeoutMs);

  private:
    friend class ManualClock_t;
    uint32_t WaitRealTime(uint32_t timeoutMs);

    std::mutex mutex;
    std::condition_variable changed;
    bool isOpen = false;
    std::atomic<bool> isSet{false};  // changes under the mutex
};

}  // namespace platform
