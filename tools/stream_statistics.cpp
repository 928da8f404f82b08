#include "tools/stream_statistics.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "streaming/compressed_stream_sound.h"
#include "streaming/stream_sound.h"
#include "tools/text_table.h"

namespace tools {

void PrintStatistics(const std::vector<stream_statistics_t>& streams, FILE* to) {
    if (streams.empty()) {
        std::fputs("no streams\n", to);
        return;
    }
    std::vector<table_row_t> rows = {
        {"stream", "page bytes", "pages read", "bytes read", "read twice", "most resident", "late frames"}};
    for (const stream_statistics_t& stream : streams) {
        table_row_t row = {stream.name};
        for (const uint64_t number : {stream.pageBytes, stream.pagesRead, stream.bytesRead,
                                      stream.pagesReadAgain, stream.mostResidentPages, stream.lateFrames}) {
            row.push_back(std::to_string(number));
        }
        rows.push_back(std::move(row));
    }
    PrintTable(rows, to);
}

FilePages_t* StreamWatch_t::PagesOf(Sound_t& sound) {
    if (auto* stream = dynamic_cast<StreamSound_t*>(&sound)) return &stream->pages;
    if (auto* stream = dynamic_cast<CompressedStreamSound_t*>(&sound)) return &stream->filePages;
    return nullptr;
}

StreamWatch_t::StreamWatch_t(std::string name, Sound_t& watched, uint32_t delayPasses)
    : sound(watched), pages(*PagesOf(watched)), delay(delayPasses), hasBeenRead(pages.pageCount) {
    statistics.name = std::move(name);
    statistics.pageBytes = pages.pageBytes;
    pages.watch = this;
}

StreamWatch_t::~StreamWatch_t() { pages.watch = nullptr; }

stream_statistics_t StreamWatch_t::Statistics() const {
    stream_statistics_t result = statistics;
    result.mostResidentPages = pages.mostCommittedPages;
    return result;
}

void StreamWatch_t::OnRequested(uint64_t page) { requestedAt[page] = passes; }

bool StreamWatch_t::MayRead(uint64_t page) { return passes >= requestedAt[page] + delay; }

void StreamWatch_t::OnRead(uint64_t page, uint64_t bytes) {
    requestedAt.erase(page);
    ++statistics.pagesRead;
    statistics.bytesRead += bytes;
    statistics.pagesReadAgain += hasBeenRead[page] ? 1 : 0;
    hasBeenRead[page] = true;
}

// Of the page in which the frame's own bytes stand.
uint64_t StreamWatch_t::PageOf(uint32_t frame) const {
    uint64_t byte = uint64_t{frame} * sound.bytesPerFrame, end = 0;
    if (auto* stream = dynamic_cast<CompressedStreamSound_t*>(&sound)) {
        stream->GetCompressedRange(byte, end, frame, frame);
    }
    return byte / pages.pageBytes;
}

bool StreamWatch_t::IsLate(uint64_t page) const {
    const std::atomic_ref<uint32_t> flags(pages.pageFlags[page]);
    return (flags.load() & FilePages_t::loadRequested) != 0;
}

void StreamWatch_t::OnUse(uint32_t first, uint32_t end) {
    if (requestedAt.empty()) return;
    for (uint32_t frame = first; frame < end; ++frame) statistics.lateFrames += IsLate(PageOf(frame)) ? 1 : 0;
}

}  // namespace tools
