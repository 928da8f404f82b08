// manual_output.cpp - moves on the manual clock: what the play cursor passes is kept for its owner.
#include "platform/manual_output.h"

#include <algorithm>
#include <new>

#include "platform/manual_clock.h"
#include "platform/output_backends.h"
#include "platform/software_buffer.h"

namespace platform {
namespace {

constexpr uint32_t bytesPerFrame = 4;

class ManualBuffer_t;

manual_settings_t settings;
manual_counts_t counts;
ManualBuffer_t* heardBuffer = nullptr;  // the one that was told to play last
std::vector<uint8_t> playedBytes;       // since the owner last asked

class ManualBuffer_t final : public SoftwareBuffer_t {
  public:
    explicit ManualBuffer_t(uint32_t bytes) : SoftwareBuffer_t(bytes) { ++counts.buffers; }

    output_result_t SetFormat(const WAVEFORMATEX*) override {
        return settings.refuseFormat ? DSERR_GENERIC : outputOk;
    }
    output_result_t GetCaps(DSBCAPS* caps) override {
        return settings.refuseBufferCaps ? DSERR_GENERIC : SoftwareBuffer_t::GetCaps(caps);
    }
    output_result_t GetStatus(uint32_t* status) override {
        if (settings.refuseStatus) return DSERR_GENERIC;
        *status = isLost ? DSBSTATUS_BUFFERLOST : 0;
        return outputOk;
    }
    output_result_t Restore() override {
        ++counts.restores;
        if (settings.refuseRestore) return DSERR_BUFFERLOST;
        isLost = false;
        return outputOk;
    }
    output_result_t GetCurrentPosition(uint32_t* playCursor, uint32_t* writeCursor) override {
        if (settings.refusePosition) return DSERR_GENERIC;
        *playCursor = settings.forceCursors ? settings.forcedPlayCursor : PlayCursor();
        *writeCursor = settings.forceCursors ? settings.forcedWriteCursor
                                             : (PlayCursor() + settings.writeLeadBytes) % SizeBytes();
        return outputOk;
    }
    output_result_t Lock(uint32_t offset, uint32_t bytes, void** first, uint32_t* firstBytes, void** second,
                         uint32_t* secondBytes, uint32_t flags) override {
        ++counts.locks;
        if (isLost) return DSERR_BUFFERLOST;
        if (settings.refuseLock) return DSERR_GENERIC;
        return SoftwareBuffer_t::Lock(offset, bytes, first, firstBytes, second, secondBytes, flags);
    }
    output_result_t Unlock(void*, uint32_t, void*, uint32_t) override {
        return settings.refuseUnlock ? DSERR_GENERIC : outputOk;
    }
    output_result_t Play(uint32_t, uint32_t, uint32_t) override {
        ++counts.plays;
        if (isLost) return DSERR_BUFFERLOST;
        isPlaying = true;
        heardBuffer = this;
        return outputOk;
    }
    output_result_t Stop() override {
        ++counts.stops;
        isPlaying = false;
        return outputOk;
    }

    void Lose() {
        isLost = true;
        isPlaying = false;
        std::fill(memory.begin(), memory.end(), uint8_t{0});
    }

    void PassTime(uint64_t units) {
        if (!isPlaying) return;
        const uint64_t before = playedUnits / ManualClock_t::unitsPerFrame;
        playedUnits += units;
        const uint64_t after = playedUnits / ManualClock_t::unitsPerFrame;
        for (uint64_t byte = before * bytesPerFrame; byte < after * bytesPerFrame;) {
            const auto offset = static_cast<size_t>(byte % memory.size());
            const size_t run = std::min<size_t>(after * bytesPerFrame - byte, memory.size() - offset);
            const auto from = memory.begin() + static_cast<std::ptrdiff_t>(offset);
            playedBytes.insert(playedBytes.end(), from, from + static_cast<std::ptrdiff_t>(run));
            byte += run;
        }
    }

    bool IsPlaying() const { return isPlaying; }

  private:
    ~ManualBuffer_t() override {
        --counts.buffers;
        if (heardBuffer == this) heardBuffer = nullptr;
    }

    uint32_t PlayCursor() const {
        return static_cast<uint32_t>(playedUnits / ManualClock_t::unitsPerFrame * bytesPerFrame %
                                     memory.size());
    }

    bool isPlaying = false;
    bool isLost = false;
    uint64_t playedUnits = 0;  // of the clock, while playing
};

class ManualDevice_t final : public IDirectSound {
  public:
    ManualDevice_t() { ++counts.devices; }

    uint32_t Release() override {
        delete this;
        return 0;
    }
    output_result_t SetCooperativeLevel(void* window, uint32_t level) override {
        counts.window = window;
        counts.lastLevel = level;
        return (settings.refusedLevels >> level) & 1 ? DSERR_GENERIC : outputOk;
    }
    output_result_t GetCaps(DSCAPS* caps) override {
        if (settings.refuseCaps) return DSERR_GENERIC;
        caps->dwFlags = settings.isEmulated ? DSCAPS_EMULDRIVER : 0;
        return outputOk;
    }
    output_result_t CreateSoundBuffer(const DSBUFFERDESC* description, IDirectSoundBuffer** buffer,
                                      void*) override {
        if ((settings.refusedBufferCreations >> creations++) & 1) return DSERR_GENERIC;
        const bool isPrimary = (description->dwFlags & DSBCAPS_PRIMARYBUFFER) != 0;
        if (isPrimary != (description->lpwfxFormat == nullptr)) return DSERR_INVALIDPARAM;
        const uint32_t bytes = isPrimary ? settings.primaryBufferBytes : description->dwBufferBytes;
        if (bytes == 0) return DSERR_INVALIDPARAM;
        return MakeSoftwareBuffer<ManualBuffer_t>(bytes, buffer);
    }

  private:
    ~ManualDevice_t() { --counts.devices; }

    uint32_t creations = 0;
};

output_result_t Open(IDirectSound** directSound) {
    if (settings.refuseCreate) return DSERR_NODRIVER;
    *directSound = new (std::nothrow) ManualDevice_t;
    return *directSound ? outputOk : DSERR_GENERIC;
}

void TimePassed(uint64_t units) {
    if (heardBuffer) heardBuffer->PassTime(units);
}

ManualClock_t manualClock{TimePassed};

}  // namespace

const output_backend_t manualBackend{"manual", "moves only when its owner plays it", Open, true, false};

ManualClock_t* CurrentManualClock() noexcept { return SelectedOutput().movesTime ? &manualClock : nullptr; }

manual_settings_t& ManualSettings() noexcept { return settings; }
const manual_counts_t& ManualCounts() noexcept { return counts; }
void RefuseManualThreads(bool refuse) noexcept { manualClock.refuseThread = refuse; }

void ResetManualOutput(uint64_t firstCount) {
    settings = {};
    counts = {};
    playedBytes.clear();
    manualClock.Reset(firstCount);
}

void LoseManualBuffer() noexcept {
    if (heardBuffer) heardBuffer->Lose();
}

bool ManualOutputIsPlaying() noexcept { return heardBuffer && heardBuffer->IsPlaying(); }

void PlayManualOutput(uint32_t frames, std::vector<uint8_t>& played) {
    manualClock.PassTime(frames * ManualClock_t::unitsPerFrame);
    played.insert(played.end(), playedBytes.begin(), playedBytes.end());
    playedBytes.clear();
}

}  // namespace platform
