// ima_adpcm_import.cpp - turns a wave file into an IMA ADPCM sound file. Touches files only: needs no running
// system.
#include <algorithm>
#include <vector>

#include "compressed/ima_adpcm.h"
#include "compressed/ima_adpcm_file.h"
#include "compressed/ima_adpcm_sound.h"
#include "foundation/part_file.h"
#include "sounds/riff_reader.h"
#include "sounds/sound_file.h"

namespace {

constexpr uint16_t formatImaAdpcm = 17;
constexpr uint32_t monoBlockBytes = 512, stereoBlockBytes = 2048;  // of what is encoded here
constexpr uint32_t stereoHeadBytes = 8, groupBytes = 8;

// A wave file has groups of four left bytes and four right ones, each with its earlier sample in the low
// half; a block of ours has a byte a frame, left in the high half. The block must have room for its last
// group.
void RearrangeStereo(uint8_t* block, uint32_t blockBytes) {
    for (uint32_t at = stereoHeadBytes; at < blockBytes; at += groupBytes) {
        uint8_t* group = block + at;
        uint8_t frames[groupBytes];
        for (uint32_t k = 0; k < 4; ++k) {
            const uint8_t left = group[k], right = group[k + 4];
            frames[2 * k] = static_cast<uint8_t>((left & 15) << 4 | (right & 15));
            frames[2 * k + 1] = static_cast<uint8_t>((left & 0xF0) | right >> 4);
        }
        std::copy_n(frames, groupBytes, group);
    }
}

bool CopyBlocks(FILE* wave, PartFile_t& sound, uint32_t dataBytes, uint32_t blockBytes, bool isStereo) {
    std::vector<uint8_t> block(blockBytes + groupBytes);
    while (dataBytes > 0) {
        const uint32_t count = std::min(dataBytes, blockBytes);
        std::fill(block.begin(), block.end(), uint8_t{0});
        if (std::fread(block.data(), 1, count, wave) != count) return false;
        if (isStereo) RearrangeStereo(block.data(), blockBytes);
        if (!sound.Write(block.data(), count)) return false;
        dataBytes -= count;
    }
    return true;
}

// One block's samples from its PCM bytes, silence behind their end.
void Unpack(const std::vector<uint8_t>& bytes, bool is16Bit, std::vector<int16_t>& samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = is16Bit
                         ? static_cast<int16_t>(static_cast<uint16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8))
                         : static_cast<int16_t>((bytes[i] - 0x80) * 256);
    }
}

bool EncodeBlocks(FILE* wave, PartFile_t& sound, uint64_t pcmBytes, uint32_t blockBytes,
                  const sound_header_t& header, bool is16Bit) {
    const uint32_t samplesPerFrame = header.isStereo ? 2 : 1;
    std::vector<int16_t> samples(std::size_t{ImaSamplesPerBlock(blockBytes, header.isStereo)} *
                                 samplesPerFrame);
    std::vector<uint8_t> pcm(samples.size() * (is16Bit ? 2 : 1)), block(blockBytes);
    ImaChannelState_t channels[2] = {};
    while (pcmBytes > 0) {
        const auto count = static_cast<std::size_t>(std::min<uint64_t>(pcmBytes, pcm.size()));
        std::fill(pcm.begin(), pcm.end(), uint8_t(is16Bit ? 0 : 0x80));
        if (std::fread(pcm.data(), 1, count, wave) != count) return false;
        Unpack(pcm, is16Bit, samples);
        (header.isStereo ? EncodeBlockStereo : EncodeBlockMono)(samples.data(), block.data(), blockBytes,
                                                                channels);
        if (!sound.Write(block.data(), block.size())) return false;
        pcmBytes -= count;
    }
    return true;
}

bool IsImportableIma(const wave_format_t& format) {
    return format.tag == formatImaAdpcm && format.bitsPerSample == 4 &&
           (format.channels == 1 || format.channels == 2) && IsPlayableRate(format) &&
           IsImaBlockSize(format.blockAlign, format.channels == 2);
}

}  // namespace

bool IMA_ADPCM_Sound_t::ImportWaveFile(const char* wavePath, const char* soundPath, const char* name,
                                       uint32_t lockFlags, float baseVolume) {
    const file_t wave(std::fopen(wavePath, "rb"));
    wave_format_t format;
    uint32_t dataBytes = 0;
    if (!wave || !FindWaveData(wave.get(), format, dataBytes)) return false;
    const bool isCopied = IsImportableIma(format);
    if (!isCopied && !IsImportablePcm(format)) return false;

    sound_header_t header;
    header.name = name ? name : "";
    header.isStereo = format.channels == 2;
    header.is16Bit = true;
    header.rateDivisor = RateDivisorOf(format);
    header.lockFlags = lockFlags;
    header.baseVolume = baseVolume;
    const uint32_t bytesPerBlock = isCopied          ? format.blockAlign
                                   : header.isStereo ? stereoBlockBytes
                                                     : monoBlockBytes;
    const uint32_t framesPerBlock = ImaSamplesPerBlock(bytesPerBlock, header.isStereo);
    const uint32_t pcmFrames = dataBytes / format.blockAlign;
    const uint64_t frames = isCopied ? uint64_t{pcmFrames} * framesPerBlock : pcmFrames;
    const uint64_t bytes =
        isCopied ? dataBytes : (frames + framesPerBlock - 1) / framesPerBlock * uint64_t{bytesPerBlock};
    if (frames > UINT32_MAX || bytes > UINT32_MAX) return false;
    header.frameCount = static_cast<uint32_t>(frames);
    const std::string head = FormatImaHeader(bytesPerBlock, header, static_cast<uint32_t>(bytes));
    if (head.empty()) return false;

    PartFile_t sound(soundPath);
    if (!sound.Write(head.data(), head.size())) return false;
    const bool isWritten = isCopied ? CopyBlocks(wave.get(), sound, dataBytes, bytesPerBlock, header.isStereo)
                                    : EncodeBlocks(wave.get(), sound, uint64_t{pcmFrames} * format.blockAlign,
                                                   bytesPerBlock, header, format.bitsPerSample == 16);
    return isWritten && sound.Commit();
}
