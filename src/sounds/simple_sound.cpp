#include "sounds/simple_sound.h"

#include <algorithm>
#include <cstring>

#include "core/settings.h"
#include "foundation/binary_stream.h"
#include "foundation/measure_rest.h"
#include "sounds/sample_heap.h"
#include "sounds/sound_file.h"
#include "sounds/typed_sound.h"
#include "voices/simple_voice.h"

namespace {

constexpr char sortName[] = "SimpleSound";
constexpr int32_t oneShotMixMode = 2;  // as far ahead as the ring allows: nobody will change it any more

}  // namespace

// The samples come in the file's form, from AllocateSamples.
void SimpleSound_t::Take(const sound_header_t& header, uint8_t* block) {
    FlipSamples(block, header.SampleBytes(), header.is16Bit);
    FreeSamples(samples);
    samples = block;
    TakeFormat(header);
}

void SimpleSound_t::LoadFromBuffer(const void* image, unsigned size) {
    const std::string_view bytes(static_cast<const char*>(image), size);
    sound_header_t header;
    const uint32_t headerBytes = ParseSoundHeader(bytes, header);
    if (headerBytes == 0 || header.SampleBytes() > size - headerBytes) return;
    samples_t block = AllocateSamples(header.SampleBytes());
    if (!block) return;
    std::memcpy(block.get(), bytes.data() + headerBytes, header.SampleBytes());
    Take(header, block.release());
}

void SimpleSound_t::LoadFromStdio(FILE* file) {
    const long start = std::ftell(file);
    uint64_t fileBytes = 0;
    if (!MeasureRest(file, fileBytes)) return;
    char head[maxSoundHeaderBytes];
    const std::size_t headBytes = std::fread(head, 1, sizeof head, file);
    sound_header_t header;
    const uint32_t headerBytes = ParseSoundHeader({head, headBytes}, header);
    if (headerBytes == 0 || headerBytes + header.SampleBytes() > fileBytes) return;
    samples_t block = AllocateSamples(header.SampleBytes());
    if (!block || std::fseek(file, start + static_cast<long>(headerBytes), SEEK_SET) != 0) return;
    if (std::fread(block.get(), 1, header.SampleBytes(), file) != header.SampleBytes()) return;
    Take(header, block.release());
}

// Reading: a record that claims more than the stream holds, or a divisor of 0, is an error of the stream and
// leaves the sound as it was. Writing: no voice may mix the sound meanwhile, its samples are in the file's
// form for the time of the write.
void SimpleSound_t::Serialize(BinaryStream& stream, bool writing) {
    if (writing) {
        const uint64_t bytes = uint64_t{frameCount} * bytesPerFrame;
        if (bytes > UINT32_MAX) {  // no stream holds that much
            stream.SetError(BinaryStream::noRoom);
            return;
        }
        stream.WriteU32(frameCount).WriteU32(isStereo).WriteU32(is16Bit);
        FlipSamples(samples, bytes, is16Bit);
        stream.WriteBytes(samples, static_cast<uint32_t>(bytes));
        FlipSamples(samples, bytes, is16Bit);
        stream.WriteU32(rateDivisor).WriteU32(lockFlags).WriteFloat(baseVolume) << name;
        return;
    }
    sound_header_t header;
    uint32_t stereoNumber = 0, widthNumber = 0;
    stream.ReadU32(header.frameCount).ReadU32(stereoNumber).ReadU32(widthNumber);
    header.isStereo = stereoNumber != 0;
    header.is16Bit = widthNumber != 0;
    samples_t block;
    if (stream.Good() && header.SampleBytes() <= stream.ReadableBytes())
        block = AllocateSamples(header.SampleBytes());
    if (!block) {
        stream.SetError(BinaryStream::readFailed);
        return;
    }
    String_t recordName;
    stream.ReadBytes(block.get(), static_cast<uint32_t>(header.SampleBytes()));
    stream.ReadU32(header.rateDivisor).ReadU32(header.lockFlags).ReadFloat(header.baseVolume) >> recordName;
    if (!IsPlayable(header)) stream.SetError(BinaryStream::readFailed);
    if (!stream.Good()) return;
    header.name = recordName.text;
    Take(header, block.release());
}

bool SimpleSound_t::IsASortOf(const char* className) const {
    return SameText(className, sortName) || Sound_t::IsASortOf(className);
}

Voice_t* SimpleSound_t::CreateCompatibleVoice(int32_t mixMode) { return new SimpleVoice_t(this, mixMode); }

void SimpleSound_t::PlayOneShot() {
    Voice_t* voice = CreateCompatibleVoice(oneShotMixMode);
    voice->deleteWhenDone = true;  // first: if Play finds no memory, the next tick deletes the voice
    voice->Play();
}

Sound_t* SimpleSound_t::GetDefaultSound() { return DefaultOf<SimpleSound_t>(sortName); }

Sound_t* SimpleSound_t::GetTypedSound(const char* soundName, const char* archiveName) {
    return TypedSound(soundName, archiveName, sortName, GetDefaultSound);
}
