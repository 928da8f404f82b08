// simple_sound.h - a sound that lies decoded in one heap block. Tag and file extension: "sn".
#pragma once

#include "sounds/sound.h"

class SimpleSound_t : public Sound_t {
  public:
    void LoadFromBuffer(const void* image, unsigned size) override;
    bool IsASortOf(const char* className) const override;
    Voice_t* CreateCompatibleVoice(int32_t mixMode) override;
    void PlayOneShot() override;
    void Serialize(BinaryStream& stream, bool writing) override;
    void LoadFromStdio(FILE* file) override;

    static Sound_t* GetDefaultSound();
    static Sound_t* GetTypedSound(const char* soundName, const char* archiveName);

    // Turns a PCM wave file (8 or 16 bits, 1 or 2 channels, a rate up to 44,100 Hz) into a sound file; data
    // that is cut short counts as far as it goes. False, and no file at soundPath, if the wave file is not of
    // that kind or something cannot be read or written; an older file stays then.
    static bool ImportWaveFile(const char* wavePath, const char* soundPath, const char* name,
                               uint32_t lockFlags, float baseVolume);

  private:
    void Take(const sound_header_t& header, uint8_t* block);
};
