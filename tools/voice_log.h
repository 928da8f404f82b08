// voice_log.h - keeps a play_t for every Play of a scene: when it is heard and why it ends.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tools/render_figures.h"
#include "voices/voice_watch.h"

class Sound_t;
class Voice_t;

namespace tools {

class SceneSounds_t;
struct scene_event_t;

// Must outlive the engine's run. Host thread.
class VoiceLog_t : public VoiceWatch_t {
  public:
    void SetSounds(const SceneSounds_t& sounds);
    void SetPosition(uint32_t framesPlayed) { position = framesPlayed; }
    void SetEvent(const scene_event_t* applied) { event = applied; }  // null: no event is being applied

    void Add(const scene_event_t& askedBy, Voice_t& voice);
    // A tick begins, or is over: where all voices stand. The host may have moved them in between.
    void BeginTick();
    void EndTick();
    void EndScene();  // no play goes on beyond this

    uint32_t TakeLongestRewind();  // of the starts since it was last asked, in frames
    std::vector<play_t> TakePlays() { return std::move(plays); }

    void OnStart(const Voice_t& voice, uint32_t ringAt) override;
    void OnEnd(const Voice_t& voice) override;
    void OnStop(const Voice_t& voice) override;
    void OnLoop(const Voice_t& voice) override;

  private:
    // A voice at a moment when both are known: where it stands in its queue and in the output.
    struct stand_t {
        size_t play = 0;  // index
        bool hasStarted = false;
        int64_t outputFrame = 0;
        uint32_t queueBase = 0, position = 0, fraction = 0, step = 0;
    };

    static void TakeStand(const Voice_t& voice, int64_t outputFrame, stand_t& stand);
    static void MoveTo(uint32_t queueBase, const Voice_t& voice, stand_t& stand);
    static int64_t FramesSince(const stand_t& stand, const Voice_t& voice);
    std::string SoundsOf(const Voice_t& voice) const;
    int64_t OutputFrameAt(uint32_t ringAt) const;
    void End(const Voice_t& voice, int64_t endFrame, ending_t ending);

    std::map<const Sound_t*, std::string> soundNames;
    std::map<const Voice_t*, stand_t> running;
    std::vector<play_t> plays;
    uint32_t position = 0;
    uint32_t longestRewind = 0;
    const scene_event_t* event = nullptr;
};

}  // namespace tools
