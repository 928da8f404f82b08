// wave_header.cpp - RIFF numbers are little-endian.
#include "tools/wave_header.h"

namespace tools {

namespace {

void AppendLittle(std::string& text, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i));
}

}  // namespace

std::string FormatWaveHeader(uint32_t frames, const wave_shape_t& shape) {
    const uint32_t dataBytes = frames * shape.BytesPerFrame();
    std::string header = "RIFF";
    AppendLittle(header, 36 + dataBytes + dataBytes % 2, 4);
    header += "WAVEfmt ";
    AppendLittle(header, 16, 4);
    AppendLittle(header, 1, 2);  // PCM
    AppendLittle(header, shape.channels, 2);
    AppendLittle(header, shape.rateHz, 4);
    AppendLittle(header, shape.rateHz * shape.BytesPerFrame(), 4);
    AppendLittle(header, shape.BytesPerFrame(), 2);
    AppendLittle(header, shape.bits, 2);
    header += "data";
    AppendLittle(header, dataBytes, 4);
    return header;
}

}  // namespace tools
