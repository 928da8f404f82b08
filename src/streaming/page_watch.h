// page_watch.h - somebody who looks on while the pages of one sound come and go, and may make them late: for
// hosts that count what streaming costs or imitate a slow disk.
#pragma once

#include <cstdint>

class PageWatch_t {
  public:
    virtual ~PageWatch_t() = default;

    // Host's thread. The page was absent, or given back, and is wanted.
    virtual void OnRequested(uint64_t page) = 0;
    // Loader's thread, in a pass. False: not yet; the request is posted again for the next pass.
    virtual bool MayRead(uint64_t page) = 0;
    // Loader's thread. So many bytes of the page came from the file.
    virtual void OnRead(uint64_t page, uint64_t bytes) = 0;
    // Host's thread, inside a tick. A voice is about to mix, or to decode, frames first up to end of the
    // sound, from pages that may not have arrived.
    virtual void OnUse(uint32_t first, uint32_t end) = 0;
};
