// What one frame tick costs the host: everything that MixVoices does, at 60 frames a second.
//
// The clock is real and the device the null one, so the handshake with the mixing thread is the real one too.
// The device moves by itself; each measured tick waits, unmeasured, until 735 frames have played.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "core/audio_system.h"
#include "platform/manual_output.h"
#include "platform/output_backends.h"
#include "sounds/sound.h"
#include "sounds/sound_file.h"
#include "voices/voice.h"

namespace {

constexpr uint32_t framesPerTick = 735;
constexpr uint32_t soundFrames = 44100;

enum path_t { plainPath, gainPath, pitchPath };

Sound_t* LoadNoise() {
    sound_header_t header;
    header.name = "noise";
    header.frameCount = soundFrames;
    header.isStereo = header.is16Bit = true;
    std::string image = FormatSoundHeader(header);
    uint32_t noise = 1;
    for (uint32_t i = 0; i < soundFrames * 4; ++i) {
        noise = noise * 1664525 + 1013904223;
        const auto byte = static_cast<int>(noise >> 24);
        image += static_cast<char>(i % 2 == 0 ? byte : byte % 8 - 4);  // quiet: 256 voices stay in the slots
    }
    AudioSystem::LoadSoundFromBuffer("bench.sn", image.data(), static_cast<unsigned>(image.size()));
    return AudioSystem::GetSound("noise", "bench.sn");
}

void AddVoices(Sound_t* sound, int64_t count, path_t path) {
    for (int64_t i = 0; i < count; ++i) {
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        voice->SetPos(static_cast<uint32_t>(i * 577 % soundFrames));
        voice->isLooping = true;
        if (path == gainPath) voice->SetVolume(0.5f, 0.7f);
        if (path == pitchPath) voice->SetFrequency(1.3f);
        voice->Play();
    }
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Mixing alone: the device is played by hand, so the pass of the mixing thread is in the measured time, too.
void Tick(benchmark::State& state, path_t path) {
    platform::ResetManualOutput();
    platform::SelectOutput("manual");
    if (!AudioSystem::Initialize(nullptr, false, 4096, 32, 16384)) return state.SkipWithError("cannot start");
    AudioSystem::SetWorstCaseFrameRate(30.0f);
    AddVoices(LoadNoise(), state.range(0), path);
    std::vector<uint8_t> played;
    for (int warmUp = 0; warmUp < 30; ++warmUp) {
        AudioSystem::MixVoices();
        platform::PlayManualOutput(framesPerTick, played);
    }
    double seconds = 0.0;
    for ([[maybe_unused]] auto round : state) {
        const auto start = std::chrono::steady_clock::now();
        AudioSystem::MixVoices();
        const double tick = SecondsSince(start);
        state.SetIterationTime(tick);
        seconds += tick;
        played.clear();
        platform::PlayManualOutput(framesPerTick, played);
    }
    AudioSystem::DeInitialize();
    const double voiceFrames = static_cast<double>(state.range(0)) * framesPerTick;
    const double allFrames = static_cast<double>(state.iterations()) * voiceFrames;
    state.counters["ns/frame"] = allFrames > 0 ? seconds * 1e9 / allFrames : 0.0;
}

// The same with the real clock, one tick each 1/60 second: what the host's frame really loses.
void TickInRealTime(benchmark::State& state) {
    platform::SelectOutput("null");
    if (!AudioSystem::Initialize(nullptr, false, 4096, 32, 16384)) return state.SkipWithError("cannot start");
    AddVoices(LoadNoise(), state.range(0), plainPath);
    auto next = std::chrono::steady_clock::now();
    for ([[maybe_unused]] auto round : state) {
        next += std::chrono::microseconds(16667);
        std::this_thread::sleep_until(next);
        const auto start = std::chrono::steady_clock::now();
        AudioSystem::MixVoices();
        state.SetIterationTime(SecondsSince(start));
    }
    AudioSystem::DeInitialize();
}

void VoiceCounts(benchmark::internal::Benchmark* bench) {
    bench->ArgName("voices")->Arg(0)->Arg(1)->Arg(16)->Arg(64)->Arg(256);
    bench->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(Tick, plain, plainPath)->Apply(VoiceCounts);
BENCHMARK_CAPTURE(Tick, gain, gainPath)->Apply(VoiceCounts);
BENCHMARK_CAPTURE(Tick, pitch, pitchPath)->Apply(VoiceCounts);
BENCHMARK(TickInRealTime)->Apply(VoiceCounts)->Iterations(120);

}  // namespace
