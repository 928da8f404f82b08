#include "platform/output_status.h"

#include <mutex>

namespace platform {
namespace {
std::mutex mutex;
output_request_t wanted;
output_status_t current;
}  // namespace

output_request_t OutputRequest() {
    const std::lock_guard lock(mutex);
    return wanted;
}

void SetOutputRequest(const output_request_t& request) {
    const std::lock_guard lock(mutex);
    wanted = request;
}

output_status_t OutputStatus() {
    const std::lock_guard lock(mutex);
    return current;
}

void SetOutputStatus(const output_status_t& status) {
    const std::lock_guard lock(mutex);
    current = status;
}

}  // namespace platform
