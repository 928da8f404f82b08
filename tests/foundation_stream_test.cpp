#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/binary_stream.h"
#include "foundation/string.h"
#include "scratch_folder.h"

namespace {

using bytes_t = std::vector<uint8_t>;

class TempPath_t : ScratchFolder_t {
  public:
    void Put(const bytes_t& content) const { Write("file", {content.begin(), content.end()}); }
    bytes_t Content() const {
        const std::string bytes = Read("file");
        return {bytes.begin(), bytes.end()};
    }
    const char* Name() const { return name.c_str(); }

  private:
    const std::string name = At("file");
};

// What a stream prints on the standard error stream while the work is done.
std::string Complaints(const std::function<void()>& work) {
    testing::internal::CaptureStderr();
    work();
    return testing::internal::GetCapturedStderr();
}

const struct {
    const char* name;
    std::function<void(BinaryStream&)> write;
    bytes_t wire;
} wireForms[] = {
    {"float 1.0", [](BinaryStream& s) { s.WriteFloat(1.0f); }, {0x3F, 0x80, 0, 0}},
    {"32-bit 44100", [](BinaryStream& s) { s.WriteU32(44100); }, {0, 0, 0xAC, 0x44}},
    {"16-bit", [](BinaryStream& s) { s.WriteU16(0x8001); }, {0x80, 0x01}},
    {"character", [](BinaryStream& s) { s.WriteChar('\xFE'); }, {0xFE}},
    {"text", [](BinaryStream& s) { s.WriteText("sn"); }, {'s', 'n', 0}},
    {"no text", [](BinaryStream& s) { s.WriteText(nullptr); }, {0}},
    {"empty string", [](BinaryStream& s) { s << String_t(""); }, {0, 0, 0, 0, 0}},
    {"string", [](BinaryStream& s) { s << String_t("sn"); }, {0, 0, 0, 2, 's', 'n', 0}},
    {"raw bytes", [](BinaryStream& s) { s.WriteBytes("\1\0\2", 3).WriteBytes("", 0); }, {1, 0, 2}},
};

TEST(BinaryStream, WritesTheSameWireFormInEveryMode) {
    for (const auto& form : wireForms) {
        SCOPED_TRACE(form.name);
        const TempPath_t path;
        bytes_t exact(form.wire.size());
        BinaryStream owned(1);  // grows on the way
        BinaryStream borrowed(exact.data(), static_cast<uint32_t>(exact.size()));
        BinaryStream file(path.Name(), 1);
        for (BinaryStream* stream : {&owned, &borrowed, &file}) {
            form.write(*stream);
            EXPECT_EQ(static_cast<int32_t>(form.wire.size()), stream->TellWrite());
            EXPECT_TRUE(stream->Good());
        }
        file.Flush();
        EXPECT_EQ(form.wire, bytes_t(owned.base, owned.writeCursor));
        EXPECT_EQ(form.wire, exact);
        EXPECT_EQ(form.wire, path.Content());
    }
}

// One value of every type.
bytes_t Record() {
    BinaryStream stream(4);
    stream.WriteU32(0xDEADBEEF).WriteU16(0xFFFE).WriteFloat(-0.25f).WriteChar('x').WriteText("plain");
    stream << String_t("engine");
    stream.WriteBytes("\x80\x7F", 2);
    return bytes_t(stream.base, stream.writeCursor);
}

// What of the record is there, as text; the failure of any part shows in the stream's error.
std::string Read(BinaryStream& stream) {
    uint32_t u32;
    uint16_t u16;
    float number;
    char character, plain[8];
    String_t name;
    uint8_t raw[2] = {};
    stream.ReadU32(u32).ReadU16(u16).ReadFloat(number).ReadChar(character).ReadText(plain, 8);
    stream >> name;
    if (stream.ReadableBytes() < 2) stream.SetError(BinaryStream::readFailed);
    stream.ReadBytes(raw, 2);
    std::ostringstream text;
    text << u32 << ' ' << u16 << ' ' << number << ' ' << character << ' ' << plain << ' ' << name.text << ' '
         << int{raw[0]} << ' ' << int{raw[1]};
    return text.str();
}

TEST(BinaryStream, ReadsBackWhatItWroteAndMissesEveryByteThatIsCutOff) {
    const bytes_t image = Record();
    const TempPath_t path;
    for (size_t size = 0; size <= image.size(); ++size) {
        bytes_t prefix(image.begin(), image.begin() + static_cast<long>(size));  // its end is guarded
        path.Put(prefix);
        BinaryStream memory(prefix.data(), static_cast<uint32_t>(size)), file(path.Name(), 0);
        for (BinaryStream* stream : {&memory, &file}) {
            EXPECT_EQ(size, stream->ReadableBytes());
            const std::string record = Read(*stream);
            EXPECT_EQ(size == image.size() ? 0u : 3u, stream->error) << "of " << size << " bytes";
            if (size < image.size()) continue;
            EXPECT_EQ("3735928559 65534 -0.25 x plain engine 128 127", record);
            EXPECT_EQ(0u, stream->ReadableBytes());
        }
    }
}

TEST(BinaryStream, AStringsLengthIsBelievedOnlyAsFarAsItsBytes) {
    const struct {
        const char* name;
        bytes_t wire;
        const char* text;
        uint32_t error;
        int32_t position;
    } cases[] = {
        {"length too long", {0, 0, 0, 9, 'a', 'b', 0, 'z'}, "ab", 0, 7},
        {"length + 1 is 0", {0xFF, 0xFF, 0xFF, 0xFF, 'a', 0, 'z'}, "a", 0, 6},
        {"no terminator", {0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b'}, "ab", 3, 6},
        {"text longer than its length", {0, 0, 0, 1, 'a', 'b', 'c', 0}, "a", 3, 6},
        {"a length and nothing else", {0, 0, 0, 1}, "", 3, 4},
        {"half a length", {0, 0}, "", 3, 2},
    };
    const TempPath_t path;
    for (const auto& c : cases) {
        bytes_t wire = c.wire;
        path.Put(wire);
        BinaryStream memory(wire.data(), static_cast<uint32_t>(wire.size())), file(path.Name(), 0);
        for (BinaryStream* stream : {&memory, &file}) {
            String_t text("before");
            *stream >> text;
            EXPECT_STREQ(c.text, text.text) << c.name;
            EXPECT_EQ(c.error, stream->error) << c.name;
            EXPECT_EQ(c.position, stream->TellRead()) << c.name;
        }
    }
}

TEST(BinaryStream, ReadTextStaysInItsBuffer) {
    uint8_t wire[] = {'a', 'b', 'c', 0};
    char out[] = "#####";
    BinaryStream fits(wire, 4), cut(wire, 4), none(wire, 4);
    EXPECT_TRUE(fits.ReadText(out, 4).Good());
    EXPECT_EQ(0, std::memcmp(out, "abc\0#", 5));
    std::memcpy(out, "#####", 5);
    EXPECT_EQ(3u, cut.ReadText(out, 3).error);
    EXPECT_EQ(0, std::memcmp(out, "ab\0##", 5));
    EXPECT_EQ(3u, none.ReadText(nullptr, 0).error);
    EXPECT_EQ(0, none.TellRead());
}

// Which code a full buffer, a file that is not open for writing and a stream without any medium are left
// with.
TEST(BinaryStream, AFailedWriteLeavesTheCodeOfItsOperation) {
    const struct {
        const char* name;
        std::function<void(BinaryStream&)> write;
        uint32_t error;
        int32_t stored;  // in a buffer with room for one byte
    } cases[] = {
        {"WriteU32", [](BinaryStream& s) { s.WriteU32(0x01020304); }, 6, 1},
        {"WriteU16", [](BinaryStream& s) { s.WriteU16(0x0102); }, 6, 1},
        {"WriteFloat", [](BinaryStream& s) { s.WriteFloat(1.0f); }, 6, 1},
        {"WriteBytes", [](BinaryStream& s) { s.WriteBytes("ab", 2); }, 5, 0},
        {"WriteChar", [](BinaryStream& s) { s.WriteChar('a').WriteChar('b'); }, 1, 1},
        {"WriteText", [](BinaryStream& s) { s.WriteText("ab"); }, 1, 1},
        {"terminator of WriteText", [](BinaryStream& s) { s.WriteText("a"); }, 1, 1},
        {"string", [](BinaryStream& s) { s << String_t("a"); }, 1, 1},  // 6, then its terminator
    };
    const TempPath_t path, absent;
    path.Put({'?'});
    for (const auto& c : cases) {
        uint8_t room[2] = {0, 0x55};
        BinaryStream full(room, 1);
        c.write(full);
        EXPECT_EQ(c.error, full.error) << c.name;
        EXPECT_EQ(c.stored, full.TellWrite()) << c.name;
        EXPECT_EQ(0x55, room[1]) << c.name;
        const std::string complaints = Complaints([&] {
            BinaryStream readOnly(path.Name(), 0), broken(absent.Name(), 0);
            for (BinaryStream* stream : {&readOnly, &broken}) {
                stream->error = 0;
                c.write(*stream);
                EXPECT_EQ(c.error, stream->error) << c.name;
            }
        });
        EXPECT_NE(std::string::npos, complaints.find("\nBinaryStream: ")) << complaints;
    }
    EXPECT_EQ(bytes_t{'?'}, path.Content());
}

TEST(BinaryStream, AStreamInErrorStoresNoNumberAndOnlyTheTerminatorOfAText) {
    BinaryStream stream(16);
    stream.SetError(2);
    stream.WriteU32(1).WriteU16(2).WriteFloat(3.0f);
    EXPECT_EQ(0, stream.TellWrite());
    stream.WriteText("abc");
    EXPECT_EQ(1, stream.TellWrite());
    stream.WriteChar('d').WriteBytes("ef", 2);
    EXPECT_EQ(0, std::memcmp(stream.base, "\0def", 4));
    char first = 'x';
    stream.ReadChar(first);
    EXPECT_EQ('\0', first);
    EXPECT_EQ(2u, stream.error);  // nothing clears it
    EXPECT_EQ(2u, stream.ErrorBit1() | stream.ErrorBit2() | stream.ErrorBit4());
}

TEST(BinaryStream, AFailedReadTakesNothingOrSaysSo) {
    uint8_t wire[] = {1, 2, 3};
    BinaryStream stream(wire, 3);
    uint8_t out[4] = {9, 9, 9, 9};
    EXPECT_EQ(3u, stream.ReadBytes(out, 4).error);
    EXPECT_EQ(9, out[0]);
    EXPECT_EQ(3u, stream.ReadableBytes());
    stream.ReadBytes(out, 3);
    EXPECT_EQ(3, out[2]);
    char last = 0;
    stream.error = 0;
    EXPECT_EQ(3u, stream.ReadChar(last).error);
    EXPECT_EQ('\xFF', last);

    const TempPath_t path;
    path.Put({1, 2, 3});
    BinaryStream file(path.Name(), 0);
    EXPECT_TRUE(file.ReadBytes(out, 4).Good()) << "a short read of a file sets no code";
    EXPECT_EQ(3, file.TellRead());
    EXPECT_EQ(3u, file.ReadChar(last).error);
    EXPECT_EQ('\xFF', last);
    uint32_t number = 7;
    EXPECT_EQ(3u, file.SeekRead(1).ReadU32(number).error);
    EXPECT_EQ(0u, number) << "a number that is cut off";
    EXPECT_EQ(0u, file.SeekRead(100).ReadableBytes());
}

TEST(BinaryStream, SeeksStayInTheBuffer) {
    struct seek_t {
        int32_t start;  // -1: 8, the very end, where only a write comes to stand
        char kind;      // '=' to an offset, '+' forward, '-' back
        uint32_t amount;
        int32_t position;  // -1: refused
    };
    const seek_t cases[] = {
        {0, '=', 7, 7},   {0, '=', 8, -1},          {3, '=', 0xFFFFFFFF, -1}, {3, '=', 0x80000000, -1},
        {3, '+', 4, 7},   {3, '+', 5, -1},          {3, '+', 0xFFFFFFFF, -1}, {3, '-', 3, 0},
        {3, '-', 4, -1},  {3, '-', 0xFFFFFFFD, -1}, {-1, '-', 8, 0},          {-1, '-', 9, -1},
        {-1, '+', 0, -1}, {-1, '-', 0, 8},
    };
    for (const seek_t& c : cases) {
        SCOPED_TRACE(testing::Message() << c.start << ' ' << c.kind << ' ' << c.amount);
        uint8_t buffer[8] = {};
        for (const bool writing : {false, true}) {
            BinaryStream stream(buffer, 8);
            (writing ? stream.writeCursor : stream.readCursor) = buffer + (c.start < 0 ? 8 : c.start);
            if (c.kind == '=') {
                const auto offset = static_cast<int32_t>(c.amount);
                writing ? stream.SeekWrite(offset) : stream.SeekRead(offset);
            } else {
                const bool forward = c.kind == '+';
                writing ? stream.SeekWriteBy(c.amount, forward) : stream.SeekReadBy(c.amount, forward);
            }
            const int32_t stays = c.start < 0 ? 8 : c.start;
            EXPECT_EQ(c.position < 0 ? 2u : 0u, stream.error);
            EXPECT_EQ(c.position < 0 ? stays : c.position, writing ? stream.TellWrite() : stream.TellRead());
            EXPECT_EQ(0, writing ? stream.TellRead() : stream.TellWrite()) << "the other cursor";
        }
    }
}

TEST(BinaryStream, GrowsByDoublingWhenABytePassesTheEnd) {
    BinaryStream stream(4);
    EXPECT_EQ(0, std::memcmp(stream.base, "\0\0\0\0", 4));
    const uint8_t* first = stream.base;
    stream.WriteBytes("abcd", 4);
    EXPECT_EQ(first, stream.base) << "exactly the room left";
    EXPECT_EQ(stream.end, stream.writeCursor);
    stream.SeekRead(2).WriteChar('e');
    EXPECT_EQ(8, stream.end - stream.base);
    EXPECT_EQ(5, stream.TellWrite());
    char next = 0;
    EXPECT_EQ('c', (stream.ReadChar(next), next));
    stream.WriteBytes("fghijklmnopqrstuv", 17);
    EXPECT_EQ(32, stream.end - stream.base);
    EXPECT_EQ('d', (stream.ReadChar(next), next));
    EXPECT_EQ(0, std::memcmp(stream.base, "abcdefghijklmnopqrstuv", 22));
    EXPECT_TRUE(stream.Good());
}

TEST(BinaryStream, RefusesSizesThatOffsetsCannotHold) {
    uint8_t byte = 7;
    BinaryStream owned(0x80000000u), borrowed(&byte, 0x80000000u), empty(0u), small(4);
    EXPECT_EQ(5u, owned.error);
    EXPECT_EQ(5u, borrowed.error);
    EXPECT_EQ(0u, borrowed.ReadableBytes());
    EXPECT_EQ(1u, empty.WriteChar('a').error);
    for (uint32_t count : {0x7FFFFFFFu, 0xFFFFFFFFu}) {
        small.error = 0;
        EXPECT_EQ(5u, small.WriteBytes(&byte, count).error);
        EXPECT_EQ(4, small.end - small.base);
        EXPECT_EQ(0, small.TellWrite());
        small.error = 0;
        EXPECT_EQ(3u, small.ReadBytes(&byte, count).error);
    }
    EXPECT_EQ(7, byte);
}

TEST(BinaryStream, AFileEndsAtTheLastOffset) {
    const TempPath_t path;
    path.Put({});
    std::filesystem::resize_file(path.Name(), 0x7FFFFFFF);  // a hole
    {
        BinaryStream stream(path.Name(), 2);
        EXPECT_EQ(0x7FFFFFFFu, stream.ReadableBytes());
        EXPECT_TRUE(stream.SeekWrite(0x7FFFFFFF).Good());
        EXPECT_EQ(5u, stream.WriteBytes("a", 1).error);
        EXPECT_EQ(1u, stream.WriteChar('a').error);
        stream.error = 0;
        EXPECT_EQ(2u, stream.SeekWriteBy(1, true).error);
        EXPECT_EQ(0x7FFFFFFF, stream.TellWrite());
    }
    EXPECT_EQ(0x7FFFFFFFu, std::filesystem::file_size(path.Name()));
    std::filesystem::resize_file(path.Name(), 0x80000000u);
    Complaints([&] { EXPECT_EQ(4u, BinaryStream(path.Name(), 0).error); });
}

TEST(BinaryStream, OpensByMode) {
    const struct {
        const char* name;
        int32_t mode;
        bool exists, opens, writes;
    } cases[] = {
        {"read an existing file", 0, true, true, false},
        {"update an existing file", 1, true, true, true},
        {"update, never create", 2, true, true, true},
        {"nothing to read", 0, false, false, false},
        {"created", 1, false, true, true},
        {"only mode 1 creates", 2, false, false, false},
    };
    for (const auto& c : cases) {
        const TempPath_t path;
        if (c.exists) path.Put({'a', 'b', 'c'});
        const std::string complaints = Complaints([&] {
            BinaryStream stream(path.Name(), c.mode);
            EXPECT_EQ(c.opens ? 0u : 4u, stream.error) << c.name;
            EXPECT_EQ(c.writes, stream.WriteBytes("X", 1).Good()) << c.name;
        });
        const std::string told = "ERROR: BinaryStream: Cannot open file " + std::string(path.Name()) +
                                 "\nERROR: BinaryStream: No such file or directory\n";
        EXPECT_EQ(c.opens ? std::string::npos : 0, complaints.find(told)) << complaints;
        EXPECT_EQ(c.opens, std::filesystem::exists(path.Name())) << c.name;
        bytes_t wanted = c.exists ? bytes_t{'a', 'b', 'c'} : bytes_t{};
        if (c.writes) (wanted.resize(std::max<size_t>(wanted.size(), 1)), wanted[0] = 'X');
        EXPECT_EQ(wanted, path.Content()) << c.name << ": nothing is truncated or appended";
    }
}

TEST(BinaryStream, WhatIsNoFileLeavesAStreamThatFails) {
    const TempPath_t path;
    std::filesystem::create_directory(path.Name());
    const char* const absent = nullptr;
    for (const char* name : {path.Name(), absent}) {
        for (int32_t mode : {0, 1, 2}) {
            const std::string told = Complaints([&] {
                BinaryStream stream(name, mode);
                EXPECT_EQ(4u, stream.error);
                EXPECT_EQ(nullptr, stream.file);
                EXPECT_EQ(0u, stream.ReadableBytes());
                EXPECT_EQ(0, stream.TellRead() + stream.TellWrite());
                char next = 0;
                EXPECT_EQ(3u, stream.ReadChar(next).error);
                EXPECT_EQ(2u, stream.SeekWrite(0).error);
                stream.Flush();
            });
            const char* const cause = std::strerror(name != nullptr ? EISDIR : ENOENT);
            EXPECT_NE(std::string::npos, told.find(cause)) << told;
        }
    }
}

TEST(BinaryStream, ADeadFileSaysSoAtTheChangeOfCursors) {
    const TempPath_t path;
    path.Put({'a', 'b'});
    Complaints([&] {
        BinaryStream stream(path.Name(), 0);
        EXPECT_EQ(1u, stream.WriteChar('x').error);
        EXPECT_EQ(0, stream.TellRead());
        EXPECT_EQ(4u, stream.error);
        EXPECT_EQ(2u, stream.SeekRead(-1).error);
    });
}

TEST(BinaryStream, AFileEndsWhereItsWritesDo) {
    const TempPath_t path;
    path.Put({'a', 'b', 'c', 'd', 'e', 'f'});
    BinaryStream stream(path.Name(), 1);
    char next = 0;
    stream.WriteBytes("ABC", 3).SeekReadBy(3, true).SeekWriteBy(2, true);
    EXPECT_EQ('d', (stream.ReadChar(next), next));
    EXPECT_EQ(2u, stream.ReadableBytes());
    stream.WriteChar('Z').SeekReadBy(1, true);
    EXPECT_EQ('Z', (stream.ReadChar(next), next));
    EXPECT_EQ(3u, stream.ReadChar(next).error);
    EXPECT_EQ(2u, stream.SeekReadBy(7, false).error);
    EXPECT_EQ(6, stream.TellRead());
    stream.Flush();
    EXPECT_EQ((bytes_t{'A', 'B', 'C', 'd', 'e', 'Z'}), path.Content());
}

}  // namespace
