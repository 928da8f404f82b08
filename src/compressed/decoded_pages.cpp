#include "compressed/decoded_pages.h"

#include "platform/pages.h"

bool DecodedPages_t::Reserve(uint32_t frameCount, uint32_t frameBytes, uint32_t bytesPerPage) {
    if (bytesPerPage == 0) return false;
    const uint64_t pages = uint64_t{frameCount} * frameBytes / bytesPerPage + 1;
    pageCount = static_cast<uint32_t>(pages);
    pageBytes = bytesPerPage;
    // Most sounds have a handful of counts; of a long one's, few are ever touched.
    refCounts = reinterpret_cast<int32_t*>(platform::AllocateZeroPages(pages * sizeof(int32_t)));
    base = platform::ReservePages(pages * bytesPerPage);
    if (!refCounts || !base) {
        Release();
        return false;
    }
    bytesPerFrame = frameBytes;
    return true;
}

void DecodedPages_t::Release() {
    platform::ReleasePages(base, std::size_t{pageCount} * pageBytes);
    base = nullptr;
    platform::ReleasePages(reinterpret_cast<uint8_t*>(refCounts), pageCount * sizeof(int32_t));
    refCounts = nullptr;
    pageCount = committedPages = 0;
}

page_span_t DecodedPages_t::SpanOf(const frame_window_t& window) const {
    const uint64_t first = uint64_t{window.start} * bytesPerFrame;
    const uint64_t end = uint64_t{window.end} * bytesPerFrame;
    if (first == end && first % pageBytes == 0) return {first / pageBytes, first / pageBytes};
    const uint64_t last = end > first ? end - 1 : first;
    return {first / pageBytes, last / pageBytes + 1};
}

uint64_t DecodedPages_t::BytesOf(const frame_window_t& window) const {
    if (!base) return 0;
    const page_span_t span = SpanOf(window);
    return (span.end - span.first) * pageBytes;
}

// Acquires before it gives back, so that a page of both windows is never without a holder.
bool DecodedPages_t::Move(frame_window_t& window, uint32_t start, uint32_t end) {
    if (!base) return false;
    const page_span_t old = SpanOf(window), wanted = SpanOf({start, end});
    for (uint64_t page = wanted.first; page < wanted.end; ++page) {
        if (old.Holds(page)) continue;
        if (Acquire(page)) continue;
        while (page-- > wanted.first) {
            if (!old.Holds(page)) GiveBack(page);
        }
        return false;
    }
    bool isGivenBack = true;
    for (uint64_t page = old.first; page < old.end; ++page) {
        if (!wanted.Holds(page)) isGivenBack &= GiveBack(page);
    }
    window = {start, end};
    return isGivenBack;
}

void DecodedPages_t::Reset(frame_window_t& window, uint32_t newPos) {
    if (!Move(window, newPos, newPos)) (void)Drop(window);
}

bool DecodedPages_t::Drop(frame_window_t& window) { return Move(window, 0, 0); }

bool DecodedPages_t::Acquire(uint64_t page) {
    if (refCounts[page] == 0 && !platform::CommitPages(base + page * pageBytes, pageBytes)) return false;
    if (refCounts[page]++ == 0) ++committedPages;
    return true;
}

bool DecodedPages_t::GiveBack(uint64_t page) {
    if (--refCounts[page] > 0) return true;
    --committedPages;
    return platform::DecommitPages(base + page * pageBytes, pageBytes);
}
