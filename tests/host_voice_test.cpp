// host_voice_test.cpp - voices by handle: dead ones are refused whatever is called, news are complete, and
// what is heard is what the engine's own voices sound like.
#include "host_fixture.h"

namespace {

using namespace ringmix;

class HostVoice : public HostFixture_t {
  protected:
    // Every operation of a voice, by name.
    static std::map<std::string, result_t> CallAll(VoiceHandle_t voice, SoundHandle_t sound) {
        CompletionEvent_t event;
        return {{"Play", voice.Play()},
                {"Stop", voice.Stop()},
                {"Reset", voice.Reset()},
                {"SetPosition", voice.SetPosition(1)},
                {"SetLooping", voice.SetLooping(true)},
                {"SetVolume", voice.SetVolume(0.5f, 0.5f)},
                {"SetFrequency", voice.SetFrequency(1.5f)},
                {"Queue", voice.Queue(sound)},
                {"Release", voice.Release()},
                {"SlideFrequency", voice.SlideFrequency(0, 9, 1, 2)},
                {"SlideVolume", voice.SlideVolume(0, 9, 1, 0, 1, 0)},
                {"ClearSlides", voice.ClearSlides()},
                {"SetCompletionEvent", voice.SetCompletionEvent(&event)},
                {"Free", voice.Free()}};
    }

    static void ExpectDead(VoiceHandle_t voice, SoundHandle_t sound, const char* why,
                           problem_t problem = problem_t::deadHandle) {
        SCOPED_TRACE(why);
        for (const auto& [name, result] : CallAll(voice, sound))
            EXPECT_TRUE(result.problem == problem && result.text[0]) << name << ": " << result.text;
        EXPECT_FALSE(voice.IsAlive() || voice.IsPlaying() || voice.CanPlay(sound));
        EXPECT_EQ(voice.GetPosition() + voice.GetLength() + GetStatistics(voice).queuedSounds, 0u);
    }
};

TEST_F(HostVoice, WhatIsGoneIsRefused) {
    const SoundHandle_t sound = LoadRampImage("ramp", 400), freed = LoadRampImage("freed", 400);
    const VoiceHandle_t never, byHandle = MakeVoice(sound), byWrapper = MakeVoice(freed),
                               withSound = MakeVoice(sound);
    ExpectDead(never, sound, "never made");
    ExpectDead({0xFFFFFFFF00000000u}, sound, "never given, known slot");
    ExpectDead({0x00000001FFFFFFFFu}, sound, "never given, unknown slot");
    EXPECT_OK(byHandle.Free());
    ExpectDead(byHandle, sound, "freed");
    const VoiceHandle_t inItsPlace = MakeVoice(sound);
    EXPECT_NE(inItsPlace, byHandle);
    ExpectDead(byHandle, sound, "freed, and another has taken its place");

    AudioSystem::FreeVoicesUsingSound("freed", "freed.sn");
    AudioSystem::FreeSound("freed", "freed.sn");
    ExpectDead(byWrapper, sound, "freed by its sound's name");
    EXPECT_REFUSED(inItsPlace.Queue(freed), deadHandle);

    VoiceHandle_t once;
    EXPECT_OK(sound.PlayOnce(once));
    EXPECT_TRUE(once.IsPlaying());
    frames_t heard;
    RunTicks(1, 735, heard);
    ExpectDead(once, sound, "a one-shot that has ended");
    EXPECT_OK(sound.PlayOnce(once));
    EXPECT_OK(once.Stop());
    RunTicks(1, 735, heard);
    ExpectDead(once, sound, "a one-shot that was stopped");

    EXPECT_OK(sound.Free());
    ExpectDead(withSound, sound, "freed with its sound");
    EXPECT_FALSE(sound.IsAlive());
    EXPECT_STREQ(sound.GetName(), "");
    EXPECT_EQ(sound.GetInfo().kind, sound_kind_t::none);
    VoiceHandle_t none{77};
    EXPECT_REFUSED(sound.MakeVoice(none), deadHandle);
    EXPECT_EQ(none.id, 0u) << "a handle that was not made refers to nothing";
    EXPECT_REFUSED(sound.Free(), deadHandle);

    const VoiceHandle_t last = MakeVoice(LoadRampImage("last", 9));
    ringmix::Stop();
    ExpectDead(last, sound, "the engine is down", problem_t::notRunning);
    StartHost();
    ExpectDead(last, sound, "from an earlier run");
}

TEST_F(HostVoice, NewsTellWhatBecameOfEachPlay) {
    using enum news_kind_t;
    struct case_t {
        const char* name;
        bool loops;
        void (*act)(VoiceHandle_t voice);  // on a voice that plays
        std::vector<news_t> want;          // of its first tick and what follows
    };
    const case_t cases[] = {
        {"plays on", false, [](VoiceHandle_t) {}, {{ended, 0, {}}}},
        {"stopped", false, [](VoiceHandle_t v) { v.Stop(), v.Stop(); }, {{stopped, 0, {}}}},
        {"reset", false, [](VoiceHandle_t v) { v.Reset(); }, {{stopped, 0, {}}}},
        {"freed", false, [](VoiceHandle_t v) { v.Free(); }, {{stopped, 0, {}}}},
        {"released", false, [](VoiceHandle_t v) { v.Release(); }, {{stopped, 0, {}}}},
        {"stopped and played on",
         false,
         [](VoiceHandle_t v) { v.Stop(), v.Play(); },
         {{stopped, 0, {}}, {ended, 0, {}}}},
        // By now ticks and device are in step: the first tick mixes 2059 frames, each of the others 735.
        {"loops", true, [](VoiceHandle_t) {}, {{looped, 10, {}}}},
        {"no longer loops",
         true,
         [](VoiceHandle_t v) { v.SetLooping(false); },
         {{looped, 5, {}}, {ended, 0, {}}}},
    };
    const SoundHandle_t longOne = LoadRampImage("long", 4000), shortOne = LoadRampImage("short", 400);
    for (const case_t& row : cases) {
        SCOPED_TRACE(row.name);
        ClearCosts();  // the voice starts at the output, not in its past
        const VoiceHandle_t voice =
            MakeVoice(row.loops ? shortOne : longOne, {.isLooping = row.loops, .wantsLoopNews = row.loops});
        EXPECT_OK(voice.Play());
        EXPECT_OK(voice.Play());
        frames_t heard;
        RunTicks(1, 735, heard);
        EXPECT_EQ(voice.IsPlaying(), true);
        row.act(voice);
        RunTicks(3, 735, heard);
        const std::vector<news_t> news = TakeAllNews();
        ASSERT_EQ(news.size(), row.want.size()) << testing::PrintToString(news);
        for (std::size_t i = 0; i < news.size(); ++i) {
            EXPECT_TRUE(news[i].kind == row.want[i].kind && news[i].rounds == row.want[i].rounds &&
                        news[i].voice == voice)
                << testing::PrintToString(news[i]);
        }
        (void)voice.Free();
        TakeAllNews();
    }
}

// Whatever a host does, each play that began has one end, and nothing else has.
TEST_F(HostVoice, EveryPlayEndsOnce) {
    std::mt19937 random(5);
    const auto below = [&](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
    SoundHandle_t sounds[4];
    for (uint32_t i = 0; i < 4; ++i) sounds[i] = LoadRampImage("s" + std::to_string(i), 50 + 700 * i);
    std::vector<VoiceHandle_t> voices;
    std::map<uint64_t, int> open;
    uint32_t begun = 0, ended = 0;
    const auto begin = [&](VoiceHandle_t voice) {
        ++open[voice.id];
        ++begun;
    };
    for (uint32_t step = 0; step < 6000; ++step) {
        if (voices.size() < 12) voices.push_back(MakeVoice(sounds[below(4)], {.isSliding = below(2) == 0}));
        const uint32_t which = below(static_cast<uint32_t>(voices.size()));
        const VoiceHandle_t voice = voices[which];
        const bool wasPlaying = voice.IsPlaying();
        const uint32_t kind = below(9);
        if (kind == 0) (void)voice.Stop();
        if (kind == 1) (void)voice.Reset();
        if (kind == 2) (void)voice.Free(), voices.erase(voices.begin() + which);
        if (kind == 3) (void)voice.Queue(sounds[below(4)]);
        if (kind == 4) (void)voice.SetPosition(below(3000));
        if (kind == 5) (void)voice.SetLooping(below(2) == 0);
        if (kind == 6 && below(4) == 0) (void)voice.Release();
        if (kind == 7) {
            VoiceHandle_t once;
            EXPECT_OK(sounds[below(4)].PlayOnce(once));
            begin(once);
            if (below(5) == 0) (void)once.Free();
        }
        if (kind == 8 && voice.Play() && !wasPlaying) begin(voice);
        if (below(3) == 0) {
            frames_t heard;
            RunTicks(1, 200 + below(2000), heard);
        }
        for (const news_t& news : TakeAllNews()) {
            ASSERT_EQ(--open[news.voice.id], 0) << news << " in step " << step;
            ended += news.kind == news_kind_t::ended;
        }
    }
    for (const SoundHandle_t sound : sounds) EXPECT_OK(sound.Free());
    for (const VoiceHandle_t voice : voices) (void)voice.Free();  // those that were released
    for (const news_t& news : TakeAllNews()) EXPECT_EQ(--open[news.voice.id], 0) << news;
    for (const auto& [id, count] : open) EXPECT_EQ(count, 0) << id;
    EXPECT_GT(begun, 1000u);
    EXPECT_GT(ended, 300u);
    EXPECT_EQ(GetStatistics().voices, 0u);
}

TEST_F(HostVoice, NewsKeepTheNewest) {
    const VoiceHandle_t voice = MakeVoice(LoadRampImage("ramp", 400));
    const VoiceHandle_t first = MakeVoice(LoadRampImage("first", 400));
    (void)first.Play(), (void)first.Stop();
    for (int i = 0; i < 1030; ++i) (void)voice.Play(), (void)voice.Stop();
    EXPECT_EQ(GetStatistics().droppedNews, 7u);
    const std::vector<news_t> news = TakeAllNews();
    ASSERT_EQ(news.size(), 1024u);
    EXPECT_EQ(news[0].voice, voice);
    ringmix::Stop();
    StartHost();
    EXPECT_EQ(GetStatistics().droppedNews, 0u);
}

// Bit for bit what the engine's own operations give.
TEST_F(HostVoice, SoundsLikeTheEngine) {
    const auto listen = [&](auto makeVoice) {
        ClearCosts();
        SlidingVoice_t::mixCosts = {};
        frames_t heard;
        makeVoice();
        RunTicks(20, 735, heard);
        Voice_t::FreeAll();
        RunTicks(52, 735,
                 heard);  // in all two rounds of the ring: where stretches are cut is a matter of phase
        return heard;
    };
    const auto expectEqual = [&](auto makeVoice, auto makeEnginesVoice) {
        const frames_t heard = listen(makeVoice);
        EXPECT_TRUE(heard == listen(makeEnginesVoice));
    };
    const SoundHandle_t one = LoadRampImage("one", 3000, {.rateDivisor = 2, .isStereo = true}),
                        two = LoadRampImage("two", 2000, {.is16Bit = false});
    Sound_t* engineOne = AudioSystem::GetSound("one", "one.sn");
    Sound_t* engineTwo = AudioSystem::GetSound("two", "two.sn");
    const voice_options_t bent{.leftVolume = 0.7f, .rightVolume = 0.3f, .frequency = 1.3f};

    listen([] {});  // the device's own start
    expectEqual(
        [&] {
            const VoiceHandle_t voice = MakeVoice(one, bent);
            EXPECT_OK(voice.Queue(two));
            EXPECT_OK(voice.SetPosition(700));
            EXPECT_OK(voice.SetVolume(0.6f, -1.0f));
            EXPECT_OK(voice.SetFrequency(0.9f));
            EXPECT_OK(voice.Play());
        },
        [&] {
            Voice_t* voice = engineOne->CreateCompatibleVoice(0);
            voice->QueueSound(engineTwo);
            voice->SetPos(700);
            voice->SetVolume(0.6f, 0.6f);
            voice->SetFrequency(0.9f);
            voice->Play();
        });
    expectEqual(
        [&] {
            const VoiceHandle_t voice = MakeVoice(one, {.isMixedFarAhead = true, .isSliding = true});
            EXPECT_OK(voice.SlideFrequency(0, 2500, 0.5f, 4.0f));
            EXPECT_OK(voice.SlideVolume(2000, 0, 0.1f, 0.9f, 1.0f, 0.2f));
            EXPECT_OK(voice.Play());
        },
        [&] {
            auto* voice = new SlidingVoice_t(engineOne, 2);
            voice->SetFrequencySlide(0, 2500, 0.5f, 4.0f);
            voice->SetVolumeSlide(2000, 0, 0.1f, 0.9f, 1.0f, 0.2f);
            voice->Play();
        });
    expectEqual(
        [&] {
            VoiceHandle_t voice;
            EXPECT_OK(two.PlayOnce(voice, {.isMixedFarAhead = true}));
        },
        [&] { engineTwo->PlayOneShot(); });
}

TEST_F(HostVoice, WrongUseIsRefusedWithAReason) {
    const float nan = std::nanf("");
    const SoundHandle_t sound = LoadRampImage("ramp", 400), empty = LoadRampImage("empty", 0),
                        locked = LoadRampImage("locked", 400, {.lockFlags = 7}),
                        stream = LoadFileOf("s", "ssn", SoundImage("s", 400, {}, Ramp));
    const VoiceHandle_t voice = MakeVoice(sound), sliding = MakeVoice(sound, {.isSliding = true}),
                        lockedVoice = MakeVoice(locked, {.leftVolume = 0.5f, .frequency = 2.0f});
    VoiceHandle_t none;
    EXPECT_REFUSED(sound.MakeVoice(none, {.leftVolume = -0.1f}), badArgument);
    EXPECT_REFUSED(sound.MakeVoice(none, {.leftVolume = nan}), badArgument);
    EXPECT_REFUSED(sound.MakeVoice(none, {.frequency = 8.0f}), badArgument);
    EXPECT_REFUSED(sound.PlayOnce(none, {.isLooping = true}), badArgument);
    EXPECT_REFUSED(stream.MakeVoice(none, {.isSliding = true}), incompatible);
    EXPECT_REFUSED(empty.PlayOnce(none), nothingToPlay);
    EXPECT_EQ(GetStatistics().voices, 3u) << "none of these has made one";

    for (const float bad : {-0.5f, nan}) EXPECT_REFUSED(voice.SetVolume(bad, 1.0f), badArgument);
    for (const float bad : {0.19f, 8.0f, nan}) EXPECT_REFUSED(voice.SetFrequency(bad), badArgument);
    EXPECT_REFUSED(lockedVoice.SetVolume(0.5f, 0.5f), incompatible);
    EXPECT_REFUSED(lockedVoice.SetFrequency(0.5f), incompatible);
    EXPECT_REFUSED(voice.SlideVolume(0, 9, 0, 1, 0, 1), incompatible);
    EXPECT_REFUSED(sliding.SlideVolume(0, 9, -1, 1, 0, 1), badArgument);
    EXPECT_REFUSED(sliding.SlideFrequency(0, 9, 1, 10.5f), badArgument);
    EXPECT_OK(sliding.SlideFrequency(0, 9, 1, 10.0f));
    EXPECT_OK(sliding.ClearSlides());

    EXPECT_TRUE(voice.CanPlay(locked));
    EXPECT_FALSE(voice.CanPlay(stream));
    EXPECT_REFUSED(voice.Queue(stream), incompatible);
    EXPECT_REFUSED(MakeVoice(stream).Queue(sound), incompatible);
    EXPECT_REFUSED(voice.Queue(empty), nothingToPlay);
    EXPECT_EQ(voice.GetLength(), 400u);
    EXPECT_OK(voice.Release());
    EXPECT_REFUSED(voice.Play(), nothingToPlay);
    EXPECT_OK(voice.Queue(sound));
    EXPECT_OK(voice.Play());
    EXPECT_TRUE(voice.IsPlaying());
}

TEST_F(HostVoice, CompletionEventIsSetAtEachEnd) {
    const VoiceHandle_t voice = MakeVoice(LoadRampImage("ramp", 400));
    frames_t heard;
    {
        CompletionEvent_t event;
        EXPECT_OK(voice.SetCompletionEvent(&event));
        EXPECT_OK(voice.Play());
        EXPECT_FALSE(event.Wait(0));
        RunTicks(2, 735, heard);
        EXPECT_TRUE(event.Wait(0));
        EXPECT_FALSE(event.Wait(0)) << "once an end";
        EXPECT_OK(voice.Play());
        EXPECT_OK(voice.Stop());
        RunTicks(2, 735, heard);
        EXPECT_FALSE(event.Wait(5)) << "a stop is no end";
        EXPECT_OK(voice.Play());
    }  // the voice, which plays, is left
    RunTicks(2, 735, heard);
    EXPECT_FALSE(voice.IsPlaying());
}

}  // namespace
