// audio_system.cpp - the order of starting and stopping, and the settings that follow from the device and the
// host's frame rate. Host thread only.
#include "core/audio_system.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "output/dir_sound.h"
#include "platform/counter.h"
#include "platform/debug_output.h"
#include "platform/pages.h"
#include "platform/thread.h"
#include "sounds/sound.h"
#include "voices/voice.h"

namespace AudioSystem {

platform::Thread_t* mixThread = nullptr;

namespace {

constexpr unsigned ringUnits = 52920;  // 0.6 seconds
constexpr uint32_t deviceMarginBytes = 4096,
                   emulatedDeviceMarginBytes = 10500;  // kept free in the device buffer
constexpr uint32_t schedulingMarginUnits = 881,
                   emulatedSchedulingMarginUnits = 3527;  // 10 and 40 ms, truncated
constexpr uint32_t leastHorizonUnits = 200;
constexpr uint32_t leastRoomUnits = 2648;               // a horizon for 60 frames a second
constexpr double msPerUnit = 0.011337868480725623;      // 1 / 88.2
constexpr double halfMsPerUnit = 0.022675736961451247;  // 1 / 44.1
constexpr uint32_t threadWaitMs = 1000;
constexpr float worstCaseFrameRateAtStart = 8.0f;

// What outputLimit is on its way to, while voices play (see LowerOutputLimit).
uint32_t wantedOutputLimit = 0;

void SetOutputLimit(uint32_t units) {
    outputLimit = units;
    device->leadBytes = 2 * units;
    passPeriodMs = static_cast<int32_t>(units * halfMsPerUnit) >> 1;
}

bool IsAnyVoicePlaying() {
    for (const ListNode_t* node = allVoices.head; node; node = node->next) {
        if (static_cast<const Voice_t*>(node->data)->isPlaying) return true;
    }
    return false;
}

uint32_t RoundUpToPages(uint32_t request) {
    return request % systemPageSize == 0 ? request : (request / systemPageSize + 1) * systemPageSize;
}

void StorePageSettings(unsigned streamPageRequest, unsigned streamPagesAhead,
                       unsigned compressedPageRequest) {
    systemPageSize = platform::SystemPageBytes();
    streamPageBytes = RoundUpToPages(streamPageRequest);
    streamLookAheadBytes =
        static_cast<uint32_t>(std::min<uint64_t>(uint64_t{streamPageBytes} * streamPagesAhead, UINT32_MAX));
    compressedPageBytes = decodedStreamPageBytes = RoundUpToPages(compressedPageRequest);
}

// The device's own buffer has a size of its choice: it must leave room for the margin, leave the ring room
// for a horizon, as it is the history's length, and hold whole frames.
bool IsUsableBuffer(uint32_t bufferBytes) {
    const uint32_t margin = device->emulated ? emulatedDeviceMarginBytes : deviceMarginBytes;
    return bufferBytes >= margin + 64 && bufferBytes / 2 + leastRoomUnits <= ringUnits &&
           bufferBytes % 4 == 0;
}

bool OpenDevice(void* windowHandle, bool usePrimaryBuffer) {
    device = new (std::nothrow) DirSound_t;
    if (!device || !OpenOutput(windowHandle, usePrimaryBuffer)) return false;
    const uint32_t bufferBytes = device->bufferDesc.bufferBytes;
    if (!IsUsableBuffer(bufferBytes)) {
        platform::OutputDebugLine("The size of the device's buffer is not usable\n");
        return false;
    }
    const uint32_t margin = device->emulated ? emulatedDeviceMarginBytes : deviceMarginBytes;
    deviceMixLimit = ((bufferBytes - margin) >> 1) & 0x7FFFFFF8;
    outputLimit = deviceMixLimit;
    device->leadBytes = 2 * outputLimit;
    passPeriodMs = static_cast<int32_t>(outputLimit * msPerUnit);
    wantedOutputLimit = outputLimit;
    return true;
}

// The first pass is over, one way or the other, before the horizon is set: a start is the same every time.
bool StartMixingThread() {
    mixThread = platform::StartThread(MixingThreadProc, nullptr);
    if (!mixThread) return false;
    (void)passDoneEvent.Wait(threadWaitMs);
    return true;
}

// False: the thread still runs. Then it keeps all that it may touch; the next Initialize tries again.
bool EndMixingThread() {
    if (!mixThread) return true;
    stopThread = true;
    if (!platform::JoinThread(mixThread, threadWaitMs)) {
        platform::OutputDebugLine("*** WARNING: Could not kill the audio mixing thread ***\n");
        return false;
    }
    mixThread = nullptr;
    return true;
}

bool ReleaseOutput() {
    if (!EndMixingThread()) return false;
    delete device;
    device = nullptr;
    wakeEvent.Close();
    passDoneEvent.Close();
    FreeRing();
    return true;
}

void ReleaseSounds() {
    streamEvent.Close();
    delete defaultSounds;
    defaultSounds = nullptr;
}

// The latest line of the debug output says why something failed: a device has told what is wrong with it.
bool Because(const char* line) {
    platform::OutputDebugLine(line);
    return false;
}

bool Start(void* windowHandle, bool usePrimaryBuffer) {
    defaultSounds = new (std::nothrow) Archive_t;
    if (!defaultSounds || !wakeEvent.Create() || !passDoneEvent.Create() || !streamEvent.Create())
        return Because("No memory for the engine's events\n");
    if (!OpenDevice(windowHandle, usePrimaryBuffer)) return false;
    if (!AllocateRing(ringUnits, device->bufferDesc.bufferBytes & ~7u))
        return Because("No memory for the mix ring\n");
    return StartMixingThread() || Because("The system gives no thread to mix on\n");
}

// A host that leaves without DeInitialize must not leave the mixing thread behind among destroyed objects.
void StopAtExit() { [[maybe_unused]] static const int registered = std::atexit(DeInitialize); }

}  // namespace

bool Initialize(void* windowHandle, bool usePrimaryBuffer, unsigned streamPageRequest,
                unsigned streamPagesAhead, unsigned compressedPageRequest) {
    if (initialized) return true;
    platform::ForgetDebugLine();
    if (mixThread && !ReleaseOutput()) return false;  // a thread that outlived its DeInitialize
    StopAtExit();
    ticksPerMillisecond = static_cast<double>(platform::CounterFrequency()) * 0.001;
    stopThread = paused = mixing = voicesStartAtHorizon = false;
    mixHorizon = 0;
    StorePageSettings(streamPageRequest, streamPagesAhead, compressedPageRequest);
    if (!Start(windowHandle, usePrimaryBuffer)) {
        ReleaseOutput();
        ReleaseSounds();
        return false;
    }
    initialized = true;
    SetWorstCaseFrameRate(worstCaseFrameRateAtStart);
    return true;
}

bool InitializeWithArchive(void* windowHandle, const char* archivePath, bool usePrimaryBuffer,
                           unsigned streamPageRequest, unsigned streamPagesAhead,
                           unsigned compressedPageRequest) {
    const bool isRunning = Initialize(windowHandle, usePrimaryBuffer, streamPageRequest, streamPagesAhead,
                                      compressedPageRequest);
    if (isRunning) LoadArchive(archivePath, nullptr);
    return isRunning;
}

void DeInitialize() {
    if (!initialized) return;
    ReleaseOutput();
    Voice_t::FreeAll();
    Sound_t::FreeAll();
    ReleaseSounds();
    initialized = false;
}

void SetWorstCaseFrameRate(float framesPerSecond) {
    if (!initialized || !(framesPerSecond > 0.0f)) return;
    const uint32_t bufferBytes = device->bufferDesc.bufferBytes;
    const uint32_t cap =
        (ringLength - (bufferBytes >> 1)) & ~7u;  // beyond it the horizon would pass ringClear
    const auto frameUnits = static_cast<uint32_t>(std::min(88200.0 / framesPerSecond, double{ringUnits}));
    uint32_t horizon = leastHorizonUnits + frameUnits;
    horizon += device->emulated ? emulatedSchedulingMarginUnits : schedulingMarginUnits;
    horizon = std::min((horizon + 100) & ~7u, cap);

    mixHorizon = horizon;
    voicesStartAtHorizon = horizon > deviceMixLimit;
    wantedOutputLimit = std::min<uint32_t>(horizon, deviceMixLimit);
    if (!IsAnyVoicePlaying()) SetOutputLimit(wantedOutputLimit);
}

void LowerOutputLimit() {
    if (wantedOutputLimit >= outputLimit) return;
    const uint32_t queuedUnits = ((device->GetQueuedBytes() >> 1) + 7) & ~7u;
    SetOutputLimit(std::max(wantedOutputLimit, std::min<uint32_t>(queuedUnits, outputLimit)));
}

void RaiseOutputLimit() {
    if (wantedOutputLimit > outputLimit) SetOutputLimit(wantedOutputLimit);
}

void Pause() {
    if (!initialized || paused) return;
    paused = true;
    device->StopPlaying();
}

void Resume() {
    if (!initialized || !paused) return;
    paused = false;
    device->StartPlaying();
}

}  // namespace AudioSystem
