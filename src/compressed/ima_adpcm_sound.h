// ima_adpcm_sound.h - a sound held in memory as IMA ADPCM blocks. Tag and file extension: "isn".
//
// Its file: "IMA_ADPCM_Sound ", blockBytes and a blank, then the fields of sounds/sound_file.h from the name
// on, with the number of compressed bytes as the last, then the blocks.
#pragma once

#include <string>
#include <string_view>

#include "compressed/compressed_sound.h"

class IMA_ADPCM_Sound_t : public CompressedSound_t {
  public:
    void LoadFromBuffer(const void* image, unsigned size) override;
    bool IsASortOf(const char* className) const override;
    void Serialize(BinaryStream& stream, bool writing) override;
    void LoadFromStdio(FILE* file) override;
    bool DecodeRange(uint32_t start, uint32_t end, void* decoderState) override;
    void* NewDecoderState() override;
    void FreeDecoderState(void* decoderState) override;

    static Sound_t* GetDefaultSound();
    static Sound_t* GetTypedSound(const char* soundName, const char* archiveName);

    // Turns a wave file into a sound file: IMA ADPCM as it is, PCM (8 or 16 bits, 1 or 2 channels, up to
    // 44,100 Hz) encoded. False, and no file at soundPath, if that cannot be done; an older file stays then.
    static bool ImportWaveFile(const char* wavePath, const char* soundPath, const char* name,
                               uint32_t lockFlags, float baseVolume);

    uint32_t blockBytes = 0;
    uint32_t samplesPerBlock = 0;  // frames; follows from blockBytes

  private:
    void SetBlockSize(uint32_t bytes);
};
