// compressed_sound.h - a sound whose compressed data lie in memory and whose decoded samples exist only where
// a voice plays. A concrete class adds the codec.
#pragma once

#include "compressed/decoded_pages.h"
#include "sounds/sample_heap.h"
#include "sounds/sound.h"

struct sound_header_t;

class CompressedSound_t : public Sound_t {
  public:
    ~CompressedSound_t() override;

    void LoadFromBuffer(const void* image,
                        unsigned size) override;  // what stands behind a concrete class's own header
    bool IsASortOf(const char* className) const override;
    Voice_t* CreateCompatibleVoice(int32_t mixMode) override;
    void PlayOneShot() override;
    // The record: format, name and compressed data. Reading drops what the sound held; a record that claims
    // more than the stream holds is an error of the stream and leaves the sound empty.
    void Serialize(BinaryStream& stream, bool writing) override;
    void LoadFromStdio(FILE* file) override;  // as LoadFromBuffer

    // Slots that a concrete class supplies.

    // Writes frames start up to end to their place, as signed samples, into pages that are held. False stops
    // the voice.
    virtual bool DecodeRange(uint32_t start, uint32_t end, void* decoderState) = 0;
    virtual void* NewDecoderState() = 0;  // of one voice
    virtual void FreeDecoderState(void* decoderState) = 0;

    // What voices call, with the window that they hold.

    // Moves the window to start up to end, and decodes, in memory form, from frame decodedEnd on. False stops
    // the voice.
    bool MoveWindow(frame_window_t& window, uint32_t start, uint32_t end, uint32_t decodedEnd,
                    void* decoderState);
    // Drops the window for an empty one at newPos.
    void ResetWindow(frame_window_t& window, uint32_t newPos) { pages.Reset(window, newPos); }
    void ReleaseWindow(frame_window_t& window) { (void)pages.Drop(window); }
    const DecodedPages_t& Pages() const { return pages; }

    static Sound_t* GetDefaultSound();
    static Sound_t* GetTypedSound(const char* soundName, const char* archiveName);

    uint8_t* compressedData = nullptr;  // from AllocateSamples
    uint32_t compressedBytes = 0;
    int32_t* pageRefCounts = nullptr;  // one a page; the pages' own

  protected:
    // Back to a sound that holds nothing, after a load that failed.
    void Unload();

  private:
    void Discard();
    void SetFormat(const sound_header_t& header);
    bool Take(const sound_header_t& header, samples_t data, uint32_t dataBytes);

    DecodedPages_t pages;  // samples is their base
};

// What a compressed voice has when nothing is loaded: no frames, no codec.
class DummyCompressedSound_t : public CompressedSound_t {
  public:
    void LoadFromBuffer(const void*, unsigned) override {}
    bool DecodeRange(uint32_t, uint32_t, void*) override { return false; }
    void* NewDecoderState() override { return nullptr; }
    void FreeDecoderState(void*) override {}
};
