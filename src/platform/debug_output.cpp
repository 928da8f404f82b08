#include "platform/debug_output.h"

#include <atomic>

namespace platform {
namespace {
std::atomic<debug_sink_t> sink{nullptr};
}

void SetDebugSink(debug_sink_t newSink) noexcept { sink.store(newSink, std::memory_order_release); }

void OutputDebugLine(const char* line) noexcept {
    if (const debug_sink_t current = sink.load(std::memory_order_acquire)) current(line);
}

}  // namespace platform
