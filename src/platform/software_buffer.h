// software_buffer.h - what the sound devices made of software share: the memory of a looping buffer and its
// locking, and a plain device.
#pragma once

#include <chrono>
#include <new>
#include <vector>

#include "platform/sound_output.h"

namespace platform {

// Cursors, playing and loss are the device's own; here are the operations that no software device does
// differently.
class SoftwareBuffer_t : public IDirectSoundBuffer {
  public:
    explicit SoftwareBuffer_t(uint32_t bytes) : memory(bytes) {}

    uint32_t Release() override {
        delete this;
        return 0;
    }
    output_result_t SetFormat(const WAVEFORMATEX*) override { return outputOk; }
    output_result_t GetCaps(DSBCAPS* caps) override;
    output_result_t GetStatus(uint32_t* status) override;
    output_result_t Restore() override { return outputOk; }
    output_result_t Lock(uint32_t offset, uint32_t bytes, void** first, uint32_t* firstBytes, void** second,
                         uint32_t* secondBytes, uint32_t flags) override;
    output_result_t Unlock(void*, uint32_t, void*, uint32_t) override { return outputOk; }

  protected:
    virtual ~SoftwareBuffer_t() = default;
    uint32_t SizeBytes() const { return static_cast<uint32_t>(memory.size()); }

    std::vector<uint8_t> memory;
};

// Whole frames that a device plays in that time. By seconds and their rest: one product would pass 64 bits in
// the second year.
constexpr uint64_t FramesIn(std::chrono::nanoseconds time) {
    constexpr uint64_t framesPerSecond = 44100, nsPerSecond = 1'000'000'000;
    const auto ns = static_cast<uint64_t>(time.count());
    return ns / nsPerSecond * framesPerSecond + ns % nsPerSecond * framesPerSecond / nsPerSecond;
}

// A device that takes every level and is not emulated; which buffers it makes is its own.
class SoftwareDevice_t : public IDirectSound {
  public:
    uint32_t Release() override {
        delete this;
        return 0;
    }
    output_result_t SetCooperativeLevel(void*, uint32_t) override { return outputOk; }
    output_result_t GetCaps(DSCAPS* caps) override {
        caps->dwFlags = 0;
        return outputOk;
    }

  protected:
    virtual ~SoftwareDevice_t() = default;
};

// A new buffer of that class; fails if there is no memory for it.
template <typename Buffer, typename... More>
output_result_t MakeSoftwareBuffer(uint32_t bytes, IDirectSoundBuffer** buffer, const More&... more) {
    try {
        *buffer = new Buffer(bytes, more...);
        return outputOk;
    } catch (const std::bad_alloc&) {
        return DSERR_GENERIC;
    }
}

}  // namespace platform
