// sample_reader.cpp - see the header.
#include "sample_reader.h"

#include <algorithm>

#include "compressed/ima_adpcm.h"

namespace tools {

namespace {

constexpr size_t pieceBytes = 65536;

}  // namespace

SampleReader_t::SampleReader_t(std::string shownName, const stored_sound_t& sound, byte_reader_t reader)
    : name(std::move(shownName)), stored(sound), readBytes(std::move(reader)) {}

bool SampleReader_t::Fill(size_t count) {
    bytes.resize(count);
    return readBytes(bytes.data(), count) == count;
}

outcome_t SampleReader_t::Next(std::vector<int16_t>& samples) {
    samples.clear();
    if (framesRead >= stored.header.frameCount) return Success();
    outcome_t read = stored.IsAdpcm() ? DecodeBlocks(samples) : ReadSamples(samples);
    framesRead += samples.size() / stored.Channels();
    return read;
}

outcome_t SampleReader_t::ReadSamples(std::vector<int16_t>& samples) {
    const sound_header_t& header = stored.header;
    const uint64_t left = (header.frameCount - framesRead) * header.BytesPerFrame();
    if (!Fill(static_cast<size_t>(std::min<uint64_t>(left, pieceBytes)))) {
        return Failure(name, "Ends before its samples do");
    }
    const size_t width = header.is16Bit ? 2 : 1;
    for (size_t i = 0; i < bytes.size(); i += width) {
        samples.push_back(header.is16Bit ? static_cast<int16_t>(bytes[i] | bytes[i + 1] << 8)
                                         : int16_t{static_cast<int8_t>(bytes[i])});
    }
    return Success();
}

// As many whole blocks as make a piece, at least one; what the last one holds beyond the sound's end is
// dropped.
outcome_t SampleReader_t::DecodeBlocks(std::vector<int16_t>& samples) {
    const uint32_t framesPerBlock = ImaSamplesPerBlock(stored.blockBytes, stored.header.isStereo);
    const uint64_t framesLeft = stored.header.frameCount - framesRead;
    const uint64_t blocksLeft = (framesLeft + framesPerBlock - 1) / framesPerBlock;
    const uint64_t blocks = std::clamp<uint64_t>(pieceBytes / stored.blockBytes, 1, blocksLeft);
    if (!Fill(blocks * stored.blockBytes)) return Failure(name, "Ends before its blocks do");
    const auto decode = stored.header.isStereo ? DecodeBlockStereo : DecodeBlockMono;
    samples.resize(blocks * framesPerBlock * stored.Channels());
    for (uint64_t i = 0; i < blocks; ++i, ++blocksRead) {
        ImaChannelState_t states[2] = {};
        int16_t* out = samples.data() + i * framesPerBlock * stored.Channels();
        if (decode(bytes.data() + i * stored.blockBytes, out, 0, framesPerBlock, states)) continue;
        return Failure(
            name, "Its ADPCM block " + std::to_string(blocksRead) + " is broken: a voice would stop there");
    }
    samples.resize(std::min<uint64_t>(framesLeft, blocks * framesPerBlock) * stored.Channels());
    return Success();
}

}  // namespace tools
