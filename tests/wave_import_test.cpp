// wave_import_test.cpp - wave files become sound files, or are refused and leave nothing.
#include <gtest/gtest.h>

#include <cmath>

#include "scratch_folder.h"
#include "sounds/simple_sound.h"
#include "sounds/sound_file.h"
#include "wave_bytes.h"

namespace {

using namespace std::string_literals;

// The rest of an extensible format chunk that stands in for this tag.
std::string Extension(uint32_t tag, uint32_t bits) {
    return Little(22, 2) + Little(bits, 2) + Little(0, 4) + Little(tag, 2) +
           "\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71"s;
}

std::string Bytes(uint32_t count) {
    std::string bytes;
    for (uint32_t i = 0; i < count; ++i) bytes += static_cast<char>(i * 7);
    return bytes;
}

std::string Flipped(std::string bytes) {
    for (char& byte : bytes) byte = static_cast<char>(byte ^ 0x80);
    return bytes;
}

class WaveImport : public testing::Test {
  protected:
    bool Import(const std::string& wave, const char* name = "n", float volume = 1.0f) const {
        return SimpleSound_t::ImportWaveFile(folder.Write("in.wav", wave).c_str(),
                                             folder.At("out.sn").c_str(), name, 5, volume);
    }

    ScratchFolder_t folder;
};

TEST_F(WaveImport, FilesThatAreImported) {
    const std::string odd = Chunk("LIST", "abc"), bare = Chunk("LIST", "abc", false), data = Bytes(2500);
    const struct {
        const char* name;
        std::string chunks, wantNumbers, wantSamples;
    } rows[] = {
        {"stereo, 22,050 Hz", Format({2, 16, 22050}) + Chunk("data", Bytes(4000)), "1000 1 1 2", Bytes(4000)},
        {"8 bits are unsigned", Format({1, 8, 11025}) + Chunk("data", data), "2500 0 0 4", Flipped(data)},
        {"8,000 Hz", Format({1, 16, 8000}) + Chunk("data", "abcd"), "2 0 1 5", "abcd"},
        {"1 Hz", Format({1, 16, 1}) + Chunk("data", "abcd"), "2 0 1 44100", "abcd"},
        {"nothing", Format({}) + Chunk("data", ""), "0 0 1 1", ""},
        {"half a frame too much", Format({2, 16}) + Chunk("data", "abcdef"), "1 1 1 1", "abcd"},
        {"18 bytes of format", Format({1, 8, 44100, 1, -1, "\0\0"s}) + Chunk("data", "ab"), "2 0 0 1",
         Flipped("ab")},
        {"19, padded", Format({1, 16, 44100, 1, -1, "\1\0x"s}) + Chunk("data", "ab"), "1 0 1 1", "ab"},
        {"19, not padded", Format({1, 16, 44100, 1, -1, "\1\0x"s}, false) + Chunk("data", "ab"), "1 0 1 1",
         "ab"},
        {"odd chunks before and between", odd + Format({}) + odd + odd + Chunk("data", "ab"), "1 0 1 1",
         "ab"},
        {"the same, not padded", bare + Format({}) + bare + bare + Chunk("data", "ab"), "1 0 1 1", "ab"},
        {"an empty chunk", Chunk("JUNK", "") + Format({}) + Chunk("data", "ab"), "1 0 1 1", "ab"},
        {"more behind", Format({}) + Chunk("data", "ab") + odd, "1 0 1 1", "ab"},
        {"size never filled in",
         Format({}) + "data\xFF\xFF\xFF\xFF"
                      "abcde",
         "2 0 1 1", "abcd"},
        {"extensible", Format({2, 8, 44100, 0xFFFE, -1, Extension(1, 8)}) + Chunk("data", "ab"), "1 1 0 1",
         Flipped("ab")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        folder.Write("out.sn.part", std::string(5000, 'x'));  // left over from a crash
        EXPECT_TRUE(Import(Wave(row.chunks)));
        EXPECT_EQ(folder.Read("out.sn"), "Sound n\0 "s + row.wantNumbers + " 5 1.000 " + row.wantSamples);
        EXPECT_EQ(folder.CountFiles(), 2u);
        SimpleSound_t sound;
        sound.LoadFromFile(folder.At("out.sn").c_str());
        EXPECT_STREQ(sound.name.text, "n");
    }
}

TEST_F(WaveImport, FilesThatAreRefusedLeaveTheOldOne) {
    const std::string data = Chunk("data", "abcd"), good = Format({}) + data;
    const std::string waves[] = {
        "",
        "RIFX" + Wave(good).substr(4),
        Wave(good).replace(8, 4, "AVI "),
        Wave(data),
        Wave(data + Format({})),
        Wave(Chunk("fmt ", Bytes(14)) + data),
        Wave("JUNK\xF0\xFF\xFF\xFF" + good),
        Wave(Format({1, 16, 0}) + data),
        Wave(Format({1, 16, 44101}) + data),
        Wave(Format({1, 16, 48000}) + data),
        Wave(Format({0}) + data),
        Wave(Format({3}) + data),
        Wave(Format({1, 24}) + data),
        Wave(Format({1, 12}) + data),
        Wave(Format({1, 16, 44100, 1, 0}) + data),
        Wave(Format({2, 16, 44100, 1, 2}) + data),
        Wave(Format({1, 16, 44100, 2}) + data),
        Wave(Format({1, 8, 44100, 6}) + data),
        Wave(Format({1, 8, 44100, 0xFFFE, -1, Extension(6, 8)}) + data),
        Wave(Format({1, 8, 44100, 0xFFFE}) + data),
    };
    for (const bool isOldThere : {false, true}) {
        if (isOldThere) folder.Write("out.sn", "old");
        for (const std::string& wave : waves) {
            EXPECT_FALSE(Import(wave)) << testing::PrintToString(wave);
            EXPECT_EQ(folder.Read("out.sn"), isOldThere ? "old" : "") << testing::PrintToString(wave);
            EXPECT_EQ(folder.CountFiles(), isOldThere ? 2u : 1u);
        }
        for (const char* name : {"a b", "", static_cast<const char*>(nullptr)})
            EXPECT_FALSE(Import(Wave(good), name));
        EXPECT_FALSE(Import(Wave(good), std::string(100, 'n').c_str()));
        EXPECT_FALSE(Import(Wave(good), "n", 1e9f));
        EXPECT_FALSE(Import(Wave(good), "n", -INFINITY));
        EXPECT_EQ(folder.Read("out.sn"), isOldThere ? "old" : "");
    }
    const std::string nowhere = folder.At("none") + "/out.sn", in = folder.Write("in.wav", Wave(good));
    EXPECT_FALSE(SimpleSound_t::ImportWaveFile(in.c_str(), nowhere.c_str(), "n", 0, 1));
    EXPECT_FALSE(SimpleSound_t::ImportWaveFile(nowhere.c_str(), folder.At("out.sn").c_str(), "n", 0, 1));
    EXPECT_FALSE(SimpleSound_t::ImportWaveFile(in.c_str(), folder.path.c_str(), "n", 0, 1));
    EXPECT_EQ(folder.CountFiles(), 2u);
}

}  // namespace
