// stream_protocol_test.cpp - how a page comes and goes between voices and loader, and the host's three calls.
#include <ringmix/base_wrapper.h>
#include <ringmix/sound_wrapper.h>

#include "core/settings.h"
#include "stream_fixture.h"

namespace {

constexpr uint32_t page = 4096;
using words_t = std::vector<uint32_t>;

class StreamProtocol : public StreamFixture_t {
  protected:
    void SetUp() override {
        StreamFixture_t::SetUp();
        StartWith(page, 1);
    }
    static bool TakeEvent() { return BaseWrapper_t::WaitForStreamLoad(0) == 0; }
};

TEST_F(StreamProtocol, EveryTransition) {
    FilePages_t pages;
    ASSERT_TRUE(pages.Reserve(2 * page + 100, page));
    ASSERT_EQ(pages.pageCount, 3u);
    hooked_file_t content;
    uint32_t reads = 0;
    content.onRead = [&](uint64_t) { return ++reads > 0; };
    const struct {
        const char* name;
        char operation;  // hold, give back, loader's pass
        page_span_t span;
        words_t counts, flags;
        bool isSet;  // the event
        bool isRead;
        const char* bytes;  // of each page: '-' no access, '0' zero, else what the file held in which step
    } rows[] = {
        {"nothing is held", 's', {}, {0, 0, 0}, {0, 0, 0}, false, false, "---"},
        {"first hold", 'h', {0, 2}, {1, 1, 0}, {1, 1, 0}, true, false, "00-"},
        {"further hold of a requested page", 'h', {1, 2}, {1, 2, 0}, {1, 1, 0}, false, false, "00-"},
        {"an empty hold", 'h', {2, 2}, {1, 2, 0}, {1, 1, 0}, false, false, "00-"},
        {"a pass reads", 's', {}, {1, 2, 0}, {0, 0, 0}, false, true, "ee-"},
        {"a pass with nothing to do", 's', {}, {1, 2, 0}, {0, 0, 0}, false, false, "ee-"},
        {"further hold of a resident page", 'h', {0, 3}, {2, 3, 1}, {0, 0, 1}, true, false, "ee0"},
        {"releases above 0", 'g', {0, 2}, {1, 2, 1}, {0, 0, 1}, false, false, "ee0"},
        {"a pass reads the last, short page", 's', {}, {1, 2, 1}, {0, 0, 0}, false, true, "eei"},
        {"last release", 'g', {0, 1}, {0, 2, 1}, {2, 0, 0}, true, false, "eei"},
        {"held again, the memory stays", 'h', {0, 1}, {1, 2, 1}, {1, 0, 0}, true, false, "eei"},
        {"read anew", 's', {}, {1, 2, 1}, {0, 0, 0}, false, true, "lei"},
        {"last releases of two", 'g', {0, 1}, {0, 2, 1}, {2, 0, 0}, true, false, "lei"},
        {"", 'g', {2, 3}, {0, 2, 0}, {2, 0, 2}, true, false, "lei"},
        {"a pass drops", 's', {}, {0, 2, 0}, {0, 0, 0}, false, false, "-e-"},
        {"held once more: zero again", 'h', {0, 1}, {1, 2, 0}, {1, 0, 0}, true, false, "0e-"},
        {"and released before a pass", 'g', {0, 1}, {0, 2, 0}, {3, 0, 0}, true, false, "0e-"},
        {"is dropped, never read", 's', {}, {0, 2, 0}, {0, 0, 0}, false, false, "-e-"},
        {"hold, release and hold again", 'h', {2, 3}, {0, 2, 1}, {0, 0, 1}, true, false, "-e0"},
        {"", 'g', {2, 3}, {0, 2, 0}, {0, 0, 3}, true, false, "-e0"},
        {"", 'h', {2, 3}, {0, 2, 1}, {0, 0, 1}, true, false, "-e0"},
        {"is read once", 's', {}, {0, 2, 1}, {0, 0, 0}, false, true, "-ev"},
    };
    char step = 'a';
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.name << ", step " << step);
        content.bytes = std::string(10, '?') + std::string(2 * page + 100, step);
        reads = 0;
        FILE* file = content.Open();
        if (row.operation == 'h') {
            EXPECT_TRUE(pages.Acquire(row.span));
        } else if (row.operation == 'g') {
            pages.GiveBack(row.span);
        } else {
            pages.Serve(file, 10, [](uint8_t* bytes, std::size_t count) { FlipSign8(bytes, count); });
        }
        EXPECT_EQ(words_t(pages.pageRefCounts, pages.pageRefCounts + 3), row.counts);
        EXPECT_EQ(words_t(pages.pageFlags, pages.pageFlags + 3), row.flags);
        EXPECT_EQ(TakeEvent(), row.isSet);
        EXPECT_EQ(reads > 0, row.isRead);
        std::fclose(file);
        for (uint32_t p = 0; p < 3; ++p) {
            const uint8_t* bytes = pages.base + p * page;
            if (row.bytes[p] == '-') {
                EXPECT_EQ(ResidentPages(bytes, page), 0u) << p;
                continue;
            }
            const uint32_t shown = p == 2 ? 100 : page;
            const int want = row.bytes[p] == '0' ? 0 : row.bytes[p] ^ 0x80;
            EXPECT_EQ(std::count(bytes, bytes + shown, want), shown) << p;
            EXPECT_EQ(std::count(bytes + shown, bytes + page, 0), page - shown) << p;
        }
        ++step;
    }
    // Released, or released and held again, while the loader reads it: dropped by the next pass, or resident.
    for (const bool isHeldAgain : {false, true}) {
        ASSERT_TRUE(pages.Acquire({0, 1}));
        content.onRead = [&](uint64_t) {
            pages.GiveBack({0, 1});
            EXPECT_TRUE(!isHeldAgain || pages.Acquire({0, 2}));
            content.onRead = nullptr;
            return true;
        };
        FILE* file = content.Open();
        pages.Serve(file, 10, nullptr);
        EXPECT_TRUE(TakeEvent());
        pages.Serve(file, 10, nullptr);
        EXPECT_EQ(pages.pageFlags[0], 0u);
        EXPECT_EQ(ResidentPages(pages.base, page), isHeldAgain ? 1u : 0u);
        if (isHeldAgain) {
            EXPECT_EQ(pages.base[0], content.bytes[10]);
        }
        std::fclose(file);
    }
}

TEST_F(StreamProtocol, AHoldThatFailsTakesNothing) {
    FilePages_t pages;
    EXPECT_FALSE(pages.Reserve(100, 0));
    ASSERT_TRUE(pages.Reserve(3 * page, page));
    munmap(pages.base + 2 * page, page);  // such a page cannot be committed
    EXPECT_FALSE(pages.Acquire({0, 3}));
    EXPECT_EQ(words_t(pages.pageRefCounts, pages.pageRefCounts + 4), words_t(4, 0));
    pages.Serve(nullptr, 0, nullptr);
    EXPECT_EQ(words_t(pages.pageFlags, pages.pageFlags + 4), words_t(4, 0));
    EXPECT_EQ(ResidentPages(pages.base, 2 * page), 0u);
}

// A jump to where no memory is to be had for decoded samples, as long as nothing is mixed: the voice plays
// what it plays without that.
TEST_F(StreamProtocol, AJumpWithoutMemoryForAWhile) {
    for (const char* tag : {"isn", "iss"}) {
        for (const uint32_t target : {10'300u, 30'000u + 10'300u}) {
            SCOPED_TRACE(testing::Message() << tag << " to " << target);
            frames_t heard[2];
            for (const bool isShort : {false, true}) {
                StartWith(page, 1);
                Sound_t* sound = LoadImage("a", tag, ImaOf("a", 30'000, 512, {}));
                Sound_t* next = LoadImage("b", tag, ImaOf("b", 30'000, 512, {}, 2));
                Voice_t* voice = sound->CreateCompatibleVoice(0);
                voice->QueueSound(next);
                voice->Play();
                RunTicksLoaded(2, heard[isShort]);
                uint8_t* missing = (target < 30'000 ? sound : next)->samples + 5 * page;
                if (isShort) munmap(missing, page);
                voice->SetPos(target);
                if (isShort) {
                    ASSERT_EQ(mmap(missing, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0),
                              missing);
                }
                RunTicksLoaded(10, heard[isShort]);
                EXPECT_TRUE(voice->isPlaying);
            }
            EXPECT_EQ(heard[0], heard[1]);
        }
    }
}

// Outside a start nothing is waited for and nothing read; a start begins with a clear event.
TEST_F(StreamProtocol, TheHostsCalls) {
    auto* stream = static_cast<StreamSound_t*>(LoadRamp("a", 10'000));
    auto* simple = LoadRamp("b", 100, {}, "sn");
    auto* ima = static_cast<IMA_ADPCM_StreamSound_t*>(LoadImage("c", "iss", ImaOf("c", 30'000, 512, {})));
    EXPECT_EQ(BaseWrapper_t::WaitForStreamLoad(0), 258u);
    EXPECT_EQ(BaseWrapper_t::WaitForStreamLoad(20), 258u);
    Voice_t* voice = stream->CreateCompatibleVoice(0);
    EXPECT_EQ(stream->pages.pageFlags[0], 1u) << "a voice asks before it plays";
    EXPECT_EQ(BaseWrapper_t::WaitForStreamLoad(0xFFFFFFFF), 0u);
    EXPECT_EQ(BaseWrapper_t::WaitForStreamLoad(0), 258u);
    delete ima->CreateCompatibleVoice(0);
    ima->CreateCompatibleVoice(0);
    simple->CreateCompatibleVoice(0);

    SoundWrapper_t wrapper;
    wrapper.LoadDataSupply();
    wrapper.SetSoundPointer(simple);
    EXPECT_FALSE(wrapper.IsASortOf(BaseWrapper_t::GetClassNameA()));
    wrapper.LoadDataSupply();
    wrapper.SetSoundPointer(stream);
    EXPECT_TRUE(wrapper.IsASortOf(BaseWrapper_t::GetClassNameA()));
    wrapper.LoadDataSupply();  // this one sound
    EXPECT_EQ(stream->pages.pageFlags[0], 0u);
    EXPECT_EQ(reinterpret_cast<const uint16_t*>(stream->samples)[1], 0x8002);
    EXPECT_EQ(ima->filePages.pageFlags[0], 1u);
    voice->SetPos(9000);  // page 4
    EXPECT_EQ(words_t(stream->pages.pageFlags, stream->pages.pageFlags + 5), (words_t{0, 0, 0, 0, 1}))
        << "the look-ahead goes round: the first page has a holder all the time";
    BaseWrapper_t::LoadStreams();
    EXPECT_EQ(words_t(stream->pages.pageFlags, stream->pages.pageFlags + 5), words_t(5, 0));
    EXPECT_EQ(ima->filePages.pageFlags[0], 0u);
    EXPECT_EQ(ima->compressedData[2], static_cast<uint8_t>(ImaOf("c", 30'000, 512, {})[ima->dataOffset + 2]));
    EXPECT_TRUE(TakeEvent()) << "set during the passes, though they have served all";
    EXPECT_FALSE(TakeEvent());
    voice->SetPos(0);

    AudioSystem::DeInitialize();
    EXPECT_EQ(BaseWrapper_t::WaitForStreamLoad(0xFFFFFFFF), 0xFFFFFFFFu);
    EXPECT_EQ(BaseWrapper_t::WaitForStreamLoad(0), 0xFFFFFFFFu);
    BaseWrapper_t::LoadStreams();
    StartWith(page, 1);
    EXPECT_FALSE(TakeEvent());
    BaseWrapper_t::LoadStreams();
}

TEST_F(StreamProtocol, TheBytesOfAFrame) {
    auto& stream = static_cast<IMA_ADPCM_StreamSound_t&>(*LoadImage("c", "iss", ImaOf("c", 30'000, 512, {})));
    uint64_t from = 1, to = 1;
    for (const auto& [frame, byte] : {std::pair{0u, 0u}, {1, 4}, {2, 4}, {3, 5}, {1016, 511}, {1017, 512}}) {
        stream.GetCompressedRange(from, to, frame, 2 * 1017 + frame);
        EXPECT_EQ(from, byte) << frame;
        EXPECT_EQ(to, from + 1024) << frame;
    }
}

// Which pages a voice holds, and how often: A is 1.5 pages of stereo, B a long mono sound of 8 bits.
TEST_F(StreamProtocol, WhatAVoiceHolds) {
    StartWith(page, 2);
    auto* a = static_cast<StreamSound_t*>(LoadRamp("a", 1536, {.isStereo = true}));
    auto* b = static_cast<StreamSound_t*>(LoadRamp("b", 20'000, {.is16Bit = false}));
    auto* voice = static_cast<StreamVoice_t*>(a->CreateCompatibleVoice(0));
    const auto check = [&](const char* name, const words_t& wantA, const words_t& wantB, uint32_t lookAhead) {
        SCOPED_TRACE(name);
        EXPECT_EQ(words_t(a->pages.pageRefCounts, a->pages.pageRefCounts + 2), wantA);
        EXPECT_EQ(words_t(b->pages.pageRefCounts, b->pages.pageRefCounts + 5), wantB);
        EXPECT_EQ(voice->lookAheadFrames, lookAhead);
        EXPECT_LE(voice->windowStart, voice->position);
    };
    check("made", {1, 1}, {0, 0, 0, 0, 0}, 1536);
    voice->SetPos(100);
    check("round to its own head", {2, 1}, {0, 0, 0, 0, 0}, 1536);
    voice->QueueSound(StreamSound_t::GetDefaultSound());
    check("a sound of no frames", {2, 1}, {0, 0, 0, 0, 0}, 1536);
    voice->QueueSound(b);
    check("on to the next sound, not round", {1, 1}, {1, 0, 0, 0, 0}, 2048);
    voice->SetPos(1030);
    check("in the second page", {0, 1}, {1, 1, 0, 0, 0}, 2048);
    voice->SetPos(1536);
    check("the very end stays in its sound", {0, 0}, {1, 1, 0, 0, 0}, 2048);
    voice->SetPos(1537);
    check("the next sound, of another format", {0, 0}, {1, 1, 1, 0, 0}, 8192);
    voice->SetPos(1536 + 5000);
    check("inside a page", {0, 0}, {0, 1, 1, 1, 0}, 8192);
    voice->SetPos(1536 + 19'999);
    check("round to the head of the queue", {1, 1}, {1, 0, 0, 0, 1}, 8192);
    voice->QueueSound(a);
    check("a queue that has grown", {2, 1}, {0, 0, 0, 0, 1}, 8192);
    voice->SetPos(UINT32_MAX);
    check("past the end is the beginning", {1, 1}, {1, 0, 0, 0, 0}, 2048);
    voice->ReleaseSound();
    check("released", {0, 0}, {0, 0, 0, 0, 0}, 0);
    voice->SetPos(7);
    voice->QueueSound(b);
    check("and filled again", {0, 0}, {1, 1, 0, 0, 0}, 8192);
    voice->Play();
    AudioSystem::MixVoices();
    check("after a step of 1324 frames", {0, 0}, {1, 1, 1, 0, 0}, 8192);
}

}  // namespace
