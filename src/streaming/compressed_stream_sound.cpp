#include "streaming/compressed_stream_sound.h"

#include "core/settings.h"
#include "foundation/measure_rest.h"
#include "sounds/sound_file.h"
#include "sounds/typed_sound.h"
#include "streaming/compressed_stream_voice.h"

namespace {
constexpr char sortName[] = "CompressedStreamSound";
constexpr int32_t oneShotMixMode = 2;
}  // namespace

CompressedStreamSound_t::~CompressedStreamSound_t() {
    decodedPages.Release();
    samples = nullptr;
}

void CompressedStreamSound_t::UnloadStream() {
    decodedPages.Release();
    filePages.Release();
    compressedData = nullptr;
    compressedBytes = 0;
    Unload();
}

void CompressedStreamSound_t::LoadFromStdio(FILE* openFile) {
    uint64_t fileBytes = 0;
    if (!MeasureRest(openFile, fileBytes)) return;
    const long start = std::ftell(openFile);
    char head[maxSoundHeaderBytes];
    const std::size_t headBytes = std::fread(head, 1, sizeof head, openFile);
    sound_header_t header;
    uint32_t dataBytes = 0;
    const uint32_t headerBytes = ParseSoundFields({head, headBytes}, header, &dataBytes);
    if (headerBytes == 0 || uint64_t{headerBytes} + dataBytes > fileBytes) return;
    if (!filePages.Reserve(dataBytes, AudioSystem::streamPageBytes)) return;
    if (!decodedPages.Reserve(header.frameCount, header.BytesPerFrame(), AudioSystem::decodedStreamPageBytes))
        return;
    compressedData = filePages.base;
    compressedBytes = dataBytes;
    samples = decodedPages.base;
    dataOffset = static_cast<uint64_t>(start) + headerBytes;
    TakeFormat(header);
}

void CompressedStreamSound_t::LoadDataSupply() { filePages.Serve(file, dataOffset, nullptr); }

bool CompressedStreamSound_t::MoveDecoded(frame_window_t& window, uint32_t start, uint32_t end,
                                          uint32_t decodedEnd, void* decoderState) {
    if (!decodedPages.Move(window, start, end)) return false;
    if (decodedEnd >= end) return true;
    if (!DecodeRange(decodedEnd, end, decoderState)) return false;
    uint8_t* decoded = samples + std::size_t{decodedEnd} * bytesPerFrame;
    FlipSamples(decoded, std::size_t{end - decodedEnd} * bytesPerFrame, is16Bit);
    return true;
}

bool CompressedStreamSound_t::IsASortOf(const char* className) const {
    return SameText(className, sortName) || BaseStream_t::IsASortOf(className);
}

Voice_t* CompressedStreamSound_t::CreateCompatibleVoice(int32_t mixMode) {
    return new CompressedStreamVoice_t(this, mixMode);
}

void CompressedStreamSound_t::PlayOneShot() {
    if (frameCount == 0) return;
    Voice_t* voice = CreateCompatibleVoice(oneShotMixMode);
    voice->deleteWhenDone = true;
    voice->Play();
}

Sound_t* CompressedStreamSound_t::GetDefaultSound() {
    return DefaultOf<DummyCompressedStreamSound_t>(sortName);
}

Sound_t* CompressedStreamSound_t::GetTypedSound(const char* soundName, const char* archiveName) {
    return TypedSound(soundName, archiveName, sortName, GetDefaultSound);
}
