// scene_watch.h - somebody who looks on while a scene is played.
//
// The output must not know of it: what is called here changes nothing of the engine and reads no counter of
// it, for a reading moves the clock of the manual output.
#pragma once

#include <cstdint>

class Voice_t;

namespace tools {

class SceneSounds_t;
struct scene_event_t;

class SceneWatch_t {
  public:
    virtual ~SceneWatch_t() = default;

    virtual void OnLoaded(const SceneSounds_t& sounds) = 0;
    // A host frame begins: `position` output frames have been played.
    virtual void OnFrame(uint32_t position, bool isStalled, bool isDeviceGone) = 0;
    virtual void BeforeEvent(const scene_event_t& event) = 0;
    // The event at hand has made the voice play; it did not before.
    virtual void OnPlay(const scene_event_t& event, Voice_t& voice) = 0;
    virtual void BeforeTick() = 0;
    // lateFrames: of all streams since the start.
    virtual void AfterTick(uint64_t lateFrames) = 0;
    // The device has played up to the next host frame.
    virtual void OnPlayed(uint32_t position) = 0;
    // The scene is over; the engine still stands.
    virtual void OnDone() = 0;
};

}  // namespace tools
