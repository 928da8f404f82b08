// sound_table.cpp - owns every loaded sound. soundTableLock is held around every change of the tables, since
// a host's loader walks them on a thread of its own, but never around reading a file.
#include <cstring>
#include <memory>
#include <new>

#include "core/settings.h"
#include "foundation/class_registry.h"
#include "sounds/simple_sound.h"
#include "sounds/sound.h"

namespace AudioSystem {

Archive_t* defaultSounds = nullptr;

namespace {

using tableLock_t = platform::CriticalSectionLock_t;

const char* Resolve(const char* archiveName) { return archiveName ? archiveName : defaultArchiveName.text; }

Archive_t* FindArchive(const char* archiveName) {
    void* archive = nullptr;
    return soundTable.Lookup(archiveName, archive) ? static_cast<Archive_t*>(archive) : nullptr;
}

Archive_t* FindOrCreateArchive(const char* archiveName) {
    const tableLock_t lock(soundTableLock);
    if (Archive_t* archive = FindArchive(archiveName)) return archive;
    auto archive = std::make_unique<Archive_t>();
    void*& place = soundTable.FindOrInsert(archiveName);
    place = archive.get();
    return archive.release();
}

// The text behind the last dot; null if there is none.
const char* TagOf(const char* path) {
    const char* dot = std::strrchr(path, '.');
    return dot ? dot + 1 : nullptr;
}

Sound_t* CreateByTag(const char* tag) {
    const tableLock_t lock(soundTableLock);
    return static_cast<Sound_t*>(ClassRegistry::Create(tag));
}

// The sound that stands under its name then: another one, if the name was taken.
Sound_t* Store(Sound_t* sound, Archive_t& archive, const char* archiveName) {
    const tableLock_t lock(soundTableLock);
    if (Sound_t* other = archive.Find(sound->name.text)) return other;
    sound->archiveName = archiveName;
    archive.FindOrInsert(sound->name.text) = sound;
    return sound;
}

template <typename Load>
load_outcome_t LoadInto(const char* archiveName, const char* taggedName, Load load) {
    Archive_t* archive = FindOrCreateArchive(archiveName);
    const char* tag = TagOf(taggedName);
    if (!tag) return {load_step_t::noTag, nullptr};
    std::unique_ptr<Sound_t> sound(CreateByTag(tag));
    if (!sound || !sound->IsASortOf("Sound")) return {load_step_t::unknownTag, nullptr};
    load(*sound);
    sound->classTag = tag;
    if (SameText(sound->name.text, defaultSoundName)) return {load_step_t::notRead, nullptr};
    Sound_t* stored = Store(sound.get(), *archive, archiveName);
    if (stored != sound.get()) return {load_step_t::nameTaken, stored};
    return {load_step_t::loaded, sound.release()};
}

}  // namespace

void LoadSound(const char* path, const char* archiveName) {
    if (path) (void)TryLoadSound(path, archiveName);
}

void LoadSoundFromBuffer(const char* name, const void* image, unsigned size) {
    if (name && image) (void)TryLoadSoundFromBuffer(name, image, size);
}

load_outcome_t TryLoadSound(const char* path, const char* archiveName) {
    return LoadInto(Resolve(archiveName), path, [&](Sound_t& sound) { sound.LoadFromFile(path); });
}

load_outcome_t TryLoadSoundFromBuffer(const char* name, const void* image, unsigned size) {
    return LoadInto(name, name, [&](Sound_t& sound) { sound.LoadFromBuffer(image, size); });
}

Sound_t* GetSound(const char* soundName, const char* archiveName) {
    Archive_t* archive = FindArchive(Resolve(archiveName));
    Sound_t* sound = archive && soundName ? archive->Find(soundName) : nullptr;
    return sound ? sound : FindDefaultSound("Sound");
}

bool EnterSound(Sound_t* sound, const char* archiveName) {
    const char* resolved = Resolve(archiveName);
    Archive_t* archive = FindOrCreateArchive(resolved);
    return Store(sound, *archive, resolved) == sound;
}

void FreeSound(const char* soundName, const char* archiveName) {
    const char* resolved = Resolve(archiveName);
    Archive_t* archive = FindArchive(resolved);
    if (!archive) return;
    const tableLock_t lock(soundTableLock);
    if (soundName) archive->RemoveSound(soundName);
    if (archive->count == 0) {
        soundTable.RemoveKey(resolved);
        delete archive;
    }
}

void FreeArchive(const char* archiveName) {
    const char* resolved = Resolve(archiveName);
    Archive_t* archive = FindArchive(resolved);
    if (!archive) return;
    const tableLock_t lock(soundTableLock);
    soundTable.RemoveKey(resolved);
    delete archive;
}

archive_outcome_t LoadArchive(const char* path, const char* archiveName) {
    const char* resolved = Resolve(archiveName);
    const tableLock_t lock(soundTableLock);
    Archive_t* archive = path ? FindOrCreateArchive(resolved) : nullptr;
    return archive ? archive->Load(path, resolved) : archive_outcome_t{};
}

archive_outcome_t LoadArchiveFromBuffer(const void* image, unsigned size, const char* archiveName) {
    const char* resolved = Resolve(archiveName);
    const tableLock_t lock(soundTableLock);
    Archive_t* archive = image ? FindOrCreateArchive(resolved) : nullptr;
    return archive ? archive->LoadFromBuffer(image, size, resolved) : archive_outcome_t{};
}

bool SaveArchive(const char* path, const char* archiveName) {
    Archive_t* archive = FindArchive(Resolve(archiveName));
    return archive && path && archive->Save(path);
}

int32_t SaveArchiveToBuffer(void* buffer, unsigned size, const char* archiveName) {
    Archive_t* archive = FindArchive(Resolve(archiveName));
    return archive && buffer ? archive->SaveToBuffer(buffer, size) : 0;
}

// Null only while the system is down, when there is no table of default sounds.
Sound_t* FindDefaultSound(const char* className) {
    if (!defaultSounds) return nullptr;
    if (Sound_t* sound = defaultSounds->Find(className)) return sound;
    if (!SameText(className, "Sound")) return nullptr;
    return SetDefaultSound(className, std::make_unique<SimpleSound_t>());
}

Sound_t* SetDefaultSound(const char* className, std::unique_ptr<Sound_t> sound) {
    void*& place = defaultSounds->FindOrInsert(className);
    place = sound.get();
    return sound.release();
}

}  // namespace AudioSystem

void Sound_t::FreeAll() {
    using namespace AudioSystem;
    const tableLock_t lock(soundTableLock);
    for (void* position = soundTable.StartPosition(); position;) {
        delete static_cast<Archive_t*>(soundTable.NextValue(position));
    }
    soundTable.RemoveAll();
}
