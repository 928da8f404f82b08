#include "core/settings.h"

namespace AudioSystem {

Relaxed_t<bool> initialized, paused, mixing, voicesStartAtHorizon, stopThread;

platform::Event_t wakeEvent, passDoneEvent, streamEvent;
platform::CriticalSection_t soundTableLock, ringLock;

double ticksPerMillisecond = 0.0;
int64_t lastPassCounter = 0;
Relaxed_t<uint32_t> deviceMixLimit, mixHorizon, outputLimit;
Relaxed_t<int32_t> passPeriodMs;

uint32_t systemPageSize = 0;
uint32_t streamPageBytes = 4096;
uint32_t streamLookAheadBytes = 131072;
uint32_t compressedPageBytes = 16384;
uint32_t decodedStreamPageBytes = 16384;

}  // namespace AudioSystem
