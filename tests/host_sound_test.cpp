// host_sound_test.cpp - loads that say why they failed, archives, raw streams and statistics.
#include <ringmix/output_selection.h>
#include <sys/stat.h>

#include "host_fixture.h"

namespace {

using namespace ringmix;

using enum problem_t;

class HostSound : public HostFixture_t {
  protected:
    result_t Load(const std::string& file, const char* archive = nullptr) {
        return SoundHandle_t::Load(folder.At(file).c_str(), archive, loaded);
    }
    result_t LoadFromMemory(const std::string& file, const std::string& image) {
        return SoundHandle_t::LoadFromMemory(file.c_str(), image.data(), static_cast<uint32_t>(image.size()),
                                             loaded);
    }
    // That each word stands in the text.
    static void ExpectSays(const result_t& result, problem_t problem, const std::vector<std::string>& words) {
        EXPECT_EQ(static_cast<int>(result.problem), static_cast<int>(problem)) << result.text;
        for (const std::string& word : words)
            EXPECT_NE(std::string(result.text).find(word), std::string::npos) << word << ": " << result.text;
    }

    SoundHandle_t loaded;  // what was loaded last
};

TEST_F(HostSound, LoadsSayWhyTheyFail) {
    const std::string pcm = SoundImage("rain", 100, {}, Ramp), ima = ImaOf("rain", 100, 64, {});
    const std::string named = SoundImage(defaultSoundName, 4, {}, Ramp);
    std::string badBlocks = ima;
    badBlocks.replace(badBlocks.find(" 64 "), 4, " 05 ");
    struct case_t {
        std::string file, bytes;
        problem_t problem;
        std::vector<std::string> words;
    };
    const std::string shorter = pcm.substr(0, pcm.size() - 1), whole = std::to_string(pcm.size());
    const case_t cases[] = {
        {"noextension", pcm, badArgument, {"noextension", "extension"}},
        {"a.wav", pcm, badArgument, {"a.wav", "\"wav\"", "ssn", "isn"}},
        {"a.sn", "", unreadable, {"a.sn", "header"}},
        {"a.sn", ima, unreadable, {"a.sn", "header"}},
        {"a.ssn", pcm.substr(0, 20), unreadable, {"a.ssn", "header"}},
        {"a.sn", shorter, unreadable, {"cut short", whole, std::to_string(shorter.size())}},
        {"a.ssn", shorter, unreadable, {"cut short"}},
        {"a.isn", pcm, unreadable, {"IMA"}},
        {"a.isn", ima.substr(0, ima.size() - 1), unreadable, {"cut short"}},
        {"a.iss", badBlocks, unreadable, {"blocks of 5"}},
        {"a.sn", named, badArgument, {"name", defaultSoundName}},
    };
    for (const case_t& row : cases) {
        SCOPED_TRACE(row.file + " of " + std::to_string(row.bytes.size()));
        folder.Write(row.file, row.bytes);
        loaded = {77};
        ExpectSays(Load(row.file), row.problem, row.words);
        EXPECT_EQ(loaded.id, 0u);
        if (row.file != "a.ssn" && row.file != "a.iss")
            ExpectSays(LoadFromMemory(row.file, row.bytes), row.problem, row.words);
    }
    mkdir(folder.At("folder.sn").c_str(), 0700);
    ExpectSays(Load("folder.sn"), unreadable, {"folder.sn"});
    ExpectSays(Load("none.sn"), notFound, {"none.sn", "No such file"});
    ExpectSays(LoadFromMemory("a.ssn", pcm), incompatible, {"a.ssn", "memory"});
    EXPECT_REFUSED(SoundHandle_t::Load(nullptr, nullptr, loaded), badArgument);
    EXPECT_REFUSED(SoundHandle_t::LoadFromMemory("a.sn", nullptr, 0, loaded), badArgument);
    EXPECT_EQ(GetStatistics().sounds, 0u) << "nothing of all that stays";

    for (const char* file : {"a.sn", "b.sn", "a.ssn"}) folder.Write(file, pcm);
    const sound_format_t format{.rateDivisor = 4, .baseVolume = 0.5f, .lockFlags = 2};
    folder.Write("c.isn", ImaOf("ima", 90, 64, format));
    EXPECT_OK(Load("a.sn", "weather"));
    const SoundHandle_t first = loaded;
    ExpectSays(Load("b.sn", "weather"), nameTaken, {"b.sn", "weather", "rain"});
    EXPECT_EQ(first, loaded) << "the one that has the name";
    EXPECT_OK(SoundHandle_t::Find("rain", "weather", loaded));
    EXPECT_EQ(first, loaded);
    ExpectSays(SoundHandle_t::Find("snow", "weather", loaded), notFound, {"snow", "weather"});
    EXPECT_REFUSED(SoundHandle_t::Find("rain", nullptr, loaded), notFound);
    EXPECT_OK(Load("c.isn"));
    const sound_info_t info = loaded.GetInfo();
    EXPECT_TRUE(info.kind == sound_kind_t::compressed && info.frames == 90 && info.rateHz == 11025 &&
                info.channels == 1 && info.bits == 16 && info.baseVolume == 0.5f && info.isPanLocked &&
                !info.isVolumeLocked && !info.isFrequencyLocked);
    EXPECT_STREQ(loaded.GetName(), "ima");
    EXPECT_STREQ(loaded.GetArchiveName(), "DefaultArchive");

    ringmix::Stop();
    EXPECT_REFUSED(Load("a.sn"), notRunning);
    EXPECT_OK(ringmix::Start({.streamPageBytes = 0, .compressedPageBytes = 0}));
    for (const char* file : {"a.ssn", "c.isn"})
        ExpectSays(Load(file), badArgument, {file, "pages of 0 bytes"});
}

TEST_F(HostSound, StartSaysWhyItFails) {
    EXPECT_REFUSED(ringmix::Start(), alreadyRuns);
    ringmix::Stop();
    ringmix::Stop();
    ExpectSays(ringmix::Start({.backend = "loud"}), notFound, {"loud", "null, manual"});
    for (const float bad : {0.0f, -1.0f, std::nanf(""), HUGE_VALF})
        EXPECT_REFUSED(ringmix::Start({.worstCaseFramesPerSecond = bad}), badArgument);
    struct case_t {
        platform::manual_settings_t settings;
        bool usePrimaryBuffer, hasThreads;
        const char* reason;
    };
    const case_t cases[] = {
        {{.refusedBufferCreations = 1}, false, true, "Cannot allocate secondary buffer"},
        {{.refuseCreate = true}, false, true, "it refuses"},  // not the reason of the start before
        {{.primaryBufferBytes = 20}, true, true, "size of the device's buffer is not usable"},
        {{}, false, false, "no thread to mix on"},
    };
    for (const case_t& row : cases) {
        platform::ManualSettings() = row.settings;
        platform::RefuseManualThreads(!row.hasThreads);
        ExpectSays(ringmix::Start({.usePrimaryBuffer = row.usePrimaryBuffer}), cannotStart,
                   {"manual", row.reason});
    }
    platform::ManualSettings() = {};
    platform::RefuseManualThreads(false);
    EXPECT_OK(ringmix::Start());
    ringmix::Stop();
    ASSERT_TRUE(OutputSelection_t::SelectDevice("no-such-device"));
    ExpectSays(ringmix::Start({.backend = "system"}), cannotStart,
               {"system", "no-such-device does not start: "});
    EXPECT_TRUE(OutputSelection_t::SelectDevice("default"));
}

TEST_F(HostSound, ArchivesAreSavedAndReplacedWhole) {
    SoundHandle_t first = LoadFileOf("rain", "sn", SoundImage("rain", 400, {}, Ramp));
    LoadFileOf("music", "ssn", SoundImage("music", 900, {}, Ramp));
    SoundHandle_t song;
    EXPECT_OK(SoundHandle_t::Load(folder.At("music.ssn").c_str(), "sn", song));
    RawStreamHandle_t raw;
    EXPECT_OK(RawStreamHandle_t::Make({.name = "talk", .archiveName = "sn", .capacityFrames = 9}, raw));

    uint32_t bytes = 0, again = 0;
    EXPECT_OK(Archives_t::SaveToMemory(nullptr, 0, "sn", bytes));
    std::string image(bytes, 'x');
    EXPECT_REFUSED(Archives_t::SaveToMemory(image.data(), bytes - 1, "sn", again), full);
    EXPECT_EQ(again, bytes);
    EXPECT_EQ(image, std::string(bytes, 'x')) << "nothing of what does not fit";
    EXPECT_OK(Archives_t::SaveToMemory(image.data(), bytes, "sn", again));
    const std::string path = folder.At("all.archive");
    EXPECT_OK(Archives_t::Save(path.c_str(), "sn"));
    EXPECT_EQ(folder.Read("all.archive"), image);
    EXPECT_REFUSED(Archives_t::Save(path.c_str(), "none"), notFound);
    ExpectSays(Archives_t::Save(folder.At("none/x").c_str(), "sn"), unwritable, {"none/x"});

    const VoiceHandle_t voice = MakeVoice(first);
    EXPECT_OK(voice.Play());
    archive_count_t count;
    EXPECT_OK(Archives_t::Load(path.c_str(), "sn", &count));
    EXPECT_EQ(count.sounds, 2u);
    EXPECT_FALSE(voice.IsAlive() || first.IsAlive() || raw.IsAlive()) << "what the archive held";
    EXPECT_EQ(Archives_t::GetSoundCount("sn"), 2u);
    std::string names;
    for (uint32_t i = 0; i < 3; ++i) names += Archives_t::GetSound("sn", i).GetName();
    EXPECT_TRUE(names == "rainmusic" || names == "musicrain") << names;
    EXPECT_EQ(Archives_t::GetSoundCount("none") + Archives_t::GetSound("none", 0).id, 0u);
    EXPECT_OK(SoundHandle_t::Find("rain", "sn", first));
    EXPECT_REFUSED(Archives_t::Load(folder.At("none").c_str(), "sn", nullptr), notFound);
    EXPECT_TRUE(first.IsAlive()) << "a file that is not there replaces nothing";

    // Cut anywhere: never whole, and the text says so.
    for (uint32_t length = 0; length < bytes; length += length < 60 || length + 60 > bytes ? 1 : 50) {
        const result_t result = Archives_t::LoadFromMemory(image.data(), length, "cut", &count);
        EXPECT_EQ(result.problem, unreadable) << length;
        EXPECT_EQ(Archives_t::GetSoundCount("cut"), count.sounds);
    }
    std::string unknown = image;
    unknown.replace(unknown.find("end_of_sound"), 3, "odd");
    ExpectSays(Archives_t::LoadFromMemory(unknown.data(), bytes, "cut", &count), unreadable,
               {"2 sounds", "odd_of_sound_archive"});
    EXPECT_EQ(count.sounds, 2u);

    std::filesystem::remove(folder.At("music.ssn"));
    EXPECT_OK(Archives_t::LoadFromMemory(image.data(), bytes, "cut", &count));
    EXPECT_TRUE(count.sounds == 1 && count.missing == 1);
    EXPECT_OK(Archives_t::Free("cut"));
    EXPECT_REFUSED(Archives_t::Free("cut"), notFound);
    EXPECT_EQ(Archives_t::GetSoundCount("cut"), 0u);
}

TEST_F(HostSound, RawStreamsPlayWhatTheyAreFed) {
    RawStreamHandle_t stream, other;
    const raw_stream_options_t good{
        .name = "talk", .archiveName = "raw", .channels = 1, .capacityFrames = 5000};
    const auto expectBad = [&](const raw_stream_options_t& options) {
        EXPECT_REFUSED(RawStreamHandle_t::Make(options, other), badArgument);
        EXPECT_EQ(other.id, 0u);
    };
    using options_t = raw_stream_options_t;
    const std::pair<uint32_t options_t::*, uint32_t> wrong[] = {{&options_t::channels, 3},
                                                                {&options_t::bits, 24},
                                                                {&options_t::rateHz, 48000},
                                                                {&options_t::capacityFrames, 0},
                                                                {&options_t::capacityFrames, 0x80000000u}};
    for (const auto& [option, value] : wrong) {
        options_t options = good;
        options.*option = value;
        expectBad(options);
    }
    for (const char* name : {"", defaultSoundName}) expectBad({.name = name, .capacityFrames = 5000});
    EXPECT_OK(RawStreamHandle_t::Make(good, stream));
    EXPECT_REFUSED(RawStreamHandle_t::Make(good, other), nameTaken);

    std::vector<int16_t> samples(5001);
    for (uint32_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<int16_t>(i + 1);
    EXPECT_EQ(stream.GetVoice().id, 0u);
    EXPECT_OK(stream.Play());
    EXPECT_FALSE(stream.IsPlaying()) << "nothing is fed yet";
    EXPECT_OK(stream.Feed(samples.data(), 2000));
    EXPECT_OK(stream.Play());
    EXPECT_TRUE(stream.IsPlaying());
    frames_t heard;
    RunTicks(6, 735, heard);
    EXPECT_FALSE(stream.IsPlaying()) << "it waits";
    std::vector<news_t> news = TakeAllNews();
    ASSERT_EQ(news.size(), 1u);
    EXPECT_TRUE(news[0].kind == news_kind_t::ended && news[0].voice == stream.GetVoice());
    EXPECT_REFUSED(stream.Feed(&samples[2000], 3001), full);
    EXPECT_REFUSED(stream.Feed(nullptr, 1), badArgument);
    EXPECT_OK(stream.Feed(&samples[2000], 3000));
    EXPECT_TRUE(stream.IsPlaying());
    RunTicks(2, 735, heard);
    EXPECT_GT(stream.GetStatistics().playedFrames, 2000u);
    RunTicks(8, 735, heard);
    const raw_stream_statistics_t statistics = stream.GetStatistics();
    EXPECT_EQ(statistics.fedFrames, 5000u);
    EXPECT_EQ(statistics.capacityFrames, 5000u);
    EXPECT_EQ(statistics.playedFrames, 5000u);
    EXPECT_EQ(statistics.residentBytes, 12288u) << "nothing is given back without a piece";
    std::erase_if(heard, [](frame_t frame) { return frame.left == 0; });
    ASSERT_EQ(heard.size(), 5000u);
    for (int i = 0; i < 5000; ++i) ASSERT_EQ(heard[static_cast<std::size_t>(i)].left, i + 1);

    const VoiceHandle_t voice = stream.GetVoice();
    EXPECT_REFUSED(voice.SetPosition(0), incompatible);
    EXPECT_REFUSED(voice.SetLooping(true), incompatible);
    EXPECT_REFUSED(voice.Release(), incompatible);
    VoiceHandle_t none;
    EXPECT_REFUSED(SoundHandle_t{stream.id}.MakeVoice(none), incompatible);
    EXPECT_REFUSED(SoundHandle_t{stream.id}.PlayOnce(none), incompatible);
    EXPECT_REFUSED(stream.SetVolume(-1, 1), badArgument);
    EXPECT_REFUSED(stream.SetFrequency(9), badArgument);
    EXPECT_OK(stream.SetVolume(0.5f, 0.5f));
    EXPECT_OK(stream.Stop());
    EXPECT_REFUSED((RawStreamHandle_t{LoadRampImage("ramp", 9).id}.Play()), deadHandle);  // no raw stream
    EXPECT_OK(stream.Free());
    EXPECT_FALSE(stream.IsAlive() || voice.IsAlive());
    EXPECT_REFUSED(stream.Feed(samples.data(), 1), deadHandle);
    EXPECT_REFUSED(stream.Stop(), deadHandle);
}

TEST_F(HostSound, StatisticsAreWhatThereIs) {
    // Formats by turns; a voice of each, some frames in.
    const SoundHandle_t sounds[] = {
        LoadRampImage("simple", 30000, {.isStereo = true}),
        LoadFileOf("whole", "isn", ImaOf("whole", 30000, 512, {})),
        LoadFileOf("stream", "ssn", SoundImage("stream", 30000, {}, Ramp)),
        LoadFileOf("compressed", "iss", ImaOf("compressed", 30000, 512, {})),
    };
    const uint64_t simpleBytes = 120000, imaBytes = GetStatistics(sounds[1]).residentBytes;
    EXPECT_GT(imaBytes, 15000u);
    std::vector<VoiceHandle_t> voices;
    for (const SoundHandle_t sound : sounds) voices.push_back(MakeVoice(sound, {.isLooping = true}));
    EXPECT_OK(voices[0].Queue(sounds[0]));
    for (const VoiceHandle_t voice : voices) EXPECT_OK(voice.Play());
    frames_t heard;
    RunTicksLoaded(5, heard);
    const engine_statistics_t all = GetStatistics();
    EXPECT_TRUE(all.voices == 4 && all.playingVoices == 4 && all.sounds == 4 && all.archives == 4);
    EXPECT_EQ(all.ringFrames, 26460u);
    EXPECT_EQ(all.horizonFrames, 1324u);
    EXPECT_EQ(all.underruns, 0u);
    EXPECT_GT(all.queuedFrames, 500u);
    EXPECT_EQ((all.outputFrame + all.ringFrames - all.baseFrame) % all.ringFrames, 0u) << "ticks keep step";

    EXPECT_EQ(GetStatistics(sounds[0]).residentBytes, simpleBytes);
    EXPECT_EQ(GetStatistics(sounds[1]).wholeBytes, 60000u);
    uint64_t sum = 0;
    for (uint32_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(sounds[i].GetName());
        const sound_statistics_t sound = GetStatistics(sounds[i]);
        const voice_statistics_t voice = GetStatistics(voices[i]);
        sum += sound.residentBytes;
        EXPECT_EQ(sound.voices, 1u);
        EXPECT_EQ(voice.queuedSounds, i == 0 ? 2u : 1u);
        EXPECT_EQ(voice.aheadFrames, 1324u);
        EXPECT_GT(voice.mixSeconds, 0.0f);
        const uint64_t unpaged = i == 0 ? simpleBytes : i == 1 ? imaBytes : 0;
        // What the one voice holds, one page perhaps twice, and what the loader has yet to drop behind it.
        EXPECT_NEAR(static_cast<double>(sound.residentBytes), static_cast<double>(unpaged + voice.heldBytes),
                    2 * 4096);
        EXPECT_EQ(voice.heldBytes > 0, i > 0);
    }
    EXPECT_EQ(all.soundBytes, sum);
    EXPECT_EQ(GetMixCosts(voice_kind_t::simple).seconds[1][1][0], GetStatistics(voices[0]).mixSeconds);
    EXPECT_EQ(GetMixCosts(voice_kind_t::simple).seconds[0][1][0], 0.0f) << "unmeasured";

    for (const VoiceHandle_t voice : voices) EXPECT_OK(voice.Free());
    AudioSystem::LoadStreams();
    for (uint32_t i = 0; i < 4; ++i)
        EXPECT_EQ(GetStatistics(sounds[i]).residentBytes, i == 0 ? simpleBytes : i == 1 ? imaBytes : 0);

    Play(44100);  // a second without a tick
    const engine_statistics_t late = GetStatistics();
    EXPECT_GT(late.underruns, 0u);
    EXPECT_GT(late.underrunFrames, 10000u);
    EXPECT_LT(late.underrunFrames, 44100u);
}

}  // namespace
