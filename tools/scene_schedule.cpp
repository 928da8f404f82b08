// scene_schedule.cpp - a dry run of the scene: voices come and go by events alone, so what each event will
// meet is known before anything sounds.
#include "tools/scene_schedule.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace tools {

namespace {

constexpr double latestSeconds = 100'000.0;  // beyond any duration

uint64_t FirstFrameAt(double at, double frameRate) {
    if (at <= 0.0) return 0;
    if (at > latestSeconds) return neverDue;
    // The estimate may be off by a rounding; the test that counts is the division.
    auto frame = static_cast<uint64_t>(std::ceil(at * frameRate));
    while (frame > 0 && at <= static_cast<double>(frame - 1) / frameRate) --frame;
    while (!(at <= static_cast<double>(frame) / frameRate)) ++frame;
    return frame;
}

struct planned_voice_t {
    std::string sound;
    bool sliding = false;
    int32_t mixMode = 0;
};

class DryRun_t {
  public:
    DryRun_t(const scene_t& dryScene, const std::set<std::string>& names)
        : scene(dryScene), soundNames(names) {}

    outcome_t Apply(const scene_event_t& event) {
        if (outcome_t known = CheckNames(event); !known) return known;
        if (event.action && event.action->value == action_t::oneShot) return CheckOneShot(event);
        if (!event.voice) return Failure(scene.At(event.line), "voice is missing");
        const auto found = voices.find(event.voice->value);
        if (found == voices.end()) {
            if (!event.sound) return Failure(scene.At(event.voice->line), NewVoiceNeedsSound(event));
            voices[event.voice->value] = {event.sound->value, event.sliding && event.sliding->value,
                                          event.mixMode ? event.mixMode->value : 0};
        } else if (outcome_t same = CheckUnchanged(event, found->second); !same) {
            return same;
        }
        if (outcome_t sliding = CheckSlides(event, voices[event.voice->value]); !sliding) return sliding;
        if (event.action && event.action->value == action_t::free) voices.erase(event.voice->value);
        return Success();
    }

  private:
    static std::string NewVoiceNeedsSound(const scene_event_t& event) {
        return "voice " + event.voice->value + " does not stand yet: its first event needs a sound";
    }

    outcome_t CheckNames(const scene_event_t& event) const {
        if (event.sound && !soundNames.contains(event.sound->value)) return UnknownSound(*event.sound);
        if (!event.queue) return Success();
        for (const auto& entry : event.queue->value) {
            if (!soundNames.contains(entry.value)) return UnknownSound(entry);
        }
        return Success();
    }

    outcome_t UnknownSound(const located_t<std::string>& name) const {
        return Failure(scene.At(name.line), "unknown sound " + name.value);
    }

    outcome_t CheckOneShot(const scene_event_t& event) const {
        if (!event.sound) return Failure(scene.At(event.line), "one-shot needs a sound");
        if (event.voice || event.sliding || event.mixMode || event.queue || event.slideFrequency ||
            event.slideVolume || event.volume || event.frequency || event.loop || event.position) {
            return Failure(scene.At(event.line), "one-shot takes a sound and nothing else");
        }
        return Success();
    }

    outcome_t CheckUnchanged(const scene_event_t& event, const planned_voice_t& voice) const {
        const std::string stands = "voice " + event.voice->value + " stands already, with another ";
        if (event.sound && event.sound->value != voice.sound)
            return Failure(scene.At(event.sound->line), stands + "sound");
        if (event.sliding && event.sliding->value != voice.sliding) {
            return Failure(scene.At(event.sliding->line), stands + "sliding");
        }
        if (event.mixMode && event.mixMode->value != voice.mixMode) {
            return Failure(scene.At(event.mixMode->line), stands + "mix_mode");
        }
        return Success();
    }

    outcome_t CheckSlides(const scene_event_t& event, const planned_voice_t& voice) const {
        const std::string reason = "voice " + event.voice->value + " is no sliding voice";
        if (voice.sliding) return Success();
        if (event.slideFrequency) return Failure(scene.At(event.slideFrequency->line), reason);
        if (event.slideVolume) return Failure(scene.At(event.slideVolume->line), reason);
        return Success();
    }

    const scene_t& scene;
    const std::set<std::string>& soundNames;
    std::map<std::string, planned_voice_t> voices;
};

}  // namespace

std::vector<scheduled_event_t> ScheduleEvents(const scene_t& scene) {
    std::vector<scheduled_event_t> schedule;
    for (const scene_event_t& event : scene.events) {
        schedule.push_back({FirstFrameAt(event.at->value, scene.frameRate), &event});
    }
    std::stable_sort(schedule.begin(), schedule.end(),
                     [](const auto& a, const auto& b) { return a.hostFrame < b.hostFrame; });
    return schedule;
}

uint32_t FramesBefore(uint64_t hostFrame, double frameRate, uint32_t limit) {
    const double frames = std::floor(static_cast<double>(hostFrame) * 44100.0 / frameRate);
    return frames < limit ? static_cast<uint32_t>(frames) : limit;
}

outcome_t CheckEvents(const scene_t& scene, const std::set<std::string>& soundNames) {
    DryRun_t run(scene, soundNames);
    for (const scheduled_event_t& scheduled : ScheduleEvents(scene)) {
        if (outcome_t applied = run.Apply(*scheduled.event); !applied) return applied;
    }
    return Success();
}

}  // namespace tools
