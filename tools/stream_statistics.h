// stream_statistics.h - what a scene's streams cost, sound by sound, and how a slow disk is imitated.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "streaming/page_watch.h"

class FilePages_t;
class Sound_t;

namespace tools {

struct stream_statistics_t {
    std::string name;  // the scene's
    uint64_t pageBytes = 0;
    uint64_t pagesRead = 0, bytesRead = 0;
    uint64_t pagesReadAgain = 0;     // of pagesRead: those that had been read before
    uint64_t mostResidentPages = 0;  // of compressed data, for ADPCM
    uint64_t lateFrames = 0;         // mixed, or decoded, from pages that had not arrived
};

// One table for people; says so if there is no stream.
void PrintStatistics(const std::vector<stream_statistics_t>& streams, FILE* to);

// Watches one stream for as long as it lives: the sound must outlive it.
class StreamWatch_t : public PageWatch_t {
  public:
    // Null if the sound is no stream of the engine's own files.
    static FilePages_t* PagesOf(Sound_t& sound);

    // A request is served in the pass in which it would be, and delayPasses later.
    StreamWatch_t(std::string name, Sound_t& watched, uint32_t delayPasses);
    StreamWatch_t(const StreamWatch_t&) = delete;
    StreamWatch_t& operator=(const StreamWatch_t&) = delete;
    ~StreamWatch_t() override;

    void EndPass() { ++passes; }
    stream_statistics_t Statistics() const;
    uint64_t LateFrames() const { return statistics.lateFrames; }

    void OnRequested(uint64_t page) override;
    bool MayRead(uint64_t page) override;
    void OnRead(uint64_t page, uint64_t bytes) override;
    void OnUse(uint32_t first, uint32_t end) override;

  private:
    uint64_t PageOf(uint32_t frame) const;
    bool IsLate(uint64_t page) const;

    Sound_t& sound;
    FilePages_t& pages;
    uint32_t delay;
    uint64_t passes = 0;
    std::map<uint64_t, uint64_t> requestedAt;  // page: passes that were over then
    std::vector<bool> hasBeenRead;             // by page
    stream_statistics_t statistics;
};

}  // namespace tools
