// critical_section.h - a lock that its owning thread may take again.
#pragma once

#include <mutex>

namespace platform {

using CriticalSection_t = std::recursive_mutex;
using CriticalSectionLock_t = std::lock_guard<std::recursive_mutex>;

}  // namespace platform
