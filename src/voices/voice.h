// voice.h - one playing instance of a sound: where it is, how loud, how fast, and what comes next.
//
// Positions are whole source frames plus a fraction in 1/1024 frames; positions in the whole queue count from
// the head of the voice's queue of sounds. All voice code runs on the host thread. Rejected values are
// dropped without a word.
#pragma once

#include <cstdint>

#include "foundation/handle_table.h"
#include "foundation/list.h"
#include "voices/voice_watch.h"

class Sound_t;

namespace platform {
class Event_t;
}

constexpr uint32_t noStopPosition = 0xFFFFFFFFu;
constexpr uint32_t wholePass = 0xFFFFFFFFu;  // PrepareFrame at the top of a pass, before its length is known

// Bits of Voice_t::pathFlags. All clear: the plain path; any set: the gain path.
constexpr uint32_t pathVolume = 1;     // a channel's volume x baseVolume differs from 1.0
constexpr uint32_t pathPan = 2;        // left and right differ
constexpr uint32_t pathFrequency = 4;  // the frequency differs from 1.0

// Values of Voice_t::mixFlags: which calls of PrepareFrame Mix makes.
constexpr uint16_t prepareNever = 1, prepareAtTop = 2, prepareExact = 4;

class Voice_t {
  public:
    Voice_t(Sound_t* sound, int32_t mode);
    Voice_t(const Voice_t&) = delete;
    Voice_t& operator=(const Voice_t&) = delete;

    // Virtual slots, in order.

    // Mixes up to `frames` output frames into the ring from ringAt (ring units) on; the caller keeps the
    // stretch from crossing the ring's end. True while there is more to play.
    virtual bool Mix(uint32_t ringAt, uint32_t frames);
    virtual bool OnStopPosition() = 0;               // Mix has reached stopPosition; false ends the voice
    virtual bool PrepareFrame(uint32_t frames) = 0;  // brings the next pass into place; false ends the voice
    virtual void SetSound(Sound_t* sound, uint32_t newBase);
    virtual void RecordMixCost(float cost) = 0;  // seconds an output frame
    virtual ~Voice_t();
    virtual void Play();                   // from where the voice stands; heard from the next tick on
    virtual void SetPos(uint32_t target);  // in the whole queue; at or past the end counts as 0
    virtual bool IsCompatibleSound(Sound_t* sound) = 0;  // whether this class of voice can play it
    virtual void QueueSound(Sound_t* sound);             // behind the last one; 0 frames are ignored
    virtual void ReleaseSound() = 0;                     // drops all sounds for the default one
    virtual float GetMixCost() = 0;                      // 0.0 while unmeasured

    // 0.0 to 1.0, above counts as 1.0; a negative left is ignored, a negative right means left.
    void SetVolume(float left, float right);
    // 0.2 <= ratio < 8.0, anything else is ignored.
    void SetFrequency(float ratio);
    void SetBaseVolume(float volume);
    void Stop();

    static void FreeAll();
    static void StopAndRewindAll();

    int32_t mixMode;         // 0, 1: up to mixHorizon; 2: as far as the ring allows; other: never mixed
    const uint8_t* samples;  // of the current sound
    uint32_t queueBase = 0;  // frames of the queued sounds ahead of the current one
    uint32_t position = 0;
    uint16_t fraction = 0;
    uint32_t step;  // 1/1024 source frames an output frame, rateDivisor included
    uint32_t frameCount;
    uint32_t totalLength;  // frames of all sounds of the queue; 0: nothing to play
    uint32_t bytesPerFrame;
    bool is16Bit;
    bool isStereo;
    uint32_t rateDivisor;
    float baseVolume;
    float leftVolume = 1.0f;
    float rightVolume = 1.0f;
    bool isPlaying = false;
    bool isLooping = false;
    bool deleteWhenDone = false;
    uint32_t stopPosition = noStopPosition;  // in the whole queue
    uint32_t lockFlags;
    uint32_t pathFlags;
    uint32_t ringPosition = 0;  // of the voice's next frame; the tick's
    uint16_t mixFlags = prepareNever;
    uint16_t mixChunk = 0;             // not 0: the tick mixes in chunks of this / rateDivisor ring units
    ListNode_t* nextQueued = nullptr;  // node of the sound after the current one
    List_t soundQueue{10};             // Sound_t*, not owned, the current one included
    ListNode_t* allVoicesNode;
    platform::Event_t* completionEvent = nullptr;  // not owned
    VoiceWatch_t* voiceWatch = nullptr;            // not owned
    HandleAnchor_t anchor;

  protected:
    // The frame behind all that a pass of so many output frames reads or moves over, within the sound. What
    // it reads may end behind its advance: by one frame with a step below 1024, on the plain path by more if
    // the step has lost to its division.
    uint32_t PassEnd(uint32_t frames) const;
    // Makes it the only sound of the queue, which is never empty. Errors: std::bad_alloc, nothing changes.
    void QueueAlone(Sound_t* sound);

  private:
    void UpdateVolumePath();
    void TakeSound(const Sound_t* sound);
    void FindQueued(ListNode_t* node, uint32_t target);
    uint32_t CutAtEnd(uint32_t wanted) const;
    bool CutAtStop(uint32_t& count) const;
    void MixSamples(uint32_t ringAt, uint32_t count) const;
    void Advance(uint32_t count);
    bool IsNextStepInside() const;
};

namespace AudioSystem {

extern List_t allVoices;       // Voice_t*, in order of construction
extern List_t startingVoices;  // played since the last tick
extern List_t finishedVoices;  // self-deleting voices that the running tick deletes at its end

// A null archive name means the default archive.
void FreeVoicesUsingSound(const char* soundName, const char* archiveName);
void FreeVoicesUsingArchive(const char* archiveName);

}  // namespace AudioSystem
