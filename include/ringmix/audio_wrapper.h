// audio_wrapper.h - starting, stopping and driving the engine.
//
// Calling order: Initialize once (IsInitialized tells whether it worked), SetWorstCaseFrameRate, then
// MixVoices once per host frame, DeInitialize at the end. Everything belongs to one host thread. Nothing
// throws; nothing reports an error but IsInitialized. Outside of a start, every call is harmless and answers
// false or null.
#pragma once

#include <ringmix/export.h>

class IDirectSound;

class RINGMIX_EXPORT AudioWrapper_t {
  public:
    AudioWrapper_t();
    AudioWrapper_t(const AudioWrapper_t& other);
    virtual ~AudioWrapper_t();
    AudioWrapper_t& operator=(const AudioWrapper_t& other);

    // Opens the output that output_selection.h names and starts the engine. Does nothing if it runs already.
    //   window               the host's top-level window, passed on to the device; may be null
    //   usePrimaryBuffer     ask for the device's own buffer instead of one of 32768 bytes
    //   streamPageBytes      page size of sounds that stream from disk, rounded up to the system's pages
    //   streamPagesAhead     how many such pages a streaming voice asks for ahead of its position
    //   compressedPageBytes  page size of decoded sounds, rounded up likewise
    static void Initialize(void* window, bool usePrimaryBuffer, unsigned int streamPageBytes,
                           unsigned int streamPagesAhead, unsigned int compressedPageBytes);

    // Stops the engine and deletes all voices and sounds: every wrapper that the host still holds is void
    // then.
    static void DeInitialize();

    static bool IsInitialized();
    static bool IsMixing();                 // inside MixVoices, while voices are mixed
    static bool IsDirSoundEmulationMode();  // the device is emulated and needs larger margins

    // The device's interface. Stays the library's: do not release it, nor use it after DeInitialize.
    static IDirectSound* GetDSoundObjectPtr();

    // The lowest frame rate that the host expects to fall to, in frames a second; 8.0 after Initialize.
    // Higher makes changes heard sooner, lower is safer against late frames. Values that are not above 0 are
    // ignored.
    static void SetWorstCaseFrameRate(float framesPerSecond);

    // Once per host frame: starts voices and mixes all of them ahead. Not while paused: it then takes a
    // second.
    static void MixVoices();

    static void Pause();
    static void Resume();
};
