// class_registry.cpp - runs while static objects come to life: the head is set at compile time, before any of
// them.
#include "foundation/class_registry.h"

#include <cassert>
#include <cstring>

namespace AudioSystem {

constinit ClassRegistry* classRegistryHead = nullptr;

}  // namespace AudioSystem

using AudioSystem::classRegistryHead;

ClassRegistry::ClassRegistry(const char* newTag, factory_t factory) noexcept
    : tag(newTag != nullptr ? newTag : ""), create(factory), nextEntry(classRegistryHead) {
    assert(newTag != nullptr && factory != nullptr);
    classRegistryHead = this;
}

ClassRegistry::~ClassRegistry() {
    ClassRegistry** link = &classRegistryHead;
    while (*link != nullptr && *link != this) link = &(*link)->nextEntry;
    if (*link == this) *link = nextEntry;
}

ClassRegistry* ClassRegistry::Find(const char* wantedTag) noexcept {
    if (wantedTag == nullptr) return nullptr;
    ClassRegistry* entry = classRegistryHead;
    while (entry != nullptr && std::strcmp(entry->tag, wantedTag) != 0) entry = entry->nextEntry;
    return entry;
}

void* ClassRegistry::Create(const char* wantedTag) {
    const ClassRegistry* entry = Find(wantedTag);
    return entry != nullptr && entry->create != nullptr ? entry->create() : nullptr;
}
