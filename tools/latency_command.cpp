// latency_command.cpp - ringmix latency: how soon after Play a voice reaches the output.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <thread>

#include "core/audio_system.h"
#include "output/dir_sound.h"
#include "platform/monitor_source.h"
#include "platform/output_backends.h"
#include "platform/output_status.h"
#include "sounds/sound.h"
#include "sounds/sound_file.h"
#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/live_engine.h"
#include "tools/number_text.h"
#include "voices/voice.h"

namespace tools {

namespace {

constexpr char footer[] =
    "Plays ten clicks behind a full queue, at the engine's own settings for a host that may fall to 8 frames "
    "a\n"
    "second. A click is taken when its first byte has been handed on towards the device; then it is heard "
    "after\n"
    "the lead and whatever the device adds. Where the sound server offers what it plays as a source, that "
    "is\n"
    "listened to as well.\n";

constexpr int clicks = 10;
constexpr uint32_t clickFrames = 441, soundFrames = 22050;
constexpr int framesBetween = 24;                // of the host: 0.4 s
constexpr int16_t loud = 16000, audible = 1000;  // the server's volume may be low
constexpr double listenSeconds = 1.0;

using clock_t = std::chrono::steady_clock;

double MsSince(clock_t::time_point start) {
    return std::chrono::duration<double, std::milli>(clock_t::now() - start).count();
}

// Half a second, of which the first hundredth is heard.
Sound_t* LoadClick() {
    std::string image = FormatSoundHeader({"click", soundFrames, false, true, 1, 0, 1.0f});
    for (uint32_t frame = 0; frame < soundFrames; ++frame) {
        const int sample = frame >= clickFrames ? 0 : frame / 22 % 2 ? -loud : loud;
        image += static_cast<char>(sample & 0xFF);
        image += static_cast<char>(sample >> 8 & 0xFF);
    }
    AudioSystem::LoadSoundFromBuffer("click.sn", image.data(), static_cast<unsigned>(image.size()));
    return AudioSystem::GetSound("click", "click.sn");
}

// How many frames the device has still to take before it comes to the voice's first one; 0 or less: it has.
int32_t FramesUntilTaken(const Voice_t& voice) {
    using namespace AudioSystem;
    const auto queued = static_cast<int32_t>(device->GetQueuedBytes() / 4);
    uint32_t output;
    {
        const platform::CriticalSectionLock_t lock(ringLock);
        output = ringOutput;
    }
    const uint32_t ahead = (voice.ringPosition + ringLength - output) % ringLength / 2;
    return queued + static_cast<int32_t>(ahead) - static_cast<int32_t>(voice.position);
}

struct times_t {
    std::vector<double> takenMs, heardMs;
};

// When the monitor first gives something loud.
std::optional<double> ListenMs(platform::MonitorSource_t& monitor, clock_t::time_point start) {
    std::vector<int16_t> samples(2 * 1024);
    while (MsSince(start) < listenSeconds * 1000 && !Interrupted()) {
        const uint32_t frames = monitor.Read(samples.data(), 1024);
        for (uint32_t i = 0; i < 2 * frames; ++i) {
            // What comes at once was played over a stretch of time that ends now.
            if (std::abs(samples[i]) >= audible) return MsSince(start) - (frames - i / 2) / 44.1;
        }
        if (frames == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return std::nullopt;
}

void PlayClick(LiveEngine_t& engine, Sound_t* sound, platform::MonitorSource_t* monitor, times_t& times) {
    Voice_t* voice = sound->CreateCompatibleVoice(0);
    std::thread listener;
    std::optional<double> heardMs;
    std::atomic<bool> isListening{monitor != nullptr};
    if (monitor) monitor->Drop();
    const auto start = clock_t::now();
    if (monitor) {
        listener = std::thread([&] {
            heardMs = ListenMs(*monitor, start);
            isListening = false;
        });
    }
    voice->Play();
    engine.Tick();
    const double tickMs = MsSince(start);
    times.takenMs.push_back(std::max(tickMs + FramesUntilTaken(*voice) / 44.1, 0.0));
    for (int frame = 0; (frame < framesBetween || isListening) && !Interrupted(); ++frame) {
        engine.WaitForFrame();
        engine.Tick();
    }
    if (listener.joinable()) listener.join();
    if (heardMs) times.heardMs.push_back(*heardMs);
    delete voice;
}

std::string Spread(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return FixedText(values[values.size() / 2], 1) + " ms (" + FixedText(values.front(), 1) + " to " +
           FixedText(values.back(), 1) + ", median of " + std::to_string(values.size()) + ")";
}

void Print(const times_t& times) {
    std::printf("from Play to taken:   %s\n", Spread(times.takenMs).c_str());
    if (platform::SelectedOutput().tellsStatus) {
        const platform::output_status_t status = platform::OutputStatus();
        std::printf("lead:                 %s ms\n", FixedText(status.leadFrames / 44.1, 1).c_str());
        std::printf("underruns:            %u\n", status.underruns);
        std::printf("output:               %s\n", status.setup.chain);
    }
    if (!times.heardMs.empty()) std::printf("from Play to heard:   %s\n", Spread(times.heardMs).c_str());
}

outcome_t Measure(const std::string& device) {
    std::unique_ptr<platform::MonitorSource_t> monitor;
    if (device != "null") monitor = platform::OpenMonitorSource();  // a host that waited for it would be late
    LiveEngine_t engine;
    if (outcome_t started = engine.Start(device); !started) return started;
    Sound_t* click = LoadClick();
    times_t times, warmUp;
    PlayClick(engine, click, nullptr, warmUp);  // the cost of mixing it is not known before
    for (int i = 0; i < clicks && !Interrupted(); ++i) PlayClick(engine, click, monitor.get(), times);
    if (Interrupted()) return InterruptedFailure("latency");
    Print(times);
    return Success();
}

}  // namespace

command_t AddLatencyCommand(CLI::App& app) {
    const auto device = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand("latency", "Measure how soon a sound that starts is heard");
    command->add_option("--device", *device, "Device to play on, or null [default]");
    command->footer(footer);
    return [device] { return StatusOf(Measure(*device)); };
}

}  // namespace tools
