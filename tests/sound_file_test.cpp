// sound_file_test.cpp - sound files, their images and archive records: the bytes, and what is refused.
#include "sounds/sound_file.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <tuple>

#include "foundation/binary_stream.h"
#include "scratch_folder.h"
#include "sounds/simple_sound.h"

namespace {

using namespace std::string_literals;

const std::string file27 = "Sound a\0 2 0 0 1 0 1.000 \x10\xF0"s;
const std::string record32 = "\0\0\0\2\0\0\0\0\0\0\0\0\x10\xF0\0\0\0\1\0\0\0\0\x3F\x80\0\0\0\0\0\1a\0"s;

// All that a sound holds, to be compared and printed.
std::string Content(const Sound_t& sound) {
    const std::string texts = sound.name.text + "|"s + sound.archiveName.text + "|" + sound.classTag.text;
    const std::size_t bytes = std::size_t{sound.frameCount} * sound.bytesPerFrame;
    return testing::PrintToString(std::tuple(texts, sound.frameCount, sound.isStereo, sound.is16Bit,
                                             sound.bytesPerFrame, sound.rateDivisor, sound.lockFlags,
                                             sound.baseVolume)) +
           (sound.samples ? std::string(reinterpret_cast<const char*>(sound.samples), bytes) : "no samples");
}

enum class form_t { file, image, record };
constexpr form_t allForms[] = {form_t::file, form_t::image, form_t::record};

class SoundFile : public testing::Test {
  protected:
    // The bytes stand in a heap block of exactly their size.
    void Load(SimpleSound_t& sound, form_t form, const std::string& bytes) const {
        const std::unique_ptr<uint8_t[]> block(new uint8_t[bytes.size()]);
        std::memcpy(block.get(), bytes.data(), bytes.size());
        if (form == form_t::file) {
            sound.LoadFromFile(folder.Write("sound.sn", bytes).c_str());
        } else if (form == form_t::image) {
            sound.LoadFromBuffer(block.get(), static_cast<unsigned>(bytes.size()));
        } else {
            BinaryStream stream(block.get(), static_cast<uint32_t>(bytes.size()));
            sound.Serialize(stream, false);
        }
    }

    static std::string RecordOf(Sound_t& sound) {
        BinaryStream stream(16);
        sound.Serialize(stream, true);
        EXPECT_TRUE(stream.Good());
        return {stream.base, stream.writeCursor};
    }

    // Not loaded, and nothing changed: neither a new sound nor one that held something.
    void ExpectRefused(form_t form, const std::string& bytes) const {
        SimpleSound_t fresh, full;
        Load(full, form_t::image, file27);
        Load(fresh, form, bytes);
        Load(full, form, bytes);
        EXPECT_EQ(Content(fresh), Content(SimpleSound_t()));
        EXPECT_EQ(RecordOf(full), record32);
    }

    ScratchFolder_t folder;
};

TEST_F(SoundFile, WorkedBytes) {
    for (const form_t form : allForms) {
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
        EXPECT_EQ(fromFile.name.text, row.name);
        EXPECT_EQ(fromFile.frameCount, row.frames);
        EXPECT_EQ(fromFile.bytesPerFrame, row.wantBytesPerFrame);
        EXPECT_EQ(fromFile.rateDivisor, row.divisor);
        EXPECT_EQ(fromFile.lockFlags, row.locks);
        EXPECT_EQ(fromFile.baseVolume, row.baseVolume);
        ASSERT_NE(fromFile.samples, nullptr);
        fromFile.baseVolume = 0.1f;  // a record keeps every bit of it
        Load(fromRecord, form_t::record, RecordOf(fromFile));
        EXPECT_EQ(Content(fromRecord), Content(fromFile));
        EXPECT_EQ(fromRecord.baseVolume, 0.1f);
    }
}

// In KiB: the most address space that the process has ever had; 0 where that is not told.
uint64_t PeakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmPeak:")) return std::strtoull(line.c_str() + 7, nullptr, 10);
    }
    return 0;
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
    for (const std::string& bytes : files) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        ExpectRefused(form_t::file, bytes);
        ExpectRefused(form_t::image, bytes);
    }
    for (const std::string& bytes : records) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        ExpectRefused(form_t::record, bytes);
    }
    EXPECT_LT(PeakMemory() - peakBefore, 500'000u);
}

TEST_F(SoundFile, EveryPrefixIsRefused) {
    for (const form_t form : allForms) {
        const std::string& whole = form == form_t::record ? record32 : file27;
        for (std::size_t size = 0; size < whole.size(); ++size) {
            SCOPED_TRACE(testing::Message() << size << " bytes of form " << static_cast<int>(form));
            ExpectRefused(form, whole.substr(0, size));
        }
    }
}

TEST_F(SoundFile, SerializesThroughAFileAndWithoutSamples) {
    SimpleSound_t sound, empty, copy;
    Load(sound, form_t::image, file27);
    const std::string path = folder.At("records");
    BinaryStream stream(path.c_str(), 1);
    empty.Serialize(stream, true);
    sound.Serialize(stream, true);
    copy.Serialize(stream, false);
    EXPECT_EQ(copy.frameCount, 0u);
    EXPECT_STREQ(copy.name.text, defaultSoundName);
    copy.Serialize(stream, false);
    EXPECT_TRUE(stream.Good());
    EXPECT_EQ(Content(copy), Content(sound));
    copy.Serialize(stream, false);
    EXPECT_FALSE(stream.Good());
    EXPECT_EQ(Content(copy), Content(sound));
}

// Sets a locale whose decimal point is a comma, one of the machine's or one made for the purpose.
bool SetCommaLocale(const ScratchFolder_t& folder) {
    const std::string made = folder.At("comma.UTF-8");
    const std::string command = "localedef -i de_DE -f UTF-8 " + made + " >/dev/null 2>&1";
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8"}) {
        if (std::setlocale(LC_ALL, name)) return true;
    }
    return std::system(command.c_str()) == 0 && setenv("LOCPATH", folder.path.c_str(), 1) == 0 &&
           std::setlocale(LC_ALL, "comma.UTF-8");
}

TEST_F(SoundFile, CommaLocaleChangesNothing) {
    if (!SetCommaLocale(folder)) GTEST_SKIP() << "no locale with a decimal comma, and none could be made";
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
    const std::string head = FormatSoundHeader({"a", 1, false, false, 1, 0, 0.625f});
    SimpleSound_t commaRead, read;
    Load(commaRead, form_t::file, head + "x");
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
    EXPECT_EQ(head, "Sound a\0 1 0 0 1 0 0.625 "s);
    Load(read, form_t::file, head + "x");
    EXPECT_EQ(Content(commaRead), Content(read));
    EXPECT_EQ(read.baseVolume, 0.625f);
}

}  // namespace
