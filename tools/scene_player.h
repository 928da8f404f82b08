// scene_player.h - the host loop of a scene, without a sound card and without real time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "tools/scene.h"
#include "tools/stream_statistics.h"

namespace tools {

class SceneSounds_t;
class SceneWatch_t;

// Takes bytes of 16-bit stereo as the device plays them; false ends the run.
using played_sink_t = std::function<bool(const uint8_t* bytes, size_t count)>;

// Reads and checks a scene and looks up its sounds: all that can be wrong before anything is imported.
// `sounds` is one made for `scene`.
outcome_t PrepareScene(const std::filesystem::path& path, scene_t& scene, SceneSounds_t& sounds);

// Starts the engine on the manual device, loads the sounds, plays the scene and stops the engine. For host
// frame k = 0, 1, 2, ...: the events that are due are applied, the tick runs, the device plays on to frame
// floor((k + 1) x 44100 / frameRate). Streams are loaded between events and tick. Ends after
// scene.outputFrames frames, all of which have gone to the sink. The measured costs of mixing start afresh,
// so a scene sounds the same however many went before it. The engine must not be running; sounds are resolved
// and imported.
//   streams  what each of them cost; may be null
//   watch    may be null; must outlive the call
outcome_t PlayScene(const scene_t& scene, SceneSounds_t& sounds, const played_sink_t& sink,
                    std::vector<stream_statistics_t>* streams = nullptr, SceneWatch_t* watch = nullptr);

}  // namespace tools
