// manual_output.h - a sound device that moves only when its owner plays it, and hands over what it played.
//
// The offline renderer and nearly all tests run on it. There is one, as there is one engine. All of it
// belongs to the host thread, except the calls that the engine makes through sound_output.h.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/sound_output.h"

namespace platform {

// What the device is, and what goes wrong with it. Read at each call, so a change takes effect at once.
struct manual_settings_t {
    uint32_t writeLeadBytes = 0;          // write cursor = play cursor + this
    uint32_t primaryBufferBytes = 32768;  // size that a primary buffer reports
    bool isEmulated = false;

    bool refuseCreate = false;            // DirectSoundCreate
    uint32_t refusedLevels = 0;           // SetCooperativeLevel: bit 1 << level refuses that level
    bool refuseCaps = false;              // IDirectSound::GetCaps
    uint32_t refusedBufferCreations = 0;  // CreateSoundBuffer: bit n refuses the n-th creation on a device
    bool refuseFormat = false;            // SetFormat
    bool refuseBufferCaps = false;        // IDirectSoundBuffer::GetCaps
    bool refuseStatus = false;
    bool refusePosition = false;
    bool refuseRestore = false;
    bool refuseLock = false;
    bool refuseUnlock = false;
    bool forceCursors = false;  // report these instead of the real ones
    uint32_t forcedPlayCursor = 0, forcedWriteCursor = 0;
};

// What the engine has asked of the device since the last reset.
struct manual_counts_t {
    uint32_t lastLevel = 0;
    uint32_t devices = 0, buffers = 0;  // alive now
    uint32_t locks = 0, restores = 0, plays = 0, stops = 0;
    void* window = nullptr;
};

manual_settings_t& ManualSettings() noexcept;
// Starts of threads fail while this is on.
void RefuseManualThreads(bool refuse) noexcept;
const manual_counts_t& ManualCounts() noexcept;

// Default settings, no counts, nothing played, the counter at firstCount. The engine must not be running.
// Does not select the backend.
void ResetManualOutput(uint64_t firstCount = 0);

// Loses the buffer: it stops, its bytes are gone, GetStatus says so and Lock fails until Restore.
void LoseManualBuffer() noexcept;

bool ManualOutputIsPlaying() noexcept;

// Plays frames: time moves, the engine's threads run as their time-outs come up, and the bytes that the play
// cursor has passed (4 a frame, 16-bit stereo) are appended. A device that is stopped plays nothing, though
// time moves. Also anything that was played since the last call, while the host waited for time, is appended
// first.
void PlayManualOutput(uint32_t frames, std::vector<uint8_t>& played);

}  // namespace platform
