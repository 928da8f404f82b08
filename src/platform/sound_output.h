// sound_output.h - what the engine asks of a sound output: one looping byte buffer with two cursors.
//
// The play cursor is where the consumer stands, the write cursor the first byte that it has not yet taken.
// Bytes past the write cursor may be rewritten until they are taken: that makes a late start audible early.
//
// Names, flags and result codes are the published ones of the interface that hosts of such devices know.
// Every operation returns 0 (outputOk) for success and any other value for a failure.
#pragma once

#include <cstdint>

using output_result_t = int32_t;

constexpr output_result_t outputOk = 0;
constexpr output_result_t DSERR_GENERIC = static_cast<output_result_t>(0x80004005u);
constexpr output_result_t DSERR_INVALIDPARAM = static_cast<output_result_t>(0x80070057u);
constexpr output_result_t DSERR_BUFFERLOST = static_cast<output_result_t>(0x88780096u);
constexpr output_result_t DSERR_NODRIVER = static_cast<output_result_t>(0x88780078u);

constexpr uint32_t DSSCL_PRIORITY = 2, DSSCL_WRITEPRIMARY = 4;
constexpr uint32_t DSCAPS_EMULDRIVER = 0x20;
constexpr uint32_t DSBCAPS_PRIMARYBUFFER = 0x1, DSBCAPS_LOCSOFTWARE = 0x8,
                   DSBCAPS_GETCURRENTPOSITION2 = 0x10000;
constexpr uint32_t DSBSTATUS_BUFFERLOST = 2;
constexpr uint32_t DSBPLAY_LOOPING = 1;

struct WAVEFORMATEX {
    uint16_t wFormatTag;  // 1 = PCM
    uint16_t nChannels;
    uint32_t nSamplesPerSec;
    uint32_t nAvgBytesPerSec;
    uint16_t nBlockAlign;
    uint16_t wBitsPerSample;
    uint16_t cbSize;
};

struct DSBUFFERDESC {
    uint32_t dwSize;   // 20
    uint32_t dwFlags;  // DSBCAPS_
    uint32_t dwBufferBytes;
    uint32_t dwReserved;
    const WAVEFORMATEX* lpwfxFormat;  // null for a primary buffer
};

struct DSCAPS {
    uint32_t dwSize;  // 96
    uint32_t dwFlags;
    uint32_t reserved[22];
};

struct DSBCAPS {
    uint32_t dwSize;  // 20
    uint32_t dwFlags;
    uint32_t dwBufferBytes;
    uint32_t reserved[2];
};

class IDirectSoundBuffer {
  public:
    virtual uint32_t Release() = 0;
    virtual output_result_t SetFormat(const WAVEFORMATEX* format) = 0;
    virtual output_result_t GetCaps(DSBCAPS* caps) = 0;
    virtual output_result_t GetStatus(uint32_t* status) = 0;
    virtual output_result_t Restore() = 0;
    // Byte offsets in the buffer.
    virtual output_result_t GetCurrentPosition(uint32_t* playCursor, uint32_t* writeCursor) = 0;
    // Up to two regions; the second pointer is null when one is enough.
    virtual output_result_t Lock(uint32_t offset, uint32_t bytes, void** first, uint32_t* firstBytes,
                                 void** second, uint32_t* secondBytes, uint32_t flags) = 0;
    virtual output_result_t Unlock(void* first, uint32_t firstBytes, void* second, uint32_t secondBytes) = 0;
    virtual output_result_t Play(uint32_t reserved, uint32_t priority, uint32_t flags) = 0;
    virtual output_result_t Stop() = 0;

  protected:
    ~IDirectSoundBuffer() = default;  // Release ends its life
};

class IDirectSound {
  public:
    virtual uint32_t Release() = 0;
    virtual output_result_t SetCooperativeLevel(void* window, uint32_t level) = 0;
    virtual output_result_t GetCaps(DSCAPS* caps) = 0;
    virtual output_result_t CreateSoundBuffer(const DSBUFFERDESC* description, IDirectSoundBuffer** buffer,
                                              void* outer) = 0;

  protected:
    ~IDirectSound() = default;
};

// Opens the selected backend (output_backends.h). The first and last argument are null.
output_result_t DirectSoundCreate(const void* device, IDirectSound** directSound, void* outer);
