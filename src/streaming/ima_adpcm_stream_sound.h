// ima_adpcm_stream_sound.h - IMA ADPCM blocks played from their file. Tag and file extension: "iss"; the file
// is that of an IMA_ADPCM_Sound_t.
#pragma once

#include "streaming/compressed_stream_sound.h"

class IMA_ADPCM_StreamSound_t : public CompressedStreamSound_t {
  public:
    bool IsASortOf(const char* className) const override;
    void LoadFromStdio(FILE* openFile) override;
    bool DecodeRange(uint32_t start, uint32_t end, void* decoderState) override;
    void* NewDecoderState() override;
    void FreeDecoderState(void* decoderState) override;
    // A frame at a block's start stands at the block's first byte, any other at the byte that holds its
    // nibble.
    void GetCompressedRange(uint64_t& startByte, uint64_t& endByte, uint32_t start, uint32_t end) override;

    static Sound_t* GetDefaultSound();
    static Sound_t* GetTypedSound(const char* soundName, const char* archiveName);

    uint32_t blockBytes = 0;
    uint32_t samplesPerBlock = 0;  // frames

  private:
    uint64_t ByteOf(uint32_t frame) const;
};
