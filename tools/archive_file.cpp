// archive_file.cpp - a record's length stands nowhere: only its class finds the end. So whatever cannot be
// read makes all that follows unreadable, and the whole file an error.
#include "archive_file.h"

#include <algorithm>

#include "core/settings.h"
#include "foundation/binary_stream.h"
#include "foundation/class_registry.h"
#include "input_file.h"
#include "interrupt.h"
#include "number_text.h"
#include "output_file.h"
#include "sound_classes.h"
#include "sound_reader.h"
#include "sounds/riff_reader.h"

namespace tools {

namespace {

constexpr int32_t openForReading = 0;
constexpr uint32_t maxTagBytes = 32;             // with its length and its end: the end marker is the longest
constexpr uint32_t fixedRecordBytes = 256;       // more than a record takes beside its texts and its samples
constexpr uint64_t maxArchiveBytes = INT32_MAX;  // offsets of the engine's streams have 31 bits

bool IsEndMarker(const String_t& tag) { return SameText(tag.text, AudioSystem::archiveEndMarker.text); }

std::unique_ptr<Sound_t> CreateSound(const char* tag) {
    const platform::CriticalSectionLock_t lock(AudioSystem::soundTableLock);
    return std::unique_ptr<Sound_t>(static_cast<Sound_t*>(ClassRegistry::Create(tag)));
}

// A sound that could not be loaded still bears this name.
bool IsLoaded(const Sound_t& sound) { return !SameText(sound.name.text, defaultSoundName); }

// Enough for the record; 0, in which nothing can be written, if no archive can hold it.
uint32_t RoomFor(const archive_sound_t& record) {
    uint64_t bytes = fixedRecordBytes + record.path.size() + record.stored.header.name.size();
    if (record.sound != nullptr) bytes += record.stored.StoredBytes();
    return bytes <= maxArchiveBytes ? static_cast<uint32_t>(bytes) : 0;
}

void WriteRecord(const archive_sound_t& record, BinaryStream& stream) {
    stream << String_t(record.soundClass->tag);
    if (record.sound != nullptr) {
        record.sound->Serialize(stream, true);
    } else {
        stream << String_t(record.path.c_str());
    }
}

void ReadStreamFile(archive_sound_t& record) {
    SoundFile_t file;
    record.fileTrouble = file.Open(record.path);
    if (record.fileTrouble && file.Stored().IsAdpcm() != record.soundClass->isAdpcm) {
        record.fileTrouble = Failure(record.path, "Not a sound file of the class that the archive names");
    }
    if (record.fileTrouble) record.stored = file.Stored();
}

outcome_t LoadSoundFile(const std::filesystem::path& soundFile, archive_sound_t& record) {
    SoundFile_t file;  // says what is wrong, which the engine does not
    if (outcome_t opened = file.Open(soundFile); !opened) return opened;
    record.stored = file.Stored();
    if (record.soundClass->isStream) {
        record.path = soundFile.string();
        return Success();
    }
    record.sound = CreateSound(record.soundClass->tag);
    if (record.sound != nullptr) record.sound->LoadFromFile(soundFile.c_str());
    if (record.sound != nullptr && IsLoaded(*record.sound)) return Success();
    return Failure(soundFile.string(), "The engine cannot load this sound file");
}

}  // namespace

bool ArchiveFile_t::IsArchive(const std::filesystem::path& path) {
    const file_t file(CheckReadable(path) ? std::fopen(path.c_str(), "rb") : nullptr);
    uint8_t start[maxTagBytes];
    const size_t count = file != nullptr ? std::fread(start, 1, sizeof start, file.get()) : 0;
    BinaryStream stream(start, static_cast<uint32_t>(count));
    String_t tag;
    stream >> tag;
    return stream.Good() && (IsEndMarker(tag) || FindSoundClass(tag.text) != nullptr);
}

outcome_t ArchiveFile_t::Read(const std::filesystem::path& path) {
    shownName = path.string();
    if (outcome_t readable = CheckReadable(path); !readable) return readable;
    if (!IsArchive(path)) return Failure(shownName, "Not a sound archive");
    std::error_code error;
    if (std::filesystem::file_size(path, error) > maxArchiveBytes) {
        return Failure(shownName, "Longer than the engine reads: an archive has less than 2 GiB");
    }
    BinaryStream stream(path.c_str(), openForReading);
    String_t tag;
    for (;;) {
        const auto start = static_cast<uint32_t>(stream.TellRead());
        stream >> tag;
        if (stream.Good() && IsEndMarker(tag)) break;
        if (Interrupted()) return InterruptedFailure(shownName);
        if (outcome_t read = ReadRecord(stream, tag.text); !read) {
            return Failure(shownName, "After " + CountText(sounds.size(), "sound", "sounds") + ", at byte " +
                                          std::to_string(start) + ": " + read.reason);
        }
        sounds.back().recordBytes = static_cast<uint32_t>(stream.TellRead()) - start;
    }
    const uint32_t bytesBehind = stream.ReadableBytes();
    if (bytesBehind == 0) return Success();
    return Failure(shownName, CountText(bytesBehind, "byte stands", "bytes stand") + " behind its end");
}

outcome_t ArchiveFile_t::ReadRecord(BinaryStream& stream, const char* tag) {
    if (!stream.Good()) return Failure(shownName, "it ends without its end marker");
    archive_sound_t record;
    record.soundClass = FindSoundClass(tag);
    if (record.soundClass == nullptr) return Failure(shownName, "a record of no known class");
    if (record.soundClass->isStream) {
        String_t path;
        stream >> path;
        record.path = path.text;
        if (stream.Good()) ReadStreamFile(record);
    } else {
        record.sound = CreateSound(tag);
        record.sound->Serialize(stream, false);
        record.stored = DescribeSound(*record.sound);
        if (stream.Good() && !IsLoaded(*record.sound)) {
            return Failure(shownName, "a sound with the name that means none");
        }
    }
    if (!stream.Good()) return Failure(shownName, "its next sound is broken or cut short");
    return Keep(std::move(record), "another sound ");
}

// The reason of a failure is completed by the name.
outcome_t ArchiveFile_t::Keep(archive_sound_t record, const std::string& reason) {
    if (!names.insert(record.Name()).second) return Failure(shownName, reason + record.Name());
    sounds.push_back(std::move(record));
    return Success();
}

outcome_t ArchiveFile_t::Add(const std::filesystem::path& soundFile) {
    if (Interrupted()) return InterruptedFailure(soundFile.string());
    archive_sound_t record;
    record.soundClass = SoundClassOf(soundFile);
    if (record.soundClass == nullptr) {
        return Failure(soundFile.string(), "Not named like a sound file of the engine: import it first");
    }
    if (outcome_t loaded = LoadSoundFile(soundFile, record); !loaded) return loaded;
    BinaryStream stream(RoomFor(record));
    WriteRecord(record, stream);
    record.recordBytes = static_cast<uint32_t>(stream.TellWrite());
    if (!stream.Good() || Bytes() + record.recordBytes > maxArchiveBytes) {
        return Failure(soundFile.string(), "Does not fit: an archive holds less than 2 GiB");
    }
    outcome_t kept = Keep(std::move(record), "The archive has a sound of this name already: ");
    return kept ? Success() : Failure(soundFile.string(), kept.reason);
}

outcome_t ArchiveFile_t::Remove(const std::string& name) {
    if (names.erase(name) == 0)
        return Failure(shownName, "Has no sound " + name + ": ringmix archive list shows what it has");
    std::erase_if(sounds, [&](const archive_sound_t& sound) { return sound.Name() == name; });
    return Success();
}

const archive_sound_t* ArchiveFile_t::Find(const std::string& name) const {
    const auto found = std::find_if(sounds.begin(), sounds.end(),
                                    [&](const archive_sound_t& sound) { return sound.Name() == name; });
    return found == sounds.end() ? nullptr : &*found;
}

uint64_t ArchiveFile_t::Bytes() const {
    uint64_t bytes = 4 + std::char_traits<char>::length(AudioSystem::archiveEndMarker.text) + 1;
    for (const archive_sound_t& sound : sounds) bytes += sound.recordBytes;
    return bytes;
}

// As if the engine had loaded the sounds one by one and saved them.
std::vector<const archive_sound_t*> ArchiveFile_t::InEngineOrder() const {
    StringMap_t map(10);
    for (const archive_sound_t& sound : sounds) {
        map.FindOrInsert(sound.Name().c_str()) = const_cast<archive_sound_t*>(&sound);
    }
    std::vector<const archive_sound_t*> ordered;
    String_t key;
    void* value = nullptr;
    for (void* position = map.StartPosition(); position != nullptr;) {
        map.GetNext(position, key, value);
        ordered.push_back(static_cast<const archive_sound_t*>(value));
    }
    return ordered;
}

outcome_t ArchiveFile_t::Write(const std::filesystem::path& path) {
    OutputFile_t file;
    if (outcome_t made = file.Create(path); !made) return made;
    for (const archive_sound_t* sound : InEngineOrder()) {
        if (Interrupted()) return InterruptedFailure(path.string());
        BinaryStream stream(RoomFor(*sound));
        WriteRecord(*sound, stream);
        if (!stream.Good()) return Failure(path.string(), "No memory to write " + sound->Name());
        file.Write(stream.base, static_cast<size_t>(stream.TellWrite()));
    }
    BinaryStream stream(fixedRecordBytes);
    stream << AudioSystem::archiveEndMarker;
    file.Write(stream.base, static_cast<size_t>(stream.TellWrite()));
    return file.Commit();
}

outcome_t OpenSamples(const std::string& shownName, const archive_sound_t& sound, SoundFile_t& streamFile,
                      std::optional<SampleReader_t>& samples) {
    if (!sound.fileTrouble) return sound.fileTrouble;
    if (sound.sound != nullptr) {
        samples.emplace(shownName + " (" + sound.Name() + ")", sound.stored, ReadStoredBytes(*sound.sound));
        return Success();
    }
    if (outcome_t opened = streamFile.Open(sound.path); !opened) return opened;
    samples.emplace(streamFile.Samples());
    return Success();
}

}  // namespace tools
