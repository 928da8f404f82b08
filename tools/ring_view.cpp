// ring_view.cpp - what the device will take next is the ring's at ringOutput: everything is counted from
// there.
#include "tools/ring_view.h"

#include "core/mix_ring.h"
#include "core/settings.h"
#include "output/dir_sound.h"

namespace tools {

namespace {

using AudioSystem::ringLength;

uint32_t RingOutput() {
    const platform::CriticalSectionLock_t lock(AudioSystem::ringLock);
    return AudioSystem::ringOutput;
}

// Not what GetQueuedBytes says: that counts from the device's write cursor.
uint32_t LeadFrames() {
    const DirSound_t& device = *AudioSystem::device;
    uint32_t playCursor = 0, writeCursor = 0;
    const uint32_t bufferBytes = device.bufferDesc.bufferBytes;
    if (device.buffer->GetCurrentPosition(&playCursor, &writeCursor) != outputOk) return 0;
    return (device.writePosition + bufferBytes - playCursor) % bufferBytes / 4;
}

uint32_t UnitsBehind(uint32_t from, uint32_t to) { return (ringLength - from + to) % ringLength; }

}  // namespace

ring_view_t ViewRing() {
    const uint32_t output = RingOutput(), lead = LeadFrames();
    const uint32_t sentSinceTick = UnitsBehind(AudioSystem::ringBase, output);
    const uint32_t horizon = AudioSystem::mixHorizon;
    const uint32_t mixed = horizon > sentSinceTick ? horizon - sentSinceTick : 0;
    return {lead, lead + mixed / 2, lead + UnitsBehind(output, AudioSystem::ringClear) / 2};
}

uint32_t RingAtPlayed() { return UnitsBehind(2 * LeadFrames() % ringLength, RingOutput()); }

int64_t FramesAhead(uint32_t ringAt) {
    const uint32_t output = RingOutput();
    const uint32_t ahead = UnitsBehind(output, ringAt);
    const bool isAhead = ahead <= UnitsBehind(output, AudioSystem::ringClear);
    return int64_t{LeadFrames()} + (isAhead ? int64_t{ahead} : int64_t{ahead} - ringLength) / 2;
}

}  // namespace tools
