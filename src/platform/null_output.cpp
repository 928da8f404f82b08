// null_output.cpp - a device that plays at the pace of the clock and is heard by nobody.
//
// Host thread and mixing thread both call it: the clock's state has a lock of its own. The bytes do not need
// one, as only the mixing thread writes them and nobody reads them.
#include <chrono>
#include <mutex>
#include <new>

#include "platform/output_backends.h"
#include "platform/software_buffer.h"

namespace platform {
namespace {

using clock_t = std::chrono::steady_clock;

constexpr uint32_t bytesPerFrame = 4;
constexpr uint32_t primaryBytes = 32768;

class NullBuffer_t final : public SoftwareBuffer_t {
  public:
    using SoftwareBuffer_t::SoftwareBuffer_t;

    output_result_t GetCurrentPosition(uint32_t* playCursor, uint32_t* writeCursor) override {
        const std::lock_guard lock(mutex);
        const uint64_t frames = playedFrames + (isPlaying ? FramesSince(started) : 0);
        *playCursor = *writeCursor = static_cast<uint32_t>(frames * bytesPerFrame % SizeBytes());
        return outputOk;
    }

    output_result_t Play(uint32_t, uint32_t, uint32_t) override {
        const std::lock_guard lock(mutex);
        if (!isPlaying) started = clock_t::now();
        isPlaying = true;
        return outputOk;
    }

    output_result_t Stop() override {
        const std::lock_guard lock(mutex);
        if (isPlaying) playedFrames += FramesSince(started);
        isPlaying = false;
        return outputOk;
    }

  private:
    static uint64_t FramesSince(clock_t::time_point start) {
        return FramesIn(std::chrono::nanoseconds(clock_t::now() - start));
    }

    std::mutex mutex;
    bool isPlaying = false;
    uint64_t playedFrames = 0;  // up to the latest Play
    clock_t::time_point started;
};

class NullDevice_t final : public SoftwareDevice_t {
  public:
    output_result_t CreateSoundBuffer(const DSBUFFERDESC* description, IDirectSoundBuffer** buffer,
                                      void*) override {
        const bool isPrimary = (description->dwFlags & DSBCAPS_PRIMARYBUFFER) != 0;
        return MakeSoftwareBuffer<NullBuffer_t>(isPrimary ? primaryBytes : description->dwBufferBytes,
                                                buffer);
    }
};

output_result_t Open(IDirectSound** directSound) {
    *directSound = new (std::nothrow) NullDevice_t;
    return *directSound ? outputOk : DSERR_GENERIC;
}

}  // namespace

const output_backend_t nullBackend{"null", "paced by the clock, heard by nobody", Open, false, false};

}  // namespace platform
