// raw_stream_test.cpp - sounds that their owner feeds: every frame is heard once and in order, whatever the
// pieces are, and memory follows the play position.
#include "stream_fixture.h"

namespace {

constexpr uint32_t systemPage = 4096;

struct raw_format_t {
    const char* name;
    uint32_t channels, bits, rateHz;
    float frequency = 1.0f;
};

const raw_format_t formats[] = {
    {"stereo 16", 2, 16, 44100},
    {"mono 16", 1, 16, 22050},
    {"stereo 8", 2, 8, 11025},
    {"mono 8", 1, 8, 44100},
    {"slow mono 16", 1, 16, 44100, 0.2f},
    {"stereo 16 at a third", 2, 16, 14700, 0.99f},
};

class RawStream : public StreamFixture_t {
  protected:
    void SetUp() override {
        StreamFixture_t::SetUp();
        StartWith(4096, 32);
    }

    // No sample is silence, and no byte stands for itself when it is turned twice or not at all.
    static std::string Samples(uint32_t frames, const raw_format_t& format) {
        const bool is16Bit = format.bits == 16;
        const std::string image =
            SoundImage("x", frames, {1, is16Bit, format.channels == 2},
                       [&](uint32_t f, int) { return is16Bit ? Ramp(f) : 1 + int(f % 127); });
        return image.substr(FormatSoundHeader({"x", frames, format.channels == 2, is16Bit}).size());
    }

    static RawStreamSound_t* Make(const std::string& name, const raw_format_t& format, uint32_t capacity) {
        return new RawStreamSound_t(name.c_str(), format.channels, format.bits, format.rateHz, capacity,
                                    "raw");
    }

    void Feed(RawStreamSound_t& sound, const std::string& data, uint32_t begin, uint32_t bytes) {
        const std::unique_ptr<char[]> piece(new char[bytes]);  // of exactly that size
        data.copy(piece.get(), bytes, begin);
        sound.FeedData(piece.get(), bytes);
        const uint64_t played = sound.voice ? uint64_t{sound.voice->position} * sound.bytesPerFrame : 0;
        EXPECT_EQ(sound.bytesFed, begin + bytes);
        EXPECT_EQ(sound.committedPages, (begin + bytes - 1) / systemPage + 1);
        EXPECT_EQ(sound.releasedPages, std::max<uint64_t>(played / systemPage, releasedBefore));
        EXPECT_EQ(ResidentPages(sound.samples, (sound.bytesFed / systemPage + 1) * systemPage),
                  sound.committedPages - sound.releasedPages);
        releasedBefore = sound.releasedPages;
    }

    // Until all that was fed has been heard, and nothing of it is left in the device.
    void Drain(const RawStreamSound_t& sound) {
        do RunTicks(1, 735, heard);
        while (sound.voice && sound.voice->isPlaying);
        RunTicks(5, 735, heard);
    }

    // What was heard without the silence of pauses.
    static frames_t Heard(const frames_t& played) {
        frames_t sounds;
        std::copy_if(played.begin(), played.end(), std::back_inserter(sounds),
                     [](frame_t f) { return f != frame_t{}; });
        return sounds;
    }

    frames_t heard;
    uint32_t releasedBefore = 0;
};

TEST_F(RawStream, PiecesOfAnySizeAreHeardOnceAndInOrder) {
    const uint32_t sizes[] = {1, 2, 3, 5, 333, 4095, 4096, 4097, 100'000, 0};  // 0: any
    for (const raw_format_t& format : formats) {
        for (const uint32_t size : sizes) {
            SCOPED_TRACE(testing::Message() << format.name << ", pieces of " << size);
            std::mt19937 random(size);
            const uint32_t few = RINGMIX_TEST_SANITIZED ? 100 : 500;
            const uint32_t frames = size > 0 && size < 10 ? few : 20'000;
            const std::string data = Samples(frames, format);
            RawStreamSound_t& sound = *Make("a", format, frames + 100);
            sound.SetStreamFrequency(format.frequency);
            heard.clear();
            releasedBefore = 0;
            for (uint32_t at = 0; at < data.size();) {
                if (random() % 3 == 0) sound.PlayOneShot();
                const auto most = static_cast<uint32_t>(data.size() - at);
                const uint32_t any = 1 + static_cast<uint32_t>(random()) % 9000;
                const uint32_t bytes = std::min(most, size > 0 ? size : any);
                if (bytes == most) sound.PlayOneShot();
                Feed(sound, data, at, bytes);
                at += bytes;
                if (random() % 4 > 0 || bytes > 99'999) Drain(sound);
                if (random() % 16 == 0) sound.StopStream();
                if (random() % 16 == 0 && format.frequency == 1.0f) sound.DestroyVoice();
            }
            sound.PlayOneShot();
            Drain(sound);
            frames_t wanted;
            const uint32_t divisor = 44100 / format.rateHz;
            const auto step = static_cast<uint32_t>(format.frequency * 1024.0) / divisor;
            for (uint64_t at = 0; at + step <= uint64_t{frames} * 1024; at += step) {
                const auto frame = static_cast<uint32_t>(at >> 10);
                const auto value =
                    static_cast<int16_t>(format.bits == 16 ? Ramp(frame) : (1 + frame % 127) * 256);
                wanted.push_back({value, value});
            }
            ASSERT_EQ(Heard(heard), wanted);
            AudioSystem::FreeSound("a", "raw");
        }
    }
}

// Fed well ahead of the voice there is no pause; fed at any time, every frame is mixed once all the same.
TEST_F(RawStream, FedInTimeAndAtAnyTime) {
    constexpr uint32_t frames = 200'000;
    const raw_format_t& format = formats[0];
    const std::string data = Samples(frames, format);
    RawStreamSound_t& sound = *Make("a", format, frames + 100);
    sound.PlayOneShot();
    for (uint32_t at = 0; at < data.size(); at += 4000) {
        Feed(sound, data, at, 4000);
        EXPECT_LE(uint64_t{sound.committedPages - sound.releasedPages} * systemPage,
                  sound.bytesFed - sound.voice->position * 4 + 2 * systemPage);
        if (at >= 12'000) RunTicks(1, 1000, heard);
    }
    Drain(sound);
    const auto first = std::find_if(heard.begin(), heard.end(), [](frame_t f) { return f != frame_t{}; });
    ASSERT_GE(heard.end() - first, frames);
    for (uint32_t f = 0; f < frames; ++f) ASSERT_EQ(first[f].right, Ramp(f)) << f;
    EXPECT_EQ(Heard(heard).size(), frames);

    for (const float cost : {0.0f, 1e-9f}) {
        ClearCosts(cost);
        std::mt19937 random(7);
        RawStreamSound_t& ones = *Make(cost > 0 ? "known" : "unknown", formats[1], frames);
        std::vector<uint8_t> pieces(2 * frames);
        for (uint32_t i = 0; i < pieces.size(); i += 2) pieces[i] = 1;
        heard.clear();
        for (uint32_t at = 0; at < 300'000;) {
            if (random() % 4 == 0) ones.PlayOneShot();
            const uint32_t bytes = 1 + static_cast<uint32_t>(random()) % 4000;
            ones.FeedData(&pieces[at], bytes);
            at += bytes;
            RunTicks(static_cast<uint32_t>(random()) % 3, 600, heard);
        }
        Drain(ones);
        uint64_t sum = 0;
        for (const frame_t& frame : heard) sum += static_cast<uint64_t>(frame.left);
        EXPECT_EQ(sum, ones.bytesFed / 2 * 2) << "each frame twice, at half the rate";
    }
}

TEST_F(RawStream, Edges) {
    using AudioSystem::GetSound;
    const raw_format_t& format = formats[0];
    const std::string data = Samples(3000, format);
    RawStreamSound_t& sound = *Make("a", format, 2000);
    EXPECT_EQ(GetSound("a", "raw"), &sound);
    EXPECT_EQ(sound.CreateCompatibleVoice(0), nullptr);
    EXPECT_STREQ(sound.classTag.text, "");
    AudioSystem::LoadStreams();
    AudioSystem::LoadDataSupply(&sound);

    sound.StopStream();
    sound.DestroyVoice();
    sound.SetStreamVolume(0.5f, 0.25f);
    sound.SetStreamFrequency(2.0f);
    sound.PlayOneShot();  // nothing is fed
    ASSERT_NE(sound.voice, nullptr);
    EXPECT_TRUE(!sound.voice->isPlaying && sound.wantPlaying);
    EXPECT_TRUE(sound.voice->leftVolume == 0.5f && sound.voice->rightVolume == 0.25f &&
                sound.voice->step == 2048);
    sound.SetStreamVolume(1.0f, 1.0f);
    sound.SetStreamFrequency(1.0f);
    EXPECT_TRUE(sound.voice->leftVolume == 1.0f && sound.voice->pathFlags == 0);
    sound.FeedData(data.data(), 0);
    Feed(sound, data, 0, 3);  // no whole frame
    Drain(sound);
    EXPECT_EQ(sound.voice->position, 0u);
    sound.voice->SetPos(1);
    sound.voice->QueueSound(&sound);
    sound.voice->SetSound(&sound, 1);
    sound.voice->ReleaseSound();
    EXPECT_TRUE(sound.voice->position == 0 && sound.voice->totalLength == 2000 &&
                sound.voice->soundQueue.count == 1);
    EXPECT_FALSE(sound.voice->IsCompatibleSound(&sound));

    sound.StopStream();
    Feed(sound, data, 3, 3997);
    Drain(sound);
    EXPECT_TRUE(Heard(heard).empty()) << "nobody wants it yet";
    sound.PlayOneShot();
    Drain(sound);
    EXPECT_EQ(Heard(heard).size(), 999u) << "all but the last frame that is there";
    EXPECT_EQ(sound.resumePosition, 999u);
    sound.voice->Stop();  // by another hand
    sound.FeedData(data.data() + 4000, 4001);
    EXPECT_EQ(sound.bytesFed, 4000u) << "one byte too many";
    sound.FeedData(data.data() + 4000, UINT32_MAX);
    Feed(sound, data, 4000, 4000);
    Drain(sound);
    // At the very end: nobody starts again from the beginning, where there is no memory any more.
    for (int again = 0; again < 3; ++again) {
        sound.PlayOneShot();
        Drain(sound);
        if (again == 1) sound.StopStream();
        sound.DestroyVoice();
        sound.PlayOneShot();
        sound.PlayOneShot();
        Drain(sound);
        sound.FeedData(data.data(), 1);
    }
    EXPECT_GE(Heard(heard).size(), 1999u) << "the last frame of a whole sound may be left out";
    EXPECT_LE(Heard(heard).size(), 2000u);
    EXPECT_GE(sound.resumePosition, 1999u);

    // A voice that is stopped far behind its last pause goes on from there: what lies before has no memory.
    RawStreamSound_t& stopped = *Make("stopped", format, 100'000);
    const std::string more = Samples(60'000, format);
    releasedBefore = 0;
    stopped.PlayOneShot();
    for (uint32_t at = 0; at < more.size(); at += 8000) {
        Feed(stopped, more, at, 8000);
        if (at % 40'000 == 0) stopped.voice->Stop();
        RunTicks(2, 735, heard);
    }
    EXPECT_GT(stopped.releasedPages, 20u);

    RawStreamSound_t* twin = Make("a", format, 10);
    EXPECT_EQ(GetSound("a", "raw"), &sound);
    const RawStreamSound_t rates[] = {
        {"r", 1, 8, 0, 10, "raw"}, {"r", 1, 8, 44101, 10, "raw"}, {"r", 2, 16, 44100, 0x40000000, "raw"}};
    for (const RawStreamSound_t* refused :
         {static_cast<const RawStreamSound_t*>(twin), &rates[0], &rates[1], &rates[2]}) {
        EXPECT_TRUE(refused->frameCount == 0 && refused->samples == nullptr);
        EXPECT_STREQ(refused->name.text, defaultSoundName);
    }
    delete twin;
    EXPECT_NE(Make("large", formats[0], 0x3FFFFFFF)->samples, nullptr);
    AudioSystem::FreeVoicesUsingSound("a", "raw");
    EXPECT_EQ(sound.voice, nullptr);
}

}  // namespace
