// voice_test.cpp - the state of a voice: volume, frequency, locks, queue, starting and stopping; sliding
// voices; and the mix step at its joints. What whole voices sound like is compared in engine_model_test.cpp.
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <tuple>

#include "core/mix_ring.h"
#include "engine_fixture.h"
#include "platform/event.h"
#include "sounds/sample_heap.h"
#include "sounds/simple_sound.h"

namespace {

using AudioSystem::allVoices, AudioSystem::startingVoices;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

class VoiceState : public EngineFixture_t {
  protected:
    void SetUp() override {
        EngineFixture_t::SetUp();
        ASSERT_TRUE(Start());
    }

    Sound_t* NewSound(const sound_format_t& format = {}, uint32_t frames = 100) {
        return MakeSound("s" + std::to_string(soundCount++), frames, format, Ramp);
    }
    SlidingVoice_t* NewVoice(const sound_format_t& format = {}, uint32_t frames = 100) {
        return new SlidingVoice_t(NewSound(format, frames), 0);
    }

    // The mix modes of the list's voices, by which these tests tell them apart.
    static std::vector<int> Modes(const List_t& list) {
        std::vector<int> modes;
        for (const ListNode_t* node = list.head; node; node = node->next)
            modes.push_back(static_cast<Voice_t*>(node->data)->mixMode);
        return modes;
    }

    int soundCount = 0;
};

TEST_F(VoiceState, Volumes) {
    const struct {
        const char* name;
        float baseVolume;
        uint32_t locks;
        float left, right, wantLeft, wantRight;
        uint32_t wantFlags;
    } rows[] = {
        {"negative right follows left", 1, 0, 0.5f, -1, 0.5f, 0.5f, pathVolume},
        {"negative left is ignored", 1, 0, -1, 0.5f, 0.25f, 0.75f, pathVolume | pathPan},
        {"no number is ignored", 1, 0, notANumber, 0.5f, 0.25f, 0.75f, pathVolume | pathPan},
        {"above 1.0, each for itself", 1, 0, 0.5f, 2, 0.5f, 1, pathVolume | pathPan},
        {"back to the plain path", 1, 0, 2, 2, 1, 1, 0},
        {"nothing makes up for a quiet sound", 0.5f, 0, 1, 1, 1, 1, pathVolume},
        {"a loud sound turned down", 2, 0, 0.5f, 0.5f, 0.5f, 0.5f, 0},
        {"only one product is 1.0", 2, 0, 0.5f, 0.25f, 0.5f, 0.25f, pathVolume | pathPan},
        {"volume locked", 1, lockVolume, 0.5f, 0.5f, 1, 1, 0},
        {"pan locked", 1, lockPan, 0.5f, 0.1f, 0.5f, 0.5f, pathVolume},
        {"frequency locked", 1, lockFrequency, 0.5f, 0.5f, 0.5f, 0.5f, pathVolume},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Voice_t* voice = NewVoice({1, true, false, row.baseVolume, row.locks});
        EXPECT_EQ(voice->pathFlags, row.baseVolume == 1 ? 0 : pathVolume);
        voice->SetVolume(0.25f, 0.75f);
        voice->SetVolume(row.left, row.right);
        EXPECT_EQ(voice->leftVolume, row.wantLeft);
        EXPECT_EQ(voice->rightVolume, row.wantRight);
        EXPECT_EQ(voice->pathFlags, row.wantFlags);
    }
    Voice_t* voice = NewVoice();
    for (const auto& [set, want] :
         {std::pair{0.5f, 0.5f}, {-0.1f, 0.5f}, {notANumber, 0.5f}, {3, 1}, {0, 0}}) {
        voice->SetBaseVolume(set);
        EXPECT_EQ(voice->baseVolume, want);
        EXPECT_EQ(voice->pathFlags, want == 1 ? 0 : pathVolume);
    }
}

TEST_F(VoiceState, Frequencies) {
    const struct {
        uint32_t divisor, locks;
        float ratio;
        uint32_t wantStep, wantFlags;
    } rows[] = {
        {1, 0, 0.2f, 204, pathFrequency},        {1, 0, 0.19f, 1280, pathFrequency},
        {1, 0, 8.0f, 1280, pathFrequency},       {1, 0, std::nextafter(8.0f, 0.0f), 8191, pathFrequency},
        {1, 0, notANumber, 1280, pathFrequency}, {1, 0, -1.0f, 1280, pathFrequency},
        {2, 0, 1.5f, 768, pathFrequency},        {3, 0, 1.0f, 341, 0},
        {4, 0, 0.2f, 51, pathFrequency},         {2, lockFrequency, 1.5f, 512, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.ratio << " at divisor " << row.divisor);
        Voice_t* voice = NewVoice({row.divisor, true, false, 1.0f, row.locks});
        EXPECT_EQ(voice->step, 1024 / row.divisor);
        voice->SetFrequency(1.25f);
        voice->SetFrequency(row.ratio);
        EXPECT_EQ(voice->step, row.wantStep);
        EXPECT_EQ(voice->pathFlags, row.wantFlags);
    }
}

TEST_F(VoiceState, PositionsEndBelow32Bits) {
    SimpleSound_t longSound, tooMuch, rest, empty;  // never mixed: they need no samples
    longSound.frameCount = 0xFFFFFF00;
    tooMuch.frameCount = 0x100;
    rest.frameCount = 0xFF;
    SimpleVoice_t voice(&longSound, 0);
    for (SimpleSound_t* sound : {&empty, &tooMuch, &rest, &rest}) voice.QueueSound(sound);
    EXPECT_EQ(voice.soundQueue.count, 2);
    EXPECT_EQ(voice.totalLength, 0xFFFFFFFFu);
    const uint32_t last = 0xFFFFFFFF;  // target, then base and position
    for (const auto& [target, base, position] :
         {std::tuple{last - 1, 0xFFFFFF00u, 0xFEu}, {0xFFFFFF00, 0xFFFFFF00, 0}, {5, 0, 5}, {last, 0, 0}}) {
        voice.SetPos(target);
        EXPECT_EQ(std::tuple(voice.queueBase, voice.position), std::tuple(base, position));
        EXPECT_EQ(voice.nextQueued, base == 0 ? voice.soundQueue.tail : nullptr);
    }
    voice.SetPos(0xFFFFFF00);  // the exact end of the current sound
    EXPECT_EQ(voice.position, voice.frameCount);
}

TEST_F(VoiceState, NothingToPlaySignalsAtOnce) {
    platform::Event_t event;
    event.Create();
    Voice_t* voice = NewVoice();
    voice->completionEvent = &event;
    voice->Play();
    voice->isPlaying = false;  // as after a first stretch that was its last
    voice->Play();
    EXPECT_EQ(startingVoices.count, 1);
    voice->Stop();
    EXPECT_EQ(event.Wait(0), platform::waitTimedOut);

    voice->SetPos(40);
    voice->ReleaseSound();
    EXPECT_EQ(voice->totalLength + voice->frameCount + voice->queueBase + voice->position, 0u);
    EXPECT_EQ(voice->soundQueue.head->data, SimpleSound_t::GetDefaultSound());
    voice->SetPos(0);
    voice->Play();
    EXPECT_FALSE(voice->isPlaying);
    EXPECT_EQ(event.Wait(0), platform::waitSignalled);

    Sound_t* next = NewSound({2}, 30);
    for (int i = 0; i < 2; ++i) voice->QueueSound(next);
    EXPECT_EQ(voice->soundQueue.count, 2);
    EXPECT_EQ(voice->totalLength, 60u);
    EXPECT_EQ(voice->samples, next->samples);
    EXPECT_EQ(voice->nextQueued, voice->soundQueue.tail);
    AudioSystem::initialized = false;
    voice->Play();
    AudioSystem::initialized = true;
    EXPECT_FALSE(voice->isPlaying);
    EXPECT_EQ(event.Wait(0), platform::waitSignalled);
}

TEST_F(VoiceState, FreeFunctionsTakeEveryVoiceThatQueuesTheSound) {
    const struct {
        const char *sound, *archive;  // an empty name: the whole archive
        std::vector<int> left;
    } rows[] = {{"b", "b.sn", {0, 3}},         {"B", "b.sn", {0, 1, 2, 3, 4}},
                {"b", "b.s", {0, 1, 2, 3, 4}}, {"a", nullptr, {0, 1, 2, 3, 4}},
                {"c", nullptr, {0, 1, 2, 4}},  {"", "a.sn", {2, 3}},
                {"", nullptr, {0, 1, 2, 4}},   {"", "", {0, 1, 2, 3, 4}}};
    std::vector<Sound_t*> sounds;
    for (const char* name : {"a", "b", "c"}) sounds.push_back(MakeSound(name, 10, {}, Ramp));
    sounds[2]->archiveName = "DefaultArchive";
    for (const auto& [sound, archive, left] : rows) {
        SCOPED_TRACE(testing::Message() << sound << " in " << (archive ? archive : "null"));
        Voice_t::FreeAll();
        const std::vector<std::vector<int>> queues = {{0}, {0, 1}, {1}, {2}, {0, 0, 1}};
        for (int mode = 0; mode < 5; ++mode) {
            auto* voice = new SimpleVoice_t(sounds[queues[mode][0]], mode);
            for (std::size_t i = 1; i < queues[mode].size(); ++i) voice->QueueSound(sounds[queues[mode][i]]);
            voice->Play();
        }
        AudioSystem::FreeVoicesUsingSound(nullptr, "a.sn");
        if (sound[0]) AudioSystem::FreeVoicesUsingSound(sound, archive);
        if (!sound[0]) AudioSystem::FreeVoicesUsingArchive(archive);
        EXPECT_EQ(Modes(allVoices), left);
        EXPECT_EQ(Modes(startingVoices), left);
    }
}

// Positions, then values, from and to.
std::vector<float> FrequencySlide(const SlidingVoice_t& v) {
    return {float(v.frequencySlideFrom), float(v.frequencySlideTo), v.frequencyStart, v.frequencyEnd};
}
std::vector<float> VolumeSlide(const SlidingVoice_t& v) {
    return {
        float(v.volumeSlideFrom), float(v.volumeSlideTo), v.leftStart, v.leftEnd, v.rightStart, v.rightEnd};
}

TEST_F(VoiceState, SlideArguments) {
    SlidingVoice_t& voice = *NewVoice();
    using slide_t = std::vector<float>;
    voice.SetFrequencySlide(0, 1000, 0.1f, 2);
    voice.SetFrequencySlide(0, 1000, 1, 10.5f);
    voice.SetFrequencySlide(0, 1000, notANumber, 1);
    voice.SetVolumeSlide(0, 100, -0.1f, 1, 1, 1);
    voice.SetVolumeSlide(0, 100, 1, -0.1f, 1, 1);
    EXPECT_FALSE(voice.frequencySlideActive || voice.volumeSlideActive);
    voice.SetFrequencySlide(0, 1000, 0.2f, 10);
    EXPECT_EQ(FrequencySlide(voice), (slide_t{0, 1000, 0.2f, 10}));
    voice.SetFrequencySlide(1000, 0, 1, 2);
    EXPECT_EQ(FrequencySlide(voice), (slide_t{0, 1000, 2, 1}));
    voice.SetVolumeSlide(0, 100, 0, 1, -1, 0.3f);
    EXPECT_EQ(VolumeSlide(voice), (slide_t{0, 100, 0, 1, 0, 1}));
    voice.SetVolumeSlide(0, 100, 2, 3, 4, 5);
    EXPECT_EQ(VolumeSlide(voice), (slide_t{0, 100, 1, 1, 1, 1}));
    voice.SetVolumeSlide(9, 3, 0.2f, 0.5f, 0.1f, 0.7f);
    EXPECT_EQ(VolumeSlide(voice), (slide_t{3, 9, 0.5f, 0.2f, 0.7f, 0.1f}));
    EXPECT_TRUE(voice.frequencySlideActive && voice.volumeSlideActive);

    voice.SetVolume(0.5f, 0.25f);
    voice.SetFrequency(3);
    voice.ClearVolumeSlide();
    voice.ClearFrequencySlide();
    EXPECT_EQ(VolumeSlide(voice), (slide_t{0, 0, 1, 1, 1, 1}));
    EXPECT_EQ(FrequencySlide(voice), (slide_t{0, 0, 1, 1}));
    EXPECT_FALSE(voice.frequencySlideActive || voice.volumeSlideActive);
    EXPECT_EQ(voice.pathFlags, 0u);
    EXPECT_EQ(voice.step, 1024u);
}

TEST_F(VoiceState, SlidesAlongTheQueue) {
    SlidingVoice_t* voice = NewVoice({}, 9000);
    voice->SetFrequencySlide(9000, 0, 1, 10);  // falling: without effect until it is below 8.0
    for (const auto& [at, wantStep] :
         {std::pair{0u, 1024u}, {2000u, 1024u}, {2001u, 8190u}, {5000u, 5120u}}) {
        voice->SetPos(at);
        voice->PrepareFrame(wholePass);
        EXPECT_EQ(voice->step, wantStep) << at;
    }
    voice->SetFrequencySlide(0, 9000, 1, 10);
    for (voice->position = 0; voice->position < 9000; ++voice->position) {
        voice->PrepareFrame(wholePass);
        ASSERT_EQ(voice->step, (1000 + std::min(voice->position, 6999u)) * 1024 / 1000) << voice->position;
    }
    // A jump, then a ramp whose part of the way is rounded once.
    for (const auto& [end, start, wanted] : {std::tuple{45u, 45u, 0.7f}, {3'000u, 0u, 0.109000005f}}) {
        voice->SetVolumeSlide(start, end, 0.1f, 0.7f, 1, 1);
        voice->SetPos(45);
        voice->PrepareFrame(wholePass);
        EXPECT_EQ(voice->leftVolume, wanted);
    }
}

// ---- The mix step where a sound ends, loops, stops or meets the next one

using sound_ptr_t = std::unique_ptr<SimpleSound_t>;

constexpr uint32_t ringUnits = 16384;

// Every sample the same, in 16-bit terms; a multiple of 256 for both widths. The samples end with their heap
// block, so that an address sanitizer sees a read past them.
sound_ptr_t MakeFlatSound(uint32_t frames, uint32_t divisor, bool is16Bit, bool isStereo, int sample) {
    auto sound = std::make_unique<SimpleSound_t>();
    sound->frameCount = frames;
    sound->rateDivisor = divisor;
    sound->is16Bit = is16Bit;
    sound->isStereo = isStereo;
    sound->bytesPerFrame = (is16Bit ? 2u : 1u) * (isStereo ? 2u : 1u);
    const uint32_t bytes = frames * sound->bytesPerFrame;
    sound->samples = AllocateSamples(bytes).release();
    const auto high = static_cast<uint8_t>((sample + 0x8000) / 256);
    for (uint32_t i = 0; i < bytes; ++i) sound->samples[i] = is16Bit && i % 2 == 0 ? uint8_t{0} : high;
    return sound;
}

class VoiceMix : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(AudioSystem::AllocateRing(ringUnits, 4096)); }
    void TearDown() override {
        Voice_t::FreeAll();
        AudioSystem::FreeRing();
    }

    // What stands in the ring, in 1/256 sample steps; exact for what a gain leaves whole.
    static int32_t Heard(uint32_t frame, unsigned channel) {
        const auto eighths = static_cast<int64_t>(AudioSystem::ringEntries[frame / 2 * 2 + channel] / 8.0);
        return static_cast<int32_t>(frame % 2 == 0 ? eighths & 0xFFFFFFFF : eighths >> 32) - 256 * 0x80000;
    }
};

struct edge_t {
    const char* name;
    uint32_t frames, divisor;
    float left, right, frequency;
    bool isLooping;
    uint32_t start, asked;
    uint32_t wantFrames;          // heard from the beginning of the stretch on, then silence
    int32_t wantLeft, wantRight;  // gains, in 1/256
    bool wantAlive;
    uint32_t wantPosition, wantFraction;
};

TEST_F(VoiceMix, Edges) {
    const edge_t edges[] = {
        {"all that is left", 10, 1, 1, 1, 1, false, 0, 10, 10, 256, 256, false, 10, 0},
        {"more than is left", 10, 1, 1, 1, 1, false, 0, 25, 10, 256, 256, false, 10, 0},
        {"one less: the last is dropped", 10, 1, 1, 1, 1, false, 0, 9, 9, 256, 256, false, 9, 0},
        {"two less", 10, 1, 1, 1, 1, false, 0, 8, 8, 256, 256, true, 8, 0},
        {"nothing", 10, 1, 1, 1, 1, false, 0, 0, 0, 0, 0, true, 0, 0},
        {"nothing, one step from the end", 10, 1, 1, 1, 1, false, 9, 0, 0, 0, 0, false, 9, 0},
        {"half the rate", 1000, 2, 1, 1, 1, false, 0, 3000, 2000, 256, 256, false, 1000, 0},
        {"a quarter, a rest below one frame", 100, 4, 1, 1, 1, false, 0, 31, 28, 256, 256, true, 7, 768},
        {"a third: silent on the plain path", 100, 3, 1, 1, 1, false, 0, 400, 0, 0, 0, false, 99, 924},
        {"heard with a gain", 100, 3, 0.5f, 0.5f, 1, false, 0, 400, 300, 128, 128, false, 99, 924},
        {"heard with a frequency", 100, 3, 1, 1, 1.5f, false, 0, 400, 200, 256, 256, false, 100, 0},
        {"both channels quiet", 10, 1, 0.09f, 0.09f, 1, false, 0, 20, 0, 0, 0, false, 10, 0},
        {"one channel quiet", 10, 1, 0.09f, 0.5f, 1, false, 0, 20, 10, 23, 128, false, 10, 0},
        {"exactly at the threshold", 10, 1, 0.1f, 0, 1, false, 0, 5, 5, 25, 0, true, 5, 0},
        {"the right channel alone", 10, 1, 0, 0.1f, 1, false, 0, 5, 5, 0, 25, true, 5, 0},
        {"an end between frames", 10, 1, 1, 1, 0.75f, false, 0, 20, 13, 256, 256, false, 9, 768},
        {"loops several times", 10, 1, 1, 1, 1, true, 0, 35, 35, 256, 256, true, 5, 0},
        {"a loop drops its last frame too", 10, 1, 1, 1, 1, true, 0, 9, 9, 256, 256, true, 0, 0},
        {"a loop of exactly one step", 4, 1, 1, 1, 4, true, 0, 10, 10, 256, 256, false, 0, 0},
        {"a loop shorter than a step ends", 4, 1, 1, 1, 4.5f, true, 0, 10, 0, 0, 0, false, 0, 0},
        {"2^32 + 1024 steps ahead", 4194305, 1, 1, 1, 1, false, 0, 99, 99, 256, 256, true, 99, 0},
    };
    for (const edge_t& edge : edges) {
        for (unsigned format = 0; format < 4; ++format) {
            SCOPED_TRACE(testing::Message() << edge.name << ", format " << format);
            AudioSystem::FreeRing();
            ASSERT_TRUE(AudioSystem::AllocateRing(ringUnits, 4096));
            const sound_ptr_t sound = MakeFlatSound(edge.frames, edge.divisor, format & 1, format & 2, 1024);
            SimpleVoice_t voice(sound.get(), 0);
            voice.isLooping = edge.isLooping;
            voice.isPlaying = !edge.wantAlive;
            voice.SetVolume(edge.left, edge.right);
            voice.SetFrequency(edge.frequency);
            voice.SetPos(edge.start);
            EXPECT_EQ(voice.Mix(200, edge.asked), edge.wantAlive);
            EXPECT_EQ(voice.isPlaying, edge.wantAlive);
            EXPECT_EQ(voice.position, edge.wantPosition);
            EXPECT_EQ(voice.fraction, edge.wantFraction);
            for (uint32_t frame = 98; frame < 100 + edge.asked + 4; ++frame) {
                const bool isHeard = frame >= 100 && frame < 100 + edge.wantFrames;
                ASSERT_EQ(Heard(frame, 0), isHeard ? 1024 * edge.wantLeft : 0) << frame;
                ASSERT_EQ(Heard(frame, 1), isHeard ? 1024 * edge.wantRight : 0) << frame;
            }
        }
    }
}

TEST_F(VoiceMix, SeamJoinsTwoFormatsAndDropsTheFraction) {
    const sound_ptr_t first = MakeFlatSound(10, 2, false, false, 2048),
                      second = MakeFlatSound(50, 1, true, true, 512);
    SimpleVoice_t voice(first.get(), 0);
    voice.QueueSound(second.get());
    voice.SetFrequency(1.5f);  // step 768: 13 frames, and 3/4 of a source frame over
    EXPECT_TRUE(voice.Mix(0, 20));
    for (uint32_t frame = 0; frame < 20; ++frame)
        EXPECT_EQ(Heard(frame, 1), 256 * (frame < 13 ? 2048 : 512)) << frame;
    EXPECT_EQ(voice.queueBase, 10u);
    EXPECT_EQ(voice.step, 1536u);
    EXPECT_EQ(voice.position, 10u);  // 7 frames at 1.5
    EXPECT_EQ(voice.fraction, 512u);
}

// What the mix step asks on its way, and the answers of a test.
struct AskedVoice_t : SimpleVoice_t {
    using SimpleVoice_t::SimpleVoice_t;
    bool OnStopPosition() override { return ++stops, goesOn; }
    bool PrepareFrame(uint32_t frames) override { return asked.push_back(frames), frames < 60; }

    bool goesOn = false;
    uint32_t stops = 0;
    std::vector<uint32_t> asked;
};

TEST_F(VoiceMix, AsksForWhatAPassMixesAndGoesOnIfTold) {
    const sound_ptr_t sound = MakeFlatSound(200, 1, true, false, 256);
    AskedVoice_t voice(sound.get(), 0);
    voice.mixFlags = prepareExact;
    voice.stopPosition = 50;
    EXPECT_FALSE(voice.Mix(0, 100));
    EXPECT_EQ(voice.asked, std::vector<uint32_t>{50}) << "up to the stop position";
    voice.goesOn = true;
    EXPECT_TRUE(voice.Mix(0, 20));
    EXPECT_EQ(voice.position, 50u) << "a stop goes no further";
    voice.stopPosition = noStopPosition;
    EXPECT_FALSE(voice.Mix(0, 60));
    EXPECT_EQ(voice.position, 50u) << "what is refused is not mixed";
    EXPECT_EQ(voice.asked, (std::vector<uint32_t>{50, 0, 60}));
    EXPECT_EQ(voice.stops, 2u);
    EXPECT_EQ(Heard(50, 0), 0);
}

}  // namespace
