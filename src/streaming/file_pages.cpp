#include "streaming/file_pages.h"

#include <algorithm>
#include <atomic>

#include "core/settings.h"
#include "platform/late_bytes.h"
#include "platform/pages.h"

namespace {

// Those of a large file that nobody touches cost nothing.
uint32_t* AllocateTable(uint64_t pageCount) {
    return reinterpret_cast<uint32_t*>(platform::AllocateZeroPages(pageCount * sizeof(uint32_t)));
}

void FreeTable(uint32_t* table, uint64_t pageCount) {
    platform::ReleasePages(reinterpret_cast<uint8_t*>(table), pageCount * sizeof(uint32_t));
}

std::atomic_ref<uint32_t> FlagsOf(uint32_t& word) { return std::atomic_ref<uint32_t>(word); }

// Where a pass reads a page, piece by piece, before it is shown. Passes exclude each other by soundTableLock.
uint8_t loaderBuffer[65536];

}  // namespace

bool FilePages_t::Reserve(uint64_t bytes, uint32_t bytesPerPage) {
    if (bytesPerPage == 0) return false;
    dataBytes = bytes;
    pageCount = dataBytes / bytesPerPage + 1;
    pageBytes = bytesPerPage;
    base = platform::ReservePages(pageCount * pageBytes);
    pageRefCounts = AllocateTable(pageCount);
    pageFlags = AllocateTable(pageCount);
    if (!base || !pageRefCounts || !pageFlags) {
        Release();
        return false;
    }
    return true;
}

void FilePages_t::Release() {
    platform::ReleasePages(base, pageCount * pageBytes);
    FreeTable(pageRefCounts, pageCount);
    FreeTable(pageFlags, pageCount);
    base = nullptr;
    pageRefCounts = pageFlags = nullptr;
    pageCount = committedPages = mostCommittedPages = 0;
    posted = {};
}

page_span_t FilePages_t::SpanOf(uint64_t begin, uint64_t end) const {
    if (begin >= end || pageCount == 0) return {};
    return {begin / pageBytes, std::min((end - 1) / pageBytes + 1, pageCount)};
}

bool FilePages_t::Acquire(page_span_t pages) {
    const platform::CriticalSectionLock_t lock(pageLock);
    for (uint64_t page = pages.first; page < pages.end; ++page) {
        if (pageRefCounts[page]++ > 0) continue;
        if (!platform::CommitPages(base + page * pageBytes, pageBytes)) {
            --pageRefCounts[page];
            GiveBack({pages.first, page});
            return false;
        }
        // What was still waiting to be dropped is read anew.
        if (FlagsOf(pageFlags[page]).exchange(loadRequested) == 0) {
            mostCommittedPages = std::max(mostCommittedPages, ++committedPages);
        }
        if (watch) watch->OnRequested(page);
        Post(page);
    }
    return true;
}

void FilePages_t::GiveBack(page_span_t pages) {
    const platform::CriticalSectionLock_t lock(pageLock);
    for (uint64_t page = pages.first; page < pages.end; ++page) {
        if (--pageRefCounts[page] > 0) continue;
        FlagsOf(pageFlags[page]).fetch_or(freeRequested);
        Post(page);
    }
}

uint64_t FilePages_t::CommittedBytes() {
    const platform::CriticalSectionLock_t lock(pageLock);
    return committedPages * pageBytes;
}

void FilePages_t::Post(uint64_t page) {
    posted = posted.first == posted.end
                 ? page_span_t{page, page + 1}
                 : page_span_t{std::min(posted.first, page), std::max(posted.end, page + 1)};
    AudioSystem::streamEvent.Set();
}

page_span_t FilePages_t::TakePosted() {
    const platform::CriticalSectionLock_t lock(pageLock);
    const page_span_t taken = posted;
    posted = {};
    DropReleased(taken);
    return taken;
}

void FilePages_t::DropReleased(page_span_t span) {
    for (uint64_t page = span.first; page < span.end; ++page) {
        if (!(FlagsOf(pageFlags[page]).load() & freeRequested)) continue;
        platform::DecommitPages(base + page * pageBytes, pageBytes);
        FlagsOf(pageFlags[page]).store(0);
        --committedPages;
    }
}

uint64_t FilePages_t::Fill(uint64_t page, FILE* file, uint64_t dataOffset, prepare_t prepare) {
    const uint64_t begin = page * pageBytes, end = std::min(begin + pageBytes, dataBytes);
    uint64_t total = 0;
    bool isReadable = file && fseeko(file, static_cast<off_t>(dataOffset + begin), SEEK_SET) == 0;
    for (uint64_t at = begin; at < end; at += sizeof loaderBuffer) {
        const std::size_t count = std::min<uint64_t>(end - at, sizeof loaderBuffer);
        const std::size_t bytesRead = isReadable ? std::fread(loaderBuffer, 1, count, file) : 0;
        isReadable = bytesRead == count;
        total += bytesRead;
        std::fill(loaderBuffer + bytesRead, loaderBuffer + count, uint8_t{0});
        if (prepare) prepare(loaderBuffer, count);
        platform::CopyLateBytes(base + at, loaderBuffer, count);
    }
    return total;
}

void FilePages_t::Serve(FILE* file, uint64_t dataOffset, prepare_t prepare) {
    const page_span_t span = TakePosted();
    const platform::CriticalSectionLock_t reading(loadLock);
    for (uint64_t page = span.first; page < span.end; ++page) {
        if (!(FlagsOf(pageFlags[page]).load() & loadRequested)) continue;
        if (watch && !watch->MayRead(page)) {
            const platform::CriticalSectionLock_t lock(pageLock);
            Post(page);
            continue;
        }
        // Only a pass decommits: the page stays, whoever releases it meanwhile.
        const uint64_t bytesRead = Fill(page, file, dataOffset, prepare);
        if (watch) watch->OnRead(page, bytesRead);
        FlagsOf(pageFlags[page]).fetch_and(~loadRequested);  // and the page is shown
    }
}
