// host_archive.cpp - archives as a whole: load, save, list, free.
#include <cstring>

#include "api/host_access.h"
#include "api/load_problem.h"
#include "foundation/binary_stream.h"
#include "voices/voice.h"

namespace ringmix {

using host::Refuse;
using host::WithEngine;

namespace {

constexpr uint32_t firstImageBytes = 65536;  // grows by doubling

const char* Resolve(const char* archiveName) {
    return archiveName ? archiveName : AudioSystem::defaultArchiveName.text;
}

Archive_t* FindArchive(const char* archiveName) {
    void* archive = nullptr;
    return AudioSystem::soundTable.Lookup(Resolve(archiveName), archive) ? static_cast<Archive_t*>(archive)
                                                                         : nullptr;
}

result_t RefuseUnknown(const char* archiveName) {
    return Refuse(problem_t::notFound, "there is no archive \"%s\"", Resolve(archiveName));
}

result_t Judge(const archive_outcome_t& outcome, const char* what) {
    if (!outcome.isOpen) return Refuse(problem_t::unreadable, "%s: cannot be read", what);
    if (outcome.unknownTag.text[0] != '\0')
        return Refuse(problem_t::unreadable, "%s: what follows %u sounds is of an unknown kind, \"%.40s\"",
                      what, outcome.storedSounds + outcome.missingSounds, outcome.unknownTag.text);
    if (!outcome.isWhole)
        return Refuse(problem_t::unreadable, "%s: is damaged, or cut short, behind %u sounds", what,
                      outcome.storedSounds + outcome.missingSounds);
    return {};
}

// Frees the voices of what is replaced under the lock, and reads without it, so that a pump ticks on.
template <typename Read>
result_t Replace(const char* archiveName, archive_count_t* count, const char* what, Read read) {
    if (count) *count = {};
    result_t isFreed = WithEngine([&] {
        AudioSystem::FreeVoicesUsingArchive(archiveName);
        return result_t{};
    });
    if (!isFreed) return isFreed;
    try {
        const archive_outcome_t outcome = read();
        if (count) *count = {outcome.storedSounds, outcome.missingSounds};
        return Judge(outcome, what);
    } catch (const std::bad_alloc&) {
        return Refuse(problem_t::outOfMemory, "%s: out of memory", what);
    }
}

}  // namespace

result_t Archives_t::Load(const char* path, const char* archiveName, archive_count_t* count) {
    if (!path) return Refuse(problem_t::badArgument, "a path is needed");
    if (const char* reason = host::WhyNotOpen(path))
        return Refuse(problem_t::notFound, "%s: %s", path, reason);
    return Replace(archiveName, count, path, [&] { return AudioSystem::LoadArchive(path, archiveName); });
}

result_t Archives_t::LoadFromMemory(const void* image, uint32_t imageBytes, const char* archiveName,
                                    archive_count_t* count) {
    if (!image) return Refuse(problem_t::badArgument, "an image is needed");
    return Replace(archiveName, count, "the image",
                   [&] { return AudioSystem::LoadArchiveFromBuffer(image, imageBytes, archiveName); });
}

result_t Archives_t::Save(const char* path, const char* archiveName) {
    if (!path) return Refuse(problem_t::badArgument, "a path is needed");
    return WithEngine([&] {
        Archive_t* archive = FindArchive(archiveName);
        if (!archive) return RefuseUnknown(archiveName);
        if (!archive->Save(path)) return Refuse(problem_t::unwritable, "%s: cannot be written whole", path);
        return result_t{};
    });
}

result_t Archives_t::SaveToMemory(void* buffer, uint32_t bufferBytes, const char* archiveName,
                                  uint32_t& writtenBytes) {
    writtenBytes = 0;
    if (!buffer && bufferBytes > 0) return Refuse(problem_t::badArgument, "a buffer is needed");
    return WithEngine([&] {
        Archive_t* archive = FindArchive(archiveName);
        if (!archive) return RefuseUnknown(archiveName);
        BinaryStream stream(firstImageBytes);
        archive->WriteSounds(stream);
        if (!stream.Good()) return Refuse(problem_t::outOfMemory, "the image takes 2 GiB or more, or memory");
        writtenBytes = static_cast<uint32_t>(stream.TellWrite());
        if (!buffer) return result_t{};
        if (writtenBytes > bufferBytes)
            return Refuse(problem_t::full, "the image takes %u bytes, the buffer has %u", writtenBytes,
                          bufferBytes);
        std::memcpy(buffer, stream.base, writtenBytes);
        return result_t{};
    });
}

uint32_t Archives_t::GetSoundCount(const char* archiveName) {
    const host::engineLock_t lock(host::engineLock);
    const Archive_t* archive = FindArchive(archiveName);
    return archive ? static_cast<uint32_t>(archive->count) : 0;
}

SoundHandle_t Archives_t::GetSound(const char* archiveName, uint32_t index) {
    SoundHandle_t found;
    (void)WithEngine([&] {
        const Archive_t* archive = FindArchive(archiveName);
        if (!archive || index >= static_cast<uint32_t>(archive->count)) return result_t{};
        String_t key;
        void* sound = nullptr;
        void* position = archive->StartPosition();
        for (uint32_t i = 0; i <= index; ++i) archive->GetNext(position, key, sound);
        found = host::HandleOf(*static_cast<Sound_t*>(sound));
        return result_t{};
    });
    return found;
}

result_t Archives_t::Free(const char* archiveName) {
    return WithEngine([&] {
        if (!FindArchive(archiveName)) return RefuseUnknown(archiveName);
        AudioSystem::FreeVoicesUsingArchive(archiveName);
        AudioSystem::FreeArchive(archiveName);
        return result_t{};
    });
}

}  // namespace ringmix
