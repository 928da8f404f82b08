#include "streaming/stream_sound.h"

#include "core/settings.h"
#include "foundation/measure_rest.h"
#include "sounds/sound_file.h"
#include "sounds/typed_sound.h"
#include "streaming/stream_voice.h"

namespace {

constexpr char sortName[] = "StreamSound";
constexpr int32_t oneShotMixMode = 2;

void Prepare16(uint8_t* bytes, std::size_t count) { FlipSign16(bytes, count / 2); }
void Prepare8(uint8_t* bytes, std::size_t count) { FlipSign8(bytes, count); }

}  // namespace

void StreamSound_t::LoadFromStdio(FILE* openFile) {
    uint64_t fileBytes = 0;
    if (!MeasureRest(openFile, fileBytes)) return;
    const long start = std::ftell(openFile);
    char head[maxSoundHeaderBytes];
    const std::size_t headBytes = std::fread(head, 1, sizeof head, openFile);
    sound_header_t header;
    const uint32_t headerBytes = ParseSoundHeader({head, headBytes}, header);
    if (headerBytes == 0 || headerBytes + header.SampleBytes() > fileBytes) return;
    if (!pages.Reserve(header.SampleBytes(), AudioSystem::streamPageBytes)) return;
    samples = pages.base;
    dataOffset = static_cast<uint64_t>(start) + headerBytes;
    TakeFormat(header);
}

void StreamSound_t::LoadDataSupply() { pages.Serve(file, dataOffset, is16Bit ? Prepare16 : Prepare8); }

bool StreamSound_t::IsASortOf(const char* className) const {
    return SameText(className, sortName) || BaseStream_t::IsASortOf(className);
}

Voice_t* StreamSound_t::CreateCompatibleVoice(int32_t mixMode) { return new StreamVoice_t(this, mixMode); }

void StreamSound_t::PlayOneShot() {
    Voice_t* voice = CreateCompatibleVoice(oneShotMixMode);
    voice->deleteWhenDone = true;
    voice->Play();
}

Sound_t* StreamSound_t::GetDefaultSound() { return DefaultOf<StreamSound_t>(sortName); }

Sound_t* StreamSound_t::GetTypedSound(const char* soundName, const char* archiveName) {
    return TypedSound(soundName, archiveName, sortName, GetDefaultSound);
}
