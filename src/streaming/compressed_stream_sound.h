// compressed_stream_sound.h - compressed data in a file, decoded as voices reach it: file pages bring the
// compressed bytes in ahead of the voices, decoded pages take the samples of the current mix step. A concrete
// class adds the codec.
#pragma once

#include "compressed/decoded_pages.h"
#include "streaming/base_stream.h"
#include "streaming/file_pages.h"

class CompressedStreamSound_t : public BaseStream_t {
  public:
    bool IsASortOf(const char* className) const override;
    Voice_t* CreateCompatibleVoice(int32_t mixMode) override;
    void PlayOneShot() override;
    void LoadFromStdio(
        FILE* openFile) override;  // what stands behind a concrete class's own header, not the data
    void LoadDataSupply() override;

    // Slots that a concrete class supplies; the first three as in CompressedSound_t.
    virtual bool DecodeRange(uint32_t start, uint32_t end, void* decoderState) = 0;
    virtual void* NewDecoderState() = 0;
    virtual void FreeDecoderState(void* decoderState) = 0;
    // Where frames start and end stand in the compressed data, as byte offsets.
    virtual void GetCompressedRange(uint64_t& startByte, uint64_t& endByte, uint32_t start, uint32_t end) = 0;

    // Moves a voice's window of decoded frames to start up to end, and decodes from frame decodedEnd on.
    bool MoveDecoded(frame_window_t& window, uint32_t start, uint32_t end, uint32_t decodedEnd,
                     void* decoderState);
    void ResetDecoded(frame_window_t& window, uint32_t newPos) { decodedPages.Reset(window, newPos); }
    void ReleaseDecoded(frame_window_t& window) { (void)decodedPages.Drop(window); }

    static Sound_t* GetDefaultSound();
    static Sound_t* GetTypedSound(const char* soundName, const char* archiveName);

    uint8_t* compressedData = nullptr;  // base of the file pages
    uint32_t compressedBytes = 0;
    FilePages_t filePages;
    DecodedPages_t decodedPages;  // samples is their base
    uint64_t dataOffset = 0;      // in the file, of the compressed data

    ~CompressedStreamSound_t() override;

  protected:
    void UnloadStream();
};

// What a compressed stream voice has when nothing is loaded: no frames, no file, no codec.
class DummyCompressedStreamSound_t : public CompressedStreamSound_t {
  public:
    bool DecodeRange(uint32_t, uint32_t, void*) override { return false; }
    void* NewDecoderState() override { return nullptr; }
    void FreeDecoderState(void*) override {}
    void GetCompressedRange(uint64_t& startByte, uint64_t& endByte, uint32_t, uint32_t) override {
        startByte = endByte = 0;
    }
};
