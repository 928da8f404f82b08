// limits_test.cpp - as much as fits, and more: voices beyond the ring's range, positions at the end of 32
// bits, files that are none.
#include <sys/stat.h>

#include <algorithm>

#include "stream_fixture.h"

namespace {

using namespace AudioSystem;

class Limits : public StreamFixture_t {};

// The same sound, started so many times in one tick: their sum, clipped as the device clips it, never one
// that has gone round. Voices that go as far ahead as they can and those that do not.
TEST_F(Limits, CoherentVoicesGiveTheClippedSum) {
    const struct {
        uint32_t voices;
        int amplitude;
        float volume;
    } rows[] = {
        {1000, 32767, 1.0f}, {1000, 32767, 0.99f}, {1000, 33, 1.0f}, {1000, 32, 1.0f},
        {17, 32767, 1.0f},   {16, 32767, 1.0f},    {3, 10000, 1.0f},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message()
                     << row.voices << " voices of " << row.amplitude << " x " << row.volume);
        StartWith(4096, 4);
        const auto square = [&](uint32_t frame, int channel) {
            return (frame / 7 + static_cast<uint32_t>(channel)) % 2 ? row.amplitude : -row.amplitude;
        };
        Sound_t* sound = MakeSound("square", 4000, {.isStereo = true}, square);
        for (uint32_t i = 0; i < row.voices; ++i) {
            Voice_t* voice = sound->CreateCompatibleVoice(i % 3 == 0 ? 2 : 0);
            voice->SetVolume(row.volume, row.volume);
            voice->Play();
        }
        frames_t heard;
        RunTicks(5, 735, heard);
        const auto first =
            std::find_if(heard.begin(), heard.end(), [](frame_t frame) { return frame != frame_t{}; });
        ASSERT_GT(heard.end() - first, 3000);
        const int gain = static_cast<int>(row.volume * 256.0);
        for (uint32_t frame = 0; frame < 3000; ++frame) {
            const auto sum = [&](int channel) {
                const int64_t scaled = int64_t{square(frame, channel)} * gain * row.voices;
                return static_cast<int16_t>(std::clamp<int64_t>(scaled / 256, -32768, 32767));
            };
            ASSERT_EQ(first[frame], (frame_t{sum(0), sum(1)})) << frame;
        }
    }
}

// A stream of as many frames as can be counted: its end sounds as that of a short one, at any speed, and
// nothing can be queued behind it.
TEST_F(Limits, TheLastFramesThatCanBeCounted) {
    constexpr uint32_t tail = 3000, frames = UINT32_MAX;
    const sound_format_t format{.is16Bit = false};
    const std::string header = FormatSoundHeader({"long", frames, false, false, 1, 0, 1.0f});
    const std::string samples = SoundImage("tail", tail, format, Ramp);
    const std::string path = folder.Write("long.ssn", header);
    std::filesystem::resize_file(path, header.size() + uint64_t{frames} - tail);  // a hole
    std::ofstream(path, std::ios::binary | std::ios::app) << samples.substr(samples.size() - tail);
    for (const float ratio : {1.0f, 0.3f, 7.9f}) {
        SCOPED_TRACE(ratio);
        frames_t heard[2];
        for (const bool isLong : {false, true}) {
            StartWith(4096, 16);
            Sound_t* sound = isLong ? LoadFile("long", "ssn") : MakeSound("short", tail, format, Ramp);
            ASSERT_EQ(sound->frameCount, isLong ? frames : tail);
            Voice_t* voice = sound->CreateCompatibleVoice(0);
            voice->QueueSound(sound);
            EXPECT_EQ(voice->totalLength, isLong ? frames : 2 * tail);
            voice->SetFrequency(ratio);
            voice->SetPos((isLong ? frames : 2 * tail) - tail);
            voice->Play();
            RunTicksLoaded(20, heard[isLong]);
            EXPECT_FALSE(voice->isPlaying);
        }
        EXPECT_TRUE(heard[0] == heard[1]);
    }
}

// A stream's path may come from an archive, and be that of anything.
TEST_F(Limits, WhatIsNoFileIsNotOpened) {
    ASSERT_EQ(mkfifo(folder.At("pipe.ssn").c_str(), 0600), 0);
    folder.Write("plain.ssn", SoundImage("plain", 10, {}, Ramp));
    for (const std::string& path : {folder.At("pipe.ssn"), folder.path.string(), std::string("/dev/zero")}) {
        StartWith(4096, 4);
        LoadSound(folder.At("plain.ssn").c_str(), "streams");
        auto& stream = dynamic_cast<BaseStream_t&>(*GetSound("plain", "streams"));
        stream.path = path.c_str();
        SaveArchive(folder.At("archive").c_str(), "streams");
        LoadArchive(folder.At("archive").c_str(), "again");  // and does not wait for a writer
        EXPECT_EQ(GetSound("plain", "again")->frameCount, 0u);
    }
}

}  // namespace
