#include "streaming/page_holds.h"

#include <algorithm>

namespace {

page_span_t Common(page_span_t one, page_span_t other) {
    const page_span_t common{std::max(one.first, other.first), std::min(one.end, other.end)};
    return common.first < common.end ? common : page_span_t{one.first, one.first};
}

}  // namespace

// The current sound and each of the queue, once round; of each run two parts may be new.
void PageHolds_t::KeepRoom(int32_t queuedSounds) {
    const std::size_t runs = static_cast<std::size_t>(queuedSounds) + 1;
    if (runs <= wanted.capacity() && runs <= held.capacity()) return;
    acquired.reserve(4 * runs);  // first: the others tell whether there is room
    wanted.reserve(2 * runs);
    held.reserve(2 * runs);
}

void PageHolds_t::Want(FilePages_t& pages, page_span_t span) {
    if (span.first < span.end) wanted.push_back({&pages, span, {}});
}

// Both lists are in playing order: a run's partner is the next one of the same sound in the other list. Any
// pairing balances; this one leaves little to do as a voice moves on.
void PageHolds_t::PairUp() {
    std::size_t next = 0;
    for (run_t& run : held) run.kept = {run.span.first, run.span.first};
    for (run_t& run : wanted) {
        run.kept = {run.span.first, run.span.first};
        for (std::size_t i = next; i < held.size(); ++i) {
            if (held[i].pages != run.pages) continue;
            run.kept = Common(run.span, held[i].span);
            held[i].kept = Common(held[i].span, run.span);
            next = i + 1;
            break;
        }
    }
}

bool PageHolds_t::AcquireNew() {
    acquired.clear();
    for (const run_t& run : wanted) {
        for (const page_span_t part :
             {page_span_t{run.span.first, run.kept.first}, {run.kept.end, run.span.end}}) {
            if (part.first >= part.end) continue;
            if (!run.pages->Acquire(part)) return false;
            acquired.push_back({run.pages, part, {}});
        }
    }
    return true;
}

bool PageHolds_t::Update() {
    PairUp();
    const bool isAcquired = AcquireNew();
    if (isAcquired) {
        for (const run_t& run : held) {
            run.pages->GiveBack({run.span.first, run.kept.first});
            run.pages->GiveBack({run.kept.end, run.span.end});
        }
        held.swap(wanted);
    } else {
        for (const run_t& run : acquired) run.pages->GiveBack(run.span);
    }
    wanted.clear();
    return isAcquired;
}

uint64_t PageHolds_t::HeldBytes() const {
    uint64_t bytes = 0;
    for (const run_t& run : held) bytes += (run.span.end - run.span.first) * run.pages->pageBytes;
    return bytes;
}

void PageHolds_t::DropAll() {
    for (const run_t& run : held) run.pages->GiveBack(run.span);
    held.clear();
}
