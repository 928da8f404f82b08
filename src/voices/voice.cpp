// voice.cpp - the state of a voice and its queue of sounds. The mix step is in voice_mix.cpp.
#include "voices/voice.h"

#include <algorithm>

#include "core/settings.h"
#include "platform/event.h"
#include "sounds/sound.h"

namespace {

constexpr uint32_t nominalStep = 1024;  // one source frame an output frame
constexpr float lowestFrequency = 0.2f, frequencyLimit = 8.0f;

const Sound_t* SoundOf(const ListNode_t* node) { return static_cast<const Sound_t*>(node->data); }
Voice_t* VoiceOf(const ListNode_t* node) { return static_cast<Voice_t*>(node->data); }

void SetFlag(uint32_t& flags, uint32_t flag, bool isSet) { flags = isSet ? flags | flag : flags & ~flag; }

// Calls act for every voice; it may delete the one at hand.
template <typename Action>
void ForEachVoice(Action act) {
    for (const ListNode_t* node = AudioSystem::allVoices.head; node;) {
        Voice_t* voice = VoiceOf(node);
        node = node->next;
        act(*voice);
    }
}

template <typename Predicate>
void FreeVoicesPlaying(Predicate isMeant) {
    ForEachVoice([&](Voice_t& voice) {
        for (const ListNode_t* node = voice.soundQueue.head; node; node = node->next) {
            if (isMeant(*SoundOf(node))) {
                delete &voice;
                return;
            }
        }
    });
}

}  // namespace

Voice_t::Voice_t(Sound_t* sound, int32_t mode) : mixMode(mode) {
    TakeSound(sound);
    totalLength = frameCount;
    step = nominalStep / rateDivisor;
    pathFlags = baseVolume != 1.0f ? pathVolume : 0;
    soundQueue.AddHead(sound);
    allVoicesNode = AudioSystem::allVoices.AddTail(this);
}

Voice_t::~Voice_t() {
    Stop();
    AudioSystem::allVoices.RemoveAt(allVoicesNode);
}

void Voice_t::TakeSound(const Sound_t* sound) {
    samples = sound->samples;
    frameCount = sound->frameCount;
    rateDivisor = sound->rateDivisor;
    baseVolume = sound->baseVolume;
    lockFlags = sound->lockFlags;
    is16Bit = sound->is16Bit;
    isStereo = sound->isStereo;
    bytesPerFrame = sound->bytesPerFrame;
}

void Voice_t::SetSound(Sound_t* sound, uint32_t newBase) {
    step *= rateDivisor;  // the voice's own frequency, without the old sound's rate
    TakeSound(sound);
    queueBase = newBase;
    position = 0;
    fraction = 0;
    if (lockFlags & lockFrequency) {
        step = nominalStep;
        SetFlag(pathFlags, pathFrequency, false);
    }
    step /= rateDivisor;
    if (lockFlags & lockVolume) leftVolume = rightVolume = 1.0f;
    if (lockFlags & lockPan) rightVolume = leftVolume;
    UpdateVolumePath();
    SetFlag(pathFlags, pathPan, leftVolume != rightVolume);
}

void Voice_t::UpdateVolumePath() {
    SetFlag(pathFlags, pathVolume, leftVolume * baseVolume != 1.0f || rightVolume * baseVolume != 1.0f);
}

void Voice_t::QueueSound(Sound_t* sound) {
    if (sound->frameCount == 0 || sound->frameCount > UINT32_MAX - totalLength)
        return;  // no position beyond 32 bits
    if (totalLength > 0) {
        ListNode_t* node = soundQueue.AddTail(sound);
        totalLength += sound->frameCount;
        if (!nextQueued) nextQueued = node;
        return;
    }
    QueueAlone(sound);   // a released voice: in place of the default sound
    SetSound(sound, 0);  // may find no memory: the voice then stays released
    totalLength = sound->frameCount;
}

void Voice_t::QueueAlone(Sound_t* sound) {
    soundQueue.AddHead(sound);
    while (soundQueue.count > 1) soundQueue.RemoveTail();
    nextQueued = nullptr;
}

void Voice_t::SetPos(uint32_t target) {
    if (totalLength == 0) return;
    if (target >= totalLength) target = 0;
    // A target on the exact end of the current sound stays in it: the next pass moves on to what follows.
    if (target < queueBase) {
        queueBase = 0;
        FindQueued(soundQueue.head, target);
    } else if (target > queueBase + frameCount) {
        queueBase += frameCount;
        FindQueued(nextQueued, target);
    }
    position = target - queueBase;
    fraction = 0;
}

// Walks on from `node`, whose sound begins at queueBase, to the sound that holds `target`, and makes it
// current.
void Voice_t::FindQueued(ListNode_t* node, uint32_t target) {
    nextQueued = node->next;
    while (queueBase + SoundOf(node)->frameCount <= target) {
        queueBase += SoundOf(node)->frameCount;
        node = nextQueued;
        nextQueued = node->next;
    }
    SetSound(static_cast<Sound_t*>(node->data), queueBase);
}

void Voice_t::SetVolume(float left, float right) {
    if (!(left >= 0.0f) || (lockFlags & lockVolume)) return;
    if (!(right >= 0.0f) || (lockFlags & lockPan)) right = left;
    leftVolume = std::min(left, 1.0f);
    rightVolume = std::min(right, 1.0f);
    SetFlag(pathFlags, pathPan, leftVolume != rightVolume);
    UpdateVolumePath();
}

void Voice_t::SetFrequency(float ratio) {
    if (lockFlags & lockFrequency) return;
    if (!(ratio >= lowestFrequency && ratio < frequencyLimit)) return;
    step = static_cast<uint32_t>(ratio * 1024.0) / rateDivisor;
    SetFlag(pathFlags, pathFrequency, ratio != 1.0f);
}

void Voice_t::SetBaseVolume(float volume) {
    if (!(volume >= 0.0f)) return;
    baseVolume = std::min(volume, 1.0f);
    UpdateVolumePath();
}

void Voice_t::Play() {
    if (!AudioSystem::initialized || totalLength == 0) {
        if (completionEvent) completionEvent->Set();
        return;
    }
    if (isPlaying) return;
    if (!AudioSystem::startingVoices.Find(this, nullptr)) AudioSystem::startingVoices.AddTail(this);
    isPlaying = true;
}

void Voice_t::Stop() {
    if (!isPlaying) return;
    if (ListNode_t* node = AudioSystem::startingVoices.Find(this, nullptr))
        AudioSystem::startingVoices.RemoveAt(node);
    isPlaying = false;
    if (voiceWatch) voiceWatch->OnStop(*this);
}

void Voice_t::FreeAll() {
    ForEachVoice([](Voice_t& voice) { delete &voice; });
    AudioSystem::allVoices.RemoveAll();
}

void Voice_t::StopAndRewindAll() {
    ForEachVoice([](Voice_t& voice) {
        voice.Stop();
        voice.SetPos(0);
    });
}

namespace AudioSystem {

void FreeVoicesUsingSound(const char* soundName, const char* archiveName) {
    if (!soundName) return;
    const char* archive = archiveName ? archiveName : defaultArchiveName.text;
    FreeVoicesPlaying([&](const Sound_t& sound) {
        return SameText(sound.name.text, soundName) && SameText(sound.archiveName.text, archive);
    });
}

void FreeVoicesUsingArchive(const char* archiveName) {
    const char* archive = archiveName ? archiveName : defaultArchiveName.text;
    FreeVoicesPlaying([&](const Sound_t& sound) { return SameText(sound.archiveName.text, archive); });
}

}  // namespace AudioSystem
