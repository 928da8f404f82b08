#include "compressed/ima_adpcm_sound.h"

#include "compressed/ima_adpcm.h"
#include "compressed/ima_adpcm_file.h"
#include "compressed/ima_blocks.h"
#include "core/settings.h"
#include "foundation/binary_stream.h"
#include "sounds/typed_sound.h"

namespace {

constexpr char sortName[] = "IMA_ADPCM_Sound";

}  // namespace

// A sound whose blocks do not hold the frames that it promises, or that no decoder could work on, is no
// sound.
void IMA_ADPCM_Sound_t::SetBlockSize(uint32_t bytes) {
    blockBytes = samplesPerBlock = 0;
    if (!ImaBlocksHold(frameCount, compressedBytes, bytes, is16Bit, isStereo)) {
        Unload();
        return;
    }
    blockBytes = bytes;
    samplesPerBlock = ImaSamplesPerBlock(bytes, isStereo);
}

void IMA_ADPCM_Sound_t::LoadFromBuffer(const void* image, unsigned size) {
    uint32_t bytes = 0;
    const uint32_t headBytes = ParseImaHead({static_cast<const char*>(image), size}, bytes);
    if (headBytes == 0) return;
    const uint8_t* before = compressedData;
    CompressedSound_t::LoadFromBuffer(static_cast<const char*>(image) + headBytes, size - headBytes);
    if (compressedData != before) SetBlockSize(bytes);
}

void IMA_ADPCM_Sound_t::LoadFromStdio(FILE* file) {
    const uint32_t bytes = ReadImaHead(file);
    if (bytes == 0) return;
    const uint8_t* before = compressedData;
    CompressedSound_t::LoadFromStdio(file);
    if (compressedData != before) SetBlockSize(bytes);
}

void IMA_ADPCM_Sound_t::Serialize(BinaryStream& stream, bool writing) {
    CompressedSound_t::Serialize(stream, writing);
    if (writing) {
        stream.WriteU32(blockBytes);
        return;
    }
    uint32_t bytes = 0;
    stream.ReadU32(bytes);
    SetBlockSize(stream.Good() ? bytes : 0);
    if (blockBytes == 0) stream.SetError(BinaryStream::readFailed);
}

bool IMA_ADPCM_Sound_t::DecodeRange(uint32_t start, uint32_t end, void* decoderState) {
    auto* out = reinterpret_cast<int16_t*>(samples + std::size_t{start} * bytesPerFrame);
    const ImaBlocks_t blocks{compressedData, blockBytes, samplesPerBlock, isStereo};
    return blocks.Decode(out, start, end, static_cast<ImaChannelState_t*>(decoderState));
}

void* IMA_ADPCM_Sound_t::NewDecoderState() { return NewImaState(); }

void IMA_ADPCM_Sound_t::FreeDecoderState(void* decoderState) {
    FreeImaState(static_cast<ImaChannelState_t*>(decoderState));
}

bool IMA_ADPCM_Sound_t::IsASortOf(const char* className) const {
    return SameText(className, sortName) || CompressedSound_t::IsASortOf(className);
}

Sound_t* IMA_ADPCM_Sound_t::GetDefaultSound() { return DefaultOf<IMA_ADPCM_Sound_t>(sortName); }

Sound_t* IMA_ADPCM_Sound_t::GetTypedSound(const char* soundName, const char* archiveName) {
    return TypedSound(soundName, archiveName, sortName, GetDefaultSound);
}
