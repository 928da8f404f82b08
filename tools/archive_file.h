// archive_file.h - a sound archive on disk: read whole and checked, changed, written again.
//
// The engine's own load is silent and keeps what came before a broken record. Here such an archive is an
// error, so that nothing is lost when one is written again. Records are read and written by the engine's
// classes; only those of streams, which are a path and nothing else, are kept as that: their files need not
// be there.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "outcome.h"
#include "sample_reader.h"
#include "sounds/sound.h"
#include "stored_sound.h"

class BinaryStream;

namespace tools {

class SoundFile_t;
struct sound_class_t;

struct archive_sound_t {
    const sound_class_t* soundClass = nullptr;
    stored_sound_t stored;              // of a stream: what its file says
    std::unique_ptr<Sound_t> sound;     // null for a stream
    std::string path;                   // of a stream's file
    outcome_t fileTrouble = Success();  // why a stream's file cannot be read; `stored` is then empty
    uint32_t recordBytes = 0;           // tag and record

    // A stream whose file is gone has no name: it goes by its path.
    const std::string& Name() const { return fileTrouble ? stored.header.name : path; }
};

class ArchiveFile_t {
  public:
    // Whether the file begins like an archive.
    static bool IsArchive(const std::filesystem::path& path);

    // Fails unless everything in the file is understood, up to the marker at its very end, and no two sounds
    // have one name.
    outcome_t Read(const std::filesystem::path& path);

    // Puts a sound file into the archive. A stream's file stays where it is: the record is the path as given.
    outcome_t Add(const std::filesystem::path& soundFile);
    outcome_t Remove(const std::string& name);

    // In the engine's own order. The file appears when it is complete.
    outcome_t Write(const std::filesystem::path& path);

    const archive_sound_t* Find(const std::string& name) const;  // null if there is none
    const std::vector<archive_sound_t>& Sounds() const { return sounds; }
    uint64_t Bytes() const;  // of the file that Write would make

  private:
    outcome_t ReadRecord(BinaryStream& stream, const char* tag);
    outcome_t Keep(archive_sound_t record, const std::string& reason);
    std::vector<const archive_sound_t*> InEngineOrder() const;

    std::string shownName;
    std::vector<archive_sound_t> sounds;
    std::set<std::string> names;
};

// The samples of one of the archive's sounds, for as long as both arguments live: `streamFile` is opened for
// a stream.
outcome_t OpenSamples(const std::string& shownName, const archive_sound_t& sound, SoundFile_t& streamFile,
                      std::optional<SampleReader_t>& samples);

}  // namespace tools
