// decoded_pages.h - the pages of a decoded sound that exist only while a voice holds them.
//
// The sound has a range of addresses from the moment it is loaded; page p covers the bytes from p * pageBytes
// on, and has a count of the voices that hold it: reserved without access at 0, committed above. What stands
// in a page is defined for the frames that were decoded while it was held.
//
// A voice holds a window, frames start up to end: the pages from that of start to that of end - 1. An empty
// window inside a page holds that page, one on a page boundary holds nothing.
//
// Thread: the one that runs the voices. No locks: the counts are plain words.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/page_span.h"

struct frame_window_t {
    uint32_t start = 0, end = 0;

    // How far a voice that stands at `frame` has decoded. After a jump for which there was no memory the
    // window has stayed elsewhere.
    uint32_t DecodedEnd(uint32_t frame) const { return frame >= start && frame <= end ? end : frame; }
};

class DecodedPages_t {
  public:
    // Reserves the range and clears the counts. False if there are no addresses or no memory for it, or a
    // page size of 0.
    [[nodiscard]] bool Reserve(uint32_t frameCount, uint32_t frameBytes, uint32_t bytesPerPage);
    void Release();  // also what is committed; harmless when nothing is reserved

    // Makes `window` the window [start, end). What both hold keeps its content.
    // False: a commit failed, then the window stays as it was; or a decommit did, then it has moved all the
    // same.
    bool Move(frame_window_t& window, uint32_t start, uint32_t end);
    // Makes the window an empty one at newPos; at 0, where it holds nothing, if there is no page for it.
    void Reset(frame_window_t& window, uint32_t newPos);
    // Gives back all that the window holds, and leaves it empty at frame 0.
    bool Drop(frame_window_t& window);

    uint64_t BytesOf(const frame_window_t& window) const;  // of the pages that it holds
    uint64_t CommittedBytes() const { return uint64_t{committedPages} * pageBytes; }

    uint8_t* base = nullptr;       // page 0, owned
    int32_t* refCounts = nullptr;  // one a page, owned
    uint32_t pageCount = 0;
    uint32_t pageBytes = 0;
    uint32_t bytesPerFrame = 0;
    uint32_t committedPages = 0;

  private:
    page_span_t SpanOf(const frame_window_t& window) const;
    bool Acquire(uint64_t page);
    bool GiveBack(uint64_t page);
};
