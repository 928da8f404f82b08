// scene_player.cpp - a host in a box. The clock of the manual backend is the only time there is.
#include "tools/scene_player.h"

#include <algorithm>
#include <map>

#include "compressed/compressed_voice.h"
#include "core/audio_system.h"
#include "platform/manual_output.h"
#include "platform/output_backends.h"
#include "sounds/sound.h"
#include "streaming/compressed_stream_voice.h"
#include "streaming/raw_stream_voice.h"
#include "streaming/stream_voice.h"
#include "tools/interrupt.h"
#include "tools/scene_loader.h"
#include "tools/scene_schedule.h"
#include "tools/scene_sounds.h"
#include "tools/scene_watch.h"
#include "voices/sliding_voice.h"

namespace tools {

namespace {

constexpr uint32_t bytesPerFrame = 4;
constexpr uint32_t longestStep = 65536;  // frames: bounds the memory of a slow host's frame

// Of every class of voice that a scene can make.
MixCostTable_t* const costTables[] = {&SimpleVoice_t::mixCosts,           &SlidingVoice_t::mixCosts,
                                      &CompressedVoice_t::mixCosts,       &StreamVoice_t::mixCosts,
                                      &CompressedStreamVoice_t::mixCosts, &RawStreamVoice_t::mixCosts};

// The running engine; stopped when it goes out of scope.
class EngineRun_t {
  public:
    EngineRun_t() = default;
    EngineRun_t(const EngineRun_t&) = delete;
    EngineRun_t& operator=(const EngineRun_t&) = delete;
    ~EngineRun_t() { AudioSystem::DeInitialize(); }

    outcome_t Start(const scene_t& scene) {
        platform::ResetManualOutput();
        if (!platform::SelectOutput("manual"))
            return Failure(scene.path.string(), "No manual output in this build");
        platform::ManualSettings().writeLeadBytes = scene.writeLeadBytes;
        platform::ManualSettings().isEmulated = scene.isEmulated;
        for (MixCostTable_t* costs : costTables) *costs = {};
        AudioSystem::Initialize(nullptr, false, scene.streamPageBytes, scene.streamPagesAhead,
                                scene.decodedPageBytes);
        if (AudioSystem::IsInitialized()) return Success();
        return Failure(scene.path.string(), "The audio system does not start");
    }
};

// The scene's voices by name. The engine owns them; a named one goes only by a free event.
class Voices_t {
  public:
    Voices_t(const scene_t& ownerScene, const SceneSounds_t& sceneSounds, SceneWatch_t* sceneWatch)
        : scene(ownerScene), sounds(sceneSounds), watch(sceneWatch) {}

    outcome_t Apply(const scene_event_t& event) {
        const action_t action = event.action ? event.action->value : action_t::none;
        if (watch) watch->BeforeEvent(event);
        if (action == action_t::oneShot) {
            PlayOneShot(event);
            return Success();
        }
        auto found = byName.find(event.voice->value);
        if (found == byName.end()) {
            named_voice_t made;
            if (outcome_t isMade = Make(event, made); !isMade) return isMade;
            found = byName.emplace(event.voice->value, made).first;
        }
        if (outcome_t isSet = ApplySettings(event, found->second); !isSet) return isSet;
        const bool wasPlaying = found->second.voice->isPlaying;
        Act(action, *found->second.voice);
        if (watch && action == action_t::play && !wasPlaying) watch->OnPlay(event, *found->second.voice);
        if (action == action_t::free) byName.erase(found);
        return Success();
    }

  private:
    struct named_voice_t {
        Voice_t* voice = nullptr;
        SlidingVoice_t* sliding = nullptr;  // the same one, if it was made as such
    };

    // Its voice is nobody's but the engine's, and the last of all.
    void PlayOneShot(const scene_event_t& event) const {
        const int32_t before = AudioSystem::allVoices.count;
        sounds.Find(event.sound->value)->PlayOneShot();
        if (!watch || AudioSystem::allVoices.count == before) return;
        watch->OnPlay(event, *static_cast<Voice_t*>(AudioSystem::allVoices.tail->data));
    }

    outcome_t Make(const scene_event_t& event, named_voice_t& made) const {
        Sound_t* sound = sounds.Find(event.sound->value);
        const int32_t mixMode = event.mixMode ? event.mixMode->value : 0;
        if (!event.sliding || !event.sliding->value) {
            made.voice = sound->CreateCompatibleVoice(mixMode);
            return Success();
        }
        if (!sound->IsASortOf("SimpleSound")) {
            return Failure(scene.At(event.sliding->line),
                           event.sound->value + " is no simple sound: it cannot slide");
        }
        made.sliding = new SlidingVoice_t(sound, mixMode);
        made.voice = made.sliding;
        return Success();
    }

    outcome_t ApplySettings(const scene_event_t& event, const named_voice_t& named) const {
        Voice_t& voice = *named.voice;
        if (event.queue) {
            for (const auto& entry : event.queue->value) {
                Sound_t* sound = sounds.Find(entry.value);
                if (!voice.IsCompatibleSound(sound)) {
                    return Failure(scene.At(entry.line),
                                   "voice " + event.voice->value + " cannot play " + entry.value);
                }
                voice.QueueSound(sound);
            }
        }
        if (event.slideFrequency) {
            const auto& [from, to, values] = event.slideFrequency->value;
            named.sliding->SetFrequencySlide(from, to, values[0], values[1]);
        }
        if (event.slideVolume) {
            const auto& [from, to, values] = event.slideVolume->value;
            named.sliding->SetVolumeSlide(from, to, values[0], values[1], values[2], values[3]);
        }
        if (event.volume) voice.SetVolume(event.volume->value[0], event.volume->value[1]);
        if (event.frequency) voice.SetFrequency(event.frequency->value);
        if (event.loop) voice.isLooping = event.loop->value;
        if (event.position) voice.SetPos(event.position->value);
        return Success();
    }

    static void Act(action_t action, Voice_t& voice) {
        if (action == action_t::play) voice.Play();
        if (action == action_t::stop || action == action_t::reset) voice.Stop();
        if (action == action_t::reset) voice.SetPos(0);
        if (action == action_t::free) delete &voice;
    }

    const scene_t& scene;
    const SceneSounds_t& sounds;
    SceneWatch_t* watch;  // may be null
    std::map<std::string, named_voice_t> byName;
};

// The scene's bad days: whether the host stands still in a host frame, and when the device is gone.
class BadDays_t {
  public:
    explicit BadDays_t(const scene_t& ownerScene) : scene(ownerScene) {}

    bool IsStalled(double second) const { return IsIn(scene.stalls, second); }

    bool IsDeviceGone() const { return wasGone; }

    // Loses the device's buffer at the start of a loss; until its end it cannot be restored.
    void Apply(double second) {
        const bool isGone = IsIn(scene.deviceLosses, second);
        if (isGone && !wasGone) platform::LoseManualBuffer();
        platform::ManualSettings().refuseRestore = wasGone = isGone;
    }

  private:
    static bool IsIn(const std::vector<scene_span_t>& spans, double second) {
        return std::any_of(spans.begin(), spans.end(),
                           [second](const scene_span_t& span) { return span.Holds(second); });
    }

    const scene_t& scene;
    bool wasGone = false;
};

// Hands over what the device plays, and cuts it at the scene's end. A device that is gone is heard as
// silence.
class Tape_t {
  public:
    Tape_t(const scene_t& scene, const played_sink_t& playedSink)
        : sink(playedSink), framesLeft(scene.outputFrames), canBeLost(!scene.deviceLosses.empty()) {}

    bool Play(uint32_t frames) {
        while (frames > 0) {
            const uint32_t step = std::min(frames, longestStep);
            played.clear();
            platform::PlayManualOutput(step, played);
            if (canBeLost) played.resize(size_t{step} * bytesPerFrame);
            const auto taken = std::min(static_cast<uint32_t>(played.size() / bytesPerFrame), framesLeft);
            if (!sink(played.data(), size_t{taken} * bytesPerFrame)) return false;
            framesLeft -= taken;
            frames -= step;
        }
        return true;
    }

    uint32_t FramesLeft() const { return framesLeft; }

  private:
    const played_sink_t& sink;
    uint32_t framesLeft;
    bool canBeLost;
    std::vector<uint8_t> played;
};

}  // namespace

outcome_t PrepareScene(const std::filesystem::path& path, scene_t& scene, SceneSounds_t& sounds) {
    if (outcome_t read = ReadScene(path, scene); !read) return read;
    if (outcome_t resolved = sounds.Resolve(); !resolved) return resolved;
    return CheckEvents(scene, sounds.Names());
}

outcome_t PlayScene(const scene_t& scene, SceneSounds_t& sounds, const played_sink_t& sink,
                    std::vector<stream_statistics_t>* streams, SceneWatch_t* watch) {
    EngineRun_t engine;
    if (outcome_t started = engine.Start(scene); !started) return started;
    if (outcome_t isLoaded = sounds.Load(); !isLoaded) return isLoaded;
    if (scene.worstCaseFrameRate) AudioSystem::SetWorstCaseFrameRate(scene.worstCaseFrameRate->value);

    SceneLoader_t loader(scene, sounds);
    if (outcome_t started = loader.Start(); !started) return started;

    const std::vector<scheduled_event_t> schedule = ScheduleEvents(scene);
    auto next = schedule.begin();
    Voices_t voices(scene, sounds, watch);
    if (watch) watch->OnLoaded(sounds);
    Tape_t tape(scene, sink);
    BadDays_t badDays(scene);
    uint32_t position = 0;
    for (uint64_t hostFrame = 0; position < scene.outputFrames; ++hostFrame) {
        if (Interrupted()) return InterruptedFailure(scene.path.string());
        const double second = static_cast<double>(hostFrame) / scene.frameRate;
        badDays.Apply(second);
        const bool isStalled = badDays.IsStalled(second);
        if (watch) watch->OnFrame(position, isStalled, badDays.IsDeviceGone());
        if (!isStalled) {
            for (; next != schedule.end() && next->hostFrame <= hostFrame; ++next) {
                if (outcome_t applied = voices.Apply(*next->event); !applied) return applied;
            }
            loader.Pass();
            if (watch) watch->BeforeTick();
            AudioSystem::MixVoices();
            if (watch) watch->AfterTick(loader.LateFrames());
        }
        const uint32_t end = FramesBefore(hostFrame + 1, scene.frameRate, scene.outputFrames);
        if (!tape.Play(end - position)) return Failure(scene.path.string(), "Its output cannot be written");
        position = end;
        if (watch) watch->OnPlayed(position);
    }
    if (watch) watch->OnDone();
    if (streams) *streams = loader.Statistics();
    if (tape.FramesLeft() == 0) return Success();
    return Failure(scene.path.string(), "The device stopped playing");
}

}  // namespace tools
