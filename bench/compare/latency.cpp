// latency.cpp - starts on the manual device, where a frame is a frame, and in real time on the null device,
// whose buffer is looked into.
#include "latency.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "core/audio_system.h"
#include "output/dir_sound.h"
#include "platform/manual_output.h"
#include "platform/output_backends.h"
#include "sounds/sound.h"
#include "sounds/sound_file.h"
#include "voices/voice.h"

namespace {

constexpr double framesPerMs = 44.1;
constexpr uint32_t noFrame = UINT32_MAX;

// One that is never 0, so that silence is a gap.
Sound_t* LoadLoudSound() {
    sound_header_t header;
    header.name = "loud";
    header.frameCount = soundFrames;
    header.isStereo = header.is16Bit = true;
    std::string image = FormatSoundHeader(header);
    for (uint32_t i = 0; i < soundFrames * 2; ++i) image += std::string("\x40\x00", 2);
    AudioSystem::LoadSoundFromBuffer("bench.sn", image.data(), static_cast<unsigned>(image.size()));
    return AudioSystem::GetSound("loud", "bench.sn");
}

void Play(Sound_t* sound, unsigned voices) {
    for (unsigned i = 0; i < voices; ++i) {
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        voice->SetVolume(0.5f, 0.5f);
        voice->isLooping = true;
        voice->Play();
    }
}

uint32_t FirstFrame(const uint8_t* bytes, std::size_t frames, bool isHeard) {
    constexpr uint8_t silence[4] = {};
    for (std::size_t i = 0; i < frames; ++i)
        if ((std::memcmp(bytes + 4 * i, silence, 4) != 0) == isHeard) return static_cast<uint32_t>(i);
    return noFrame;
}

double QueuedMs() { return AudioSystem::device->GetQueuedBytes() / 4 / framesPerMs; }

bool Start(const char* backend, double hostRate) {
    platform::SelectOutput(backend);
    platform::ResetManualOutput();
    if (!AudioSystem::Initialize(nullptr, false, 4096, 32, 16384)) return false;
    AudioSystem::SetWorstCaseFrameRate(static_cast<float>(hostRate));
    return true;
}

// The cost of a start is known from an earlier one: MixCostTable_t outlives a start of the system.
start_result_t StartOnManual(double hostRate, unsigned voices) {
    start_result_t result{"ringmix", "manual", hostRate, voices, 0, -1.0, -1.0, -1.0};
    if (!Start("manual", hostRate)) return result;
    std::vector<uint8_t> played;
    for (int tick = 0; tick < 20; ++tick) {
        AudioSystem::MixVoices();
        platform::PlayManualOutput(framesPerTick, played);
    }
    Play(LoadLoudSound(), voices);
    result.queuedMs = QueuedMs();
    AudioSystem::MixVoices();
    played.clear();
    platform::PlayManualOutput(framesPerTick, played);
    const uint32_t heard = FirstFrame(played.data(), played.size() / 4, true);
    if (heard != noFrame) result.heardMs = heard / framesPerMs;
    AudioSystem::DeInitialize();
    return result;
}

// Whether a host can stay away for so many frames, come back and go on, without a gap.
bool SurvivesStall(double hostRate, uint32_t stallFrames) {
    if (!Start("manual", hostRate)) return false;
    Play(LoadLoudSound(), 1);
    std::vector<uint8_t> played;
    const auto tick = [&](uint32_t frames) {
        AudioSystem::MixVoices();
        platform::PlayManualOutput(frames, played);
    };
    for (int i = 0; i < 20; ++i) tick(framesPerTick);
    played.clear();
    tick(stallFrames);
    for (int i = 0; i < 60; ++i) tick(framesPerTick);
    AudioSystem::DeInitialize();
    return FirstFrame(played.data(), played.size() / 4, false) == noFrame;
}

double LongestStallMs(double hostRate) {
    uint32_t survived = 0, tooLong = soundFrames;
    while (tooLong - survived > 4) {
        const uint32_t middle = (survived + tooLong) / 2;
        (SurvivesStall(hostRate, middle) ? survived : tooLong) = middle;
    }
    return survived / framesPerMs;
}

// How far ahead of the play cursor the device's buffer has the first sample.
uint32_t FramesUntilHeard() {
    IDirectSoundBuffer* buffer = AudioSystem::device->buffer;
    const uint32_t bytes = AudioSystem::device->bufferDesc.bufferBytes;
    void *first = nullptr, *second = nullptr;
    uint32_t firstBytes = 0, secondBytes = 0, play = 0, write = 0;
    if (buffer->GetCurrentPosition(&play, &write) != outputOk) return noFrame;
    const uint32_t at = play & ~3u;
    if (buffer->Lock(at, bytes, &first, &firstBytes, &second, &secondBytes, 0) != outputOk) return noFrame;
    std::vector<uint8_t> copy(static_cast<uint8_t*>(first), static_cast<uint8_t*>(first) + firstBytes);
    if (second)
        copy.insert(copy.end(), static_cast<uint8_t*>(second), static_cast<uint8_t*>(second) + secondBytes);
    buffer->Unlock(first, firstBytes, second, secondBytes);
    return FirstFrame(copy.data(), copy.size() / 4, true);
}

void RunTicksInRealTime(int ticks) {
    auto next = std::chrono::steady_clock::now();
    for (int tick = 0; tick < ticks; ++tick) {
        AudioSystem::MixVoices();
        next += std::chrono::microseconds(16667);
        std::this_thread::sleep_until(next);
    }
}

start_result_t StartInRealTime(double hostRate, unsigned voices, int rounds) {
    start_result_t result{"ringmix", "null", hostRate, voices, 0, -1.0, -1.0, -1.0};
    if (!Start("null", hostRate)) return result;
    Sound_t* sound = LoadLoudSound();
    std::vector<double> queued, heard, ticks;
    for (int round = -1; round < rounds; ++round) {  // the first one makes the cost known
        Voice_t::FreeAll();
        RunTicksInRealTime(30);  // until the buffer is silent all round
        Play(sound, voices);
        const double queuedMs = QueuedMs(), before = WallNs();
        AudioSystem::MixVoices();
        const double tickMs = (WallNs() - before) * 1e-6;
        const uint32_t frames = FramesUntilHeard();
        if (round < 0 || frames == noFrame) continue;
        queued.push_back(queuedMs);
        ticks.push_back(tickMs);
        heard.push_back(tickMs + frames / framesPerMs);
    }
    AudioSystem::DeInitialize();
    if (heard.empty()) return result;
    result.queuedMs = Median(queued);
    result.heardMs = Median(heard);
    result.tickMs = Median(ticks);
    return result;
}

}  // namespace

std::vector<start_result_t> MeasureStarts(bool isSmoke) {
    using rates_t = std::vector<double>;
    using counts_t = std::vector<unsigned>;
    std::vector<start_result_t> results;
    for (const double rate : isSmoke ? rates_t{8} : rates_t{8, 30, 60}) {
        const double stallMs = LongestStallMs(rate);
        for (const unsigned voices : isSmoke ? counts_t{1} : counts_t{1, 4, 16, 64}) {
            // In real time first: what it costs to mix a start is then known on the manual device, too.
            start_result_t real = StartInRealTime(rate, voices, isSmoke ? 1 : 5);
            start_result_t manual = StartOnManual(rate, voices);
            real.stallMs = manual.stallMs = stallMs;
            results.push_back(std::move(manual));
            results.push_back(std::move(real));
        }
    }
    return results;
}

std::vector<tick_result_t> MeasureTicks(bool isSmoke) {
    std::vector<tick_result_t> results;
    for (const unsigned voices : {0u, 64u, 256u}) {
        if (!Start("null", 60)) return {{voices, -1.0}};
        if (voices != 0) Play(LoadLoudSound(), voices);
        std::vector<double> ticks;
        for (int i = 0; i < (isSmoke ? 10 : 120); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(16));
            const double before = WallNs();
            AudioSystem::MixVoices();
            ticks.push_back((WallNs() - before) * 1e-3);
        }
        AudioSystem::DeInitialize();
        results.push_back({voices, Median(ticks)});
    }
    return results;
}

tick_parts_t MeasureTickParts(bool isSmoke) {
    if (!Start("manual", 60)) return {-1.0, -1.0, -1.0};
    // Several in a row, as reading the clock takes its time, too. The mixing thread stands still meanwhile.
    constexpr uint32_t frames = framesPerTick + 1, inARow = 16;
    const auto nsEach = [](auto call) {
        const double start = WallNs();
        for (uint32_t i = 0; i < inARow; ++i) call();
        return (WallNs() - start) / inARow;
    };
    const auto clearOnce = [] { AudioSystem::ClearAndAdvance(frames); };
    std::vector<double> work, clear, convert;
    for (int i = 0; i < (isSmoke ? 10 : 500); ++i) {
        work.push_back(nsEach([&] {
                           AudioSystem::LowerOutputLimit();
                           clearOnce();
                           AudioSystem::MixAllVoices();
                           AudioSystem::RaiseOutputLimit();
                       }) *
                       1e-3);
        clear.push_back(nsEach(clearOnce) / frames);
        convert.push_back(nsEach([] { AudioSystem::ConvertFrames(AudioSystem::ringBase, frames); }) / frames);
    }
    AudioSystem::DeInitialize();
    return {Median(work), Median(clear), Median(convert)};
}
