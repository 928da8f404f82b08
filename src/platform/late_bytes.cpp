#include "platform/late_bytes.h"

#include <cstring>

#include "platform/sanitizer.h"

namespace platform {

#if defined(RINGMIX_TSAN)
// A loop, as the sanitizer watches memcpy wherever it is called from.
RINGMIX_NO_TSAN void CopyLateBytes(uint8_t* to, const uint8_t* from, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) static_cast<volatile uint8_t*>(to)[i] = from[i];
}
#else
void CopyLateBytes(uint8_t* to, const uint8_t* from, std::size_t count) noexcept {
    std::memcpy(to, from, count);
}
#endif

}  // namespace platform
