// page_span.h - a run of pages, by number: first up to, but not including, end.
#pragma once

#include <cstdint>

struct page_span_t {
    uint64_t first = 0, end = 0;

    bool Holds(uint64_t page) const { return page >= first && page < end; }
};
