// sound_file_test.cpp - sound files, plain and IMA ADPCM, in memory and as streams, their images and archive
// records: the bytes, and what is refused.
#include "sounds/sound_file.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <memory>
#include <tuple>

#include "foundation/binary_stream.h"
#include "ima_sounds.h"
#include "scratch_folder.h"
#include "sounds/simple_sound.h"
#include "streaming/ima_adpcm_stream_sound.h"
#include "streaming/stream_sound.h"
#include "wave_bytes.h"

namespace {

using namespace std::string_literals;

const std::string file27 = "Sound a\0 2 0 0 1 0 1.000 \x10\xF0"s;
const std::string record32 = "\0\0\0\2\0\0\0\0\0\0\0\0\x10\xF0\0\0\0\1\0\0\0\0\x3F\x80\0\0\0\0\0\1a\0"s;

enum class form_t { file, stream, image, record };
constexpr form_t memoryForms[] = {form_t::file, form_t::image, form_t::record};
constexpr form_t textForms[] = {form_t::file, form_t::image};

// What the header of an IMA ADPCM sound says about 40 bytes of data.
struct ima_header_t {
    uint32_t blockBytes, frames, isStereo, is16Bit, divisor, bytes;
};
constexpr ima_header_t goodIma = {8, 3, 0, 1, 1, 40};
constexpr uint32_t most = UINT32_MAX, dataBytes = 40;

std::string Big(uint32_t value) {
    const std::string little = Little(value, 4);
    return {little.rbegin(), little.rend()};
}

std::string ImaData(const ima_header_t& header) {
    const bool isUsable =
        IsImaBlockSize(header.blockBytes, header.isStereo) && header.blockBytes <= dataBytes;
    const uint32_t blockBytes = isUsable ? header.blockBytes : 8;
    std::string data = RandomBlocks(dataBytes / blockBytes, blockBytes, header.isStereo, 1);
    data.resize(dataBytes);
    return data;
}

std::string ImaBytes(const ima_header_t& header, form_t form) {
    if (form == form_t::record) {
        return Big(header.frames) + Big(header.isStereo) + Big(header.is16Bit) + Big(header.divisor) +
               Big(7) + Big(0x3F000000) + Big(1) + "a\0"s + Big(header.bytes) +
               ImaData(header).substr(0, header.bytes) + Big(header.blockBytes);
    }
    std::string text = "IMA_ADPCM_Sound " + std::to_string(header.blockBytes) + " a\0 "s;
    for (const uint32_t number : {header.frames, header.isStereo, header.is16Bit, header.divisor, 7u})
        text += std::to_string(number) + ' ';
    return text + "0.500 " + std::to_string(header.bytes) + ' ' + ImaData(header);
}

// The bytes of a sound that each class takes: plain ones, then IMA ADPCM.
std::string GoodBytes(bool isIma, form_t form) {
    if (isIma) return ImaBytes(goodIma, form);
    return form == form_t::record ? record32 : file27;
}

std::unique_ptr<Sound_t> Make(bool isIma, form_t form) {
    if (form == form_t::stream)
        return isIma ? std::unique_ptr<Sound_t>(new IMA_ADPCM_StreamSound_t)
                     : std::make_unique<StreamSound_t>();
    return isIma ? std::unique_ptr<Sound_t>(new IMA_ADPCM_Sound_t) : std::make_unique<SimpleSound_t>();
}

bool IsEmpty(const Sound_t& sound) {
    return SameText(sound.name.text, defaultSoundName) && sound.frameCount == 0 && !sound.samples;
}

std::string RecordOf(Sound_t& sound) {
    BinaryStream stream(16);
    sound.Serialize(stream, true);
    EXPECT_TRUE(stream.Good());
    return {stream.base, stream.writeCursor};
}

// All that a sound holds, to be compared and printed.
std::string Content(const Sound_t& sound) {
    const std::string texts = sound.name.text + "|"s + sound.archiveName.text + "|" + sound.classTag.text;
    const std::size_t bytes = std::size_t{sound.frameCount} * sound.bytesPerFrame;
    return testing::PrintToString(std::tuple(texts, sound.frameCount, sound.isStereo, sound.is16Bit,
                                             sound.bytesPerFrame, sound.rateDivisor, sound.lockFlags,
                                             sound.baseVolume)) +
           (sound.samples ? std::string(reinterpret_cast<const char*>(sound.samples), bytes) : "no samples");
}

// In KiB: the most address space that the process has ever had; 0 where that is not told.
uint64_t PeakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmPeak:")) return std::strtoull(line.c_str() + 7, nullptr, 10);
    }
    return 0;
}

class SoundFile : public testing::Test {
  protected:
    // Whether the sound holds something then, or the stream of the record is good. The bytes stand in a heap
    // block of exactly their size.
    bool Load(Sound_t& sound, form_t form, const std::string& bytes) const {
        const std::unique_ptr<uint8_t[]> block(new uint8_t[bytes.size()]);
        std::memcpy(block.get(), bytes.data(), bytes.size());
        BinaryStream stream(block.get(), static_cast<uint32_t>(bytes.size()));
        if (form == form_t::record) return sound.Serialize(stream, false), stream.Good();
        if (form == form_t::image) sound.LoadFromBuffer(block.get(), static_cast<unsigned>(bytes.size()));
        if (form != form_t::image) sound.LoadFromFile(folder.Write("sound", bytes).c_str());
        return !IsEmpty(sound);
    }

    // A new sound stays one; one that held something holds it still, or nothing.
    void ExpectRefused(bool isIma, form_t form, const std::string& bytes) const {
        SCOPED_TRACE(testing::Message()
                     << "form " << static_cast<int>(form) << ": " << testing::PrintToString(bytes));
        const std::unique_ptr<Sound_t> fresh = Make(isIma, form), full = Make(isIma, form_t::file);
        EXPECT_FALSE(Load(*fresh, form, bytes));
        EXPECT_TRUE(IsEmpty(*fresh));
        if (form == form_t::stream) return;
        Load(*full, form_t::image, GoodBytes(isIma, form_t::image));
        Load(*full, form, bytes);
        EXPECT_TRUE((isIma && IsEmpty(*full)) || RecordOf(*full) == GoodBytes(isIma, form_t::record));
    }

    ScratchFolder_t folder;
};

TEST_F(SoundFile, WorkedBytes) {
    for (const form_t form : memoryForms) {
        SimpleSound_t sound;
        Load(sound, form, form == form_t::record ? record32 : file27);
        EXPECT_STREQ(sound.name.text, "a");
        ASSERT_EQ(sound.frameCount, 2u);
        EXPECT_EQ(sound.samples[0], 0x90);
        EXPECT_EQ(sound.samples[1], 0x70);
        EXPECT_EQ(RecordOf(sound), record32);
        EXPECT_EQ(sound.samples[0], 0x90);  // in memory form again
    }
    EXPECT_EQ(FormatSoundHeader({"a", 2}), file27.substr(0, 25));
    SimpleSound_t empty, copy;
    EXPECT_TRUE(Load(copy, form_t::record, RecordOf(empty)));
    EXPECT_TRUE(SameText(copy.name.text, defaultSoundName) && copy.frameCount == 0);
}

TEST_F(SoundFile, HeadersThatLoad) {
    const struct {
        std::string bytes;
        std::string name;
        uint32_t frames, wantBytesPerFrame, divisor, locks;
        float baseVolume;
    } rows[] = {
        {"Sound a\0 3 0 0 1 0 0.125 abc"s, "a", 3, 1, 1, 0, 0.125f},
        {"Sound a\0 3 1 1 4 7 12.500 abcdefghijkl"s, "a", 3, 4, 4, 7, 12.5f},
        {"Sound a\0 1 2 -1 44100 4294967295 -0.500 abcd"s, "a", 1, 4, 44100, 4294967295,
         -0.5f},  // any flag but 0
        {"Sound none\0 0 1 0 2 0 1.000 "s, "none", 0, 2, 2, 0, 1},
        {"Sound behind\0 1 0 0 1 0 1.000 abcdef"s, "behind", 1, 1, 1, 0, 1},
        {"Sound \0 1 0 0 1 0 1.000 a"s, "", 1, 1, 1, 0, 1},
        {"Sound "s + std::string(99, 'n') + "\0 1 0 0 1 0 1.000 a"s, std::string(99, 'n'), 1, 1, 1, 0, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.bytes);
        SimpleSound_t fromFile, fromImage, fromRecord;
        Load(fromFile, form_t::file, row.bytes);
        Load(fromImage, form_t::image, row.bytes);
        EXPECT_EQ(Content(fromFile), Content(fromImage));
        EXPECT_EQ(
            std::tuple(std::string(fromFile.name.text), fromFile.frameCount, fromFile.bytesPerFrame,
                       fromFile.rateDivisor, fromFile.lockFlags, fromFile.baseVolume),
            std::tuple(row.name, row.frames, row.wantBytesPerFrame, row.divisor, row.locks, row.baseVolume));
        ASSERT_NE(fromFile.samples, nullptr);
        fromFile.baseVolume = 0.1f;  // a record keeps every bit of it
        Load(fromRecord, form_t::record, RecordOf(fromFile));
        EXPECT_EQ(Content(fromRecord), Content(fromFile));
        EXPECT_EQ(fromRecord.baseVolume, 0.1f);
    }
}

TEST_F(SoundFile, ImaHeadersThatLoad) {
    const ima_header_t headers[] = {
        {8, 45, 0, 1, 1, 40},  {8, 3, 0, 1, 1, 40},  {4, 10, 0, 1, 1, 40},         {5, 24, 0, 1, 1, 40},
        {40, 73, 0, 1, 1, 40}, {64, 0, 0, 1, 1, 40}, {0x40000000, 0, 0, 1, 1, 40}, {12, 51, 0, 1, 1, 40},
        {8, 5, 1, 1, 1, 40},   {9, 8, 1, 1, 1, 40},  {40, 33, 1, 1, 44100, 40},    {8, 0, 0, 1, 2, 0},
        {8, 36, 0, 1, 1, 39}};
    for (const ima_header_t& header : headers) {
        std::vector<int16_t> wanted =
            DecodeBlocks(ImaData(header), std::min(header.blockBytes, 40u), header.isStereo);
        wanted.resize(std::size_t{header.frames} * (1 + header.isStereo));
        for (const form_t form : memoryForms) {
            SCOPED_TRACE(testing::PrintToString(ImaBytes(header, form)));
            IMA_ADPCM_Sound_t sound;
            Load(sound, form, ImaBytes(header, form));
            EXPECT_EQ(RecordOf(sound), ImaBytes(header, form_t::record));
            EXPECT_EQ(Decode(sound), wanted);
        }
    }
}

// Without taking the memory that some of them claim.
TEST_F(SoundFile, BytesThatAreRefused) {
    const uint64_t peakBefore = PeakMemory();
    const std::string files[] = {
        "",
        "sound a\0 1 0 0 1 0 1.000 a"s,
        "IMA_ADPCM_Sound a\0 1 0 0 1 0 1.000 a"s,
        "Sound "s + std::string(100, 'n') + "\0 1 0 0 1 0 1.000 a"s,
        "Sound a b\0 1 0 0 1 0 1.000 a"s,
        "Sound a\0x1 0 0 1 0 1.000 a"s,             // no blank behind the name
        "Sound a\0 1 0 0 0 0 1.000 a"s,             // divisor
        "Sound a\0 1 0 0 44101 0 1.000 a"s,         //
        "Sound a\0 4294967296 0 0 1 0 1.000 a"s,    // beyond 32 bits
        "Sound a\0 000000000001 0 0 1 0 1.000 a"s,  // 12 digits
        "Sound a\0 -1 0 0 1 0 1.000 a"s,
        "Sound a\0 x 0 0 1 0 1.000 a"s,
        "Sound a\0 1 0 0 1 0 1,000 a"s,
        "Sound a\0 1 0 0 1 0 nan a"s,
        "Sound a\0 1 0 0 1 0 inf a"s,
        "Sound a\0 4294967295 1 1 1 0 1.000 a"s,  // 16 GB
        "Sound a\0 1073741824 1 1 1 0 1.000 "s,   // 2^32 bytes
        "Sound a\0 1073741824 0 0 1 0 1.000 a"s,  // 1 GB
        "Sound a\0 2 0 0 1 0 1.000 a"s,
    };
    const std::string records[] = {
        "\x40\0\0\0"s + record32.substr(4),                              // 1 GB
        "\xFF\xFF\xFF\xFF"s + record32.substr(4),                        // frames
        "\x40\0\0\0\0\0\0\1\0\0\0\1"s + record32.substr(12),             // 2^32 bytes
        record32.substr(0, 14) + "\0\0\0\0"s + record32.substr(18),      // divisor
        record32.substr(0, 22) + "\x7F\x80\0\0"s + record32.substr(26),  // infinite volume
        record32.substr(0, 26) + "\0\0\0\0a\0"s,                         // a name longer than its length
    };
    const ima_header_t headers[] = {
        {0, 1, 0, 1, 1, 40},         {3, 1, 0, 1, 1, 40},        {3, 0, 0, 1, 1, 40},
        {4, 11, 0, 1, 1, 40},        {5, 25, 0, 1, 1, 40},       {7, 1, 1, 1, 1, 40},
        {7, 0, 1, 1, 1, 40},         {8, 6, 1, 1, 1, 40},        {8, 46, 0, 1, 1, 40},
        {41, 1, 0, 1, 1, 40},        {9, 9, 1, 1, 1, 40},        {8, 3, 0, 0, 1, 40},
        {8, 3, 0, 1, 0, 40},         {8, 3, 0, 1, 44101, 40},    {8, 37, 0, 1, 1, 39},
        {8, 1, 0, 1, 1, 7},          {8, 1, 0, 1, 1, 41},        {8, 1, 0, 1, 1, most},
        {8, most, 1, 1, 1, most},    {8, most, 0, 1, 1, 40},     {8, most, 1, 1, 1, 40},
        {most, 1, 0, 1, 1, 40},      {most - 3, 1, 0, 1, 1, 40}, {0x80000004, 1, 0, 1, 1, 40},
        {0x40000001, 0, 0, 1, 1, 40}};
    for (const std::string& bytes : files) {
        for (const form_t form : textForms) ExpectRefused(false, form, bytes);
    }
    for (const std::string& bytes : records) ExpectRefused(false, form_t::record, bytes);
    for (const ima_header_t& header : headers) {
        for (const form_t form : textForms) ExpectRefused(true, form, ImaBytes(header, form));
        ExpectRefused(true, form_t::record, ImaBytes(header, form_t::record));
    }
    const std::string rest = ImaBytes(goodIma, form_t::file).substr(17);
    for (const std::string start :
         {"Sound 8", "IMA_ADPCM_Sound8", "IMA_ADPCM_Sound -8", "IMA_ADPCM_Sound 8x", "IMA_ADPCM_Sound ",
          "IMA_ADPCM_Sound 000000000008", "ima_adpcm_sound 8"}) {
        for (const form_t form : textForms) ExpectRefused(true, form, start + rest);
    }
    EXPECT_LT(PeakMemory() - peakBefore, 100'000u);
    for (const std::string& bytes : files) ExpectRefused(false, form_t::stream, bytes);
    for (const ima_header_t& header : headers)
        ExpectRefused(true, form_t::stream, ImaBytes(header, form_t::stream));
}

TEST_F(SoundFile, EveryPrefixIsRefused) {
    for (const bool isIma : {false, true}) {
        for (const form_t form : {form_t::file, form_t::stream, form_t::image, form_t::record}) {
            const std::string whole = GoodBytes(isIma, form);
            for (std::size_t size = 0; size < whole.size(); ++size)
                ExpectRefused(isIma, form, whole.substr(0, size));
            const std::unique_ptr<Sound_t> sound = Make(isIma, form);
            EXPECT_TRUE(Load(*sound, form, whole + "more"));
        }
    }
}

TEST_F(SoundFile, CommaLocaleChangesNothing) {
    const std::string made = folder.At("comma.UTF-8");
    const std::string command = "localedef -i de_DE -f UTF-8 " + made + " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0 || setenv("LOCPATH", folder.path.c_str(), 1) != 0 ||
        !std::setlocale(LC_ALL, "comma.UTF-8"))
        GTEST_SKIP() << "no locale with a decimal comma could be made";
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
    const std::string head = FormatSoundHeader({"a", 1, false, false, 1, 0, 0.625f});
    SimpleSound_t sound;
    Load(sound, form_t::file, head + "x");
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
    EXPECT_EQ(head, "Sound a\0 1 0 0 1 0 0.625 "s);
    EXPECT_EQ(sound.baseVolume, 0.625f);
}

}  // namespace
