#include "streaming/base_stream.h"

#include "core/settings.h"
#include "foundation/binary_stream.h"
#include "platform/files.h"
#include "sounds/typed_sound.h"
#include "streaming/stream_sound.h"

namespace {
constexpr char sortName[] = "BaseStream";
}

const char* BaseStream_t::SortName() { return sortName; }

BaseStream_t::~BaseStream_t() {
    samples = nullptr;  // pages of the concrete class, not the heap's
    if (file) std::fclose(file);
}

void BaseStream_t::Unload() {
    if (file) std::fclose(file);
    file = nullptr;
    samples = nullptr;
    frameCount = 0;
    name = defaultSoundName;
}

bool BaseStream_t::IsASortOf(const char* className) const {
    return SameText(className, sortName) || Sound_t::IsASortOf(className);
}

// A stream whose file is missing stays empty, and says nothing.
void BaseStream_t::Serialize(BinaryStream& stream, bool writing) {
    if (writing) {
        stream << path;
        return;
    }
    String_t storedPath;
    stream >> storedPath;
    if (stream.Good()) LoadFromFile(storedPath.text);
}

void BaseStream_t::LoadFromFile(const char* newPath) {
    if (file) std::fclose(file);
    file = platform::OpenRegularFile(newPath);
    if (!file) return;
    LoadFromStdio(file);
    path = newPath;
}

Sound_t* BaseStream_t::GetDefaultSound() { return DefaultOf<StreamSound_t>(sortName); }

Sound_t* BaseStream_t::GetTypedSound(const char* soundName, const char* archiveName) {
    return TypedSound(soundName, archiveName, sortName, GetDefaultSound);
}

namespace AudioSystem {

void LoadDataSupply(Sound_t* sound) {
    if (!initialized || !sound || !sound->IsASortOf(sortName)) return;
    const platform::CriticalSectionLock_t lock(soundTableLock);
    static_cast<BaseStream_t*>(sound)->LoadDataSupply();
}

void LoadStreams() {
    if (!initialized) return;
    const platform::CriticalSectionLock_t lock(soundTableLock);
    for (void* position = soundTable.StartPosition(); position;) {
        const auto& sounds = *static_cast<Archive_t*>(soundTable.NextValue(position));
        for (void* at = sounds.StartPosition(); at;) {
            LoadDataSupply(static_cast<Sound_t*>(sounds.NextValue(at)));
        }
    }
}

}  // namespace AudioSystem
