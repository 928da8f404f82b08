// scene_schedule.h - in which host frame each event of a scene is applied, and whether that order makes
// sense.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tools/scene.h"

namespace tools {

constexpr uint64_t neverDue = UINT64_MAX;

struct scheduled_event_t {
    uint64_t hostFrame;  // the first k with at <= k / frameRate; neverDue beyond the longest scene
    const scene_event_t* event;
};

// All events in the order in which they are applied: by host frame, in file order within one.
std::vector<scheduled_event_t> ScheduleEvents(const scene_t& scene);

// Frames that the device has played when host frame k begins: floor(k x 44100 / frameRate), at most `limit`.
uint32_t FramesBefore(uint64_t hostFrame, double frameRate, uint32_t limit);

// Walks the events in that order as the player will: names that stand for nothing, voices without a sound,
// settings that the voice or the action cannot take.
outcome_t CheckEvents(const scene_t& scene, const std::set<std::string>& soundNames);

}  // namespace tools
