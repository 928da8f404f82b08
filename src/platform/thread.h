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

// For a caller that is about to wait for a sleeping thread: that one wakes on the caller's processor. It is
// awake, while another may be halted and take several times as long to come. From then on the thread stays
// there of itself, so this costs nothing as long as the caller stays, too. Null does nothing.
void PullThread(Thread_t* thread) noexcept;
// The thread's part, once it is awake: it may run anywhere again.
void EndPull() noexcept;

enum class thread_priority_t { ordinary, raised, realTime };

// Gives the calling thread the highest priority that the process may have, and tells the debug output what
// `what` ("Mixing thread") got. Under the manual clock nobody is late: there it stays as it is.
thread_priority_t RaiseThreadPriority(const char* what) noexcept;

}  // namespace platform
