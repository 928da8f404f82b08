// scene_loader.h - the loader of a scene's host: who serves the streams, and when.
#pragma once

#include <atomic>
#include <list>
#include <vector>

#include "platform/event.h"
#include "platform/thread.h"
#include "tools/scene.h"
#include "tools/stream_statistics.h"

namespace tools {

class SceneSounds_t;

// Lives while the engine runs and the scene's sounds are loaded.
class SceneLoader_t {
  public:
    SceneLoader_t(const scene_t& scene, const SceneSounds_t& sounds);
    SceneLoader_t(const SceneLoader_t&) = delete;
    SceneLoader_t& operator=(const SceneLoader_t&) = delete;
    ~SceneLoader_t();

    [[nodiscard]] outcome_t Start();

    // The point in a host frame, behind its events and before its tick, at which all that is due is loaded,
    // whichever thread does it.
    void Pass();

    std::vector<stream_statistics_t> Statistics() const;
    uint64_t LateFrames() const;  // of all streams since the start

  private:
    static void Run(void* loader);

    const scene_t& scene;
    std::list<StreamWatch_t> watches;
    platform::Thread_t* thread = nullptr;
    platform::Event_t passEvent;  // host -> thread: serve what is posted
    platform::Event_t idleEvent;  // thread -> host: that is done
    std::atomic<bool> isEnding = false;
};

}  // namespace tools
