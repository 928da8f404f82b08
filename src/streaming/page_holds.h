// page_holds.h - the file pages that one voice holds: a list of runs, in the order in which the voice will
// play them.
//
// A voice says what it wants now, run by run, and Update turns the old holds into the new: what is new is
// acquired before anything is given back, so that a page of both is never without a holder, and exactly what
// is held is ever given back.
//
// Thread: host. Within the room that is kept, nothing here takes memory.
#pragma once

#include <vector>

#include "streaming/file_pages.h"

class PageHolds_t {
  public:
    PageHolds_t() = default;
    ~PageHolds_t() { DropAll(); }
    PageHolds_t(const PageHolds_t&) = delete;
    PageHolds_t& operator=(const PageHolds_t&) = delete;

    // Makes room for the runs of a voice with so many sounds in its queue. Not inside a tick.
    void KeepRoom(int32_t queuedSounds);

    void Want(FilePages_t& pages, page_span_t span);
    // False: a commit failed; then the old holds stay, and what was wanted is forgotten.
    bool Update();
    void DropAll();
    uint64_t HeldBytes() const;

    struct run_t {
        FilePages_t* pages;
        page_span_t span;
        page_span_t kept;  // inside Update: the part that its partner in the other list has, too
    };
    // One hold on each page of each run; a page may stand in several.
    const std::vector<run_t>& Held() const { return held; }

  private:
    void PairUp();
    bool AcquireNew();

    std::vector<run_t> held, wanted, acquired;
};
