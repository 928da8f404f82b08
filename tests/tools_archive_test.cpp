// tools_archive_test.cpp - `ringmix archive`: what goes in comes out again, and nothing is lost on the way.
#include <cmath>
#include <nlohmann/json.hpp>
#include <random>

#include "core/settings.h"
#include "foundation/binary_stream.h"
#include "sounds/sample_heap.h"
#include "sounds/simple_sound.h"
#include "sounds/sound.h"
#include "tests/tool_fixture.h"

namespace {

constexpr int wave16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class ArchiveTool : public ToolTest {
  protected:
    void SetUp() override {
        AudioSystem::compressedPageBytes = 16384;  // a scene before may have changed it
        for (const char* file : {"rain.sn", "bell.isn", "wind.isn", "drum.sn", "gong.sn"}) {
            std::vector<double> samples;
            for (int i = 0; i < 700; ++i) samples.push_back(0.6 * std::sin(i * 0.01 * file[0]));
            WriteAudio("in.wav", wave16, 1 + file[0] % 2, 22050, samples);
            const std::string name(file, 4);
            ASSERT_EQ(
                Run({"import", "in.wav", file, "--name", name, "--volume", "0.75", "--lock", "pan"}).status,
                0);
        }
        std::filesystem::remove("in.wav");
    }
    void TearDown() override { AudioSystem::FreeArchive("engine"); }

    template <typename... Arguments>
    static run_t Archive(const char* action, Arguments... arguments) {
        return Run({"archive", action, "x.archive", arguments...});
    }
    static nlohmann::json List() { return nlohmann::json::parse(Archive("list", "--json").out); }

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
    const run_t created = Archive("create", "rain.sn", "bell.isn", "wind.isn");
    ASSERT_EQ(created.status, 0) << created.err;
    const std::string first = Bytes("x.archive");
    EXPECT_EQ(first, SavedByEngine({"rain.sn", "bell.isn", "wind.isn"}));
    EXPECT_EQ(created.out, "x.archive: 3 sounds, " + std::to_string(first.size()) + " bytes\n");
    Write("first", first);
    ASSERT_EQ(Archive("add", "drum.sn", "gong.sn").status, 0);
    EXPECT_EQ(Bytes("x.archive"), SavedByEngine({"drum.sn", "gong.sn"}, "first"));
    ASSERT_EQ(Archive("remove", "drum", "gong").status, 0);
    ASSERT_EQ(Archive("remove", "rain", "bell", "wind").status, 0);
    EXPECT_EQ(Bytes("x.archive"), std::string("\0\0\0\x14"
                                              "end_of_sound_archive\0",
                                              25));
    EXPECT_EQ(List().size(), 0u);
}

TEST_F(ArchiveTool, ListTellsWhatIsThere) {
    ASSERT_EQ(Archive("create", "bell.isn", "rain.sn").status, 0);
    const nlohmann::json list = List();
    ASSERT_EQ(list.size(), 2u);
    uint64_t bytes = 25;
    for (const auto& entry : list) bytes += entry["bytes"].get<uint64_t>();
    EXPECT_EQ(bytes, Bytes("x.archive").size());
    const bool isBellFirst = list[0]["name"] == "bell";
    nlohmann::json bell = list[isBellFirst ? 0 : 1], rain = list[isBellFirst ? 1 : 0];
    for (nlohmann::json* entry : {&bell, &rain}) entry->erase("bytes");
    EXPECT_EQ(bell, nlohmann::json::parse(R"({"class": "IMA_ADPCM_Sound", "name": "bell", "frames": 700,
        "seconds": 0.031746031746031744, "rate": 22050, "channels": 1, "bits": 16})"));
    EXPECT_EQ(rain["class"], "SimpleSound");
    const run_t table = Archive("list");
    for (const char* text : {"class", "bell", "rain", "0.032", "22050"}) {
        EXPECT_NE(table.out.find(text), std::string::npos) << text << " in " << table.out;
    }

    // The same sounds in their files and in the archive: the same numbers, but for the file's name.
    auto inArchive = nlohmann::json::parse(Run({"info", "--json", "x.archive"}).out);
    auto inFiles = nlohmann::json::parse(
        Run({"info", "--json", isBellFirst ? "bell.isn" : "rain.sn", isBellFirst ? "rain.sn" : "bell.isn"})
            .out);
    for (auto* json : {&inArchive, &inFiles}) {
        for (auto& entry : *json) entry.erase("file");
    }
    EXPECT_EQ(inArchive, inFiles);
    for (const std::string name : {"bell.isn", "rain.sn"}) {
        ASSERT_EQ(Run({"export", name, "one.wav"}).status, 0);
        ASSERT_EQ(Run({"export", "x.archive", "other.wav", "--name", name.substr(0, 4)}).status, 0);
        EXPECT_EQ(Bytes("one.wav"), Bytes("other.wav"));
    }
    EXPECT_EQ(Run({"export", "x.archive", "two.wav"}).status, 1) << "which one?";
}

TEST_F(ArchiveTool, ExtractGivesTheSameFiles) {
    ASSERT_EQ(Archive("create", "rain.sn", "bell.isn", "wind.isn").status, 0);
    ASSERT_EQ(Archive("extract", "--to", "all/of/it").status, 0);
    for (const char* file : {"rain.sn", "bell.isn", "wind.isn"}) {
        EXPECT_EQ(Bytes(std::string("all/of/it/") + file), Bytes(file)) << file;
    }
    ASSERT_EQ(Archive("extract", "wind", "rain", "--to", "some").status, 0);
    std::set<std::string> extracted;
    for (const auto& entry : std::filesystem::directory_iterator("some"))
        extracted.insert(entry.path().filename());
    EXPECT_EQ(extracted, (std::set<std::string>{"rain.sn", "wind.isn"}));
}

// Whatever goes wrong: told with the file's name, and every file stays as it was.
TEST_F(ArchiveTool, FailureChangesNothing) {
    ASSERT_EQ(Archive("create", "rain.sn", "bell.isn").status, 0);
    Write("text.sn", "no sound");
    Write("cut.isn", Bytes("bell.isn").substr(0, 300));
    Write("sound.wav", "x");
    std::filesystem::copy_file("bell.isn", "bell2.isn");
    std::filesystem::create_directory("folder");
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string message;
    } cases[] = {
        {{"create", "y.archive", "rain.sn", "rain.sn"},
         1,
         "rain.sn: The archive has a sound of this name already"},
        {{"create", "y.archive", "bell.isn", "bell2.isn"}, 1, "bell2.isn: The archive has a sound"},
        {{"create", "x.archive", "rain.sn", "missing.sn"}, 1, "missing.sn: "},
        {{"create", "x.archive", "text.sn"}, 1, "text.sn: Not a sound file"},
        {{"create", "x.archive", "cut.isn"}, 1, "cut.isn: Ends before"},
        {{"create", "x.archive", "sound.wav"}, 1, "sound.wav: Not named like"},
        {{"create", "folder", "rain.sn"}, 1, "folder: "},
        {{"create", "nowhere/y.archive", "rain.sn"}, 1, "nowhere/y.archive: "},
        {{"create", "rain.sn", "bell.isn"}, 2, "ARCHIVE: "},
        {{"create", "y.archive"}, 2, ""},
        {{"add", "x.archive", "wind.isn", "bell.isn"}, 1, "bell.isn: The archive has a sound"},
        {{"add", "x.archive", "wind.isn", "text.sn"}, 1, "text.sn: "},
        {{"add", "missing.archive", "wind.isn"}, 1, "missing.archive: "},
        {{"add", "sound.wav", "wind.isn"}, 1, "sound.wav: Not a sound archive"},
        {{"remove", "x.archive", "rain", "wind"}, 1, "x.archive: Has no sound wind"},
        {{"remove", "x.archive", "rain", "rain"}, 1, "x.archive: Has no sound rain"},
        {{"remove", "folder", "rain"}, 1, "folder: "},
        {{"extract", "x.archive", "rain", "wind", "--to", "out"}, 1, "x.archive: Has no sound wind"},
        {{"extract", "x.archive", "--to", "rain.sn"}, 1, "rain.sn: "},
        {{"extract", "x.archive"}, 2, ""},
        {{"list", "rain.sn"}, 1, "rain.sn: Not a sound archive"},
        {{"list"}, 2, ""},
        {{}, 2, ""},
        {{"rename"}, 2, ""},
    };
    const auto before = FilesHere();
    const std::string archive = Bytes("x.archive"), rain = Bytes("rain.sn");
    for (auto test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.arguments));
        test.arguments.insert(test.arguments.begin(), "archive");
        const run_t run = Run(test.arguments);
        EXPECT_EQ(run.status, test.status);
        EXPECT_EQ(run.err.find("ringmix: " + test.message), 0u) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(FilesHere(), before);
        EXPECT_EQ(Bytes("x.archive"), archive);
        EXPECT_EQ(Bytes("rain.sn"), rain);
    }
}

// The engine takes what comes before the end; here an archive that ends early is an error everywhere.
TEST_F(ArchiveTool, PrefixesAreRefused) {
    ASSERT_EQ(Archive("create", "rain.sn", "bell.isn").status, 0);
    const std::string whole = Bytes("x.archive");
    for (size_t size = 0; size <= whole.size() + 1; ++size) {
        const bool isInsideSamples = size > 200 && size + 200 < whole.size();
        if (size == whole.size() || (isInsideSamples && size % 7 != 0)) continue;
        const std::string damaged = (whole + "x").substr(0, size);
        Write("x.archive", damaged);
        const bool isThorough = size % 97 == 0 || size + 30 > whole.size();
        for (const char* action : {"list", "remove", "add"}) {
            const bool isList = action[0] == 'l';
            if (!isList && !isThorough) continue;
            const run_t run =
                isList ? Archive(action) : Archive(action, action[0] == 'r' ? "rain" : "wind.isn");
            ASSERT_EQ(run.status, 1) << action << ", " << size << " bytes";
            ASSERT_EQ(run.err.find("ringmix: x.archive: "), 0u) << run.err;
            ASSERT_EQ(run.out, "");
            ASSERT_EQ(Bytes("x.archive"), damaged);
        }
    }
}

// Listed or refused; and what is extracted stays in its folder.
TEST_F(ArchiveTool, DamagedArchivesAreReadOrRefused) {
    ASSERT_EQ(Archive("create", "rain.sn", "bell.isn").status, 0);
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
        const int status = Archive("list", "--json").status;
        ASSERT_TRUE(status == 0 || status == 1);
        read += status == 0;
        std::filesystem::create_directory("to");
        ASSERT_LE(Archive("extract", "--to", "to").status, 1);
        std::filesystem::remove_all("to");
        ASSERT_EQ(FilesHere(), before);
    }
    EXPECT_GT(read, 0);
}

TEST_F(ArchiveTool, NothingIsWrittenOutsideTheFolder) {
    std::filesystem::create_directory("to");
    Write("victim", "safe");
    std::filesystem::create_symlink("../victim", "to/link.sn");
    const std::string longName(100, 'n');
    const auto before = FilesHere();
    for (const std::string& name : {std::string("../evil"), std::string("a/b"), std::string("/tmp/evil"),
                                    std::string("two words"), std::string(), longName, std::string("link")}) {
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
        const run_t run = Archive("extract", "--to", "to");
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err.find("ringmix: "), 0u);
        EXPECT_EQ(run.out, "") << "all or nothing";
        EXPECT_EQ(Archive("extract", "good", "--to", "to").status, 0);
        EXPECT_TRUE(std::filesystem::remove("to/good.sn"));
        std::filesystem::remove("x.archive");
        EXPECT_EQ(FilesHere(), before);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator("to"), {}), 1);
        EXPECT_EQ(Bytes("victim"), "safe");
    }
}

// A stream is a path: it is listed with what its file says, and outlives the file.
TEST_F(ArchiveTool, StreamsAreKeptAsPaths) {
    std::filesystem::copy_file("wind.isn", "wind.iss");
    ASSERT_EQ(Archive("create", "rain.sn", "wind.iss").status, 0);
    const nlohmann::json list = List();
    const nlohmann::json stream = list[list[0]["name"] == "wind" ? 0 : 1];
    EXPECT_EQ(stream["class"], "IMA_ADPCM_StreamSound");
    EXPECT_EQ(stream["path"], "wind.iss");
    EXPECT_EQ(stream["frames"], 700 / 2);
    EXPECT_EQ(stream["bytes"], 8u + 13u);  // tag and path
    EXPECT_EQ(Archive("extract", "wind", "--to", "to").status, 1);
    EXPECT_EQ(Archive("extract", "--to", "to").status, 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("to"), {}), 1);
    ASSERT_EQ(Run({"export", "x.archive", "stream.wav", "--name", "wind"}).status, 0);
    ASSERT_EQ(Run({"export", "wind.isn", "file.wav"}).status, 0);
    EXPECT_EQ(Bytes("stream.wav"), Bytes("file.wav"));

    std::filesystem::remove("wind.iss");
    const run_t listed = Archive("list", "--json");
    EXPECT_EQ(listed.status, 1);
    EXPECT_EQ(listed.err.find("ringmix: wind.iss: "), 0u) << listed.err;
    EXPECT_EQ(nlohmann::json::parse(listed.out).size(), 2u);
    ASSERT_EQ(Archive("remove", "rain").status, 0);
    ASSERT_EQ(Archive("add", "drum.sn").status, 0);
    EXPECT_NE(Bytes("x.archive").find(std::string("\0\0\0\3iss\0\0\0\0\x08wind.iss\0", 21)),
              std::string::npos);
    ASSERT_EQ(Archive("remove", "wind.iss").status, 0);
    EXPECT_EQ(List().size(), 1u);
}

}  // namespace
