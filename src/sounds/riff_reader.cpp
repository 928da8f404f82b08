#include "sounds/riff_reader.h"

#include <algorithm>
#include <cstring>

#include "foundation/measure_rest.h"

namespace {

constexpr uint32_t outputRate = 44100;
constexpr uint16_t formatPcm = 1;
constexpr uint32_t formatBytes = 16;  // the part of the format chunk that every kind of wave file has
// A chunk with this tag goes on to 40 bytes; the tag that it stands in for begins its last 16.
constexpr uint16_t formatExtensible = 0xFFFE;
constexpr uint32_t extensibleBytes = 40, subFormatEnd = 26;

struct chunk_t {
    char tag[4];
    uint32_t bytes;
    bool Is(const char* wanted) const { return std::memcmp(tag, wanted, sizeof tag) == 0; }
};

bool ReadChunkHead(FILE* file, chunk_t& chunk) {
    uint8_t head[8];
    if (std::fread(head, 1, sizeof head, file) != sizeof head) return false;
    std::memcpy(chunk.tag, head, sizeof chunk.tag);
    chunk.bytes = ReadLittleEndian32(head + 4);
    return true;
}

// Chunks of odd size are padded to an even one, though not by every program: a pad byte is 0, which no tag
// begins with.
bool SkipChunkRest(FILE* file, uint32_t rest, uint32_t chunkBytes) {
    if (std::fseek(file, static_cast<long>(rest), SEEK_CUR) != 0) return false;
    if (chunkBytes % 2 == 0) return true;
    const int next = std::fgetc(file);
    if (next > 0) std::ungetc(next, file);
    return next != EOF;
}

bool FindChunk(FILE* file, const char* tag, chunk_t& chunk) {
    while (ReadChunkHead(file, chunk)) {
        if (chunk.Is(tag)) return true;
        if (!SkipChunkRest(file, chunk.bytes, chunk.bytes)) return false;
    }
    return false;
}

uint16_t ReadLittleEndian16(const uint8_t* bytes) { return static_cast<uint16_t>(bytes[0] | bytes[1] << 8); }

bool ReadFormat(FILE* file, wave_format_t& format) {
    chunk_t chunk;
    uint8_t fields[formatBytes];
    if (!FindChunk(file, "fmt ", chunk) || chunk.bytes < formatBytes) return false;
    if (std::fread(fields, 1, sizeof fields, file) != sizeof fields) return false;
    format.tag = ReadLittleEndian16(fields);
    format.channels = ReadLittleEndian16(fields + 2);
    format.samplesPerSecond = ReadLittleEndian32(fields + 4);
    format.blockAlign = ReadLittleEndian16(fields + 12);
    format.bitsPerSample = ReadLittleEndian16(fields + 14);
    uint32_t bytesRead = formatBytes;
    if (format.tag == formatExtensible && chunk.bytes >= extensibleBytes) {
        uint8_t extension[subFormatEnd - formatBytes];
        if (std::fread(extension, 1, sizeof extension, file) != sizeof extension) return false;
        format.tag = ReadLittleEndian16(extension + sizeof extension - 2);
        bytesRead = subFormatEnd;
    }
    return SkipChunkRest(file, chunk.bytes - bytesRead, chunk.bytes);
}

}  // namespace

uint32_t ReadLittleEndian32(const uint8_t* bytes) {
    return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

bool FindWaveData(FILE* file, wave_format_t& format, uint32_t& dataBytes) {
    uint8_t head[12];
    if (std::fread(head, 1, sizeof head, file) != sizeof head) return false;
    if (std::memcmp(head, "RIFF", 4) != 0 || std::memcmp(head + 8, "WAVE", 4) != 0) return false;
    chunk_t data;
    uint64_t rest = 0;
    if (!ReadFormat(file, format) || !FindChunk(file, "data", data) || !MeasureRest(file, rest)) return false;
    dataBytes = static_cast<uint32_t>(std::min<uint64_t>(data.bytes, rest));
    return true;
}

bool IsPlayableRate(const wave_format_t& format) {
    return format.samplesPerSecond >= 1 && format.samplesPerSecond <= outputRate;
}

uint32_t RateDivisorOf(const wave_format_t& format) { return outputRate / format.samplesPerSecond; }

bool IsImportablePcm(const wave_format_t& format) {
    return format.tag == formatPcm && (format.channels == 1 || format.channels == 2) &&
           (format.bitsPerSample == 8 || format.bitsPerSample == 16) &&
           format.blockAlign == format.channels * format.bitsPerSample / 8 && IsPlayableRate(format);
}
