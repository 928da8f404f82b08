// software_buffer.h - what the sound devices made of software share: the memory of a looping buffer and its
// locking, and a plain device.
#pragma once

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
