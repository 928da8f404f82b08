// scene.h - a host in a file: which sounds it loads, what it does with voices, and when.
//
// Values that go to the engine are kept as they stand, sensible or not: judging them is the engine's part.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tools/outcome.h"

namespace tools {

// A value and the line of the scene file that it stands in.
template <typename T>
struct located_t {
    T value{};
    uint32_t line = 0;
};

template <typename T>
using setting_t = std::optional<located_t<T>>;  // empty: the key does not stand there

struct scene_slide_t {
    uint32_t from = 0, to = 0;      // positions in the voice's queue, frames
    std::array<float, 4> values{};  // frequency from, to; or left from, to, right from, to
};

enum class store_t { pcm, adpcm, stream, adpcmStream };

// Who loads what the streams ask for.
enum class loader_mode_t {
    eachFrame,  // the host, once in every frame
    thread,     // a thread of its own, for which the host waits at the same point
    delayed     // the host, so many frames late
};

struct scene_sound_t {
    uint32_t line = 0;
    setting_t<std::string> file;  // relative to the scene's folder
    setting_t<std::string> name;
    setting_t<std::string> archive;
    setting_t<store_t> store;  // what becomes of a file that is imported
};

struct scene_archive_t {
    uint32_t line = 0;
    setting_t<std::string> file;  // relative to the scene's folder
    setting_t<std::string> name;  // the engine's; its default archive without it
};

enum class action_t { none, play, stop, reset, free, oneShot };

struct scene_event_t {
    uint32_t line = 0;
    setting_t<double> at;  // seconds
    setting_t<std::string> voice, sound;
    setting_t<bool> sliding;
    setting_t<int32_t> mixMode;
    // In the order in which they are applied.
    setting_t<std::vector<located_t<std::string>>> queue;
    setting_t<scene_slide_t> slideFrequency, slideVolume;
    setting_t<std::array<float, 2>> volume;
    setting_t<float> frequency;
    setting_t<bool> loop;
    setting_t<uint32_t> position;
    setting_t<action_t> action;
};

// A stretch of time, from `at` up to `at` + `seconds`.
struct scene_span_t {
    double at = 0.0, seconds = 0.0;

    bool Holds(double second) const { return second >= at && second - at < seconds; }
};

struct scene_t {
    std::filesystem::path path;
    double frameRate = 60.0;  // host frames a second: finite, above 0, at most maxFrameRate
    setting_t<float> worstCaseFrameRate;
    uint32_t outputFrames = 0;  // the duration
    uint32_t writeLeadBytes = 0;
    bool isEmulated = false;
    uint32_t streamPageBytes = 4096, streamPagesAhead = 32, decodedPageBytes = 16384;
    loader_mode_t loaderMode = loader_mode_t::eachFrame;
    uint32_t loaderDelayFrames = 0;          // host frames; 0 unless the mode is delayed
    std::vector<scene_span_t> stalls;        // the host does nothing
    std::vector<scene_span_t> deviceLosses;  // the device's buffer is lost and cannot be restored
    std::vector<scene_sound_t> sounds;
    std::vector<scene_archive_t> archives;
    std::vector<scene_event_t> events;

    // "FILE:LINE", the subject of a failure.
    std::string At(uint32_t line) const { return path.string() + ":" + std::to_string(line); }
};

constexpr double maxFrameRate = 44100.0;

// Reads and checks all that can be told from the scene file alone: its form, its keys, the types of its
// values, and those few values that are the program's own. Failures bear file and line.
outcome_t ReadScene(const std::filesystem::path& path, scene_t& scene);

}  // namespace tools
