// late_bytes.h - filling memory that a voice may be reading at the same moment.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// Copies to a page that is late: a kernel that reads it meanwhile hears old bytes or new ones, which is what
// being late means. The thread sanitizer is told not to look here.
void CopyLateBytes(uint8_t* to, const uint8_t* from, std::size_t count) noexcept;

}  // namespace platform
