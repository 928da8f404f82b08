// class_registry.h - turns a short text tag into a new object.
//
// A tag is the extension of a sound file and the head of an archive record. The entries are static objects,
// one per class; they enter themselves in a list while the library is being loaded and leave it at unload.
// Thread: the list is written during load and unload only; callers of Create hold soundTableLock.
#pragma once

class ClassRegistry {
  public:
    // Returns a new object, owned by the caller, or null.
    using factory_t = void* (*)();

    // Puts the entry at the front of the list. The tag's text is not copied: it must outlive the entry.
    ClassRegistry(const char* newTag, factory_t factory) noexcept;

    // Takes the entry out of the list, wherever it stands there.
    virtual ~ClassRegistry();

    ClassRegistry(const ClassRegistry&) = delete;
    ClassRegistry& operator=(const ClassRegistry&) = delete;

    // The newest entry whose whole tag equals the text byte by byte; null if none does or the text is null.
    static ClassRegistry* Find(const char* wantedTag) noexcept;

    // A new object of the class with that tag, owned by the caller; null for an unknown tag. What a factory
    // throws passes through.
    static void* Create(const char* wantedTag);

    const char* tag;
    factory_t create;
    ClassRegistry* nextEntry;
};

namespace AudioSystem {

// Front of the list. Null before any constructor has run, so entries may be constructed in any translation
// unit.
extern ClassRegistry* classRegistryHead;

}  // namespace AudioSystem
