// binary_stream.cpp - any calls of a binary stream. Wild ones, on memory of its own, of the caller or in a
// file: the cursors stay inside, whatever fails. Sensible ones, on memory and on a file at once: both read
// the same.
#include <algorithm>
#include <bit>
#include <memory>
#include <vector>

#include "foundation/binary_stream.h"
#include "foundation/string.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/targets.h"

namespace {

using fuzz::Input_t;

constexpr uint32_t maxTextBytes = 40;

void RequireCursorsInside(BinaryStream& stream) {
    const int32_t read = stream.TellRead(), write = stream.TellWrite();
    FUZZ_REQUIRE(read >= 0 && write >= 0);
    if (stream.file) return;
    FUZZ_REQUIRE(read <= stream.end - stream.base && write <= stream.end - stream.base);
    FUZZ_REQUIRE(stream.ReadableBytes() == static_cast<uint32_t>(stream.end - stream.readCursor));
}

std::string TextOf(Input_t& input) {
    std::string text(input.Below(maxTextBytes), '\0');
    for (char& letter : text) letter = static_cast<char>(1 + input.Below(255));
    return text;
}

void CallAnything(BinaryStream& stream, Input_t& input) {
    uint8_t bytes[300] = {};
    char text[maxTextBytes], letter = 0;
    uint32_t number = 0;
    uint16_t shortNumber = 0;
    float real = 0;
    String_t string("before");
    const uint32_t call = input.Below(18);
    if (call == 0) stream.WriteBytes(bytes, input.Below(300));
    if (call == 1) stream.ReadBytes(bytes, input.Below(300));
    if (call == 2) stream.WriteChar(static_cast<char>(input.Byte()));
    if (call == 3) stream.ReadChar(letter);
    if (call == 4) stream.WriteU32(input.Long());
    if (call == 5) stream.ReadU32(number);
    if (call == 6) stream.WriteU16(static_cast<uint16_t>(input.Word()));
    if (call == 7) stream.ReadU16(shortNumber);
    if (call == 8) stream.WriteFloat(std::bit_cast<float>(input.Long()));
    if (call == 9) stream.ReadFloat(real);
    if (call == 10) stream.WriteText(input.Flag() ? TextOf(input).c_str() : nullptr);
    if (call == 11) {
        stream.ReadText(text, 1 + input.Below(maxTextBytes));
        FUZZ_REQUIRE(std::find(text, text + maxTextBytes, '\0') != text + maxTextBytes);
    }
    if (call == 12) stream << String_t(TextOf(input).c_str());
    if (call == 13) stream >> string;
    // A gap behind the end of a file is written in full: a small one.
    if (call == 14) stream.SeekWrite(static_cast<int32_t>(stream.file ? input.Word() : input.Long()));
    if (call == 15) stream.SeekRead(static_cast<int32_t>(input.Long()));
    if (call == 16)
        stream.SeekWriteBy(stream.file ? input.Word() : input.Long(), input.Flag() && !stream.file);
    if (call == 17) stream.SeekReadBy(input.Long(), input.Flag());
}

void CheckWild(Input_t& input) {
    const uint32_t kind = input.Below(3), size = input.Below(400);
    std::vector<uint8_t> lent(kind == 1 ? size : 0, uint8_t{0x41});
    std::unique_ptr<BinaryStream> stream;
    if (kind == 0) stream = std::make_unique<BinaryStream>(size);
    if (kind == 1) stream = std::make_unique<BinaryStream>(lent.data(), size);
    const std::string path = fuzz::WriteScratch("wild", "0123456789", std::min(size, 10u));
    if (kind == 2) stream = std::make_unique<BinaryStream>(path.c_str(), 1);
    for (int calls = 0; calls < 300 && !input.IsEmpty(); ++calls) {
        CallAnything(*stream, input);
        RequireCursorsInside(*stream);
    }
}

// The same call on both; what is read must be there. Returns the bytes and the numbers that were read.
std::vector<uint32_t> CallSensibly(BinaryStream& stream, Input_t input, uint32_t written, uint32_t& used) {
    const std::size_t before = input.Left();
    std::vector<uint32_t> read;
    const uint32_t left = written - static_cast<uint32_t>(stream.TellRead());
    uint32_t number = 0;
    uint16_t shortNumber = 0;
    uint8_t bytes[32] = {};
    String_t string;
    const uint32_t call = input.Below(8);
    if (call == 0) stream.WriteU32(input.Long());
    if (call == 1) stream.WriteU16(static_cast<uint16_t>(input.Word()));
    if (call == 2) {
        for (uint8_t& byte : bytes) byte = input.Byte();
        stream.WriteBytes(bytes, input.Below(32));
    }
    if (call == 3 && left >= 4) stream.ReadU32(number);
    if (call == 4 && left >= 2) stream.ReadU16(shortNumber);
    if (call == 5 && left >= 32) stream.ReadBytes(bytes, input.Below(32));
    if (call == 6 && written > 0) stream.SeekRead(static_cast<int32_t>(input.Below(written)));
    if (call == 7 && written > 0) stream.SeekWrite(static_cast<int32_t>(input.Below(written)));
    read.insert(read.end(), {number, shortNumber, static_cast<uint32_t>(stream.TellRead()),
                             static_cast<uint32_t>(stream.TellWrite())});
    read.insert(read.end(), bytes, bytes + sizeof bytes);
    used = static_cast<uint32_t>(before - input.Left());
    return read;
}

void CheckSensible(Input_t& input) {
    std::filesystem::remove(fuzz::Scratch().At("sensible"));
    BinaryStream file(fuzz::Scratch().At("sensible").c_str(), 1), memory(1 + input.Below(64));
    uint32_t written = 0;
    for (int calls = 0; calls < 300 && !input.IsEmpty(); ++calls) {
        uint32_t used = 0;
        const std::vector<uint32_t> fromFile = CallSensibly(file, input, written, used);
        FUZZ_REQUIRE(fromFile == CallSensibly(memory, input, written, used));
        input.Take(used);
        written = std::max(written, static_cast<uint32_t>(memory.TellWrite()));
    }
    FUZZ_REQUIRE(file.Good() && memory.Good());
    const auto size = static_cast<uint32_t>(file.TellRead()) + file.ReadableBytes();
    FUZZ_REQUIRE(size == written);
}

}  // namespace

int FuzzBinaryStream(const uint8_t* data, std::size_t size) {
    Input_t input(data, size);
    if (input.Flag()) {
        CheckWild(input);
    } else {
        CheckSensible(input);
    }
    return 0;
}
