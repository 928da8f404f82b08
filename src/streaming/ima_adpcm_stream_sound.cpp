#include "streaming/ima_adpcm_stream_sound.h"

#include "compressed/ima_adpcm_file.h"
#include "compressed/ima_blocks.h"
#include "sounds/typed_sound.h"

namespace {
constexpr char sortName[] = "IMA_ADPCM_StreamSound";
}

void IMA_ADPCM_StreamSound_t::LoadFromStdio(FILE* openFile) {
    const uint32_t bytes = ReadImaHead(openFile);
    if (bytes == 0) return;
    CompressedStreamSound_t::LoadFromStdio(openFile);
    if (!ImaBlocksHold(frameCount, compressedBytes, bytes, is16Bit, isStereo)) {
        UnloadStream();
        return;
    }
    blockBytes = bytes;
    samplesPerBlock = ImaSamplesPerBlock(bytes, isStereo);
}

bool IMA_ADPCM_StreamSound_t::DecodeRange(uint32_t start, uint32_t end, void* decoderState) {
    auto* out = reinterpret_cast<int16_t*>(samples + std::size_t{start} * bytesPerFrame);
    const ImaBlocks_t blocks{compressedData, blockBytes, samplesPerBlock, isStereo};
    return blocks.Decode(out, start, end, static_cast<ImaChannelState_t*>(decoderState));
}

void* IMA_ADPCM_StreamSound_t::NewDecoderState() { return NewImaState(); }

void IMA_ADPCM_StreamSound_t::FreeDecoderState(void* decoderState) {
    FreeImaState(static_cast<ImaChannelState_t*>(decoderState));
}

uint64_t IMA_ADPCM_StreamSound_t::ByteOf(uint32_t frame) const {
    if (samplesPerBlock == 0) return 0;
    const uint64_t block = uint64_t{frame / samplesPerBlock} * blockBytes;
    const uint32_t inBlock = frame % samplesPerBlock;
    if (inBlock == 0) return block;
    return block + (isStereo ? inBlock + 7 : ((inBlock - 1) >> 1) + 4);
}

void IMA_ADPCM_StreamSound_t::GetCompressedRange(uint64_t& startByte, uint64_t& endByte, uint32_t start,
                                                 uint32_t end) {
    startByte = ByteOf(start);
    endByte = ByteOf(end);
}

bool IMA_ADPCM_StreamSound_t::IsASortOf(const char* className) const {
    return SameText(className, sortName) || CompressedStreamSound_t::IsASortOf(className);
}

Sound_t* IMA_ADPCM_StreamSound_t::GetDefaultSound() { return DefaultOf<IMA_ADPCM_StreamSound_t>(sortName); }

Sound_t* IMA_ADPCM_StreamSound_t::GetTypedSound(const char* soundName, const char* archiveName) {
    return TypedSound(soundName, archiveName, sortName, GetDefaultSound);
}
