#include "compressed/compressed_sound.h"

#include <cstring>

#include "compressed/compressed_voice.h"
#include "core/settings.h"
#include "foundation/binary_stream.h"
#include "foundation/measure_rest.h"
#include "sounds/sound_file.h"
#include "sounds/typed_sound.h"

namespace {

constexpr char sortName[] = "CompressedSound";
constexpr int32_t oneShotMixMode = 2;

// At 4 bits a sample no codec holds more: a header that promises more frames is refused before anything is
// reserved for them.
constexpr uint32_t mostFramesPerByte = 2;

}  // namespace

CompressedSound_t::~CompressedSound_t() { Discard(); }

void CompressedSound_t::Unload() {
    Discard();
    SetFormat({});
    compressedBytes = 0;
    name = defaultSoundName;
}

void CompressedSound_t::Discard() {
    pages.Release();
    samples = nullptr;
    pageRefCounts = nullptr;
    FreeSamples(compressedData);
    compressedData = nullptr;
}

void CompressedSound_t::SetFormat(const sound_header_t& header) {
    frameCount = header.frameCount;
    isStereo = header.isStereo;
    is16Bit = header.is16Bit;
    bytesPerFrame = header.BytesPerFrame();
    rateDivisor = header.rateDivisor;
    lockFlags = header.lockFlags;
    baseVolume = header.baseVolume;
}

// Takes the header and, if the addresses for the decoded sound can be had, the data.
bool CompressedSound_t::Take(const sound_header_t& header, samples_t data, uint32_t dataBytes) {
    if (header.frameCount > uint64_t{dataBytes} * mostFramesPerByte) return false;
    Unload();
    if (!pages.Reserve(header.frameCount, header.BytesPerFrame(), AudioSystem::compressedPageBytes))
        return false;
    samples = pages.base;
    pageRefCounts = pages.refCounts;
    compressedData = data.release();
    compressedBytes = dataBytes;
    TakeFormat(header);
    return true;
}

void CompressedSound_t::LoadFromBuffer(const void* image, unsigned size) {
    const std::string_view bytes(static_cast<const char*>(image), size);
    sound_header_t header;
    uint32_t dataBytes = 0;
    const uint32_t headerBytes = ParseSoundFields(bytes, header, &dataBytes);
    if (headerBytes == 0 || dataBytes > size - headerBytes) return;
    samples_t data = AllocateSamples(dataBytes);
    if (!data) return;
    std::memcpy(data.get(), bytes.data() + headerBytes, dataBytes);
    (void)Take(header, std::move(data), dataBytes);
}

void CompressedSound_t::LoadFromStdio(FILE* file) {
    uint64_t fileBytes = 0;
    if (!MeasureRest(file, fileBytes)) return;
    const long start = std::ftell(file);
    char head[maxSoundHeaderBytes];
    const std::size_t headBytes = std::fread(head, 1, sizeof head, file);
    sound_header_t header;
    uint32_t dataBytes = 0;
    const uint32_t headerBytes = ParseSoundFields({head, headBytes}, header, &dataBytes);
    if (headerBytes == 0 || uint64_t{headerBytes} + dataBytes > fileBytes) return;
    samples_t data = AllocateSamples(dataBytes);
    if (!data || std::fseek(file, start + static_cast<long>(headerBytes), SEEK_SET) != 0) return;
    if (std::fread(data.get(), 1, dataBytes, file) != dataBytes) return;
    (void)Take(header, std::move(data), dataBytes);
}

void CompressedSound_t::Serialize(BinaryStream& stream, bool writing) {
    if (writing) {
        stream.WriteU32(frameCount).WriteU32(isStereo).WriteU32(is16Bit);
        stream.WriteU32(rateDivisor).WriteU32(lockFlags).WriteFloat(baseVolume) << name;
        stream.WriteU32(compressedBytes).WriteBytes(compressedData, compressedBytes);
        return;
    }
    Unload();
    sound_header_t header;
    uint32_t stereoNumber = 0, widthNumber = 0, dataBytes = 0;
    String_t recordName;
    stream.ReadU32(header.frameCount).ReadU32(stereoNumber).ReadU32(widthNumber);
    stream.ReadU32(header.rateDivisor).ReadU32(header.lockFlags).ReadFloat(header.baseVolume) >> recordName;
    stream.ReadU32(dataBytes);
    header.isStereo = stereoNumber != 0;
    header.is16Bit = widthNumber != 0;
    header.name = recordName.text;
    samples_t data;
    if (stream.Good() && IsPlayable(header) && dataBytes <= stream.ReadableBytes())
        data = AllocateSamples(dataBytes);
    if (data) stream.ReadBytes(data.get(), dataBytes);
    if (!data || !stream.Good() || !Take(header, std::move(data), dataBytes))
        stream.SetError(BinaryStream::readFailed);
}

bool CompressedSound_t::IsASortOf(const char* className) const {
    return SameText(className, sortName) || Sound_t::IsASortOf(className);
}

Voice_t* CompressedSound_t::CreateCompatibleVoice(int32_t mixMode) {
    return new CompressedVoice_t(this, mixMode);
}

void CompressedSound_t::PlayOneShot() {
    if (frameCount == 0) return;
    Voice_t* voice = CreateCompatibleVoice(oneShotMixMode);
    voice->deleteWhenDone = true;
    voice->Play();
}

bool CompressedSound_t::MoveWindow(frame_window_t& window, uint32_t start, uint32_t end, uint32_t decodedEnd,
                                   void* decoderState) {
    if (!pages.Move(window, start, end)) return false;
    if (decodedEnd >= end) return true;
    if (!DecodeRange(decodedEnd, end, decoderState)) return false;
    uint8_t* decoded = samples + std::size_t{decodedEnd} * bytesPerFrame;
    FlipSamples(decoded, std::size_t{end - decodedEnd} * bytesPerFrame, is16Bit);
    return true;
}

Sound_t* CompressedSound_t::GetDefaultSound() { return DefaultOf<DummyCompressedSound_t>(sortName); }

Sound_t* CompressedSound_t::GetTypedSound(const char* soundName, const char* archiveName) {
    return TypedSound(soundName, archiveName, sortName, GetDefaultSound);
}
