// host_program.cpp - any bytes as a program of host calls, in legal order: each byte is a call, what follows
// it are the call's arguments. Between any two calls the engine's invariants must hold, and at the end
// nothing may be left.
#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "core/audio_system.h"
#include "fuzz/fuzz_engine.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/invariants.h"
#include "fuzz/targets.h"
#include "platform/manual_output.h"
#include "streaming/base_stream.h"
#include "streaming/raw_stream_sound.h"
#include "tests/ima_sounds.h"
#include "voices/sliding_voice.h"

namespace {

using namespace AudioSystem;
using fuzz::Input_t;

constexpr int maxCalls = 600, maxVoices = 24;

// The sounds that programs play: a file of each class for every one of these.
struct shape_t {
    uint32_t frames, rateDivisor, blockBytes;
    bool is16Bit, isStereo;
    float baseVolume;
    uint32_t lockFlags;
};
constexpr shape_t shapes[] = {
    {9000, 1, 256, true, false, 1.0f, 0},     {3000, 2, 97, true, true, 0.5f, 0},
    {40000, 1, 512, true, true, 1.0f, 0},     {1, 1, 64, true, false, 1.0f, 0},
    {700, 3, 40, false, true, 2.0f, 0},       {12000, 4, 1024, false, false, 1.0f, 7},
    {2048, 1, 128, true, false, 1.0f, 4},     {0, 1, 64, true, true, 1.0f, 0},
    {4096, 44100, 300, true, true, 17.0f, 3},
};
constexpr uint32_t shapeCount = sizeof shapes / sizeof shapes[0];
constexpr const char* tags[] = {"sn", "isn", "ssn", "iss"};
constexpr const char* archives[] = {"first", nullptr};

struct sound_file_t {
    std::string name, path, image;
};

const sound_file_t& FileOf(uint32_t tag, uint32_t shape) {
    static const std::vector<sound_file_t> files = [] {
        std::vector<sound_file_t> made;
        for (const char* each : tags) {
            for (uint32_t i = 0; i < shapeCount; ++i) {
                sound_file_t file;
                file.name = std::string(each) + std::to_string(i);
                const shape_t& s = shapes[i];
                file.image = NoiseImage(
                    {file.name, s.frames, s.isStereo, s.is16Bit, s.rateDivisor, s.lockFlags, s.baseVolume},
                    each[0] == 'i' ? s.blockBytes : 0, i);
                file.path = fuzz::WriteScratch(file.name + "." + each, file.image.data(), file.image.size());
                made.push_back(file);
            }
        }
        return made;
    }();
    return files[tag * shapeCount + shape];
}

class Host_t {
  public:
    explicit Host_t(Input_t& bytes) : input(bytes) { StartEngine(); }

    void Run() {
        for (int calls = 0; calls < maxCalls && !input.IsEmpty(); ++calls) {
            Call();
            Forget();
            fuzz::RequireInvariants();
        }
        if (paused) Resume();
        platform::ManualSettings() = {};
        Voice_t::FreeAll();
        LoadStreams();
        fuzz::RequireInvariants();
        fuzz::RequireNoPages();
        engine.reset();
    }

  private:
    void StartEngine() {
        engine.reset();
        const uint32_t pages = input.Byte();
        engine = std::make_unique<fuzz::Engine_t>(4096u << pages % 3, 1 + pages / 3 % 12,
                                                  4096u << pages / 36 % 3, pages & 128);
        SetWorstCaseFrameRate(60);  // near horizons: more calls in the same time
    }

    void Call() {
        const uint32_t call = input.Byte() % 8;
        if (call <= 1) return Tick();
        if (call <= 3) return CallVoice();
        if (call == 4) return CallSounds();
        if (call == 5) return NewVoice();
        if (call == 6) return LoadStreams();
        return input.Below(3) ? CallRawStream() : CallSystem();
    }

    void Tick() {
        const uint32_t frames = input.Below(8) ? 735 : input.Below(6000);
        MixVoices();
        (void)fuzz::Engine_t::Play(frames);
    }

    void CallSystem() {
        const uint32_t call = input.Below(10);
        if (call == 0) return SetWorstCaseFrameRate(static_cast<float>(input.Word()) / 64);
        if (call == 1) return paused ? Resume() : Pause();
        if (call == 2) return platform::LoseManualBuffer();
        if (call == 3) return BreakDevice();
        if (call == 4) platform::ManualSettings() = {};
        if (call == 5) return StartEngine();
        if (call == 6) return Voice_t::StopAndRewindAll();
        if (call == 7) return Voice_t::FreeAll();
        if (call == 8) (void)fuzz::Engine_t::Play(input.Below(60000));
        if (call == 9) return SaveAndLoad();
    }

    void BreakDevice() {
        platform::manual_settings_t& device = platform::ManualSettings();
        const uint32_t faults = input.Word();
        device.refuseStatus = faults & 1;
        device.refusePosition = faults & 2;
        device.refuseRestore = faults & 4;
        device.refuseLock = faults & 8;
        device.refuseUnlock = faults & 16;
        device.refuseCaps = faults & 32;
        device.isEmulated = faults & 64;  // of the next start
        device.forceCursors = faults & 128;
        if (!device.forceCursors) return;
        device.forcedPlayCursor = input.Long();
        device.forcedWriteCursor = faults & 256 ? input.Long() : input.Below(32768);
    }

    const sound_file_t& AnyFile() {
        const uint32_t which = input.Byte();
        return FileOf(which % 4, which / 4 % shapeCount);
    }
    const char* AnyArchive() { return archives[input.Below(2)]; }
    Sound_t* AnySound() {
        const char* archive = AnyArchive();
        return GetSound(AnyFile().name.c_str(), archive);
    }

    void CallSounds() {
        const uint32_t call = input.Below(10);
        const char* archive = AnyArchive();
        const sound_file_t& file = AnyFile();
        if (call < 6) return LoadSound(file.path.c_str(), archive);
        if (call == 6)
            return LoadSoundFromBuffer((file.name + "." + file.name.substr(0, 2)).c_str(), file.image.data(),
                                       static_cast<unsigned>(file.image.size()));
        if (call == 7) FreeVoicesUsingSound(file.name.c_str(), archive);
        if (call == 7) return FreeSound(file.name.c_str(), archive);
        if (call == 8) FreeVoicesUsingArchive(archive);
        if (call == 8) return FreeArchive(archive);
        Voice_t::FreeAll();
        Sound_t::FreeAll();
    }

    // The archive goes for a moment, with the voices on it.
    void SaveAndLoad() {
        const char* archive = AnyArchive();
        std::vector<uint8_t> image(1u << 20);
        FreeVoicesUsingArchive(archive);
        const int32_t bytes = SaveArchiveToBuffer(image.data(), static_cast<unsigned>(image.size()), archive);
        FUZZ_REQUIRE(bytes >= 0);
        if (bytes > 0) LoadArchiveFromBuffer(image.data(), static_cast<unsigned>(bytes), archive);
    }

    void NewVoice() {
        Sound_t* sound = AnySound();
        const auto mode = static_cast<int32_t>(input.Below(4));
        const bool isOneShot = input.Below(4) == 0;
        if (allVoices.count >= maxVoices) return;
        if (isOneShot) return sound->PlayOneShot();
        const bool isSliding = sound->IsASortOf("SimpleSound") && input.Below(3) == 0;
        Voice_t* voice = isSliding ? new SlidingVoice_t(sound, mode) : sound->CreateCompatibleVoice(mode);
        if (!voice) return;
        voices.push_back(voice);
        voice->isLooping = input.Flag();
        if (input.Flag()) voice->Play();
    }

    float Ratio() { return static_cast<float>(input.Byte()) / 24; }
    float Volume() { return static_cast<float>(input.Byte()) / 200 - 0.05f; }
    uint32_t PositionIn(const Voice_t& voice) { return input.Long() % (voice.totalLength + 2); }

    void CallVoice() {
        if (voices.empty()) return;
        Voice_t& voice = *voices[input.Below(static_cast<uint32_t>(voices.size()))];
        const uint32_t call = input.Below(16);
        if (call <= 1) return voice.Play();
        if (call == 2) return voice.Stop();
        if (call == 3) return voice.SetPos(PositionIn(voice));
        if (call == 4) voice.isLooping = !voice.isLooping;
        if (call == 5) {
            const float left = Volume();
            return voice.SetVolume(left, input.Flag() ? left : Volume());
        }
        if (call == 6) return voice.SetFrequency(Ratio());
        if (call == 7) return voice.SetBaseVolume(Volume());
        if (call == 8 || call == 9) {
            Sound_t* sound = AnySound();
            return voice.IsCompatibleSound(sound) ? voice.QueueSound(sound) : void();
        }
        if (call == 10) return voice.ReleaseSound();
        if (call == 11) delete &voice;
        if (call == 12) voice.stopPosition = input.Flag() ? noStopPosition : PositionIn(voice);
        if (call == 13) voice.deleteWhenDone = true;
        if (call >= 14) Slide(voice);
    }

    void Slide(Voice_t& voice) {
        auto* sliding = dynamic_cast<SlidingVoice_t*>(&voice);
        if (!sliding) return;
        const uint32_t kind = input.Below(4), from = PositionIn(voice), to = PositionIn(voice);
        if (kind == 0) sliding->ClearFrequencySlide();
        if (kind == 1) sliding->ClearVolumeSlide();
        if (kind == 2) {
            const float start = Ratio();
            sliding->SetFrequencySlide(from, to, start, Ratio());
        }
        if (kind == 3) {
            const float volumes[4] = {Volume(), Volume(), Volume(), Volume()};
            sliding->SetVolumeSlide(from, to, volumes[0], volumes[1], volumes[2], volumes[3]);
        }
    }

    static RawStreamSound_t* Raw() { return dynamic_cast<RawStreamSound_t*>(GetSound("raw", "raw")); }

    void CallRawStream() {
        RawStreamSound_t* raw = Raw();
        if (!raw) {
            const uint32_t form = input.Byte();
            const uint32_t rates[] = {44100, 22050, 11025, 8000};
            auto* made = new RawStreamSound_t("raw", 1 + form % 2, form & 2 ? 16 : 8, rates[form / 4 % 4],
                                              input.Word(), "raw");
            FUZZ_REQUIRE(made == Raw());
            return;
        }
        const uint32_t call = input.Below(8);
        if (call <= 2) {
            const std::vector<uint8_t> piece(input.Below(9000), input.Byte());
            return raw->FeedData(piece.data(), static_cast<uint32_t>(piece.size()));
        }
        if (call == 3) return raw->PlayOneShot();
        if (call == 4) return raw->StopStream();
        if (call == 5) return raw->DestroyVoice();
        if (call == 6 && input.Flag()) return raw->SetStreamFrequency(Ratio());
        if (call == 6) return raw->SetStreamVolume(Volume(), Volume());
        FreeVoicesUsingSound("raw", "raw");
        FreeSound("raw", "raw");
    }

    // Of the voices that a call has freed.
    void Forget() {
        std::erase_if(voices, [](const Voice_t* voice) { return !allVoices.Find(voice); });
    }

    Input_t& input;
    std::unique_ptr<fuzz::Engine_t> engine;
    std::vector<Voice_t*> voices;
};

}  // namespace

int FuzzHostProgram(const uint8_t* data, std::size_t size) {
    if (size > 4096) return 0;
    Input_t input(data, size);
    Host_t(input).Run();
    return 0;
}
