#include "sounds/archive.h"

#include <cstdio>
#include <string>

#include "core/settings.h"
#include "foundation/binary_stream.h"
#include "foundation/class_registry.h"
#include "sounds/sound.h"

namespace {

constexpr int32_t openForReading = 0, createForWriting = 1;

// Every sound of the map, in its order. The action may destroy the sound.
template <typename Action>
void ForEachSound(const Archive_t& archive, Action act) {
    for (void* position = archive.StartPosition(); position;) {
        if (void* sound = archive.NextValue(position)) act(static_cast<Sound_t*>(sound));
    }
}

Sound_t* CreateByTag(const char* tag) {
    const platform::CriticalSectionLock_t lock(AudioSystem::soundTableLock);
    return static_cast<Sound_t*>(ClassRegistry::Create(tag));
}

}  // namespace

Sound_t* Archive_t::Find(const char* soundName) {
    void* sound = nullptr;
    return Lookup(soundName, sound) ? static_cast<Sound_t*>(sound) : nullptr;
}

void Archive_t::RemoveSound(const char* soundName) {
    Sound_t* sound = Find(soundName);
    if (RemoveKey(soundName)) delete sound;
}

void Archive_t::FreeSounds() {
    ForEachSound(*this, [](Sound_t* sound) { delete sound; });
    RemoveAll();
}

archive_outcome_t Archive_t::Load(const char* path, const char* archiveName) {
    BinaryStream stream(path, openForReading);
    return ReadSounds(stream, archiveName);
}

archive_outcome_t Archive_t::LoadFromBuffer(const void* image, unsigned size, const char* archiveName) {
    // The stream takes what it may also write to; nothing writes here.
    BinaryStream stream(static_cast<uint8_t*>(const_cast<void*>(image)), size);
    return ReadSounds(stream, archiveName);
}

archive_outcome_t Archive_t::ReadSounds(BinaryStream& stream, const char* archiveName) {
    FreeSounds();
    archive_outcome_t outcome;
    outcome.isOpen = stream.Good();
    String_t tag;
    for (stream >> tag; stream.Good() && !SameText(tag.text, AudioSystem::archiveEndMarker.text);
         stream >> tag) {
        std::unique_ptr<Sound_t> sound(CreateByTag(tag.text));
        if (!sound) {  // nothing tells where its record ends
            outcome.unknownTag = tag;
            return outcome;
        }
        sound->Serialize(stream, false);
        if (!stream.Good()) return outcome;
        sound->archiveName = archiveName;
        sound->classTag = tag;
        ++(Store(std::move(sound)) ? outcome.storedSounds : outcome.missingSounds);
    }
    outcome.isWhole = stream.Good();
    return outcome;
}

// A sound that could not be loaded although its record could be read (its own file is missing) is left out.
bool Archive_t::Store(std::unique_ptr<Sound_t> sound) {
    if (SameText(sound->name.text, defaultSoundName)) return false;
    void*& place = FindOrInsert(sound->name.text);
    delete static_cast<Sound_t*>(place);
    place = sound.release();
    return true;
}

void Archive_t::WriteSounds(BinaryStream& stream) {
    ForEachSound(*this, [&](Sound_t* sound) {
        if (SameText(sound->classTag.text, "")) return;
        stream << sound->classTag;
        sound->Serialize(stream, true);
    });
    stream << AudioSystem::archiveEndMarker;
}

bool Archive_t::Save(const char* path) {
    const std::string partPath = std::string(path) + ".part";
    std::remove(partPath.c_str());  // the stream creates a file, but does not shorten one
    bool isWritten;
    {
        BinaryStream stream(partPath.c_str(), createForWriting);
        WriteSounds(stream);
        stream.Flush();
        isWritten = stream.Good() && !std::ferror(stream.file);
    }
    if (isWritten && std::rename(partPath.c_str(), path) == 0) return true;
    std::remove(partPath.c_str());
    return false;
}

int32_t Archive_t::SaveToBuffer(void* buffer, unsigned size) {
    BinaryStream stream(static_cast<uint8_t*>(buffer), size);
    WriteSounds(stream);
    return stream.TellWrite();
}
