#include "fuzz/invariants.h"

#include <sys/mman.h>

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "compressed/compressed_voice.h"
#include "core/audio_system.h"
#include "fuzz/fuzz_input.h"
#include "output/dir_sound.h"
#include "platform/pages.h"
#include "streaming/compressed_stream_voice.h"
#include "streaming/raw_stream_sound.h"
#include "streaming/stream_voice.h"

namespace fuzz {
namespace {

using namespace AudioSystem;

Voice_t& VoiceOf(const ListNode_t* node) { return *static_cast<Voice_t*>(node->data); }
Sound_t& SoundOf(const ListNode_t* node) { return *static_cast<Sound_t*>(node->data); }

void CheckLinks(const List_t& list) {
    int32_t count = 0;
    const ListNode_t* before = nullptr;
    for (const ListNode_t* node = list.head; node; before = node, node = node->next, ++count) {
        FUZZ_REQUIRE(node->prev == before && count < list.count);
    }
    FUZZ_REQUIRE(before == list.tail && count == list.count);
    FUZZ_REQUIRE((list.count == 0) == (list.blocks == nullptr));
}

void CheckVoice(const Voice_t& voice) {
    CheckLinks(voice.soundQueue);
    FUZZ_REQUIRE(voice.allVoicesNode->data == &voice);
    FUZZ_REQUIRE(voice.fraction < 1024 && voice.rateDivisor > 0 && voice.ringPosition <= ringLength);
    FUZZ_REQUIRE(voice.position <= voice.frameCount);
    FUZZ_REQUIRE(voice.leftVolume >= 0 && voice.leftVolume <= 1 && voice.rightVolume >= 0 &&
                 voice.rightVolume <= 1);
    uint64_t total = 0, base = 0;
    bool isCurrentFound = false;
    for (const ListNode_t* node = voice.soundQueue.head; node; node = node->next) {
        // The same sound may stand in the queue more than once: the current one is where the base is.
        if (node->next == voice.nextQueued) {
            isCurrentFound =
                SoundOf(node).frameCount == voice.frameCount && SoundOf(node).samples == voice.samples;
            base = total;
        }
        total += SoundOf(node).frameCount;
    }
    FUZZ_REQUIRE(isCurrentFound && total == voice.totalLength && base == voice.queueBase);
}

void CheckVoices() {
    for (const List_t* list : {&allVoices, &startingVoices, &finishedVoices}) CheckLinks(*list);
    FUZZ_REQUIRE(finishedVoices.count == 0);
    std::set<const Voice_t*> all, starting;
    for (const ListNode_t* node = allVoices.head; node; node = node->next) {
        FUZZ_REQUIRE(all.insert(&VoiceOf(node)).second);
        CheckVoice(VoiceOf(node));
    }
    for (const ListNode_t* node = startingVoices.head; node; node = node->next) {
        FUZZ_REQUIRE(starting.insert(&VoiceOf(node)).second && all.count(&VoiceOf(node)));
        FUZZ_REQUIRE(VoiceOf(node).isPlaying);
    }
}

uint32_t Ahead(uint32_t cursor) { return (cursor + ringLength - ringBase) % ringLength; }

void CheckCursors() {
    const uint32_t bufferBytes = device->bufferDesc.bufferBytes, history = (bufferBytes & ~7u) / 2;
    FUZZ_REQUIRE(ringBase < ringLength && ringClear < ringLength && ringOutput < ringLength);
    FUZZ_REQUIRE(ringBase % 8 == 0 && ringClear % 8 == 0 && ringOutput % 8 == 0 && mixHorizon % 8 == 0);
    FUZZ_REQUIRE(Ahead(ringClear) == ringLength - history);
    FUZZ_REQUIRE(Ahead(ringOutput) <= Ahead(ringClear) && mixHorizon <= Ahead(ringClear));
    FUZZ_REQUIRE(outputLimit <= deviceMixLimit && outputLimit <= ringLength - history);
    FUZZ_REQUIRE(resendableUnits <= ringLength && ringRewind == 0 && !mixing);
    FUZZ_REQUIRE(device->writePosition < bufferBytes);
}

bool isMemoryChecked = true;

// Which pages of a range are in memory: asked once, as most calls change none.
class Residency_t {
  public:
    Residency_t(uint8_t* base, uint64_t pageCount, uint64_t pageBytes)
        : systemPages(pageBytes / platform::SystemPageBytes()), states(pageCount * systemPages) {
        if (isMemoryChecked && pageCount > 0)
            FUZZ_REQUIRE(mincore(base, pageCount * pageBytes, states.data()) == 0);
    }
    bool Holds(uint64_t page) const {
        const auto first = states.begin() + static_cast<std::ptrdiff_t>(page * systemPages);
        return std::any_of(first, first + static_cast<std::ptrdiff_t>(systemPages),
                           [](unsigned char state) { return state & 1; });
    }

  private:
    uint64_t systemPages;
    std::vector<unsigned char> states;
};

using counts_t = std::vector<uint32_t>;  // holds by page

struct expected_holds_t {
    std::map<const FilePages_t*, counts_t> files;
    std::map<const uint8_t*, counts_t> decoded;  // by the first byte

    static void Add(counts_t& counts, uint64_t first, uint64_t end) {
        if (counts.size() < end) counts.resize(end);
        for (uint64_t page = first; page < end; ++page) ++counts[page];
    }
    void Add(const PageHolds_t& holds) {
        for (const PageHolds_t::run_t& run : holds.Held())
            Add(files[run.pages], run.span.first, run.span.end);
    }
    // A window is of whole pages, from that of its first frame to that of its last.
    void Add(const frame_window_t& window, const Sound_t& sound, uint32_t pageBytes) {
        if (!sound.samples) return;
        const uint64_t first = uint64_t{window.start} * sound.bytesPerFrame,
                       end = uint64_t{window.end} * sound.bytesPerFrame;
        if (first == end && first % pageBytes == 0) return;
        Add(decoded[sound.samples], first / pageBytes, (std::max(end, first + 1) - 1) / pageBytes + 1);
    }
    static uint32_t At(const counts_t* counts, uint64_t page) {
        return counts && page < counts->size() ? (*counts)[page] : 0;
    }
};

expected_holds_t ExpectedHolds() {
    expected_holds_t holds;
    for (const ListNode_t* node = allVoices.head; node; node = node->next) {
        const Voice_t* voice = &VoiceOf(node);
        if (const auto* stream = dynamic_cast<const StreamVoice_t*>(voice)) holds.Add(stream->holds);
        if (const auto* compressed = dynamic_cast<const CompressedVoice_t*>(voice))
            holds.Add(compressed->window, *compressed->compressedSound, compressedPageBytes);
        if (const auto* both = dynamic_cast<const CompressedStreamVoice_t*>(voice)) {
            holds.Add(both->holds);
            holds.Add(both->window, *both->streamSound, decodedStreamPageBytes);
        }
    }
    return holds;
}

template <typename Key>
const counts_t* FindCounts(const std::map<Key, counts_t>& all, Key key) {
    const auto found = all.find(key);
    return found == all.end() ? nullptr : &found->second;
}

void CheckFilePages(const FilePages_t& pages, const expected_holds_t& holds) {
    const counts_t* counts = FindCounts(holds.files, &pages);
    const Residency_t resident(pages.base, pages.pageCount, pages.pageBytes);
    uint64_t committed = 0;
    for (uint64_t page = 0; page < pages.pageCount; ++page) {
        const uint32_t count = pages.pageRefCounts[page], flags = pages.pageFlags[page];
        FUZZ_REQUIRE(count == expected_holds_t::At(counts, page));
        FUZZ_REQUIRE(count > 0 ? flags <= FilePages_t::loadRequested
                               : flags == 0 || (flags & FilePages_t::freeRequested));
        committed += count > 0 || flags != 0;
        if (count == 0 && flags == 0) FUZZ_REQUIRE(!resident.Holds(page));
    }
    FUZZ_REQUIRE(committed == pages.committedPages && committed <= pages.mostCommittedPages);
}

void CheckDecodedPages(uint8_t* base, const int32_t* refCounts, uint64_t bytes, uint32_t pageBytes,
                       const expected_holds_t& holds) {
    if (!base) return;
    const counts_t* counts = FindCounts(holds.decoded, const_cast<const uint8_t*>(base));
    const Residency_t resident(base, bytes / pageBytes + 1, pageBytes);
    for (uint64_t page = 0; page < bytes / pageBytes + 1; ++page) {
        FUZZ_REQUIRE(refCounts[page] == static_cast<int32_t>(expected_holds_t::At(counts, page)));
        if (refCounts[page] == 0) FUZZ_REQUIRE(!resident.Holds(page));
    }
}

void CheckRawStream(const RawStreamSound_t& raw) {
    const uint64_t page = platform::SystemPageBytes();
    FUZZ_REQUIRE(raw.releasedPages <= raw.committedPages);
    FUZZ_REQUIRE(uint64_t{raw.bytesFed} <= uint64_t{raw.frameCount} * raw.bytesPerFrame);
    if (raw.committedPages > 0) FUZZ_REQUIRE((raw.bytesFed - 1) / page < raw.committedPages);
    const Residency_t released(raw.samples, raw.releasedPages, page);
    for (uint64_t gone = 0; gone < raw.releasedPages; ++gone) FUZZ_REQUIRE(!released.Holds(gone));
}

template <typename Action>
void ForEachSound(Action act) {
    String_t key;
    void* sound = nullptr;
    for (void* position = soundTable.StartPosition(); position;) {
        const auto& sounds = *static_cast<Archive_t*>(soundTable.NextValue(position));
        for (void* at = sounds.StartPosition(); at;) {
            sounds.GetNext(at, key, sound);
            act(*static_cast<Sound_t*>(sound), key);
        }
    }
}

void CheckPages() {
    const expected_holds_t holds = ExpectedHolds();
    ForEachSound([&](Sound_t& sound, const String_t& key) {
        FUZZ_REQUIRE(SameText(sound.name.text, key.text));
        const uint64_t bytes = uint64_t{sound.frameCount} * sound.bytesPerFrame;
        if (const auto* raw = dynamic_cast<const RawStreamSound_t*>(&sound)) CheckRawStream(*raw);
        if (const auto* stream = dynamic_cast<const StreamSound_t*>(&sound))
            CheckFilePages(stream->pages, holds);
        if (const auto* compressed = dynamic_cast<const CompressedSound_t*>(&sound))
            CheckDecodedPages(sound.samples, compressed->pageRefCounts, bytes, compressedPageBytes, holds);
        if (const auto* both = dynamic_cast<const CompressedStreamSound_t*>(&sound)) {
            CheckFilePages(both->filePages, holds);
            CheckDecodedPages(sound.samples, both->decodedPages.refCounts, bytes, decodedStreamPageBytes,
                              holds);
        }
    });
}

}  // namespace

void RequireInvariants(bool withMemory) {
    if (!initialized) return;
    isMemoryChecked = withMemory;
    CheckVoices();
    CheckCursors();
    CheckPages();
}

void RequireNoPages() {
    if (!initialized) return;
    isMemoryChecked = true;
    CheckPages();
    ForEachSound([](Sound_t& sound, const String_t&) {
        const FilePages_t* pages = nullptr;
        if (const auto* stream = dynamic_cast<const StreamSound_t*>(&sound)) pages = &stream->pages;
        if (const auto* both = dynamic_cast<const CompressedStreamSound_t*>(&sound)) pages = &both->filePages;
        if (pages) FUZZ_REQUIRE(pages->committedPages == 0);
    });
}

}  // namespace fuzz
