// frame_tick.cpp - once a host frame: start voices, let the mixing thread run a pass, clear the ring behind
// the output, mix every voice ahead to the horizon. Host thread; no allocation but the pooled nodes of the
// voice lists.
#include <algorithm>
#include <new>

#include "core/audio_system.h"
#include "kernels/mix_kernels.h"
#include "output/dir_sound.h"
#include "platform/counter.h"
#include "platform/thread.h"
#include "voices/voice.h"

namespace AudioSystem {
namespace {

constexpr uint32_t passWaitMs = 1000;
// Frames that must remain between the estimated end of mixing and the device's position.
constexpr uint32_t startMarginFrames = 200;

Voice_t* VoiceOf(const ListNode_t* node) { return static_cast<Voice_t*>(node->data); }

void SignalCompletion(const Voice_t& voice) {
    if (voice.completionEvent) voice.completionEvent->Set();
    if (voice.voiceWatch) voice.voiceWatch->OnEnd(voice);
}

// Mixes units from the voice's ring position on, in two calls if the stretch goes round the ring's end, and
// moves the position, whatever Mix says.
bool MixStretch(Voice_t& voice, uint32_t from, uint32_t units) {
    bool isAlive;
    if (from + units < ringLength) {
        isAlive = voice.Mix(from, units >> 1);
    } else {
        isAlive = voice.Mix(from, (ringLength - from) >> 1) && voice.Mix(0, (from + units - ringLength) >> 1);
    }
    voice.ringPosition = (from + units) % ringLength;
    return isAlive;
}

// The same in chunks of at most chunkUnits (one frame, if the sound's rate is that low), none of which
// crosses the ring's end.
bool MixChunks(Voice_t& voice, uint32_t from, uint32_t units, uint32_t chunkUnits) {
    bool isAlive = true;
    chunkUnits = std::max(chunkUnits, 2u);
    while (units > 0 && isAlive) {
        const uint32_t chunk = std::min({chunkUnits, units, ringLength - from});
        isAlive = voice.Mix(from, chunk >> 1);
        from = (from + chunk) % ringLength;
        units -= chunk;
        voice.ringPosition = from;
    }
    return isAlive;
}

// How many ring units the voice lacks.
uint32_t LackingUnits(const Voice_t& voice) {
    const uint32_t ahead = (voice.ringPosition - ringBase + ringLength) % ringLength;
    switch (voice.mixMode) {
        case 0:
        case 1:
            return ahead < mixHorizon ? mixHorizon - ahead : 0;
        case 2:
            return ((ringClear - voice.ringPosition + ringLength) % ringLength) & ~7u;
        default:
            return 0;
    }
}

// Asks for the voice itself.
void FetchVoice(const Voice_t* voice) {
    const char* at = reinterpret_cast<const char*>(voice);
    for (std::size_t line = 0; line < sizeof *voice; line += 64) __builtin_prefetch(at + line);
}

// Has the kernels ask for what the next voice will read while this one is mixed: the two lie far apart, and
// no hardware guesses the way from one to the other.
void FetchAhead(const ListNode_t* node) {
    fetchAhead = NoFetchAhead();
    if (!node) return;
    if (node->next) FetchVoice(VoiceOf(node->next));  // its turn to be looked at comes with the next voice
    if (!VoiceOf(node)->isPlaying) return;
    const Voice_t& voice = *VoiceOf(node);
    // A number, not a pointer: nothing promises that it points anywhere.
    fetchAhead.at =
        reinterpret_cast<uintptr_t>(voice.samples) + std::size_t{voice.position} * voice.bytesPerFrame;
    fetchAhead.bytesPer8Frames = std::size_t{voice.step} * voice.bytesPerFrame / (1024 / 8);
}

bool MixAhead(Voice_t& voice) {
    if (voice.totalLength == 0) return false;
    const uint32_t units = LackingUnits(voice);
    if (units == 0) return true;
    if (voice.mixChunk == 0) return MixStretch(voice, voice.ringPosition, units);
    return MixChunks(voice, voice.ringPosition, units, voice.mixChunk / voice.rateDivisor);
}

// Without memory for the list the voice is found again by the next tick: it has stopped.
void DeleteAtEnd(Voice_t& voice) {
    try {
        finishedVoices.AddTail(&voice);
    } catch (const std::bad_alloc&) {}
}

void EndVoice(Voice_t& voice) {
    SignalCompletion(voice);
    voice.Stop();
    if (voice.deleteWhenDone) {
        DeleteAtEnd(voice);
    } else if (voice.totalLength != 0) {
        voice.SetPos(0);
    }
}

void DeleteFinishedVoices() {
    for (const ListNode_t* node = finishedVoices.head; node; node = node->next) delete VoiceOf(node);
    finishedVoices.RemoveAll();
}

// How many frames before ringBase can still be sent again. What a voice mixed further back would be lost.
uint32_t ResendableFrames() {
    const platform::CriticalSectionLock_t lock(ringLock);
    const uint32_t units = resendableUnits;
    const uint32_t sentSinceTick = (ringLength - ringBase + ringOutput) % ringLength;
    return units > sentSinceTick ? (units - sentSinceTick) >> 1 : 0;
}

// How many frames of the recent past there is time to mix once more, 0 if none. Sets voicesStartAtHorizon if
// there is not even time for what lies ahead.
uint32_t RewindFrames(uint32_t queuedFrames, float costSum) {
    const double spent = ((mixHorizon >> 1) + queuedFrames) * static_cast<double>(costSum) * 44100.0;
    if (spent < queuedFrames) {
        const uint32_t spare = queuedFrames - static_cast<uint32_t>(spent);
        if (spare > startMarginFrames) return std::min(spare - startMarginFrames, ResendableFrames());
    }
    voicesStartAtHorizon = true;
    return 0;
}

}  // namespace

void MixVoices() {
    if (!initialized) return;
    LowerOutputLimit();
    const uint32_t rewind = startingVoices.count > 0 ? StartVoices() : 0;
    {
        const platform::CriticalSectionLock_t lock(ringLock);
        ringRewind = 2 * rewind;
    }
    {
        const platform::Pull_t pull(mixThread);
        wakeEvent.Set();
    }
    (void)passDoneEvent.Wait(passWaitMs);
    uint32_t output;
    {
        const platform::CriticalSectionLock_t lock(ringLock);
        output = ringOutput;
        ringRewind = 0;
    }
    ClearAndAdvance(((ringLength - ringBase + output) % ringLength) >> 1);
    mixing = true;
    MixAllVoices();
    mixing = false;
    RaiseOutputLimit();
    DeleteFinishedVoices();
}

unsigned StartVoices() {
    bool skip = voicesStartAtHorizon || device->emulated;
    float costSum = 0.0f;
    for (const ListNode_t* node = startingVoices.head; node; node = node->next) {
        const float cost = VoiceOf(node)->GetMixCost();
        if (cost == 0.0f) skip = true;
        costSum += cost;
    }
    const uint32_t queuedFrames = (device->GetQueuedBytes() >> 2) & 0x3FFFFFFC;
    const bool startAtHorizonBefore = voicesStartAtHorizon;
    const uint32_t rewind = (skip ? 0 : RewindFrames(queuedFrames, costSum)) & ~7u;
    for (const ListNode_t* node = startingVoices.head; node;) {
        Voice_t* voice = VoiceOf(node);
        node = node->next;  // a voice that ends in its first stretch leaves the list
        StartVoice(voice, rewind);
    }
    startingVoices.RemoveAll();
    voicesStartAtHorizon = startAtHorizonBefore;
    return rewind;
}

void StartVoice(Voice_t* voice, unsigned rewind) {
    const uint64_t begin = platform::ReadCounter();
    const uint32_t frames = (mixHorizon >> 1) + rewind;
    const uint32_t start = (ringLength - 2 * rewind + ringBase) % ringLength;
    const uint32_t end = (start + 2 * frames) % ringLength;
    const bool startsAtHorizon = voicesStartAtHorizon || device->emulated;
    if (voice->voiceWatch) voice->voiceWatch->OnStart(*voice, startsAtHorizon ? end : start);
    if (startsAtHorizon) {
        voice->ringPosition = end;
        voice->isPlaying = true;
        return;
    }
    const bool isAlive =
        voice->mixChunk == 0
            ? MixStretch(*voice, start, 2 * frames)
            : MixChunks(*voice, start, 2 * frames, 2 * (2 * uint32_t{voice->mixChunk} / voice->rateDivisor));
    voice->ringPosition = end;
    const uint64_t counts = platform::ReadCounter() - begin;
    if (frames > 0) {
        const double ms = static_cast<double>(counts) / ticksPerMillisecond;
        voice->RecordMixCost(static_cast<float>(ms / (frames * 1000.0)));
    }
    if (!isAlive) {
        SignalCompletion(*voice);
        voice->Stop();
        voice->SetPos(0);
    }
}

void MixAllVoices() {
    for (const ListNode_t* node = allVoices.head; node;) {
        Voice_t& voice = *VoiceOf(node);
        node = node->next;
        FetchAhead(node);
        if (!voice.isPlaying) {
            if (voice.deleteWhenDone) DeleteAtEnd(voice);
        } else if (!MixAhead(voice)) {
            EndVoice(voice);
        }
    }
}

}  // namespace AudioSystem
