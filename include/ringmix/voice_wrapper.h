// voice_wrapper.h - a handle on one playing instance of a sound, and freeing voices.
//
// The handle owns nothing: the voice lives until one of the Free operations or AudioWrapper_t::DeInitialize
// deletes it, and the handle dangles then. Host thread only.
#pragma once

#include <ringmix/export.h>

class Voice_t;

class RINGMIX_EXPORT VoiceWrapper_t {
  public:
    VoiceWrapper_t();  // refers to no voice
    VoiceWrapper_t(const VoiceWrapper_t& other);
    virtual ~VoiceWrapper_t();
    VoiceWrapper_t& operator=(const VoiceWrapper_t& other);

    void SetVoicePointer(Voice_t* newVoice);

    void Play();   // from where it stands; heard from the next MixVoices on
    void Stop();   // and stays where it stands
    void Reset();  // Stop, and back to the start

    // In frames of the sound, from the start of the voice's queue. At or past the end counts as 0.
    void SetPos(unsigned int position);
    unsigned int GetPos();

    void SetLooping(bool looping);
    bool IsPlaying();

    // 0.0 to 1.0, above counts as 1.0; a negative left is ignored, a negative right takes the left value. A
    // voice with both channels below 0.1 is silent.
    void SetVolume(float left, float right);

    static void FreeAll();
    static void FreeVoicesUsingSound(const char* soundName, const char* archiveName);
    static void FreeVoicesUsingArchive(const char* archiveName);

  private:
    Voice_t* voice;
};
