// wave_bytes.h - the bytes of wave files, chunk by chunk.
#pragma once

#include <cstdint>
#include <string>

inline std::string Little(uint32_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i & 0xFF);
    return text;
}

inline std::string Chunk(const std::string& tag, const std::string& data, bool isPadded = true) {
    return tag + Little(static_cast<uint32_t>(data.size()), 4) + data +
           (isPadded && data.size() % 2 ? std::string(1, '\0') : "");
}

struct format_t {
    uint32_t channels = 1, bits = 16, rateHz = 44100, tag = 1;
    int blockAlign = -1;  // what follows from the others
    std::string extension = "";
};

inline std::string Format(const format_t& format, bool isPadded = true) {
    const uint32_t align = format.channels * format.bits / 8;
    return Chunk("fmt ",
                 Little(format.tag, 2) + Little(format.channels, 2) + Little(format.rateHz, 4) +
                     Little(format.rateHz * align, 4) +
                     Little(format.blockAlign < 0 ? align : static_cast<uint32_t>(format.blockAlign), 2) +
                     Little(format.bits, 2) + format.extension,
                 isPadded);
}

inline std::string Wave(const std::string& chunks) { return "RIFF" + Little(4, 4) + "WAVE" + chunks; }
