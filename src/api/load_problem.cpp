#include "api/load_problem.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "api/host_access.h"
#include "compressed/ima_adpcm_file.h"
#include "foundation/class_registry.h"
#include "foundation/measure_rest.h"
#include "sounds/riff_reader.h"
#include "sounds/sound_file.h"

namespace host {
namespace {

constexpr std::size_t headRoom = 2 * maxSoundHeaderBytes;  // an IMA header has one word and number more

// The beginning of a sound file, and how long the whole is.
struct sound_bytes_t {
    std::string_view head;
    uint64_t bytes;
};

std::string_view TagOf(const char* name) {
    const char* dot = std::strrchr(name, '.');
    return dot ? dot + 1 : "";
}

bool IsImaTag(std::string_view tag) { return tag == "isn" || tag == "iss"; }
bool IsStreamTag(std::string_view tag) { return tag == "ssn" || tag == "iss"; }

std::string KnownTags() {
    std::string tags;
    for (const ClassRegistry* entry = AudioSystem::classRegistryHead; entry; entry = entry->nextEntry)
        tags += (tags.empty() ? "" : ", ") + std::string(entry->tag);
    return tags;
}

result_t RefuseName(const char* soundName) {
    return Refuse(problem_t::badArgument, "\"%s\" is no name for a sound", soundName);
}

result_t RefuseShort(const char* name, uint64_t needed, uint64_t there) {
    return Refuse(problem_t::unreadable, "%s: cut short, its header tells of %llu bytes and %llu are there",
                  name, static_cast<unsigned long long>(needed), static_cast<unsigned long long>(there));
}

// What is left if the bytes are in order.
result_t BlameMemory(const char* name, bool needsPages, uint32_t pageBytes) {
    if (needsPages && pageBytes == 0)
        return Refuse(problem_t::badArgument, "%s: the engine was started with pages of 0 bytes", name);
    return Refuse(problem_t::outOfMemory, "%s: there is no memory, or no addresses, for it", name);
}

result_t ExplainPcm(const char* name, const sound_bytes_t& sound, bool isStream) {
    sound_header_t header;
    const uint32_t headerBytes = ParseSoundHeader(sound.head, header);
    if (headerBytes == 0)
        return Refuse(problem_t::unreadable, "%s: does not begin with the header of a sound file", name);
    if (SameText(header.name.c_str(), defaultSoundName)) return RefuseName(header.name.c_str());
    const uint64_t needed = headerBytes + header.SampleBytes();
    if (needed > sound.bytes) return RefuseShort(name, needed, sound.bytes);
    return BlameMemory(name, isStream, AudioSystem::streamPageBytes);
}

result_t ExplainIma(const char* name, const sound_bytes_t& sound, bool isStream) {
    uint32_t blockBytes = 0, dataBytes = 0;
    sound_header_t header;
    const uint32_t wordBytes = ParseImaHead(sound.head, blockBytes);
    const uint32_t fieldBytes =
        wordBytes ? ParseSoundFields(sound.head.substr(wordBytes), header, &dataBytes) : 0;
    if (fieldBytes == 0)
        return Refuse(problem_t::unreadable, "%s: does not begin with the header of an IMA ADPCM sound",
                      name);
    if (SameText(header.name.c_str(), defaultSoundName)) return RefuseName(header.name.c_str());
    const uint64_t needed = uint64_t{wordBytes} + fieldBytes + dataBytes;
    if (needed > sound.bytes) return RefuseShort(name, needed, sound.bytes);
    if (!ImaBlocksHold(header.frameCount, dataBytes, blockBytes, header.is16Bit, header.isStereo))
        return Refuse(problem_t::unreadable, "%s: %u frames are not what %u bytes in blocks of %u hold", name,
                      header.frameCount, dataBytes, blockBytes);
    const uint32_t pageBytes = AudioSystem::compressedPageBytes;
    return BlameMemory(name, true, isStream && AudioSystem::streamPageBytes == 0 ? 0 : pageBytes);
}

result_t ExplainBytes(const char* name, const sound_bytes_t& sound) {
    const std::string_view tag = TagOf(name);
    return IsImaTag(tag) ? ExplainIma(name, sound, IsStreamTag(tag))
                         : ExplainPcm(name, sound, IsStreamTag(tag));
}

result_t ExplainUnreadFile(const char* path) {
    if (const char* reason = WhyNotOpen(path)) return Refuse(problem_t::notFound, "%s: %s", path, reason);
    const file_t file(std::fopen(path, "rb"));
    uint64_t bytes = 0;
    if (!file || !MeasureRest(file.get(), bytes))
        return Refuse(problem_t::unreadable, "%s: is no file with an end", path);
    char head[headRoom];
    const std::size_t headBytes = std::fread(head, 1, sizeof head, file.get());
    return ExplainBytes(path, {{head, headBytes}, bytes});
}

result_t ExplainUnreadImage(const char* name, const void* image, uint32_t imageBytes) {
    if (IsStreamTag(TagOf(name)))
        return Refuse(problem_t::incompatible, "%s: streams are read from files, not from memory", name);
    const std::size_t headBytes = imageBytes < headRoom ? imageBytes : headRoom;
    return ExplainBytes(name, {{static_cast<const char*>(image), headBytes}, imageBytes});
}

template <typename ExplainUnread>
result_t Explain(const AudioSystem::load_outcome_t& outcome, const char* name, ExplainUnread explainUnread) {
    switch (outcome.step) {
        case AudioSystem::load_step_t::noTag:
            return Refuse(problem_t::badArgument, "%s: has no extension to tell the kind of sound", name);
        case AudioSystem::load_step_t::unknownTag:
            return Refuse(problem_t::badArgument, "%s: \"%s\" is no kind of sound; there are %s", name,
                          std::string(TagOf(name)).c_str(), KnownTags().c_str());
        case AudioSystem::load_step_t::nameTaken:
            return Refuse(problem_t::nameTaken, "%s: the archive \"%s\" holds another sound named \"%s\"",
                          name, outcome.sound->archiveName.text, outcome.sound->name.text);
        case AudioSystem::load_step_t::notRead:
            return explainUnread();
        default:
            return Refuse(problem_t::outOfMemory, "%s: out of memory", name);
    }
}

}  // namespace

const char* WhyNotOpen(const char* path) {
    errno = 0;
    const file_t file(std::fopen(path, "rb"));
    return file ? nullptr : std::strerror(errno);
}

result_t ExplainFile(const AudioSystem::load_outcome_t& outcome, const char* path) {
    return Explain(outcome, path, [&] { return ExplainUnreadFile(path); });
}

result_t ExplainImage(const AudioSystem::load_outcome_t& outcome, const char* name, const void* image,
                      uint32_t imageBytes) {
    return Explain(outcome, name, [&] { return ExplainUnreadImage(name, image, imageBytes); });
}

}  // namespace host
