// stream_sound.h - PCM straight from a sound file. Tag and file extension: "ssn"; the file is that of a
// simple sound.
//
// Page p of `pages` holds the sample bytes from p * streamPageBytes on; samples is their base.
#pragma once

#include "streaming/base_stream.h"
#include "streaming/file_pages.h"

class StreamSound_t : public BaseStream_t {
  public:
    bool IsASortOf(const char* className) const override;
    Voice_t* CreateCompatibleVoice(int32_t mixMode) override;
    void PlayOneShot() override;
    void LoadFromStdio(FILE* openFile) override;  // the header alone
    void LoadDataSupply() override;

    static Sound_t* GetDefaultSound();
    static Sound_t* GetTypedSound(const char* soundName, const char* archiveName);

    FilePages_t pages;
    uint64_t dataOffset = 0;  // in the file, of the first sample
};
