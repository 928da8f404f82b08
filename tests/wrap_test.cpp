// wrap_test.cpp - counters, positions and byte offsets that start just before a point where they, or a
// product of them, no longer fit: everything sounds as it does far from there, bit for bit.

#include <algorithm>
#include <cstdio>

#include "foundation/handle_table.h"
#include "platform/software_buffer.h"
#include "stream_fixture.h"

namespace {

using namespace AudioSystem;

constexpr uint64_t two = 1;  // shifted
constexpr uint64_t k22 = two << 22, k31 = two << 31, k32 = two << 32;

class Wrap : public StreamFixture_t {
  protected:
    static frames_t RunTimedHost(uint64_t firstCount, MixCostTable_t& costs);
};

// ---- The counter

// A host whose voices are measured and start into the past, whose ticks are late and which pauses: all that
// the counter has a say in. The counter moves by one with each reading and by 10,000 a millisecond.
frames_t Wrap::RunTimedHost(uint64_t firstCount, MixCostTable_t& costs) {
    platform::ResetManualOutput(firstCount);
    SimpleVoice_t::mixCosts = {};
    EXPECT_TRUE(Initialize(nullptr, false, 4096, 8, 4096));
    SetWorstCaseFrameRate(30);
    Sound_t* sound = MakeSound("s", 60'000, {.isStereo = true}, Ramp);
    frames_t heard;
    const auto play = [&](uint32_t frames) {
        const frames_t played = Play(frames);
        heard.insert(heard.end(), played.begin(), played.end());
    };
    for (const uint32_t frames : {735u, 735u, 1'500u, 735u, 40'000u, 735u, 100u}) {
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        voice->SetVolume(0.7f, 0.2f);
        voice->Play();
        MixVoices();
        play(frames);
    }
    for (const uint64_t counts :
         {k31, k32}) {  // a pause as long as half the low word can tell, and the whole
        Pause();
        for (uint64_t frames = counts / 10'000 * 441 / 10 + 1; frames > 0;) {
            const auto part = static_cast<uint32_t>(std::min<uint64_t>(frames, 441'000));
            play(part);
            frames -= part;
        }
        Resume();
        play(9'000);  // the thread feeds the device again, without a tick
        MixVoices();
        play(735);
    }
    costs = SimpleVoice_t::mixCosts;
    DeInitialize();
    return heard;
}

TEST_F(Wrap, TheCounter) {
    MixCostTable_t costs, wantedCosts;
    const frames_t wanted = RunTimedHost(0, wantedCosts);
    ASSERT_GT(std::count_if(wanted.begin(), wanted.end(), [](frame_t f) { return f.left != 0; }), 10'000);
    ASSERT_GT(*std::max_element(wantedCosts.costs, wantedCosts.costs + 8), 0.0f);
    for (const uint64_t point : {k31, k32, two << 63, uint64_t{0}}) {
        // In the start, in one of the first measurements, in a late tick, in a pause.
        for (const int64_t before : {1l, 2l, 3l, 4l, 5l, 6l, 7l, 8l, 170'000l, 1'000'000l, 3'000'000'000l}) {
            SCOPED_TRACE(testing::Message() << before << " counts before " << point);
            ASSERT_TRUE(RunTimedHost(point - static_cast<uint64_t>(before), costs) == wanted);
            ASSERT_TRUE(std::equal(costs.costs, costs.costs + 8, wantedCosts.costs));
        }
    }
}

// ---- Positions in a sound and in a queue

// A file with a hole of that many bytes behind its first part. False: this machine has no place for it.
bool WriteWithHole(const std::string& path, const std::string& first, uint64_t hole,
                   const std::string& second) {
    std::ofstream(path, std::ios::binary) << first;
    std::error_code error;
    std::filesystem::resize_file(path, first.size() + hole, error);
    std::ofstream(path, std::ios::binary | std::ios::app) << second;
    return std::filesystem::file_size(path) == first.size() + hole + second.size();
}

// Where the frames are that nobody hears: ahead of the others in the sound, as a sound of its own ahead of it
// in the queue, or behind the others.
enum class hole_t { ahead, queued, behind };

struct position_case_t {
    const char* what;
    const char* tag;
    uint64_t point;  // the position at which it wraps; behind the others: what is left there
    sound_format_t format;
    hole_t hole = hole_t::ahead;
};

constexpr sound_format_t mono8{.is16Bit = false}, mono16{}, stereo16{.isStereo = true};
constexpr uint32_t imaBlock = 12, imaBlockFrames = 5;  // of stereo; the most bytes a frame there can be

const position_case_t positionCases[] = {
    {"frames x 1024 in 32 bits, signed", "ssn", k22 / 2, stereo16},
    {"frames x 1024 in 32 bits", "ssn", k22, mono8},
    {"frames x 1024 in 32 bits, of a queue", "ssn", k22, stereo16, hole_t::queued},
    {"bytes in 32 bits, signed", "ssn", k31 / 4, stereo16},
    {"bytes in 32 bits", "ssn", k32 / 4, stereo16},
    {"bytes in 32 bits, two a frame", "ssn", k32 / 2, mono16},
    {"frames in 32 bits, signed", "ssn", k31, mono8},
    {"frames in 32 bits, signed, of a queue", "ssn", k31, mono16, hole_t::queued},
    {"frames in 32 bits, signed, at half the rate", "ssn", k31, {.rateDivisor = 2, .is16Bit = false}},
    {"the last of 32 bits", "ssn", k32 - 40'000, stereo16},
    {"the last of 32 bits, of a queue", "ssn", k32 - 40'000, mono8, hole_t::queued},
    {"frames left x 1024 in 32 bits", "ssn", k22, stereo16, hole_t::behind},
    {"frames left in 32 bits, signed", "ssn", k31, mono8, hole_t::behind},
    {"frames x 1024 in 32 bits", "iss", k22, mono16},
    {"frames left x 1024 in 32 bits", "iss", k22, stereo16, hole_t::behind},
    {"decoded bytes in 32 bits", "iss", k32 / 4, stereo16},
    {"frames in 32 bits, signed", "iss", k31, mono16},
    {"compressed bytes in 32 bits, signed", "iss", k31 / imaBlock* imaBlockFrames, stereo16},
    {"compressed bytes in 32 bits, of a queue", "iss", (k32 / imaBlock - 20'000) * imaBlockFrames, stereo16,
     hole_t::queued},
};

class Positions : public Wrap {
  protected:
    // Sound around the point, in a long sound with a hole and in a short one without. Whole blocks of the
    // codec stand on either side.
    static constexpr uint32_t lead = 5'000 * imaBlockFrames, tail = 6'000 * imaBlockFrames;

    // `ahead` frames of silence, those of the sound, and `behind` more of silence. Null: there is no place
    // for it.
    Sound_t* Load(const std::string& name, const position_case_t& row, uint64_t ahead, uint32_t frames,
                  uint64_t behind = 0) const {
        const sound_format_t& format = row.format;
        const bool isIma = row.tag[0] == 'i';
        const auto all = static_cast<uint32_t>(ahead + frames + behind);
        const sound_header_t header{name, all, format.isStereo, format.is16Bit, format.rateDivisor, 0, 1.0f};
        // Blocks of zeros are silence.
        const uint64_t perBlock = isIma ? ImaSamplesPerBlock(imaBlock, format.isStereo) : 1;
        const uint64_t blockBytes = isIma ? imaBlock : header.BytesPerFrame();
        const auto bytesOf = [&](uint64_t count) { return (count + perBlock - 1) / perBlock * blockBytes; };
        std::string data;
        if (isIma) {
            data =
                RandomBlocks(static_cast<uint32_t>(bytesOf(frames) / imaBlock), imaBlock, format.isStereo, 3);
        } else {
            const std::string image = SoundImage("x", frames, format, Ramp);
            data = image.substr(image.size() - bytesOf(frames));
        }
        const uint64_t hole = bytesOf(ahead) + bytesOf(behind);
        const std::string head =
            isIma ? FormatImaHeader(imaBlock, header, static_cast<uint32_t>(hole + data.size()))
                  : FormatSoundHeader(header);
        const std::string path = folder.At(name + "." + row.tag);
        if (!(behind ? WriteWithHole(path, head + data, hole, "") : WriteWithHole(path, head, hole, data)))
            return nullptr;
        Sound_t* sound = LoadFile(name, row.tag);
        EXPECT_EQ(sound->frameCount, all);
        return sound;
    }

    // Over the point at that ratio, with a stop behind it.
    struct run_t {
        frames_t heard;
        uint64_t end;  // relative to the point, for one that still plays
        bool isPlaying;
        bool operator==(const run_t&) const = default;
    };
    static run_t PlayOver(Voice_t* voice, uint64_t point, float ratio) {
        run_t run{};
        voice->SetFrequency(ratio);
        voice->stopPosition = static_cast<uint32_t>(point + 3'000);
        voice->SetPos(static_cast<uint32_t>(point - 700));
        voice->Play();
        RunTicksLoaded(8, run.heard);
        run.isPlaying = voice->isPlaying;
        if (run.isPlaying) run.end = uint64_t{voice->queueBase} + voice->position - point;
        return run;
    }
};

TEST_F(Positions, InASoundAndInAQueue) {
    for (const position_case_t& row : positionCases) {
        SCOPED_TRACE(testing::Message() << row.tag << ", " << row.what);
        const bool isIma = row.tag[0] == 'i';
        const uint32_t perBlock = isIma ? ImaSamplesPerBlock(imaBlock, row.format.isStereo) : 1;
        const uint64_t hole = (row.point - lead) / perBlock * perBlock;
        const auto ahead = static_cast<uint32_t>(row.point - hole), frames = ahead + tail;
        for (const float ratio : {1.0f, 0.3f, 5.7f}) {
            SCOPED_TRACE(ratio);
            const auto load = [&](bool isLong) -> Sound_t* {
                StartWith(4096, 16);
                if (!isLong) return Load("short", row, 0, frames);
                if (row.hole == hole_t::ahead) return Load("long", row, hole, frames);
                return row.hole == hole_t::queued ? Load("hole", row, hole, 0)
                                                  : Load("long", row, 0, frames, row.point - tail);
            };
            const run_t wanted = PlayOver(load(false)->CreateCompatibleVoice(0), ahead, ratio);
            ASSERT_GT(std::count_if(wanted.heard.begin(), wanted.heard.end(),
                                    [](frame_t frame) { return frame != frame_t{}; }),
                      500);
            Sound_t* first = load(true);
            if (!first) GTEST_SKIP() << "no place for large files with holes";
            Voice_t* voice = first->CreateCompatibleVoice(0);
            if (row.hole == hole_t::queued) voice->QueueSound(Load("sound", row, 0, frames));
            const uint64_t point = row.hole == hole_t::behind ? ahead : row.point;
            EXPECT_TRUE(PlayOver(voice, point, ratio) == wanted);
        }
    }
}

// Slides follow the position in the queue. A long queue is made of one sound many times.
TEST_F(Wrap, SlidesAlongAQueue) {
    constexpr uint32_t partFrames = 1 << 24;
    const uint32_t parts[] = {1, 128, 255};  // the second queue passes 2^31, the third ends near 2^32
    frames_t heard[3];
    for (uint32_t i = 0; i < 3; ++i) {
        StartWith(4096, 16);
        SlidingVoice_t::mixCosts = {};
        Sound_t* part = MakeSound("part", partFrames, mono8, [](uint32_t, int) { return 0; });
        auto* voice = new SlidingVoice_t(part, 0);
        for (uint32_t n = 1; n < parts[i]; ++n) voice->QueueSound(part);
        voice->QueueSound(MakeSound("sound", 60'000, stereo16, Ramp));
        const uint32_t at = parts[i] * partFrames;
        voice->SetFrequencySlide(at - 500, at + 3'000, 0.5f, 3.0f);
        voice->SetVolumeSlide(at - 100, at + 2'000, 0.1f, 1.0f, 1.0f, 0.2f);
        voice->SetPos(at - 1'000);
        voice->Play();
        RunTicks(10, 735, heard[i]);
    }
    EXPECT_GT(std::count_if(heard[0].begin(), heard[0].end(), [](frame_t f) { return f.left != 0; }), 3'000);
    EXPECT_TRUE(heard[1] == heard[0]);
    EXPECT_TRUE(heard[2] == heard[0]);
}

// ---- Bytes of a raw stream

// One that was fed and has played up to so many bytes, far on in what it can take.
RawStreamSound_t* RawStreamAt(uint64_t bytes, uint32_t channels, uint32_t bits, uint64_t capacityBytes) {
    const uint32_t frameBytes = channels * bits / 8;
    auto* sound = new RawStreamSound_t("raw", channels, bits, 44100,
                                       static_cast<uint32_t>(capacityBytes / frameBytes), "raw");
    sound->bytesFed = static_cast<uint32_t>(bytes);
    sound->committedPages = sound->releasedPages = static_cast<uint32_t>(bytes / platform::SystemPageBytes());
    sound->resumePosition = static_cast<uint32_t>(bytes / frameBytes);
    return sound;
}

TEST_F(Wrap, RawStreams) {
    const struct {
        uint64_t endBytes;
        uint32_t channels, bits;
    } rows[] = {{k31, 2, 16},    {k32 - 4, 2, 16},     {k32 - 2, 1, 16},
                {k32 - 1, 1, 8}, {k31 + 40'000, 1, 8}, {k31 + 40'000, 2, 16}};
    constexpr uint64_t fedBytes = 81'920;
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.channels << " x " << row.bits << ", up to " << row.endBytes);
        const uint64_t page = platform::SystemPageBytes(), first = (row.endBytes - fedBytes) / page * page;
        const uint32_t frameBytes = row.channels * row.bits / 8;
        frames_t heard[2];
        uint64_t ends[2], resident[2];
        for (const uint64_t start : {uint64_t{0}, first}) {
            StartWith(4096, 16);
            const bool isFar = start > 0;
            const uint64_t capacity = row.endBytes - first;
            RawStreamSound_t& sound = *RawStreamAt(start, row.channels, row.bits, start + capacity);
            ASSERT_NE(sound.samples, nullptr);
            sound.PlayOneShot();
            const uint64_t most = start + capacity;
            for (uint32_t piece = 3'001; sound.bytesFed < most; piece = piece * 7 % 9'973) {
                const auto bytes = static_cast<uint32_t>(std::min<uint64_t>(piece, most - sound.bytesFed));
                std::vector<uint8_t> data(bytes);
                for (uint32_t i = 0; i < bytes; ++i)
                    data[i] = static_cast<uint8_t>((sound.bytesFed - start + i) * 7 / 5 | 1);
                sound.FeedData(data.data(), bytes);
                sound.PlayOneShot();
                RunTicks(1, 735, heard[isFar]);
                EXPECT_LE(sound.committedPages * page, sound.bytesFed + page);
            }
            RunTicks(150, 735, heard[isFar]);
            ends[isFar] = uint64_t{sound.voice->position} * frameBytes - start;
            sound.FeedData("x", 1);  // no more fits
            EXPECT_EQ(sound.bytesFed, most);
            EXPECT_FALSE(sound.voice->isPlaying);
            resident[isFar] = sound.committedPages - sound.releasedPages;
            EXPECT_EQ(ResidentPages(sound.samples + sound.releasedPages * page, resident[isFar] * page),
                      resident[isFar]);
        }
        EXPECT_GT(std::count_if(heard[0].begin(), heard[0].end(), [](frame_t f) { return f.left != 0; }),
                  10'000);
        EXPECT_TRUE(heard[0] == heard[1]);
        EXPECT_EQ(ends[0], ends[1]);
        EXPECT_EQ(resident[0], resident[1]);
    }
}

// ---- Numbers and time

TEST(WrapOfNumbers, AHandleIsNeverGivenTwice) {
    HandleTable_t table(UINT32_MAX - 2);
    std::vector<uint64_t> given;
    for (int object = 0; object < 8; ++object) {
        HandleAnchor_t anchor;
        given.push_back(table.IdOf(anchor, &object));
        EXPECT_EQ(table.Find(given.back()), &object);
        for (std::size_t i = 0; i + 1 < given.size(); ++i) EXPECT_EQ(table.Find(given[i]), nullptr);
    }
    std::sort(given.begin(), given.end());
    EXPECT_EQ(std::adjacent_find(given.begin(), given.end()), given.end());
}

TEST(WrapOfNumbers, ADeviceOfManyYears) {
    using namespace std::chrono_literals;
    for (const auto start : {0ns, std::chrono::nanoseconds(24h * 241), std::chrono::nanoseconds(24h * 484),
                             std::chrono::nanoseconds(24h * 36'500)}) {
        const uint64_t before = platform::FramesIn(start);
        EXPECT_EQ(before, static_cast<uint64_t>(start / 1s) * 44'100);
        EXPECT_EQ(platform::FramesIn(start + 1s - 1ns) - before, 44'099u);
        EXPECT_EQ(platform::FramesIn(start + 48h) - before, uint64_t{48} * 3'600 * 44'100);
    }
}

}  // namespace
