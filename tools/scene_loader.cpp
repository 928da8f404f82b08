#include "tools/scene_loader.h"

#include "sounds/sound.h"
#include "streaming/base_stream.h"
#include "streaming/file_pages.h"
#include "tools/scene_sounds.h"

namespace tools {

SceneLoader_t::SceneLoader_t(const scene_t& ownerScene, const SceneSounds_t& sounds) : scene(ownerScene) {
    for (const auto& [name, sound] : sounds.Loaded()) {
        const FilePages_t* pages = StreamWatch_t::PagesOf(*sound);
        // A sound may have several names; it is watched, and told of, under the first.
        if (pages && !pages->watch) watches.emplace_back(name, *sound, scene.loaderDelayFrames);
    }
}

SceneLoader_t::~SceneLoader_t() {
    isEnding = true;
    passEvent.Set();
    if (thread) (void)platform::JoinThread(thread, platform::waitForever);
}

outcome_t SceneLoader_t::Start() {
    if (scene.loaderMode != loader_mode_t::thread) return Success();
    passEvent.Create();
    idleEvent.Create();
    thread = platform::StartThread(Run, this);
    return thread ? Success() : Failure(scene.path.string(), "Its loader thread cannot be started");
}

// Every signal is a pass, also where nothing is posted, which costs next to nothing. It must not wait for
// anything else, not even for no time: on the manual clock that would end the host's wait before the pass.
void SceneLoader_t::Run(void* loader) {
    auto& self = *static_cast<SceneLoader_t*>(loader);
    while (self.passEvent.Wait(platform::waitForever) == platform::waitSignalled && !self.isEnding) {
        AudioSystem::LoadStreams();
        self.idleEvent.Set();
    }
}

void SceneLoader_t::Pass() {
    if (thread) {
        // Not whenever it likes: the tick waits for the mixing thread, and a loader that ran meanwhile would
        // bring pages in between two voices.
        passEvent.Set();
        (void)idleEvent.Wait(platform::waitForever);
    } else {
        AudioSystem::LoadStreams();
    }
    for (StreamWatch_t& watch : watches) watch.EndPass();
}

std::vector<stream_statistics_t> SceneLoader_t::Statistics() const {
    std::vector<stream_statistics_t> all;
    for (const StreamWatch_t& watch : watches) all.push_back(watch.Statistics());
    return all;
}

uint64_t SceneLoader_t::LateFrames() const {
    uint64_t frames = 0;
    for (const StreamWatch_t& watch : watches) frames += watch.LateFrames();
    return frames;
}

}  // namespace tools
