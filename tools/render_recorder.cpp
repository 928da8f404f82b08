// render_recorder.cpp - the figures of a host frame are taken behind its tick and once more when it is over;
// how many voices were heard in it is known when all of them have ended.
#include "tools/render_recorder.h"

#include <algorithm>
#include <utility>

#include "core/mix_ring.h"
#include "output/dir_sound.h"
#include "tools/engine_rates.h"
#include "tools/level_meter.h"
#include "tools/ring_view.h"
#include "tools/scene.h"

namespace tools {

namespace {

constexpr size_t mostHostFrames = 65536;  // 18 minutes at 60 a second; longer scenes tell of several at once
constexpr uint32_t mostMeasuredFrames = 8192;  // what the ring keeps of the past
constexpr double highestValue = 32767.0 / 32768.0;

// Two stretches in a row as one: the lowest of what should be high, the highest of what should be low.
host_frame_t Merged(const host_frame_t& one, const host_frame_t& next) {
    host_frame_t both = one;
    both.hostFrames += next.hostFrames;
    both.stalled += next.stalled;
    both.deviceGone += next.deviceGone;
    both.leadFrames = std::max(one.leadFrames, next.leadFrames);
    both.lowestLeadFrames = std::min(one.lowestLeadFrames, next.lowestLeadFrames);
    both.mixedFrames = std::max(one.mixedFrames, next.mixedFrames);
    both.lowestMixedFrames = std::min(one.lowestMixedFrames, next.lowestMixedFrames);
    both.clearFrames = std::max(one.clearFrames, next.clearFrames);
    both.rewindFrames = std::max(one.rewindFrames, next.rewindFrames);
    both.underrunFrames += next.underrunFrames;
    both.lateFrames += next.lateFrames;
    both.tickSeconds = std::max(one.tickSeconds, next.tickSeconds);
    return both;
}

void MergePairs(std::vector<host_frame_t>& frames) {
    for (size_t i = 0; i + 1 < frames.size(); i += 2) frames[i / 2] = Merged(frames[i], frames[i + 1]);
    frames.resize(frames.size() / 2);
}

}  // namespace

RenderRecorder_t::RenderRecorder_t(const scene_t& scene)
    : levels(2, highestValue), loudness(2, outputRateHz) {
    figures.scene = scene.path.string();
    figures.hostFrameRate = scene.frameRate;
    figures.frames = scene.outputFrames;
}

void RenderRecorder_t::AddOutput(const uint8_t* bytes, size_t count) {
    hash.Add(bytes, count);
    samples.clear();
    for (size_t i = 0; i + 1 < count; i += 2)
        samples.push_back(static_cast<int16_t>(bytes[i] | bytes[i + 1] << 8) / 32768.0);
    levels.Add(samples.data(), samples.size() / 2);
    loudness.Add(samples.data(), samples.size() / 2);
}

void RenderRecorder_t::OnLoaded(const SceneSounds_t& sounds) {
    voices.SetSounds(sounds);
    figures.ringFrames = AudioSystem::ringLength / 2;
    figures.deviceFrames = AudioSystem::device->bufferDesc.bufferBytes / 4;
}

void RenderRecorder_t::OnFrame(uint32_t position, bool isStalled, bool isDeviceGone) {
    current = {};
    current.frame = position;
    current.stalled = isStalled ? 1 : 0;
    current.deviceGone = isDeviceGone ? 1 : 0;
    voices.SetPosition(position);
    LookAtRing();
}

void RenderRecorder_t::LookAtRing() {
    const ring_view_t view = ViewRing();
    current.leadFrames = view.leadFrames;
    current.mixedFrames = view.mixedFrames;
    current.clearFrames = view.clearFrames;
}

void RenderRecorder_t::BeforeEvent(const scene_event_t& event) { voices.SetEvent(&event); }

void RenderRecorder_t::OnPlay(const scene_event_t& event, Voice_t& voice) { voices.Add(event, voice); }

void RenderRecorder_t::BeforeTick() {
    voices.SetEvent(nullptr);
    voices.BeginTick();
    tickStart = std::chrono::steady_clock::now();
}

void RenderRecorder_t::AfterTick(uint64_t lateFrames) {
    current.tickSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - tickStart).count();
    current.lateFrames = static_cast<uint32_t>(lateFrames - std::exchange(lateFramesBefore, lateFrames));
    current.rewindFrames = voices.TakeLongestRewind();
    voices.EndTick();
    LookAtRing();
}

void RenderRecorder_t::OnPlayed(uint32_t position) {
    const ring_view_t view = ViewRing();
    current.lowestLeadFrames = view.leadFrames;
    current.lowestMixedFrames = view.mixedFrames;
    const uint32_t underrunFrames = AudioSystem::underrunFrames;
    current.underrunFrames = underrunFrames - std::exchange(underrunFramesBefore, underrunFrames);
    const uint32_t played = std::min(position - current.frame, mostMeasuredFrames);
    const level_pair_t level = MeasureRing(RingAtPlayed(), played);
    figures.mixPeak = std::max({figures.mixPeak, level.left, level.right});
    Keep();
    voices.SetPosition(position);
}

void RenderRecorder_t::Keep() {
    std::vector<host_frame_t>& kept = figures.hostFrames;
    if (!kept.empty() && kept.back().hostFrames < hostFramesEach) {
        kept.back() = Merged(kept.back(), current);
        return;
    }
    if (kept.size() == mostHostFrames) {
        MergePairs(kept);
        hostFramesEach *= 2;
    }
    kept.push_back(current);
}

void RenderRecorder_t::OnDone() {
    voices.SetEvent(nullptr);
    voices.EndScene();
    figures.underruns = AudioSystem::underrunCount;
    figures.deviceJumps = DirSound_t::jumps;
}

render_figures_t RenderRecorder_t::Finish(std::vector<stream_statistics_t> streams) {
    figures.plays = voices.TakePlays();
    figures.CountVoices();
    figures.hash = hash.Finish();
    figures.levels = levels.Levels();
    figures.loudness = loudness.Finish();
    figures.streams = std::move(streams);
    return std::move(figures);
}

}  // namespace tools
