// file_pages.h - the bytes of a file that are in memory only where voices hold them, page by page.
//
// Voices take and give back holds; they never wait for the file. The host's loader reads what is requested
// and drops what is released, in passes of its own.
//
//   absent    count 0, flags 0        reserved, no access
//   requested count 1 up, flags 1     committed, zero-filled until the loader has been
//   resident  count 1 up, flags 0     committed, the file's bytes
//   released  count 0, flags 2 or 3   committed, waiting for the loader to drop it, unless somebody holds it
//   again first
//
// Thread: holds on the host's, Serve on the loader's, one pass at a time. pageLock guards the counts and what
// is posted, and is never held over a read; flags are atomic words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "foundation/page_span.h"
#include "platform/critical_section.h"
#include "streaming/page_watch.h"

class FilePages_t {
  public:
    static constexpr uint32_t loadRequested = 1, freeRequested = 2;

    ~FilePages_t() { Release(); }

    // Reserves addresses and page tables for so many bytes of data. False if they cannot be had, or for a
    // page size of 0.
    [[nodiscard]] bool Reserve(uint64_t bytes, uint32_t bytesPerPage);
    void Release();

    // The pages that bytes begin up to end touch; none for an empty range.
    page_span_t SpanOf(uint64_t begin, uint64_t end) const;

    // One hold more, or less, on each page. Acquire is false if a commit failed; then nothing is held.
    [[nodiscard]] bool Acquire(page_span_t pages);
    void GiveBack(page_span_t pages);

    // The loader's pass: drops what is released, then reads what is requested, in page order.
    //   file, dataOffset  where byte 0 of the data stands
    //   prepare           turns bytes, as read, into their form in memory; never half a sample; may be null
    // What cannot be read counts as zero bytes in the file: silence. Behind the data, pages stay zero.
    using prepare_t = void (*)(uint8_t* bytes, std::size_t count);
    void Serve(FILE* file, uint64_t dataOffset, prepare_t prepare);

    uint64_t CommittedBytes();  // now

    uint8_t* base = nullptr;            // byte 0 of the data, owned
    uint32_t* pageRefCounts = nullptr;  // one a page, owned
    uint32_t* pageFlags = nullptr;      // likewise
    uint64_t pageCount = 0;
    uint32_t pageBytes = 0;
    uint64_t committedPages = 0, mostCommittedPages = 0;  // now, and ever; under pageLock
    PageWatch_t* watch = nullptr;                         // not owned; set while no voice plays
    platform::CriticalSection_t pageLock;
    platform::CriticalSection_t loadLock;  // a pass, while it reads; never taken under pageLock

  private:
    void Post(uint64_t page);
    page_span_t TakePosted();
    void DropReleased(page_span_t posted);
    uint64_t Fill(uint64_t page, FILE* file, uint64_t dataOffset, prepare_t prepare);

    uint64_t dataBytes = 0;
    page_span_t posted{};  // pages whose flags may be set: all that a pass has to look at
};
