// stream_file_test.cpp - what stream files load, what is refused, and streams in archives.
#include "stream_fixture.h"

namespace {

class StreamFile : public StreamFixture_t {
  protected:
    void SetUp() override {
        StreamFixture_t::SetUp();
        StartWith(4096, 4);
    }

    // Whatever has loaded can be played, by a loader that keeps up, until it ends.
    bool LoadAndPlay(const std::string& tag, const std::string& bytes) {
        AudioSystem::LoadSound(folder.Write("x." + tag, bytes).c_str(), "x");
        void* archive = nullptr;
        void* sound = nullptr;
        String_t key;
        if (!AudioSystem::soundTable.Lookup("x", archive)) return false;
        const auto& sounds = *static_cast<Archive_t*>(archive);
        void* at = sounds.StartPosition();
        if (!at) return false;
        sounds.GetNext(at, key, sound);
        EXPECT_EQ(at, nullptr);
        auto* stream = static_cast<Sound_t*>(sound);
        Voice_t* voice = stream->CreateCompatibleVoice(0);
        voice->SetPos(stream->frameCount / 2 + 1);
        voice->Play();
        frames_t heard;
        RunTicksLoaded(2, heard);
        delete voice;
        AudioSystem::LoadStreams();
        ExpectNoPage(stream);
        AudioSystem::FreeArchive("x");
        return true;
    }
};

TEST_F(StreamFile, EveryPrefixIsRefused) {
    const std::pair<const char*, std::string> rows[] = {
        {"ssn", SoundImage("abc", 90, {.rateDivisor = 2, .isStereo = true}, Ramp)},
        {"iss", ImaOf("abc", 90, 36, {.rateDivisor = 2, .isStereo = true})},
    };
    for (const auto& [tag, image] : rows) {
        for (std::size_t bytes = 0; bytes < image.size(); ++bytes)
            EXPECT_FALSE(LoadAndPlay(tag, image.substr(0, bytes))) << tag << bytes;
        EXPECT_TRUE(LoadAndPlay(tag, image));
        EXPECT_TRUE(LoadAndPlay(tag, image + "more"));
        EXPECT_FALSE(LoadAndPlay(tag, "S" + image));
        EXPECT_FALSE(LoadAndPlay(tag[0] == 's' ? "iss" : "ssn", image)) << "the other one's file";
    }
}

TEST_F(StreamFile, NumbersThatAreRefused) {
    const std::string nothing(1000, '\0'), pcm = std::string("Sound a\0 ", 9),
                                           ima = "IMA_ADPCM_Sound 36 " + std::string("a\0 ", 3);
    const struct {
        const char* tag;
        std::string header;
        bool isLoaded;
    } rows[] = {
        {"ssn", pcm + "250 1 1 1 0 1.0 ", true},
        {"ssn", pcm + "251 1 1 1 0 1.0 ", false},            // one frame more than there is
        {"ssn", pcm + "4294967295 1 1 1 0 1.0 ", false},     // 16 GiB
        {"ssn", pcm + "4294967296 1 1 1 0 1.0 ", false},     // wraps to nothing
        {"ssn", pcm + "250 1 1 0 0 1.0 ", false},            // no rate
        {"iss", ima + "783 1 1 1 0 1.0 972 ", true},         // 27 blocks of 29 frames
        {"iss", ima + "784 1 1 1 0 1.0 972 ", false},        // one frame more than the blocks hold
        {"iss", ima + "10 1 1 1 0 1.0 4294967295 ", false},  // more than the file
        {"iss", ima + "10 1 1 1 0 1.0 4294967296 ", false},
        {"iss", ima + "4294967295 1 1 1 0 1.0 1000 ", false},
        {"iss", ima + "10 1 0 1 0 1.0 972 ", false},  // 8 bits
        {"iss", ima + "0 1 1 1 0 1.0 0 ", true},
        {"ssn", pcm + "0 1 1 1 0 1.0 ", true},
    };
    for (const auto& row : rows)
        EXPECT_EQ(LoadAndPlay(row.tag, row.header + nothing), row.isLoaded) << row.header;
    for (const char* tag : {"ssn", "iss"}) {
        SCOPED_TRACE(tag);
        std::filesystem::create_directory(folder.At(std::string("folder.") + tag));
        AudioSystem::LoadSound(folder.At(std::string("folder.") + tag).c_str(), "x");
        AudioSystem::LoadSound(folder.At(std::string("none.") + tag).c_str(), "x");
        const std::string image = SoundImage("a", 10, {}, Ramp), name = std::string("x.") + tag;
        AudioSystem::LoadSoundFromBuffer(name.c_str(), image.data(), static_cast<unsigned>(image.size()));
        EXPECT_EQ(AudioSystem::GetSound("a", name.c_str())->frameCount, 0u) << "a stream has no image";
    }
    for (const uint32_t pageBytes : {0u, 4096u}) {
        StartWith(pageBytes, 4, 4096 - pageBytes);
        EXPECT_EQ(LoadRamp("a", 0, {}, "sn")->frameCount, 0u);
        EXPECT_EQ(LoadAndPlay("ssn", pcm + "250 1 1 1 0 1.0 " + nothing), pageBytes > 0);
        EXPECT_FALSE(LoadAndPlay("iss", ima + "700 1 1 1 0 1.0 972 " + nothing));
    }
    // Settings beyond what there is of memory, and of 32 bits.
    StartWith(0xF0000000, 2, 0xF0000000);
    EXPECT_EQ(AudioSystem::streamLookAheadBytes, UINT32_MAX);
    EXPECT_TRUE(LoadAndPlay("ssn", pcm + "250 1 1 1 0 1.0 " + nothing));
    EXPECT_TRUE(LoadAndPlay("iss", ima + "700 1 1 1 0 1.0 972 " + nothing));
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
            ExpectNoPage(sound);
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
        ExpectNoPage(sound);
        std::filesystem::remove(folder.At("a.ssn"));
    }
    AudioSystem::SaveArchive(folder.At("mixed.archive").c_str(), "again");
    EXPECT_EQ(folder.Read("mixed.archive").find("a.ssn"), std::string::npos);
}

}  // namespace
