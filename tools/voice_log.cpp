// voice_log.cpp - the engine tells that a voice has ended, not where in the stretch that it has just mixed:
// that follows from where it stood before, where it stands now and how fast it goes.
#include "tools/voice_log.h"

#include <algorithm>
#include <utility>

#include "sounds/sound.h"
#include "tools/ring_view.h"
#include "tools/scene.h"
#include "tools/scene_sounds.h"
#include "voices/voice.h"

namespace tools {

namespace {

constexpr uint32_t wholeQueue = UINT32_MAX;

const Sound_t& SoundAt(const ListNode_t* node) { return *static_cast<const Sound_t*>(node->data); }

// As many output frames as fit into so many 1/1024 source frames: what is left at a seam is passed over.
int64_t OutputFrames(int64_t distance, uint32_t step) {
    return step > 0 ? std::max<int64_t>(distance, 0) / step : 0;
}

}  // namespace

void VoiceLog_t::SetSounds(const SceneSounds_t& sounds) {
    for (const auto& [name, sound] : sounds.Loaded()) soundNames.emplace(sound, name);
}

void VoiceLog_t::Add(const scene_event_t& askedBy, Voice_t& voice) {
    play_t play;
    if (askedBy.voice) play.voice = askedBy.voice->value;
    play.sounds = SoundsOf(voice);
    play.line = askedBy.line;
    play.askedSecond = askedBy.at->value;
    play.askedFrame = play.endFrame = position;
    play.ending = ending_t::played;  // unless it plays: a sound may have no frames
    if (voice.isPlaying) running[&voice].play = plays.size();
    plays.push_back(std::move(play));
    voice.voiceWatch = this;
}

std::string VoiceLog_t::SoundsOf(const Voice_t& voice) const {
    std::string names;
    for (const ListNode_t* node = voice.soundQueue.head; node; node = node->next) {
        const auto found = soundNames.find(&SoundAt(node));
        if (found != soundNames.end()) names += (names.empty() ? "" : " + ") + found->second;
    }
    return names;
}

int64_t VoiceLog_t::OutputFrameAt(uint32_t ringAt) const { return position + FramesAhead(ringAt); }

void VoiceLog_t::TakeStand(const Voice_t& voice, int64_t outputFrame, stand_t& stand) {
    stand.outputFrame = outputFrame;
    stand.queueBase = voice.queueBase;
    stand.position = voice.position;
    stand.fraction = voice.fraction;
    stand.step = voice.step;
}

// On through the queue to the sound that begins there: a tick may pass any number of seams.
void VoiceLog_t::MoveTo(uint32_t queueBase, const Voice_t& voice, stand_t& stand) {
    uint32_t base = 0;  // of the sound at hand
    for (const ListNode_t* node = voice.soundQueue.head; node && base < queueBase; node = node->next) {
        const Sound_t& sound = SoundAt(node);
        const bool isBehind = base < stand.queueBase;
        base += sound.frameCount;
        if (isBehind) continue;
        const int64_t left = int64_t{sound.frameCount} - stand.position;
        stand.outputFrame += OutputFrames(left * 1024 - stand.fraction, stand.step);
        stand.queueBase = base;
        stand.position = stand.fraction = 0;
        if (!node->next) return;
        const Sound_t& next = SoundAt(node->next);
        stand.step =
            (next.lockFlags & lockFrequency ? 1024 : stand.step * sound.rateDivisor) / next.rateDivisor;
    }
}

// Within one sound.
int64_t VoiceLog_t::FramesSince(const stand_t& stand, const Voice_t& voice) {
    const int64_t before = int64_t{stand.position} * 1024 + stand.fraction;
    const int64_t now = int64_t{voice.position} * 1024 + voice.fraction;
    return OutputFrames(now - before, (voice.step + stand.step + 1) / 2);  // a slide changes it on the way
}

void VoiceLog_t::OnStart(const Voice_t& voice, uint32_t ringAt) {
    const auto found = running.find(&voice);
    if (found == running.end()) return;
    stand_t& stand = found->second;
    const int64_t ahead = FramesAhead(ringAt);
    TakeStand(voice, position + ahead, stand);
    stand.hasStarted = true;
    plays[stand.play].heardFrame = static_cast<uint32_t>(std::max<int64_t>(stand.outputFrame, position));
    longestRewind =
        std::max(longestRewind, static_cast<uint32_t>(std::max<int64_t>(ViewRing().leadFrames - ahead, 0)));
}

void VoiceLog_t::BeginTick() {
    for (auto& [voice, stand] : running) {
        if (stand.hasStarted) TakeStand(*voice, stand.outputFrame, stand);
    }
}

void VoiceLog_t::EndTick() {
    for (auto& [voice, stand] : running) {
        if (stand.hasStarted) TakeStand(*voice, OutputFrameAt(voice->ringPosition), stand);
    }
}

uint32_t VoiceLog_t::TakeLongestRewind() { return std::exchange(longestRewind, 0); }

void VoiceLog_t::End(const Voice_t& voice, int64_t endFrame, ending_t ending) {
    const auto found = running.find(&voice);
    if (found == running.end()) return;
    play_t& play = plays[found->second.play];
    play.ending = ending;
    play.endFrame = static_cast<uint32_t>(std::max<int64_t>(endFrame, play.heardFrame.value_or(position)));
    if (event) play.endLine = event->line;
    if (!found->second.hasStarted || play.endFrame == *play.heardFrame) play.heardFrame.reset();
    running.erase(found);
}

void VoiceLog_t::OnEnd(const Voice_t& voice) {
    const auto found = running.find(&voice);
    if (found == running.end()) return;
    stand_t& stand = found->second;
    MoveTo(voice.queueBase, voice, stand);
    // What is mixed last may be half a step short of the end; what has more left has given up.
    const uint64_t next = ((uint64_t{voice.fraction} + voice.step) >> 10) + voice.position;
    const bool isWhole = next >= voice.frameCount && voice.nextQueued == nullptr && !voice.isLooping;
    End(voice, stand.outputFrame + FramesSince(stand, voice),
        isWhole ? ending_t::played : ending_t::cutShort);
}

void VoiceLog_t::OnStop(const Voice_t& voice) {
    if (!running.contains(&voice)) return;  // the scene is over, and there is no ring any more
    const bool isFreed = event && event->action && event->action->value == action_t::free;
    End(voice, OutputFrameAt(voice.ringPosition), isFreed ? ending_t::freed : ending_t::stopped);
}

void VoiceLog_t::OnLoop(const Voice_t& voice) {
    const auto found = running.find(&voice);
    if (found == running.end()) return;
    stand_t& stand = found->second;
    ++plays[stand.play].rounds;
    MoveTo(wholeQueue, voice, stand);
    TakeStand(voice, stand.outputFrame, stand);
}

void VoiceLog_t::EndScene() {
    while (!running.empty()) {
        const Voice_t& voice = *running.begin()->first;
        End(voice, running.begin()->second.hasStarted ? OutputFrameAt(voice.ringPosition) : position,
            ending_t::sceneEnd);
    }
    // What lies beyond the end of the scene is heard by nobody.
    for (play_t& play : plays) {
        if (play.heardFrame && *play.heardFrame >= position) play.heardFrame.reset();
        if (play.endFrame <= position) continue;
        play.endFrame = position;
        play.ending = ending_t::sceneEnd;
    }
}

}  // namespace tools
