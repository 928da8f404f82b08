// sound_wrapper.h - a handle on one loaded sound, and loading and freeing sounds.
//
// A sound is addressed by its name and the name of the archive that it was loaded into; a null archive name
// means "DefaultArchive". A handle owns nothing: deleting it leaves the sound, and freeing the sound leaves
// the handle dangling. Everything belongs between AudioWrapper_t::Initialize and DeInitialize, on the host
// thread. Loads fail silently: ask GetSound, then IsDefault. Nothing throws: without memory a new handle is
// null or refers to nothing, and answers harmlessly.
#pragma once

#include <ringmix/export.h>

class Sound_t;
class VoiceWrapper_t;

class RINGMIX_EXPORT SoundWrapper_t {
  public:
    SoundWrapper_t();  // refers to no sound
    SoundWrapper_t(const SoundWrapper_t& other);
    virtual ~SoundWrapper_t();
    SoundWrapper_t& operator=(const SoundWrapper_t& other);

    void SetSoundPointer(Sound_t* newSound);

    bool IsDefault();  // the sound of 0 frames that stands in for a name that is not loaded
    bool IsASortOf(const char* className);

    // A new voice on the sound. The wrapper is the caller's, the voice the engine's.
    //   mixMode  0 or 1: changes are heard soon; 2: mixed as far ahead as possible, for sounds that nobody
    //   will change
    VoiceWrapper_t* CreateCompatibleVoice(int mixMode);

    void LoadDataSupply();  // reads what this sound's voices have asked for, if it streams from disk

    // The extension of the path picks the class; the name stands in the file. A name that the archive already
    // holds keeps the old sound.
    static void LoadSound(const char* path, const char* archiveName);
    // The same from an image in memory. `name` picks the class by what follows its last dot, and is the
    // archive's name.
    static void LoadSoundFromBuffer(const char* name, void* image, unsigned int imageBytes);
    // A new handle, the caller's; on the default sound if there is none of that name.
    static SoundWrapper_t* GetSound(const char* soundName, const char* archiveName);

    // Free the voices that use a sound first.
    static void FreeSound(const char* soundName, const char* archiveName);
    static void FreeArchive(const char* archiveName);
    static void FreeAll();

  private:
    Sound_t* sound;
};
