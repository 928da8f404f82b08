#include "platform/software_buffer.h"

#include <algorithm>

namespace platform {

output_result_t SoftwareBuffer_t::GetCaps(DSBCAPS* caps) {
    caps->dwBufferBytes = SizeBytes();
    return outputOk;
}

output_result_t SoftwareBuffer_t::GetStatus(uint32_t* status) {
    *status = 0;
    return outputOk;
}

output_result_t SoftwareBuffer_t::Lock(uint32_t offset, uint32_t bytes, void** first, uint32_t* firstBytes,
                                       void** second, uint32_t* secondBytes, uint32_t) {
    if (offset >= SizeBytes() || bytes > SizeBytes()) return DSERR_INVALIDPARAM;
    *firstBytes = std::min(bytes, SizeBytes() - offset);
    *first = memory.data() + offset;
    *secondBytes = bytes - *firstBytes;
    *second = *secondBytes ? memory.data() : nullptr;
    return outputOk;
}

}  // namespace platform
