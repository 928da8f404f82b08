// tools_archive_test.cpp - `ringmix archive`: what goes in comes out again, and nothing is lost on the way.
#include <nlohmann/json.hpp>

#include "foundation/binary_stream.h"
#include "sounds/sample_heap.h"
#include "sounds/simple_sound.h"
#include "sounds/sound.h"
#include "tests/tool_fixture.h"

namespace {

using nlohmann::json;

class ArchiveTool : public ToolTest {
  protected:
    void SetUp() override {
        for (const std::string file : {"rain.sn", "bell.isn", "wind.isn", "drum.sn", "gong.sn"}) {
            std::vector<double> samples;
            for (int i = 0; i < 700; ++i) samples.push_back(0.6 * std::sin(i * 0.01 * file[0]));
            WriteAudio("in.wav", wave16, 1 + file[0] % 2, 22050, samples);
            RunWell("import in.wav " + file + " --name " + file.substr(0, 4) + " --volume 0.75 --lock pan");
        }
        std::filesystem::remove("in.wav");
    }
    void TearDown() override { AudioSystem::FreeArchive("engine"); }

    static json JsonOf(const std::string& arguments) { return json::parse(Run(arguments).out); }
    static json List() { return JsonOf("archive list x.archive --json"); }

    // What the engine itself saves of these files, loaded one by one behind what `base` holds.
    static std::string SavedByEngine(const std::vector<std::string>& files, const char* base = nullptr) {
        AudioSystem::FreeArchive("engine");
        if (base != nullptr) AudioSystem::LoadArchive(base, "engine");
        for (const std::string& file : files) AudioSystem::LoadSound(file.c_str(), "engine");
        AudioSystem::SaveArchive("engine.archive", "engine");
        const std::string bytes = Bytes("engine.archive");
        std::filesystem::remove("engine.archive");
        return bytes;
    }
};

TEST_F(ArchiveTool, CreatedAddedToAndRemovedFromAsByTheEngine) {
    const run_t created = RunWell("archive create x.archive rain.sn bell.isn wind.isn");
    const std::string first = Bytes("x.archive");
    EXPECT_EQ(first, SavedByEngine({"rain.sn", "bell.isn", "wind.isn"}));
    EXPECT_EQ(created.out, "x.archive: 3 sounds, " + std::to_string(first.size()) + " bytes\n");
    Write("first", first);
    RunWell("archive add x.archive drum.sn gong.sn");
    EXPECT_EQ(Bytes("x.archive"), SavedByEngine({"drum.sn", "gong.sn"}, "first"));
    RunWell("archive remove x.archive drum gong");
    RunWell("archive remove x.archive rain bell wind");
    EXPECT_EQ(Bytes("x.archive"), std::string("\0\0\0\x14"
                                              "end_of_sound_archive\0",
                                              25));
    EXPECT_EQ(List().size(), 0u);
}

TEST_F(ArchiveTool, ListTellsWhatIsThere) {
    RunWell("archive create x.archive bell.isn rain.sn");
    const json list = List();
    ASSERT_EQ(list.size(), 2u);
    uint64_t bytes = 25;
    for (const json& entry : list) bytes += entry["bytes"].get<uint64_t>();
    EXPECT_EQ(bytes, Bytes("x.archive").size());
    const bool isBellFirst = list[0]["name"] == "bell";
    json bell = list[isBellFirst ? 0 : 1];
    bell.erase("bytes");
    EXPECT_EQ(bell, json::parse(R"({"class": "IMA_ADPCM_Sound", "name": "bell", "frames": 700,
        "seconds": 0.031746031746031744, "rate": 22050, "channels": 1, "bits": 16})"));
    EXPECT_EQ(list[isBellFirst ? 1 : 0]["class"], "SimpleSound");
    const run_t table = Run("archive list x.archive");
    for (const char* text : {"class", "bell", "rain", "0.032", "22050"})
        EXPECT_NE(table.out.find(text), std::string::npos) << text << " in " << table.out;

    // The same sounds in their files and in the archive: the same numbers, but for the file's name.
    json inArchive = JsonOf("info --json x.archive"),
         inFiles = JsonOf(isBellFirst ? "info --json bell.isn rain.sn" : "info --json rain.sn bell.isn");
    for (json* entries : {&inArchive, &inFiles}) {
        for (json& entry : *entries) entry.erase("file");
    }
    EXPECT_EQ(inArchive, inFiles);
    for (const std::string name : {"bell.isn", "rain.sn"}) {
        RunWell("export " + name + " one.wav");
        RunWell("export x.archive other.wav --name " + name.substr(0, 4));
        EXPECT_EQ(Bytes("one.wav"), Bytes("other.wav"));
    }
    EXPECT_EQ(Run("export x.archive two.wav").status, 1) << "which one?";
}

TEST_F(ArchiveTool, ExtractGivesTheSameFiles) {
    RunWell("archive create x.archive rain.sn bell.isn wind.isn");
    RunWell("archive extract x.archive --to all/of/it");
    for (const std::string file : {"rain.sn", "bell.isn", "wind.isn"})
        EXPECT_EQ(Bytes("all/of/it/" + file), Bytes(file)) << file;
    RunWell("archive extract x.archive wind rain --to some");
    EXPECT_EQ(FilesIn("some"), (std::set<std::string>{"rain.sn", "wind.isn"}));
}

// Whatever goes wrong: told with the file's name, and every file stays as it was.
TEST_F(ArchiveTool, FailureChangesNothing) {
    RunWell("archive create x.archive rain.sn bell.isn");
    Write("text.sn", "no sound");
    Write("cut.isn", Bytes("bell.isn").substr(0, 300));
    Write("sound.wav", "x");
    std::filesystem::copy_file("bell.isn", "bell2.isn");
    std::filesystem::create_directory("folder");
    ExpectRefused({
        {"archive create y.archive bell.isn bell2.isn", 1, "bell2.isn: The archive has a sound of this name"},
        {"archive create x.archive rain.sn missing.sn", 1, "missing.sn: "},
        {"archive create x.archive text.sn", 1, "text.sn: Not a sound file"},
        {"archive create x.archive cut.isn", 1, "cut.isn: Ends before"},
        {"archive create x.archive sound.wav", 1, "sound.wav: Not named like"},
        {"archive create folder rain.sn", 1, "folder: "},
        {"archive create nowhere/y.archive rain.sn", 1, "nowhere/y.archive: "},
        {"archive create rain.sn bell.isn", 2, "ARCHIVE: "},
        {"archive create y.archive", 2, ""},
        {"archive add x.archive wind.isn bell.isn", 1, "bell.isn: The archive has a sound"},
        {"archive add x.archive wind.isn text.sn", 1, "text.sn: "},
        {"archive add missing.archive wind.isn", 1, "missing.archive: "},
        {"archive add sound.wav wind.isn", 1, "sound.wav: Not a sound archive"},
        {"archive remove x.archive rain wind", 1, "x.archive: Has no sound wind"},
        {"archive remove x.archive rain rain", 1, "x.archive: Has no sound rain"},
        {"archive remove folder rain", 1, "folder: "},
        {"archive extract x.archive rain wind --to out", 1, "x.archive: Has no sound wind"},
        {"archive extract x.archive --to rain.sn", 1, "rain.sn: "},
        {"archive extract x.archive", 2, ""},
        {"archive list rain.sn", 1, "rain.sn: Not a sound archive"},
    });
}

// The engine takes what comes before the end; here an archive that ends early is an error everywhere.
TEST_F(ArchiveTool, PrefixesAreRefused) {
    RunWell("archive create x.archive rain.sn bell.isn");
    const std::string whole = Bytes("x.archive");
    for (size_t size = 0; size <= whole.size() + 1; ++size) {
        const bool isInsideSamples = size > 200 && size + 200 < whole.size();
        if (size == whole.size() || (isInsideSamples && size % 7 != 0)) continue;
        const std::string damaged = (whole + "x").substr(0, size);
        Write("x.archive", damaged);
        const bool isThorough = size % 97 == 0 || size + 30 > whole.size();
        for (const char* arguments : {"list x.archive", "remove x.archive rain", "add x.archive wind.isn"}) {
            if (arguments[0] != 'l' && !isThorough) continue;
            const run_t run = Run(std::string("archive ") + arguments);
            ASSERT_EQ(run.status, 1) << arguments << ", " << size << " bytes";
            ASSERT_EQ(run.err.find("ringmix: x.archive: "), 0u) << run.err;
            ASSERT_EQ(run.out, "");
            ASSERT_EQ(Bytes("x.archive"), damaged);
        }
    }
}

// Listed or refused; and what is extracted stays in its folder.
TEST_F(ArchiveTool, DamagedArchivesAreReadOrRefused) {
    RunWell("archive create x.archive rain.sn bell.isn");
    const std::string whole = Bytes("x.archive");
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto before = FilesHere();
    int read = 0;
    for (int turn = 0; turn < 600; ++turn) {
        std::string damaged = whole;
        for (int i = 0; i < 2; ++i) {  // at the front of a record, or at its back
            const size_t at = random() % 3 == 0 ? damaged.size() - 1 - random() % 80 : random() % 60;
            damaged[at] = static_cast<char>(random() % 3 == 0 ? random() : random() % 4);
        }
        Write("x.archive", damaged);
        const int status = Run("archive list x.archive --json").status;
        ASSERT_TRUE(status == 0 || status == 1);
        read += status == 0;
        std::filesystem::create_directory("to");
        ASSERT_LE(Run("archive extract x.archive --to to").status, 1);
        std::filesystem::remove_all("to");
        ASSERT_EQ(FilesHere(), before);
    }
    EXPECT_GT(read, 0);
}

TEST_F(ArchiveTool, NothingIsWrittenOutsideTheFolder) {
    std::filesystem::create_directory("to");
    Write("victim", "safe");
    std::filesystem::create_symlink("../victim", "to/link.sn");
    const auto before = FilesHere();
    for (const std::string& name :
         {std::string("../evil"), std::string("a/b"), std::string("/tmp/evil"), std::string("two words"),
          std::string(), std::string(100, 'n'), std::string("link")}) {
        SCOPED_TRACE(name);
        SimpleSound_t good, bad;
        good.name = "good";
        bad.name = name.c_str();
        for (SimpleSound_t* sound : {&good, &bad}) sound->samples = AllocateSamples(0).release();
        BinaryStream stream(1000);
        for (SimpleSound_t* sound : {&good, &bad}) {
            stream << String_t("sn");
            sound->Serialize(stream, true);
        }
        stream << AudioSystem::archiveEndMarker;
        Write("x.archive", {stream.base, stream.writeCursor});
        EXPECT_EQ(List().size(), 2u);
        ExpectRefused({{"archive extract x.archive --to to", 1, ""}});
        RunWell("archive extract x.archive good --to to");
        EXPECT_TRUE(std::filesystem::remove("to/good.sn"));
        std::filesystem::remove("x.archive");
        EXPECT_EQ(FilesHere(), before);
        EXPECT_EQ(FilesIn("to").size(), 1u) << "all or nothing";
        EXPECT_EQ(Bytes("victim"), "safe");
    }
}

// A stream is a path: it is listed with what its file says, and outlives the file.
TEST_F(ArchiveTool, StreamsAreKeptAsPaths) {
    std::filesystem::copy_file("wind.isn", "wind.iss");
    RunWell("archive create x.archive rain.sn wind.iss");
    const json list = List(), stream = list[list[0]["name"] == "wind" ? 0 : 1];
    EXPECT_EQ(stream["class"], "IMA_ADPCM_StreamSound");
    EXPECT_EQ(stream["path"], "wind.iss");
    EXPECT_EQ(stream["frames"], 700 / 2);
    EXPECT_EQ(stream["bytes"], 8u + 13u);  // tag and path
    EXPECT_EQ(Run("archive extract x.archive wind --to to").status, 1);
    RunWell("archive extract x.archive --to to");
    EXPECT_EQ(FilesIn("to").size(), 1u);
    RunWell("export x.archive stream.wav --name wind");
    RunWell("export wind.isn file.wav");
    EXPECT_EQ(Bytes("stream.wav"), Bytes("file.wav"));

    std::filesystem::remove("wind.iss");
    const run_t listed = Run("archive list x.archive --json");
    EXPECT_EQ(listed.status, 1);
    EXPECT_EQ(listed.err.find("ringmix: wind.iss: "), 0u) << listed.err;
    EXPECT_EQ(json::parse(listed.out).size(), 2u);
    RunWell("archive remove x.archive rain");
    RunWell("archive add x.archive drum.sn");
    EXPECT_NE(Bytes("x.archive").find(std::string("\0\0\0\3iss\0\0\0\0\x08wind.iss\0", 21)),
              std::string::npos);
    RunWell("archive remove x.archive wind.iss");
    EXPECT_EQ(List().size(), 1u);
}

}  // namespace
