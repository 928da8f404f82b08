// dir_sound.cpp - the cursor arithmetic between the engine and a looping device buffer.
#include "output/dir_sound.h"

#include <cstdio>
#include <cstring>

#include "platform/debug_output.h"

namespace {

constexpr WAVEFORMATEX outputFormat{1, 2, 44100, 176400, 4, 16, 0};
constexpr uint32_t secondaryBufferBytes = 32768;
constexpr uint32_t emulatedAnchorBytes =
    10000;  // an emulated device has taken this much past its play cursor

DSBUFFERDESC ToPlatform(const buffer_description_t& description) {
    return {description.dwSize, description.dwFlags, description.bufferBytes, description.dwReserved,
            description.lpwfxFormat};
}

}  // namespace

Relaxed_t<uint32_t> DirSound_t::jumps;

DirSound_t::DirSound_t() noexcept { jumps = 0; }

DirSound_t::~DirSound_t() { Shutdown(); }

bool DirSound_t::OpenForPrimary(void* window) { return Open(window, DSSCL_WRITEPRIMARY); }

bool DirSound_t::OpenForSecondary(void* window) { return Open(window, DSSCL_PRIORITY); }

bool DirSound_t::Open(void* window, uint32_t level) {
    hasDirectSound = DirectSoundCreate(nullptr, &directSound, nullptr) == outputOk;
    if (!hasDirectSound) return false;
    if (directSound->SetCooperativeLevel(window, level) != outputOk) {
        Shutdown();
        return false;
    }
    DSCAPS caps{};
    caps.dwSize = sizeof caps;
    if (directSound->GetCaps(&caps) != outputOk) {
        emulated = true;  // a device that cannot tell is taken for the worse kind
        return true;
    }
    emulated = (caps.dwFlags & DSCAPS_EMULDRIVER) != 0;
    if (emulated) {
        platform::OutputDebugLine("************\n");
        platform::OutputDebugLine("The sound device does not have a DirectSound driver installed,\n");
        platform::OutputDebugLine("so it is being emulated through the waveform-audio functions.\n");
        platform::OutputDebugLine("Performance degradation should be expected.\n");
        platform::OutputDebugLine("************\n");
    }
    return true;
}

bool DirSound_t::CreatePrimaryBuffer(const buffer_description_t& description) {
    bufferDesc = description;
    DSBUFFERDESC request = ToPlatform(description);
    request.lpwfxFormat = nullptr;  // a primary buffer takes its format from SetFormat
    hasBuffer = directSound->CreateSoundBuffer(&request, &buffer, nullptr) == outputOk;
    if (!hasBuffer) {
        platform::OutputDebugLine("Cannot allocate primary buffer\n");
        Shutdown();
        return false;
    }
    DSBCAPS caps{};
    caps.dwSize = sizeof caps;
    if (buffer->SetFormat(description.lpwfxFormat) != outputOk || buffer->GetCaps(&caps) != outputOk) {
        platform::OutputDebugLine("Cannot set 44100 Hz 16 bit stereo format to the primary buffer\n");
        Shutdown();
        return false;
    }
    bufferDesc.bufferBytes = caps.dwBufferBytes;
    writePosition = 0;
    return true;
}

bool DirSound_t::CreateSecondaryBuffer(const buffer_description_t& description) {
    bufferDesc = description;
    const DSBUFFERDESC request = ToPlatform(description);
    hasBuffer = directSound->CreateSoundBuffer(&request, &buffer, nullptr) == outputOk;
    if (!hasBuffer) {
        platform::OutputDebugLine("Cannot allocate secondary buffer\n");
        Shutdown();
        return false;
    }
    writePosition = 0;

    // The primary buffer is only held to make the device run in our format; without it the device converts.
    DSBUFFERDESC primaryRequest = request;
    primaryRequest.dwFlags = DSBCAPS_PRIMARYBUFFER;
    primaryRequest.dwBufferBytes = 0;
    primaryRequest.lpwfxFormat = nullptr;
    hasPrimaryBuffer = directSound->CreateSoundBuffer(&primaryRequest, &primaryBuffer, nullptr) == outputOk;
    if (!hasPrimaryBuffer) {
        platform::OutputDebugLine("Cannot allocate primary buffer and set its output format\n");
    } else if (primaryBuffer->SetFormat(description.lpwfxFormat) != outputOk) {
        platform::OutputDebugLine("Cannot set 44100 Hz 16 bit stereo format to primary buffer\n");
    }
    return true;
}

void DirSound_t::Shutdown() {
    if (hasDirectSound) {
        if (hasBuffer) buffer->Release();
        if (hasPrimaryBuffer) primaryBuffer->Release();
        directSound->Release();
    }
    hasBuffer = hasPrimaryBuffer = hasDirectSound = false;
    bufferDesc.bufferBytes = 0;
}

bool DirSound_t::WriteBytes(const void* source, uint32_t count) {
    void* first = nullptr;
    void* second = nullptr;
    uint32_t firstBytes = 0, secondBytes = 0;
    const auto lock = [&] {
        return buffer->Lock(writePosition, count, &first, &firstBytes, &second, &secondBytes, 0);
    };
    output_result_t result = lock();
    if (result == DSERR_BUFFERLOST) {
        buffer->Restore();
        result = lock();
    }
    if (result != outputOk) return false;

    std::memcpy(first, source, firstBytes);
    if (second) std::memcpy(second, static_cast<const uint8_t*>(source) + firstBytes, secondBytes);
    if (buffer->Unlock(first, firstBytes, second, secondBytes) != outputOk) return false;

    hasWritten = true;
    uint32_t next = writePosition + count;
    if (next >= bufferDesc.bufferBytes) next -= bufferDesc.bufferBytes;
    writePosition = next;
    return true;
}

uint32_t DirSound_t::Anchor(uint32_t playCursor, uint32_t writeCursor) const {
    return emulated ? playCursor + emulatedAnchorBytes : writeCursor;
}

uint32_t DirSound_t::GetFreeBytes() {
    uint32_t status = 0;
    if (buffer->GetStatus(&status) != outputOk) return 0;
    if (status & DSBSTATUS_BUFFERLOST) {
        if (buffer->Restore() != outputOk) return 0;
        StartPlaying();
    }
    uint32_t playCursor = 0, writeCursor = 0;
    if (buffer->GetCurrentPosition(&playCursor, &writeCursor) != outputOk) return 0;

    const uint32_t bufferBytes = bufferDesc.bufferBytes;
    const uint32_t lead = leadBytes;
    const uint32_t target = (Anchor(playCursor, writeCursor) + lead) % bufferBytes;
    const uint32_t free = (bufferBytes - writePosition + target) % bufferBytes;
    if (free <= lead) return free;

    char line[64];
    std::snprintf(line, sizeof line, "Primary buffer jump ... %lu\n",
                  static_cast<unsigned long>(free - lead));
    platform::OutputDebugLine(line);
    if (hasWritten) jumps = jumps + 1;
    writePosition = (bufferBytes - lead + target) % bufferBytes;
    return lead;
}

uint32_t DirSound_t::GetQueuedBytes() {
    uint32_t status = 0;
    if (buffer->GetStatus(&status) != outputOk) return 0;
    if ((status & DSBSTATUS_BUFFERLOST) && buffer->Restore() != outputOk) return 0;
    uint32_t playCursor = 0, writeCursor = 0;
    if (buffer->GetCurrentPosition(&playCursor, &writeCursor) != outputOk) return 0;

    // An emulated device's anchor may lie past the buffer's end, in a small buffer more than once.
    const uint32_t bufferBytes = bufferDesc.bufferBytes;
    return (writePosition + bufferBytes - Anchor(playCursor, writeCursor) % bufferBytes) % bufferBytes;
}

bool DirSound_t::StartPlaying() { return buffer->Play(0, 0, DSBPLAY_LOOPING) == outputOk; }

void DirSound_t::StopPlaying() { buffer->Stop(); }

namespace AudioSystem {

DirSound_t* device = nullptr;

bool OpenOutput(void* windowHandle, bool usePrimaryBuffer) {
    if (usePrimaryBuffer && device->OpenForPrimary(windowHandle)) {
        return device->CreatePrimaryBuffer(
            {20, DSBCAPS_PRIMARYBUFFER | DSBCAPS_GETCURRENTPOSITION2, 0, 0, &outputFormat});
    }
    if (!device->OpenForSecondary(windowHandle)) return false;
    return device->CreateSecondaryBuffer(
        {20, DSBCAPS_LOCSOFTWARE | DSBCAPS_GETCURRENTPOSITION2, secondaryBufferBytes, 0, &outputFormat});
}

}  // namespace AudioSystem
