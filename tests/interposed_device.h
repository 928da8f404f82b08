// interposed_device.h - an output device and its buffer that stand before the real ones and hand every call
// on, unless they refuse it.
#pragma once

#include <new>

#include "platform/sound_output.h"

class InterposedBuffer_t : public IDirectSoundBuffer {
  public:
    explicit InterposedBuffer_t(IDirectSoundBuffer* behind) : real(behind) {}

    uint32_t Release() override {
        real->Release();
        delete this;
        return 0;
    }
    output_result_t SetFormat(const WAVEFORMATEX* format) override {
        return Refuses() ? DSERR_GENERIC : real->SetFormat(format);
    }
    output_result_t GetCaps(DSBCAPS* caps) override {
        return Refuses() ? DSERR_GENERIC : real->GetCaps(caps);
    }
    output_result_t GetStatus(uint32_t* status) override {
        return Refuses() ? DSERR_GENERIC : real->GetStatus(status);
    }
    output_result_t Restore() override { return Refuses() ? DSERR_GENERIC : real->Restore(); }
    output_result_t GetCurrentPosition(uint32_t* playCursor, uint32_t* writeCursor) override {
        return Refuses() ? DSERR_GENERIC : real->GetCurrentPosition(playCursor, writeCursor);
    }
    output_result_t Lock(uint32_t offset, uint32_t bytes, void** first, uint32_t* firstBytes, void** second,
                         uint32_t* secondBytes, uint32_t flags) override {
        return Refuses() ? DSERR_GENERIC
                         : real->Lock(offset, bytes, first, firstBytes, second, secondBytes, flags);
    }
    output_result_t Unlock(void* first, uint32_t firstBytes, void* second, uint32_t secondBytes) override {
        const output_result_t result = real->Unlock(first, firstBytes, second, secondBytes);
        return Refuses() ? DSERR_GENERIC : result;
    }
    output_result_t Play(uint32_t reserved, uint32_t priority, uint32_t flags) override {
        return Refuses() ? DSERR_GENERIC : real->Play(reserved, priority, flags);
    }
    output_result_t Stop() override { return Refuses() ? DSERR_GENERIC : real->Stop(); }

  protected:
    virtual ~InterposedBuffer_t() = default;
    virtual bool Refuses() { return false; }

    IDirectSoundBuffer* real;
};

// Without memory for the one in front, calls go to the real one.
template <typename Buffer>
class InterposedDevice_t final : public IDirectSound {
  public:
    static IDirectSound* Before(IDirectSound* real) {
        auto* const device = new (std::nothrow) InterposedDevice_t(real);
        return device ? device : real;
    }

    uint32_t Release() override {
        real->Release();
        delete this;
        return 0;
    }
    output_result_t SetCooperativeLevel(void* window, uint32_t level) override {
        return Buffer::DeviceRefuses() ? DSERR_GENERIC : real->SetCooperativeLevel(window, level);
    }
    output_result_t GetCaps(DSCAPS* caps) override { return real->GetCaps(caps); }
    output_result_t CreateSoundBuffer(const DSBUFFERDESC* description, IDirectSoundBuffer** buffer,
                                      void* outer) override {
        if (Buffer::DeviceRefuses()) return DSERR_GENERIC;
        const output_result_t result = real->CreateSoundBuffer(description, buffer, outer);
        Buffer* const before = result == outputOk ? new (std::nothrow) Buffer(*buffer) : nullptr;
        if (before) *buffer = before;
        return result;
    }

  private:
    explicit InterposedDevice_t(IDirectSound* behind) : real(behind) {}

    IDirectSound* real;
};
