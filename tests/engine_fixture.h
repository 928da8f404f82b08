// engine_fixture.h - the engine on the manual device, for tests: a clean start and end, what the device
// played, sounds by formula.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "core/audio_system.h"
#include "output/dir_sound.h"
#include "platform/debug_output.h"
#include "platform/manual_output.h"
#include "platform/output_backends.h"
#include "sounds/sound.h"
#include "sounds/sound_file.h"
#include "voices/simple_voice.h"
#include "voices/sliding_voice.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define RINGMIX_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define RINGMIX_TEST_SANITIZED 1
#endif
#endif
#ifndef RINGMIX_TEST_SANITIZED
#define RINGMIX_TEST_SANITIZED 0
#endif

// One output frame as the device played it.
struct frame_t {
    int16_t left = 0, right = 0;

    bool operator==(const frame_t&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const frame_t& frame) {
        return out << '(' << frame.left << ", " << frame.right << ')';
    }
};
using frames_t = std::vector<frame_t>;

struct sound_format_t {
    uint32_t rateDivisor = 1;
    bool is16Bit = true, isStereo = false;
    float baseVolume = 1.0f;
    uint32_t lockFlags = 0;
};

// The image of a sound file whose samples are formula(frame, channel), signed.
template <typename Formula>
std::string SoundImage(const std::string& name, uint32_t frameCount, const sound_format_t& format,
                       Formula formula) {
    std::string image = FormatSoundHeader({name, frameCount, format.isStereo, format.is16Bit,
                                           format.rateDivisor, format.lockFlags, format.baseVolume});
    for (uint32_t frame = 0; frame < frameCount; ++frame) {
        for (int channel = 0; channel < (format.isStereo ? 2 : 1); ++channel) {
            const auto sample = static_cast<uint32_t>(formula(frame, channel));
            image += static_cast<char>(sample & 0xFF);
            if (format.is16Bit) image += static_cast<char>(sample >> 8 & 0xFF);
        }
    }
    return image;
}

// Sample of a sound in which every frame differs from its neighbours and from silence: 1 to 32000, over and
// over.
inline int Ramp(uint32_t frame, int = 0) { return static_cast<int>(frame % 32000) + 1; }

// Selects the manual device, reset, before each test and stops the engine after it. Nothing of the device may
// be left then. Costs are unmeasured at first.
class EngineFixture_t : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(platform::SelectOutput("manual"));
        platform::ResetManualOutput();
        SimpleVoice_t::mixCosts = {};
        SlidingVoice_t::mixCosts = {};
        TakeDebugLines();
        platform::SetDebugSink(KeepLine);
    }

    void TearDown() override {
        AudioSystem::DeInitialize();
        platform::SetDebugSink(nullptr);
        EXPECT_EQ(platform::ManualCounts().devices, 0u);
        EXPECT_EQ(platform::ManualCounts().buffers, 0u);
    }

    static bool Start(bool usePrimaryBuffer = false) {
        return AudioSystem::Initialize(nullptr, usePrimaryBuffer, 4096, 32, 16384);
    }

    // What the device plays next. Frames that it played while the host waited inside other calls stand in
    // front.
    static frames_t Play(uint32_t frameCount) {
        std::vector<uint8_t> bytes;
        platform::PlayManualOutput(frameCount, bytes);
        frames_t frames(bytes.size() / sizeof(frame_t));
        if (!frames.empty()) std::memcpy(frames.data(), bytes.data(), frames.size() * sizeof(frame_t));
        return frames;
    }

    // Ticks, then plays one host frame, over and over; what was played is appended.
    static void RunTicks(uint32_t ticks, uint32_t framesPerTick, frames_t& heard) {
        for (uint32_t tick = 0; tick < ticks; ++tick) {
            AudioSystem::MixVoices();
            const frames_t played = Play(framesPerTick);
            heard.insert(heard.end(), played.begin(), played.end());
        }
    }

    // Loads a sound of that formula(frame, channel) into an archive of its own, "NAME.sn". The engine must
    // run.
    template <typename Formula>
    static Sound_t* MakeSound(const std::string& name, uint32_t frameCount, const sound_format_t& format,
                              Formula formula) {
        const std::string image = SoundImage(name, frameCount, format, formula);
        const std::string archive = name + ".sn";
        AudioSystem::LoadSoundFromBuffer(archive.c_str(), image.data(), static_cast<unsigned>(image.size()));
        Sound_t* sound = AudioSystem::GetSound(name.c_str(), archive.c_str());
        EXPECT_STREQ(sound->name.text, name.c_str());
        return sound;
    }

    // The engine's debug lines since the last call.
    static std::vector<std::string> TakeDebugLines() {
        const std::lock_guard lock(linesMutex);
        return std::exchange(lines, {});
    }

  private:
    static void KeepLine(const char* line) {
        const std::lock_guard lock(linesMutex);
        lines.emplace_back(line);
    }

    static inline std::mutex linesMutex;
    static inline std::vector<std::string> lines;
};
