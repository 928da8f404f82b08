// stream_file_test.cpp - what stream files load, what is refused, and streams in archives.
#include "fuzz/invariants.h"
#include "stream_fixture.h"

namespace {

class StreamFile : public StreamFixture_t {
  protected:
    void SetUp() override {
        StreamFixture_t::SetUp();
        StartWith(4096, 4);
    }

    // Plays a sound from its middle to its end, by a loader that keeps up.
    static void Play(Sound_t* sound) {
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        voice->SetPos(sound->frameCount / 2 + 1);
        voice->Play();
        frames_t heard;
        RunTicksLoaded(2, heard);
        EXPECT_FALSE(voice->isPlaying);
        delete voice;
        AudioSystem::LoadStreams();
        fuzz::RequireNoPages();
    }
};

TEST_F(StreamFile, WhatIsNoStream) {
    for (const std::string tag : {"ssn", "iss"}) {
        SCOPED_TRACE(tag);
        std::filesystem::create_directory(folder.At("folder." + tag));
        AudioSystem::LoadSound(folder.At("folder." + tag).c_str(), "x");
        AudioSystem::LoadSound(folder.At("none." + tag).c_str(), "x");
        EXPECT_EQ(static_cast<Archive_t*>(AudioSystem::soundTable.FindOrInsert("x"))->count, 0);
        const std::string image = SoundImage("a", 10, {}, Ramp), name = "x." + tag;
        AudioSystem::LoadSoundFromBuffer(name.c_str(), image.data(), static_cast<unsigned>(image.size()));
        EXPECT_EQ(AudioSystem::GetSound("a", name.c_str())->frameCount, 0u) << "a stream has no image";
    }
}

// No pages of a kind, and more than there is of memory, and of 32 bits.
TEST_F(StreamFile, Settings) {
    folder.Write("a.sn", SoundImage("a", 250, {}, Ramp));
    folder.Write("a.ssn", SoundImage("a", 250, {}, Ramp));
    folder.Write("a.iss", ImaOf("a", 250, 36, {}));
    const struct {
        uint32_t filePageBytes, pagesAhead, decodedPageBytes;
        bool isPcm, isIma;
    } rows[] = {
        {0, 4, 4096, false, false}, {4096, 4, 0, true, false}, {0xF0000000, 2, 0xF0000000, true, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.filePageBytes);
        StartWith(row.filePageBytes, row.pagesAhead, row.decodedPageBytes);
        EXPECT_EQ(LoadFile("a", "sn")->frameCount, 250u);
        for (const auto& [tag, isLoaded] : {std::pair{"ssn", row.isPcm}, {"iss", row.isIma}}) {
            EXPECT_EQ(LoadFile("a", tag)->frameCount, isLoaded ? 250u : 0u) << tag;
            if (isLoaded) Play(LoadFile("a", tag));
        }
    }
    EXPECT_EQ(AudioSystem::streamLookAheadBytes, UINT32_MAX);
}

// A look-ahead of nothing: every page comes late, but comes; whatever the steps are, none is read without a
// hold.
TEST_F(StreamFile, NoLookAhead) {
    for (const char* tag : {"ssn", "iss"}) {
        for (const float ratio : {0.2f, 0.77f, 1.0f, 7.9f}) {
            StartWith(4096, 0);
            Sound_t* sound = LoadImage(
                "a", tag, tag[0] == 's' ? SoundImage("a", 9'000, {}, Ramp) : ImaOf("a", 9'000, 33, {}));
            Voice_t* voice = sound->CreateCompatibleVoice(0);
            voice->SetFrequency(ratio);
            voice->Play();
            frames_t heard;
            for (uint32_t tick = 0; voice->isPlaying && tick < 20'000; ++tick) {
                // Now and then to a frame whose byte is the next frame's, too.
                if (tick > 0 && tick < 600 && tick % 7 == 0) voice->SetPos(tick / 20 * 59 * 3 + tick % 4);
                AudioSystem::LoadStreams();
                RunTicks(1, 4, heard);
            }
            EXPECT_FALSE(voice->isPlaying);
            delete voice;
            AudioSystem::LoadStreams();
            fuzz::RequireNoPages();
        }
    }
}

TEST_F(StreamFile, Archives) {
    LoadRamp("a", 5000);
    AudioSystem::LoadSound(folder.At("a.ssn").c_str(), "mixed");
    LoadImage("b", "iss", ImaOf("b", 5000, 64, {}));
    AudioSystem::LoadSound(folder.At("b.iss").c_str(), "mixed");
    const std::string image = SoundImage("c", 5, {}, Ramp);
    AudioSystem::LoadSound(folder.Write("c.sn", image).c_str(), "mixed");
    new RawStreamSound_t("raw", 1, 8, 44100, 100, "mixed");
    AudioSystem::SaveArchive(folder.At("mixed.archive").c_str(), "mixed");
    const std::string saved = folder.Read("mixed.archive");
    EXPECT_NE(saved.find(folder.At("a.ssn")), std::string::npos);
    EXPECT_LT(saved.size(), 300u) << "a path stands for each stream";
    const auto framesOf = [](const char* name) { return AudioSystem::GetSound(name, "again")->frameCount; };
    for (const bool isMissing : {false, true}) {
        AudioSystem::LoadArchive(folder.At("mixed.archive").c_str(), "again");
        EXPECT_EQ(framesOf("a"), isMissing ? 0u : 5000u);
        EXPECT_EQ(framesOf("b"), 5000u);
        EXPECT_EQ(framesOf("c"), 5u);
        EXPECT_EQ(framesOf("raw"), 0u);
        frames_t heard;
        Sound_t* sound = AudioSystem::GetSound("b", "again");
        EXPECT_STREQ(sound->classTag.text, "iss");
        sound->PlayOneShot();
        RunTicksLoaded(12, heard);
        EXPECT_GT(std::count_if(heard.begin(), heard.end(), [](frame_t f) { return f != frame_t{}; }), 4000);
        fuzz::RequireNoPages();
        std::filesystem::remove(folder.At("a.ssn"));
    }
    AudioSystem::SaveArchive(folder.At("mixed.archive").c_str(), "again");
    EXPECT_EQ(folder.Read("mixed.archive").find("a.ssn"), std::string::npos);
}

}  // namespace
