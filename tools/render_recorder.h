// render_recorder.h - looks on while a scene is played and gathers its figures.
#pragma once

#include <chrono>

#include "tools/render_figures.h"
#include "tools/sample_hash.h"
#include "tools/scene_watch.h"
#include "tools/voice_log.h"

namespace tools {

struct scene_t;

class RenderRecorder_t : public SceneWatch_t {
  public:
    explicit RenderRecorder_t(const scene_t& scene);

    // What the device plays, 16-bit stereo.
    void AddOutput(const uint8_t* bytes, size_t count);
    // Of the same, as numbers: for whoever draws it.
    const std::vector<double>& LatestSamples() const { return samples; }

    render_figures_t Finish(std::vector<stream_statistics_t> streams);

    void OnLoaded(const SceneSounds_t& sounds) override;
    void OnFrame(uint32_t position, bool isStalled, bool isDeviceGone) override;
    void BeforeEvent(const scene_event_t& event) override;
    void OnPlay(const scene_event_t& event, Voice_t& voice) override;
    void BeforeTick() override;
    void AfterTick(uint64_t lateFrames) override;
    void OnPlayed(uint32_t position) override;
    void OnDone() override;

  private:
    void LookAtRing();
    void Keep();

    render_figures_t figures;
    VoiceLog_t voices;
    SampleHash_t hash;
    SignalLevels_t levels;
    LoudnessMeter_t loudness;
    std::vector<double> samples;
    host_frame_t current;
    uint32_t hostFramesEach = 1;  // that an entry of the figures stands for
    uint64_t lateFramesBefore = 0;
    uint32_t underrunFramesBefore = 0;
    std::chrono::steady_clock::time_point tickStart;
};

}  // namespace tools
