// archive.h - a named set of sounds that owns them, and its file.
//
// The file is tag and record of each sound in the map's order, closed by "end_of_sound_archive"; the tag
// picks the class, which alone knows where its record ends. Sounds without a tag are not stored.
#pragma once

#include <memory>

#include "foundation/string_map.h"

class BinaryStream;
class Sound_t;

// What a load or image came to.
struct archive_outcome_t {
    uint32_t storedSounds = 0;
    uint32_t missingSounds = 0;  // records that were read, of streams whose own file could not be
    bool isOpen = false;         // there was a file, or an image, to be read
    bool isWhole = false;        // everything up to the end marker was read
    String_t unknownTag;         // that ended the load; else empty
};

// Sound name to Sound_t*. A sound's key equals its name.
class Archive_t : public StringMap_t {
  public:
    Archive_t() : StringMap_t(10) {}
    ~Archive_t() { FreeSounds(); }

    Sound_t* Find(const char* soundName);     // null if absent
    void RemoveSound(const char* soundName);  // destroys it
    void FreeSounds();                        // destroys all

    // What the archive held before is destroyed first, also if nothing can be read. A record that cannot be
    // read, or whose tag has no class, ends the load; what came before stays. A later record of the same name
    // replaces the earlier one. Both take soundTableLock around each creation.
    archive_outcome_t Load(const char* path, const char* archiveName);
    archive_outcome_t LoadFromBuffer(const void* image, unsigned size, const char* archiveName);

    // No voice may mix these sounds meanwhile. A file that cannot be written whole leaves an older one as it
    // was; false then.
    bool Save(const char* path);
    // Bytes written; a buffer that is too small ends the image early.
    int32_t SaveToBuffer(void* buffer, unsigned size);

    void WriteSounds(BinaryStream& stream);  // what both write

  private:
    archive_outcome_t ReadSounds(BinaryStream& stream, const char* archiveName);
    bool Store(std::unique_ptr<Sound_t> sound);
};

namespace AudioSystem {

// A null archive name means the default archive. The loads hold soundTableLock throughout.
archive_outcome_t LoadArchive(const char* path, const char* archiveName);
archive_outcome_t LoadArchiveFromBuffer(const void* image, unsigned size, const char* archiveName);
bool SaveArchive(const char* path, const char* archiveName);  // false also for an unknown archive
int32_t SaveArchiveToBuffer(void* buffer, unsigned size,
                            const char* archiveName);  // 0 for an unknown archive

}  // namespace AudioSystem
