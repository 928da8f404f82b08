// raw_stream_sound.h - a sound whose samples its owner hands over piece by piece while it plays. No file, no
// loader: memory is committed as data arrive and decommitted behind the play position, in the system's pages.
//
// The sound owns one voice, which chases the data: it stops where they end and goes on when more arrive.
// Thread: the host's; not during a frame tick.
#pragma once

#include "sounds/sound.h"

class RawStreamVoice_t;

class RawStreamSound_t : public Sound_t {
  public:
    RawStreamSound_t() = default;
    // Enters the sound into the archive (null: the default one). Without pages, or with a name that is taken,
    // it stays out and holds nothing.
    //   capacityFrames  what can be fed in all
    RawStreamSound_t(const char* newName, uint32_t channels, uint32_t bitsPerSample, uint32_t sampleRate,
                     uint32_t capacityFrames, const char* archive);
    ~RawStreamSound_t() override;

    void LoadFromBuffer(const void*, unsigned) override {}
    bool IsASortOf(const char* className) const override;
    Voice_t* CreateCompatibleVoice(int32_t) override { return nullptr; }  // it has only its own
    void PlayOneShot() override;                                          // starts or resumes the voice
    void Serialize(BinaryStream&, bool) override {}
    void LoadFromFile(const char*) override {}
    void LoadFromStdio(FILE*) override {}

    // Stores a piece, in the file form of samples. One that passes the capacity is refused whole.
    virtual void FeedData(const void* data, uint32_t bytes);
    virtual void StopStream();
    virtual void DestroyVoice();

    void SetStreamVolume(float left, float right);
    void SetStreamFrequency(float ratio);

    static Sound_t* GetDefaultSound();
    static Sound_t* GetTypedSound(const char* soundName, const char* archiveName);

    uint32_t committedPages = 0;  // from the range's start
    uint32_t releasedPages = 0;   // likewise
    uint32_t bytesFed = 0;
    uint32_t resumePosition = 0;        // the frame at which the voice goes on
    RawStreamVoice_t* voice = nullptr;  // owned
    float leftVolume = 1.0f;
    float rightVolume = 1.0f;
    float frequency = 1.0f;
    bool wantPlaying = false;

  private:
    bool Store(const void* data, uint32_t bytes);
    void Resume(uint32_t stopFrame);
    void ReleasePlayed();
    uint64_t RangeBytes() const;
};
