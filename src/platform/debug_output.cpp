#include "platform/debug_output.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace platform {
namespace {

std::atomic<debug_sink_t> sink{nullptr};

std::mutex latestLock;  // never waited for by a thread that has a line to tell
char latest[256] = "";

void Keep(const char* line) noexcept {
    const std::unique_lock lock(latestLock, std::try_to_lock);
    if (!lock.owns_lock()) return;
    std::snprintf(latest, sizeof latest, "%s", line);
    latest[std::strcspn(latest, "\n")] = 0;
}

}  // namespace

void SetDebugSink(debug_sink_t newSink) noexcept { sink.store(newSink, std::memory_order_release); }

void OutputDebugLine(const char* line) noexcept {
    Keep(line);
    if (const debug_sink_t current = sink.load(std::memory_order_acquire)) current(line);
}

void CopyLatestDebugLine(char* text, std::size_t textBytes) noexcept {
    const std::lock_guard lock(latestLock);
    std::snprintf(text, textBytes, "%s", latest);
}

void ForgetDebugLine() noexcept {
    const std::lock_guard lock(latestLock);
    latest[0] = 0;
}

}  // namespace platform
