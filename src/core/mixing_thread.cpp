// mixing_thread.cpp - drains the ring into the device, woken by each tick and, when the host is late, by its
// own time-out. It never touches a voice or a sound: its work is conversion and output.
#include <algorithm>
#include <cstring>

#include "core/mix_ring.h"
#include "core/settings.h"
#include "output/dir_sound.h"
#include "platform/counter.h"
#include "platform/thread.h"

namespace AudioSystem {
namespace {

constexpr uint32_t untouchedFrames = 100;  // next to the device's cursor: never rewritten
constexpr int32_t timeoutMarginMs = 10, emulatedTimeoutMarginMs = 40, leastTimeoutMs = 10;

struct pass_cursors_t {
    uint32_t backlog;  // ring units up to ringOutput that may have changed since they were sent
    uint32_t output;
};

pass_cursors_t ReadCursors() {
    const platform::CriticalSectionLock_t lock(ringLock);
    return {(ringLength - ringBase + ringRewind + ringOutput) % ringLength, ringOutput};
}

uint32_t FramesOf(uint32_t deviceBytes) { return (deviceBytes >> 2) & 0x3FFFFFFC; }

// Sends once more what voices may have been added to since it was sent, as far as the device has not come too
// close.
void Resend(const pass_cursors_t& cursors) {
    const uint32_t redo = std::min<uint32_t>({cursors.backlog & ~7u, outputLimit, resendableUnits});
    if (redo == 0) return;
    const uint32_t frames = redo >> 1;
    ConvertFrames((ringLength - redo + cursors.output) % ringLength, frames);

    const uint32_t queued = FramesOf(device->GetQueuedBytes());
    const uint32_t keep = std::min(queued > untouchedFrames ? queued - untouchedFrames : 0, frames);
    const uint32_t bufferBytes = device->bufferDesc.bufferBytes;
    device->writePosition = (device->writePosition + bufferBytes - keep * 4) % bufferBytes;
    if (keep != 0) device->WriteBytes(outputStaging + std::size_t{frames - keep} * 4, keep * 4);
}

// Tops the device up to its lead. Where the ring's mixed frames end, at ringClear, silence goes out in their
// place, since the device would otherwise play its old bytes again.
void SendNew(uint32_t output) {
    const uint32_t free = FramesOf(device->GetFreeBytes());
    const uint32_t count = std::min(free, mixHorizon >> 1);
    if (count == 0) return;
    const uint32_t untilClear = ((ringLength + ringClear - output) % ringLength) >> 1;
    const uint32_t mixed = std::min(count, untilClear);
    ConvertFrames(output, mixed);
    std::memset(outputStaging + std::size_t{mixed} * 4, 0, std::size_t{count - mixed} * 4);
    device->WriteBytes(outputStaging, count * 4);
    if (mixed < count) {
        underrunCount = underrunCount + 1;
        underrunFrames = underrunFrames + (count - mixed);
    }
    resendableUnits = mixed < count ? 0 : std::min(resendableUnits + 2 * count, ringLength);

    const platform::CriticalSectionLock_t lock(ringLock);
    ringOutput = (ringOutput + 2 * mixed) % ringLength;
}

// How long to wait for a tick before the queued lead runs low.
uint32_t NextTimeoutMs() {
    const auto counts = static_cast<int32_t>(static_cast<uint32_t>(platform::ReadCounter()) -
                                             static_cast<uint32_t>(lastPassCounter));
    const auto elapsedMs = static_cast<int32_t>(counts / ticksPerMillisecond);
    const int32_t margin = device->emulated ? emulatedTimeoutMarginMs : timeoutMarginMs;
    return static_cast<uint32_t>(std::max(passPeriodMs - elapsedMs - margin, leastTimeoutMs));
}

void RunPass() {
    lastPassCounter = static_cast<int64_t>(platform::ReadCounter());
    OutputPass();
}

}  // namespace

void OutputPass() noexcept {
    const pass_cursors_t cursors = ReadCursors();
    Resend(cursors);
    SendNew(cursors.output);
}

void MixingThreadProc(void*) {
    platform::RaiseThreadPriority("Mixing thread");
    RunPass();
    device->StartPlaying();
    passDoneEvent.Set();

    uint32_t timeoutMs = leastTimeoutMs;
    while (!stopThread) {
        if (!paused) timeoutMs = NextTimeoutMs();
        const bool isWoken = wakeEvent.Wait(timeoutMs) == platform::waitSignalled;
        platform::NoteProcessor();
        if (paused) continue;
        RunPass();
        if (isWoken) passDoneEvent.Set();
    }
    device->StopPlaying();
}

}  // namespace AudioSystem
