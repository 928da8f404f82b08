// audio_system.h - starting, stopping and steering the one audio system of the process, and its frame tick.
//
// Thread: host, all of it. Errors: Initialize answers with a bool, everything else with nothing.
#pragma once

#include "core/mix_ring.h"
#include "core/settings.h"

class Voice_t;

namespace platform {
class Thread_t;
}

namespace AudioSystem {

extern platform::Thread_t* mixThread;

// Opens the output, allocates the ring and starts the mixing thread.
//   windowHandle           goes to the device as it is
//   usePrimaryBuffer       asks for the device's own buffer; the 32768-byte secondary one if that is refused
//   streamPageRequest      bytes, rounded up to the system's pages
//   streamPagesAhead       look-ahead of a stream voice, in such pages
//   compressedPageRequest  bytes of a decoded page, rounded up likewise
// True: the system runs (also if it did before: then nothing changes). False: nothing is left behind.
bool Initialize(void* windowHandle, bool usePrimaryBuffer, unsigned streamPageRequest,
                unsigned streamPagesAhead, unsigned compressedPageRequest);

// Initialize; if the system runs then, the archive at `archivePath` is loaded as the default archive.
bool InitializeWithArchive(void* windowHandle, const char* archivePath, bool usePrimaryBuffer,
                           unsigned streamPageRequest, unsigned streamPagesAhead,
                           unsigned compressedPageRequest);

// Ends the thread, closes the output, deletes all voices, then all sounds. Does nothing without a start.
void DeInitialize();

// The lowest frame rate that the host expects to fall to: sets how far ahead voices are mixed. Higher is
// quicker to answer, lower is safer. 8.0 after Initialize. Ignored unless the system runs and the rate is
// above 0.
void SetWorstCaseFrameRate(float framesPerSecond);

void Pause();
void Resume();
inline bool IsInitialized() { return initialized; }
inline bool IsMixing() { return mixing; }

// The frame tick: starts voices, lets the mixing thread run a pass, mixes every voice ahead to the horizon.
// Takes a second while paused.
void MixVoices();

// While voices play, what passes go by follows a new frame rate so that nothing is heard of the change: down
// to it as the device plays what it holds, at the start of a tick; up to it once the voices are mixed that
// far, at the end of one.
void LowerOutputLimit();
void RaiseOutputLimit();

// The parts of the tick. StartVoices returns how far back the voices were started, in frames.
unsigned StartVoices();
void StartVoice(Voice_t* voice, unsigned rewind);
void MixAllVoices();

}  // namespace AudioSystem
