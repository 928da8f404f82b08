// settings.h - the words of the global state that every layer reads: run state, timing and page sizes.
#pragma once

#include <cstdint>

#include "foundation/relaxed.h"
#include "platform/critical_section.h"
#include "platform/event.h"

namespace AudioSystem {

// Run state. Written by the host thread.
extern Relaxed_t<bool> initialized;  // from the end of a successful Initialize to the end of DeInitialize
extern Relaxed_t<bool> paused;       // the mixing thread runs no pass
extern Relaxed_t<bool> mixing;       // the tick's voice pass is running
extern Relaxed_t<bool> voicesStartAtHorizon;  // the device cannot hold one worst-case frame
extern Relaxed_t<bool> stopThread;            // the mixing thread ends when it sees it

extern platform::Event_t wakeEvent;      // tick -> mixing thread: run a pass
extern platform::Event_t passDoneEvent;  // mixing thread -> tick: the pass that wakeEvent asked for is done
extern platform::Event_t streamEvent;    // voices -> the host's loader: pages were requested or released
extern platform::CriticalSection_t soundTableLock;  // the sound tables and the class registry
extern platform::CriticalSection_t ringLock;        // ringOutput and ringRewind; never with soundTableLock

// Timing. Lengths in ring units (2 an output frame).
extern double ticksPerMillisecond;
extern int64_t lastPassCounter;             // counter at the start of the latest pass; mixing thread only
extern Relaxed_t<uint32_t> deviceMixLimit;  // the most that may be queued in the device buffer
extern Relaxed_t<uint32_t> mixHorizon;      // how far ahead of ringBase voices are mixed
extern Relaxed_t<uint32_t> outputLimit;     // the smaller of the two
extern Relaxed_t<int32_t> passPeriodMs;     // how long the queued lead lasts

// Memory of paged sounds, in bytes. A page size of 0 makes the loads that need such pages fail.
extern uint32_t systemPageSize;
extern uint32_t streamPageBytes;
extern uint32_t streamLookAheadBytes;
extern uint32_t compressedPageBytes;
extern uint32_t decodedStreamPageBytes;

}  // namespace AudioSystem
