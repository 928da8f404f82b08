// archive_test.cpp - whole archives out to files and buffers and in again, and what is left of damaged ones.
#include "sounds/archive.h"

#include <memory>

#include "engine_fixture.h"
#include "foundation/binary_stream.h"
#include "ima_sounds.h"
#include "scratch_folder.h"
#include "sounds/simple_sound.h"

namespace {

using namespace std::string_literals;

const std::string marker = "\0\0\0\x14"s + "end_of_sound_archive\0"s;
// One frame of 8 bits.
const std::string soundA = "\0\0\0\2sn\0\0\0\0\1\0\0\0\0\0\0\0\0\x10\0\0\0\1\0\0\0\0\x3F\x80\0\0\0\0\0\1a\0"s;
// One block of three frames.
const std::string soundB =
    "\0\0\0\3isn\0\0\0\0\3\0\0\0\0\0\0\0\1\0\0\0\2\0\0\0\7\x3F\0\0\0\0\0\0\1b\0\0\0\0\5\xE8\3\x10\0\x41\0\0\0\5"s;
const std::string both = soundA + soundB + marker;

// The image that the archive writes; the buffer has exactly the size given.
std::string Image(Archive_t& archive, std::size_t size) {
    const std::unique_ptr<uint8_t[]> buffer(new uint8_t[size]);
    return {buffer.get(), buffer.get() + archive.SaveToBuffer(buffer.get(), static_cast<unsigned>(size))};
}

class ArchiveFile : public EngineFixture_t {
  protected:
    // By way of a file, or of a buffer of exactly that size.
    void Load(Archive_t& archive, const std::string& bytes, bool isFile) const {
        if (isFile) return (void)archive.Load(folder.Write("in.archive", bytes).c_str(), "here");
        const std::unique_ptr<char[]> image(new char[bytes.size()]);
        bytes.copy(image.get(), bytes.size());
        archive.LoadFromBuffer(image.get(), static_cast<unsigned>(bytes.size()), "here");
    }

    ScratchFolder_t folder;
};

TEST_F(ArchiveFile, WhatLoads) {
    std::string a2 = soundA, bad = soundB, nameless = soundA;
    a2[19] = '\x20';   // another sample
    bad.back() = '4';  // too large a block
    nameless.replace(nameless.size() - 6, 6, "\0\0\0\x19"s + defaultSoundName + '\0');
    const struct {
        const char* name;
        std::string bytes, want;  // what is saved then
    } rows[] = {
        {"no sounds", marker, marker},
        {"both kinds", both, both},
        {"behind the marker", soundA + marker + soundB, soundA + marker},
        {"a name twice", soundA + soundB + a2 + marker, a2 + soundB + marker},
        {"no marker", soundA + soundB, both},
        {"unknown tag", soundA + "\0\0\0\3ssx\0"s + soundB + marker, soundA + marker},
        {"empty tag", soundA + "\0\0\0\0\0"s + soundB + marker, soundA + marker},
        {"a record that is refused", soundA + bad + a2 + marker, soundA + marker},
        {"a default sound's name", nameless + soundA + marker, soundA + marker},
        {"a length of 4 GiB", soundA + "\xFF\xFF\xFF\xFFsn\0"s, soundA + marker},
        {"nothing", "", marker},
    };
    for (const auto& row : rows) {
        for (const bool isFile : {false, true}) {
            SCOPED_TRACE(row.name);
            Archive_t archive;
            Load(archive, both, isFile);  // gone with what is loaded next
            Load(archive, row.bytes, isFile);
            EXPECT_EQ(Image(archive, 1000), row.want);
            archive.Save(folder.Write("out.archive", std::string(500, 'x')).c_str());
            EXPECT_EQ(folder.Read("out.archive"), row.want);
        }
    }
    EXPECT_EQ(marker.size(), 25u);
}

// A bucket's chain goes out from its newest sound on and comes in from its oldest: two rounds restore it.
TEST_F(ArchiveFile, RoundTrips) {
    Archive_t first, second, third;
    std::vector<std::string> names[17];
    for (uint32_t i = 0; i < 60; ++i) {
        const sound_header_t header{"sound" + std::to_string(i * i), 20 * i, i % 3 == 0, true, 1 + i % 4, i,
                                    static_cast<float>(i) * 0.1f};
        Sound_t* sound = i % 2 ? new IMA_ADPCM_Sound_t : static_cast<Sound_t*>(new SimpleSound_t);
        const std::string image = NoiseImage(header, i % 2 ? 64 : 0, i);
        sound->LoadFromBuffer(image.data(), static_cast<unsigned>(image.size()));
        sound->classTag = i % 2 ? "isn" : "sn";
        sound->archiveName = "here";
        first.FindOrInsert(header.name.c_str()) = sound;
        names[StringMap_t::HashKey(header.name.c_str()) % 17].push_back(header.name);
    }
    const std::string image = Image(first, 1'000'000);
    first.FindOrInsert("untagged") = new SimpleSound_t;
    EXPECT_EQ(Image(first, image.size()), image);
    first.RemoveSound("untagged");
    Load(second, image, true);
    const std::string turned = Image(second, image.size());
    std::size_t at = 0;
    for (const auto& bucket : names)
        for (const std::string& name : bucket) at = turned.find(name + '\0', at);
    EXPECT_LT(at, turned.size());
    Load(third, turned, false);
    EXPECT_EQ(Image(third, image.size()), image);
}

TEST_F(ArchiveFile, CutAnywhere) {
    Archive_t archive;
    for (std::size_t bytes = 0; bytes <= both.size(); ++bytes) {
        for (const bool isFile : {false, true}) {
            Load(archive, both.substr(0, bytes), isFile);
            EXPECT_EQ(archive.count, (bytes >= soundA.size()) + (bytes >= soundA.size() + soundB.size()));
        }
    }
    for (std::size_t size = 0; size < both.size(); ++size) EXPECT_LE(Image(archive, size).size(), size);
    EXPECT_EQ(Image(archive, both.size()), both);
}

TEST_F(ArchiveFile, AFailedSaveKeepsTheOldFile) {
    Archive_t archive;
    Load(archive, both, false);
    const std::string path = folder.Write("old", "old");
    archive.Find("a")->frameCount = UINT32_MAX;  // more than a stream holds
    archive.Find("a")->bytesPerFrame = 4;
    archive.Save(path.c_str());
    archive.Save((folder.At("none") + "/new").c_str());
    EXPECT_EQ(folder.Read("old"), "old");
    EXPECT_EQ(folder.CountFiles(), 1u);
}

TEST_F(ArchiveFile, OfTheSystem) {
    using namespace AudioSystem;
    const std::string path = folder.Write("a", both), none = folder.At("none");
    for (const char* start : {none.c_str(), static_cast<const char*>(nullptr), path.c_str()}) {
        DeInitialize();
        platform::ResetManualOutput();
        EXPECT_TRUE(InitializeWithArchive(nullptr, start, false, 4096, 32, 16384));
        EXPECT_STREQ(GetSound("b", nullptr)->archiveName.text, start == path.c_str() ? "DefaultArchive" : "");
    }
    LoadArchive(path.c_str(), "one");
    LoadArchiveFromBuffer(marker.data(), static_cast<unsigned>(marker.size()), nullptr);
    EXPECT_STREQ(GetSound("b", "one")->archiveName.text, "one");
    EXPECT_EQ(GetSound("b", nullptr)->frameCount, 0u);
    char buffer[200];
    EXPECT_EQ(SaveArchiveToBuffer(buffer, sizeof buffer, nullptr), 25);
    EXPECT_EQ(SaveArchiveToBuffer(buffer, sizeof buffer, "none"), 0);
    SaveArchive(folder.At("b").c_str(), "one");
    SaveArchive(folder.At("c").c_str(), "none");
    EXPECT_EQ(folder.Read("b"), both);
    EXPECT_EQ(folder.CountFiles(), 2u);
    const std::string image = SoundImage("s", 5, {}, Ramp);
    LoadSoundFromBuffer("two.sn", image.data(), static_cast<unsigned>(image.size()));
    EXPECT_EQ(SaveArchiveToBuffer(buffer, sizeof buffer, "two.sn"), 7 + 12 + 10 + 12 + 6 + 25);
    EXPECT_EQ(std::string(buffer, 7), "\0\0\0\2sn\0"s) << "the tag is the file's extension";
}

}  // namespace
