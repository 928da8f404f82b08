// base_stream.h - the base of sounds that stay in their file and come into memory ahead of the voices.
//
// Voices post requests and never wait; files are read only in LoadStreams and LoadDataSupply, on the thread
// on which the host calls them. A stream keeps its file open for its whole life.
#pragma once

#include <cstdint>

#include "sounds/sound.h"

class BaseStream_t : public Sound_t {
  public:
    ~BaseStream_t() override;

    void LoadFromBuffer(const void*, unsigned) override {}  // a stream does not come from memory
    bool IsASortOf(const char* className) const override;
    void Serialize(BinaryStream& stream, bool writing) override;  // the path alone
    void LoadFromFile(const char* newPath) override;

    // A loader's pass over this sound's pages. The caller holds soundTableLock.
    virtual void LoadDataSupply() = 0;

    static const char* SortName();  // "BaseStream"
    static Sound_t* GetDefaultSound();
    static Sound_t* GetTypedSound(const char* soundName, const char* archiveName);

    String_t path;
    FILE* file = nullptr;  // owned

  protected:
    void Unload();  // back to a sound that holds nothing, after a load that failed
};

namespace AudioSystem {

// One pass over every stream. Holds soundTableLock throughout. Does nothing unless the system runs.
void LoadStreams();
// One pass over this sound, if it is a stream.
void LoadDataSupply(Sound_t* sound);

}  // namespace AudioSystem
