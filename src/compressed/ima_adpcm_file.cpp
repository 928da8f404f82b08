#include "compressed/ima_adpcm_file.h"

#include <charconv>

#include "compressed/ima_adpcm.h"
#include "sounds/sound_file.h"

namespace {
constexpr std::string_view magic = "IMA_ADPCM_Sound ";
constexpr uint32_t maxImaHeadBytes = 28;  // the word, a number, a blank
}  // namespace

uint32_t ParseImaHead(std::string_view bytes, uint32_t& blockBytes) {
    if (bytes.substr(0, magic.size()) != magic) return 0;
    const std::size_t blank = bytes.substr(0, maxImaHeadBytes).find(' ', magic.size());
    if (blank == std::string_view::npos) return 0;
    const char* end = bytes.data() + blank;
    const auto result = std::from_chars(bytes.data() + magic.size(), end, blockBytes);
    return result.ec == std::errc() && result.ptr == end ? static_cast<uint32_t>(blank + 1) : 0;
}

std::string FormatImaHeader(uint32_t blockBytes, const sound_header_t& header, uint32_t compressedBytes) {
    const std::string fields = FormatSoundFields(header, &compressedBytes);
    return fields.empty() ? fields : std::string(magic) + std::to_string(blockBytes) + ' ' + fields;
}

uint32_t ReadImaHead(FILE* file) {
    const long start = std::ftell(file);
    char head[maxImaHeadBytes];
    const std::size_t bytesRead = std::fread(head, 1, sizeof head, file);
    uint32_t blockBytes = 0;
    const uint32_t headBytes = ParseImaHead({head, bytesRead}, blockBytes);
    if (headBytes == 0 || std::fseek(file, start + static_cast<long>(headBytes), SEEK_SET) != 0) return 0;
    return blockBytes;
}

bool ImaBlocksHold(uint32_t frameCount, uint32_t compressedBytes, uint32_t blockBytes, bool is16Bit,
                   bool isStereo) {
    if (!is16Bit || !IsImaBlockSize(blockBytes, isStereo)) return false;
    return frameCount <= uint64_t{compressedBytes / blockBytes} * ImaSamplesPerBlock(blockBytes, isStereo);
}
