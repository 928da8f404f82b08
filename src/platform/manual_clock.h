// manual_clock.h - time that stands still unless its owner moves it.
//
// While the manual backend is selected, every wait, join and counter reading of the engine goes through here.
// Of all threads (one host thread, and those started through thread.h) exactly one runs; it goes on until it
// waits, then the next one that can run does. Time moves only when every thread stands in a wait: on to the
// earliest time-out, that thread runs until it waits again, then on. So a run depends on nothing but the
// calls that the host makes.
//
// Time is kept in units in which a frame, a counter tick and a millisecond are all whole:
// 1 frame = 100,000 units, 1 count of the counter = 441, 1 millisecond = 4,410,000.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace platform {

class Event_t;

class ManualClock_t {
  public:
    static constexpr uint64_t unitsPerFrame = 100'000, unitsPerCount = 441, unitsPerMs = 4'410'000;
    static constexpr uint64_t countsPerSecond = 10'000'000;

    // Called with the clock's lock held for every stretch of time that passes.
    using time_passed_t = void (*)(uint64_t units);

    explicit ManualClock_t(time_passed_t onTimePassed);
    ~ManualClock_t();
    ManualClock_t(const ManualClock_t&) = delete;
    ManualClock_t& operator=(const ManualClock_t&) = delete;

    // Whether the calling thread is one of those that take turns: the host (the thread that started the
    // others; before that, whichever asks) and the threads it started. Any other waits in real time and moves
    // nothing.
    bool TakesTurns();

    // Counts of time since firstCount, plus one for every reading on the host thread so far.
    uint64_t ReadCounter();

    // The same answers as Event_t::Wait.
    uint32_t WaitFor(Event_t& event, uint32_t timeoutMs);

    // Lets time pass on the calling thread; the others run whenever their time-outs come up. A time-out that
    // falls on the very end still runs before this returns.
    void PassTime(uint64_t units);

    // A thread enters and leaves the round. AddThread is called by the starter, which keeps running and
    // catches std::bad_alloc; the thread itself calls BeginThread first and EndThread last.
    struct task_t;
    task_t* AddThread();
    void BeginThread(task_t* task);
    void EndThread(task_t* task);
    void RemoveThread(task_t* task);                    // one that never began
    bool JoinThread(task_t* task, uint32_t timeoutMs);  // true: ended, and the task is gone

    bool refuseThread = false;  // StartThread fails
    // Time and readings begin anew, the counter at newFirstCount, from which it may wrap. The engine must not
    // be running.
    void Reset(uint64_t newFirstCount);

  private:
    using lock_t = std::unique_lock<std::mutex>;

    task_t& Self();
    uint64_t Deadline(uint32_t timeoutMs) const;
    uint32_t Wait(lock_t& lock, Event_t* event, task_t* joined, uint64_t deadline);
    void PassOn();
    bool TryToEnd(task_t& task);
    task_t* EarliestTimeout() const;
    void MoveTimeTo(task_t& next);
    void MakeRunning(task_t& task, uint32_t waitResult);
    void Remove(task_t* task);

    time_passed_t timePassed;
    std::mutex mutex;
    std::thread::id hostThread;  // of whoever starts threads; none while there are none
    std::vector<task_t*> tasks;  // the engine's threads in order of arrival, then the host
    task_t* running = nullptr;
    uint64_t now = 0;  // units
    uint64_t firstCount = 0;
    uint64_t hostReadings = 0;
};

// The clock that is in force, or null for real time.
ManualClock_t* CurrentManualClock() noexcept;

}  // namespace platform
