// thread.h - threads of the engine. Under the manual clock exactly one of them, or the host, runs at a time.
#pragma once

#include <cstdint>

namespace platform {

class Thread_t;

// Starts body(argument) on a new thread. Null if no thread can be had.
[[nodiscard]] Thread_t* StartThread(void (*body)(void*), void* argument);

// Waits until the thread has ended. True: it has, and the object is gone. False: it still runs after
// timeoutMs, and may be joined again.
[[nodiscard]] bool JoinThread(Thread_t* thread, uint32_t timeoutMs);

// For a caller that wakes a thread and then waits for it: as long as the object lives, the thread wakes on
// the caller's processor, unless its affinity forbids that. This processor is awake, while another may be
// halted and take several times as long to come. Null, and a thread that is there anyway, cost nothing.
class Pull_t {
  public:
    explicit Pull_t(Thread_t* thread) noexcept;
    ~Pull_t();
    Pull_t(const Pull_t&) = delete;
    Pull_t& operator=(const Pull_t&) = delete;

  private:
    Thread_t* pulled = nullptr;
};

// Notes where the calling thread, one of StartThread, runs: Pull_t leaves it alone there.
void NoteProcessor() noexcept;

enum class thread_priority_t { ordinary, raised, realTime };

// Gives the calling thread the highest priority that the process may have, and tells the debug output what
// `what` ("Mixing thread") got. Under the manual clock nobody is late: there it stays as it is.
thread_priority_t RaiseThreadPriority(const char* what) noexcept;

}  // namespace platform
