// thread.cpp - a thread is owned by whoever started it, until a join has seen its end.
#include "platform/thread.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>

#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

#include "platform/manual_clock.h"

namespace platform {

class Thread_t {
  public:
    void (*body)(void*) = nullptr;
    void* argument = nullptr;
    std::thread thread;
    ManualClock_t* clock = nullptr;  // the clock that was in force at the start; null for real time
    ManualClock_t::task_t* task = nullptr;

    std::mutex mutex;
    std::condition_variable ended;
    bool hasEnded = false;

    void Run() {
        if (clock) clock->BeginThread(task);
        body(argument);
        if (clock) clock->EndThread(task);
        const std::lock_guard lock(mutex);
        hasEnded = true;
        ended.notify_all();
    }

    bool WaitForEnd(uint32_t timeoutMs) {
        if (clock) return clock->JoinThread(task, timeoutMs);
        std::unique_lock lock(mutex);
        return ended.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return hasEnded; });
    }
};

Thread_t* StartThread(void (*body)(void*), void* argument) {
    ManualClock_t* clock = CurrentManualClock();
    if (clock && clock->refuseThread) return nullptr;
    std::unique_ptr<Thread_t> started(new (std::nothrow) Thread_t);
    if (!started) return nullptr;
    started->body = body;
    started->argument = argument;
    started->clock = clock;
    try {
        if (clock) started->task = clock->AddThread();
        started->thread = std::thread(&Thread_t::Run, started.get());
    } catch (const std::exception&) {  // no thread, or no memory for one
        if (started->task) clock->RemoveThread(started->task);
        return nullptr;
    }
    return started.release();
}

bool JoinThread(Thread_t* thread, uint32_t timeoutMs) {
    if (!thread->WaitForEnd(timeoutMs)) return false;
    thread->thread.join();
    delete thread;
    return true;
}

void RaiseThreadPriority() noexcept {
    sched_param parameters{};
    parameters.sched_priority = sched_get_priority_max(SCHED_FIFO);
    if (pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters) == 0) return;
    setpriority(PRIO_PROCESS, 0, -20);  // of this thread alone, and only where the process may
}

}  // namespace platform
