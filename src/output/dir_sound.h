// dir_sound.h - the output device: one circular byte buffer that is kept filled to a lead ahead of the
// hardware.
//
// All lengths are bytes; a frame is 4 (44,100 Hz, 16 bits, stereo). The anchor is the device position from
// which the write position is measured: the write cursor, or the play cursor + 10000 on an emulated device.
//
// Thread: the mixing thread makes all calls after the start, except GetQueuedBytes (frame tick), StartPlaying
// and StopPlaying (pause and resume) and GetDirectSound, which the host makes. No locks; errors are the
// results.
#pragma once

#include <cstdint>

#include "foundation/relaxed.h"
#include "platform/sound_output.h"

// The description that the buffer was created with. lpwfxFormat is only valid during the opening call.
struct buffer_description_t {
    uint32_t dwSize;
    uint32_t dwFlags;
    uint32_t bufferBytes;
    uint32_t dwReserved;
    const WAVEFORMATEX* lpwfxFormat;
};

class DirSound_t {
  public:
    DirSound_t() noexcept;
    virtual ~DirSound_t();
    DirSound_t(const DirSound_t&) = delete;
    DirSound_t& operator=(const DirSound_t&) = delete;

    bool OpenForPrimary(void* window);
    bool OpenForSecondary(void* window);
    bool CreatePrimaryBuffer(const buffer_description_t& description);
    bool CreateSecondaryBuffer(const buffer_description_t& description);
    void Shutdown();  // releases everything held; harmless on a device that was never opened

    // Copies into the buffer at writePosition and moves it. False: nothing is heard of it, writePosition
    // stays.
    bool WriteBytes(const void* source, uint32_t count);
    // How many bytes may be written now: up to leadBytes ahead of the anchor. 0 if the device does not
    // answer. A device that has overtaken writePosition moves it to the anchor.
    uint32_t GetFreeBytes();
    // How far writePosition is ahead of the anchor; 0 if the device does not answer.
    uint32_t GetQueuedBytes();
    bool StartPlaying();
    void StopPlaying();
    IDirectSound* GetDirectSound() const { return directSound; }

    IDirectSound* directSound = nullptr;
    IDirectSoundBuffer* buffer = nullptr;         // the one that is written
    IDirectSoundBuffer* primaryBuffer = nullptr;  // secondary mode only, held for its format
    buffer_description_t bufferDesc{};
    Relaxed_t<uint32_t> writePosition;  // next byte to be written; mixing thread writes, the tick reads
    Relaxed_t<uint32_t> leadBytes;      // how far ahead of the anchor writePosition should stand; host writes
    bool hasDirectSound = false;
    bool hasBuffer = false;
    bool hasPrimaryBuffer = false;
    bool emulated = false;

    // How often a device has overtaken what was written, in this run of the engine; mixing thread writes.
    static Relaxed_t<uint32_t> jumps;

  private:
    bool Open(void* window, uint32_t level);
    uint32_t Anchor(uint32_t playCursor, uint32_t writeCursor) const;

    bool hasWritten = false;
};

namespace AudioSystem {

extern DirSound_t* device;  // owned by the audio system; null without an open output

// Opens `device` for primary mode if that is asked for and granted, for secondary mode otherwise.
bool OpenOutput(void* windowHandle, bool usePrimaryBuffer);

}  // namespace AudioSystem
