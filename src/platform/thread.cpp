// thread.cpp - a thread is owned by whoever started it, until a join has seen its end.
#include "platform/thread.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

#include "platform/debug_output.h"
#include "platform/manual_clock.h"

namespace platform {

namespace {
thread_local Thread_t* current = nullptr;
}

class Thread_t {
  public:
    void (*body)(void*) = nullptr;
    void* argument = nullptr;
    std::thread thread;
    ManualClock_t* clock = nullptr;  // the clock that was in force at the start; null for real time
    ManualClock_t::task_t* task = nullptr;

    std::atomic<int> processor{-1};  // where it was at its last NoteProcessor
    cpu_set_t processors;            // that it may run on, while a Pull_t holds it to one

    std::mutex mutex;
    std::condition_variable ended;
    bool hasEnded = false;

    void Run() {
        current = this;
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

Pull_t::Pull_t(Thread_t* thread) noexcept {
    const int here = sched_getcpu();
    if (!thread || thread->clock || here < 0 || here == thread->processor) return;
    const pthread_t handle = thread->thread.native_handle();
    if (pthread_getaffinity_np(handle, sizeof thread->processors, &thread->processors) != 0) return;
    if (!CPU_ISSET(static_cast<unsigned>(here), &thread->processors)) return;
    cpu_set_t only;
    CPU_ZERO(&only);
    CPU_SET(static_cast<unsigned>(here), &only);
    if (pthread_setaffinity_np(handle, sizeof only, &only) == 0) pulled = thread;
}

Pull_t::~Pull_t() {
    if (pulled)
        (void)pthread_setaffinity_np(pulled->thread.native_handle(), sizeof pulled->processors,
                                     &pulled->processors);
}

void NoteProcessor() noexcept {
    if (current) current->processor = sched_getcpu();
}

namespace {

rlim_t LimitOf(decltype(RLIMIT_NICE) resource) noexcept {
    rlimit limit{};
    return getrlimit(resource, &limit) == 0 ? limit.rlim_cur : 0;
}

// An ordinary user may be allowed a real-time priority up to a limit.
bool TakeRealTimePriority() noexcept {
    const int highest = sched_get_priority_max(SCHED_FIFO);
    const auto limit =
        static_cast<int>(std::min<rlim_t>(LimitOf(RLIMIT_RTPRIO), static_cast<rlim_t>(highest)));
    for (const int priority : {highest, limit}) {
        sched_param parameters{};
        parameters.sched_priority = priority;
        if (priority > 0 && pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters) == 0) return true;
    }
    return false;
}

// Of this thread alone. The limit is 20 less the lowest nice value that the process may have.
bool TakeRaisedPriority() noexcept {
    const auto limit = static_cast<int>(std::min<rlim_t>(LimitOf(RLIMIT_NICE), 40));
    for (const int nice : {-20, 20 - limit}) {
        if (nice < 0 && setpriority(PRIO_PROCESS, 0, nice) == 0) return true;
    }
    return false;
}

}  // namespace

thread_priority_t RaiseThreadPriority(const char* what) noexcept {
    if (CurrentManualClock()) return thread_priority_t::ordinary;
    const thread_priority_t got = TakeRealTimePriority() ? thread_priority_t::realTime
                                  : TakeRaisedPriority() ? thread_priority_t::raised
                                                         : thread_priority_t::ordinary;
    constexpr const char* words[] = {"the ordinary", "a raised", "real-time"};
    char line[128];
    std::snprintf(line, sizeof line, "%s: %s priority\n", what, words[static_cast<int>(got)]);
    OutputDebugLine(line);
    return got;
}

}  // namespace platform
