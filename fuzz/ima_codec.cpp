// ima_codec.cpp - any bytes as IMA ADPCM blocks: decoded in ranges of any lengths they give what they give
// decoded at once, and a range that begins with a block needs nothing that stands before it. Any bytes as
// samples: what the encoder makes can be decoded.
#include <algorithm>
#include <vector>

#include "compressed/ima_blocks.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/targets.h"

namespace {

constexpr int16_t untouched = 0x5A5A;

void CheckRanges(const ImaBlocks_t& blocks, uint32_t frames, fuzz::Input_t& input) {
    const uint32_t channels = blocks.isStereo ? 2 : 1;
    std::vector<int16_t> whole(std::size_t{frames} * channels, untouched), inParts = whole;
    ImaChannelState_t state[2] = {};
    const bool isWhole = blocks.Decode(whole.data(), 0, frames, state);

    ImaChannelState_t running[2] = {};
    bool isGood = true;
    for (uint32_t at = 0; at < frames && isGood;) {
        const uint32_t end = at + std::min(1 + input.Below(600), frames - at);
        isGood = blocks.Decode(inParts.data() + std::size_t{at} * channels, at, end, running);
        at = end;
    }
    FUZZ_REQUIRE(isGood == isWhole && whole == inParts);
    if (!isWhole) return;
    FUZZ_REQUIRE(state[0].predictor == running[0].predictor && state[0].stepIndex == running[0].stepIndex);

    const uint32_t blockCount = frames / blocks.samplesPerBlock;
    const uint32_t start = blockCount == 0 ? 0 : input.Below(blockCount) * blocks.samplesPerBlock;
    std::vector<int16_t> tail(std::size_t{frames - start} * channels);
    ImaChannelState_t fresh[2] = {{88, -5}, {3, 77}};
    FUZZ_REQUIRE(blocks.Decode(tail.data(), start, frames, fresh));
    FUZZ_REQUIRE(std::equal(tail.begin(), tail.end(), whole.begin() + std::ptrdiff_t{start} * channels));
}

void CheckEncoder(const uint8_t* data, std::size_t size, uint32_t blockBytes, bool isStereo) {
    const uint32_t frames = ImaSamplesPerBlock(blockBytes, isStereo), channels = isStereo ? 2 : 1;
    std::vector<int16_t> source(std::size_t{frames} * channels), decoded(source.size());
    for (std::size_t i = 0; i < source.size() && 2 * i + 1 < size; ++i)
        source[i] = static_cast<int16_t>(static_cast<uint16_t>(data[2 * i] | data[2 * i + 1] << 8));
    std::vector<uint8_t> block(blockBytes);
    ImaChannelState_t encoder[2] = {}, decoder[2] = {};
    (isStereo ? EncodeBlockStereo : EncodeBlockMono)(source.data(), block.data(), blockBytes, encoder);
    const ImaBlocks_t blocks{block.data(), blockBytes, frames, isStereo};
    FUZZ_REQUIRE(blocks.Decode(decoded.data(), 0, frames, decoder));
    FUZZ_REQUIRE(decoded[0] == source[0] && decoded[channels - 1] == source[channels - 1]);
    for (uint32_t c = 0; c < channels; ++c) {
        FUZZ_REQUIRE(encoder[c].stepIndex == decoder[c].stepIndex);
        FUZZ_REQUIRE(encoder[c].predictor == decoder[c].predictor);
    }
}

}  // namespace

int FuzzImaCodec(const uint8_t* data, std::size_t size) {
    if (size < 16 || size > 65536) return 0;
    fuzz::Input_t input(data, 16);
    const bool isStereo = input.Flag();
    const uint32_t blockBytes = (isStereo ? 8 : 4) + input.Below(700);
    data += 16;
    size -= 16;
    CheckEncoder(data, size, blockBytes, isStereo);
    const uint32_t samplesPerBlock = ImaSamplesPerBlock(blockBytes, isStereo);
    const auto blockCount = static_cast<uint32_t>(size / blockBytes);
    if (blockCount == 0) return 0;
    const std::vector<uint8_t> exact(data, data + std::size_t{blockCount} * blockBytes);  // nothing behind it
    const uint32_t cut = input.Below(samplesPerBlock);
    CheckRanges({exact.data(), blockBytes, samplesPerBlock, isStereo}, blockCount * samplesPerBlock - cut,
                input);
    return 0;
}
