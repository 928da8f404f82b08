// tools_program_test.cpp - the command line, `ringmix info`, and where `ringmix render` writes.
#include <sys/wait.h>

#include <csignal>
#include <nlohmann/json.hpp>

#include "sounds/sound_file.h"
#include "tests/tool_fixture.h"
#include "tools/interrupt.h"
#include "tools/output_file.h"

namespace {

using Program = ToolTest;
using nlohmann::json;

TEST_F(Program, HelpAndVersion) {
    const struct {
        std::string arguments, out;
    } cases[] = {
        {"--help", "render"},          {"import --help", "--8bit"},
        {"info --help", "--json"},     {"render --help", "--output"},
        {"export --help", "--name"},   {"play --help", "--frequency"},
        {"archive --help", "extract"}, {"archive extract --help", "--to"},
        {"--version", "ringmix 0."},   {"archive list --version", "ringmix 0."},
    };
    for (const auto& [arguments, out] : cases) {
        const run_t run = RunWell(arguments);
        EXPECT_NE(run.out.find(out), std::string::npos) << run.out;
        EXPECT_EQ(run.err, "");
    }
    const run_t none = Run("");
    EXPECT_EQ(none.status, 2);
    EXPECT_NE(none.err.find("Usage"), std::string::npos) << none.err;
}

// Whoever errs learns what is wrong and where to look.
TEST_F(Program, WrongUsageAndFailuresAreToldInOneLine) {
    const auto help = [](const std::string& command) {
        return "\nRun ringmix" + command + " --help to see what it takes.\n";
    };
    WriteRecordings(10, 10, 10);
    Write("s.toml", "duration = 0.1\n\n[[sound]]\nfile = \"gone.wav\"\n");
    ExpectRefused({
        {"rendre", 2, "There is no command rendre" + help("")},
        {"--json", 2, ""},
        {"archive", 2, ""},
        {"archive pack", 2, "There is no command pack" + help(" archive")},
        {"archive list", 2, "ARCHIVE is required" + help(" archive list")},
        {"info", 2, ""},
        {"info --xml a", 2, "The following argument was not expected: --xml" + help(" info")},
        {"play a --seconds 0", 2, "--seconds: seconds are a number above 0" + help(" play")},
        {"render s.toml", 2, ""},
        {"render -o a.wav", 2, ""},
        {"render s.toml t.toml -o a.wav", 2, ""},
        {"import a.wav no/a.sn", 1, "no/a.sn: There is no folder no\n"},
        {"export a.wav b.wav", 1, "a.wav: Not a sound file of the engine: ringmix import makes one\n"},
        {"render s.toml -o x.wav", 1, "s.toml:4: gone.wav: No such file or directory\n"},
        {"verify s.toml abcd", 1, "abcd: No such file, and no hash either: that has 64 digits\n"},
    });
}

std::string SoundFile(const sound_header_t& header, const std::string& samples) {
    return FormatSoundHeader(header) + samples;
}

TEST_F(Program, InfoForMachines) {
    const sound_header_t wide{"wide", 2, true, true, 2, 5, 0.8f};
    Write("wide.sn",
          SoundFile(wide, std::string("\x00\x40\x00\x00\x00\xc0\x00\x00", 8)));  // 16384, 0, -16384, 0
    Write("narrow.sn", SoundFile({"narrow", 3, false, false, 8, 2, -0.125f}, "\x80\x7f\x01"));
    Write("none.sn", SoundFile({"\xff", 0, false, true, 1, 0, 1.0f}, ""));  // no UTF-8
    Write("short.sn", SoundFile(wide, "1234567"));
    Write("huge.sn", SoundFile({"huge", 4294967295u, true, true, 1, 0, 1.0f}, "1234"));
    Write("wide.ogg", Bytes("wide.sn"));

    const run_t run = Run("info --json wide.sn short.sn narrow.sn missing.sn huge.sn wide.ogg none.sn");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 4);
    for (const char* bad : {"short.sn: ", "missing.sn: ", "huge.sn: ", "wide.ogg: "})
        EXPECT_NE(run.err.find(std::string("ringmix: ") + bad), std::string::npos) << run.err;
    const json list = json::parse(run.out);
    ASSERT_EQ(list.size(), 3u);
    json first = list[0], second = list[1], third = list[2];
    EXPECT_NEAR(first["peak_dbfs"].get<double>(), -6.021, 0.001);
    EXPECT_NEAR(first["rms_dbfs"].get<double>(), -9.031, 0.001);
    EXPECT_EQ(second["peak_dbfs"], 0.0);
    EXPECT_EQ(second["seconds"], 3 / 5512.5);
    for (json* entry : {&first, &second}) {
        for (const char* key : {"peak_dbfs", "rms_dbfs", "seconds"}) entry->erase(key);
    }
    EXPECT_EQ(first, json::parse(R"({"file": "wide.sn", "class": "SimpleSound", "name": "wide", "frames": 2,
        "rate": 22050, "channels": 2, "bits": 16, "base_volume": 0.8, "locks": ["volume", "frequency"]})"));
    EXPECT_EQ(second, json::parse(R"({"file": "narrow.sn", "class": "SimpleSound", "name": "narrow",
        "frames": 3, "rate": 5512.5, "channels": 1, "bits": 8, "base_volume": -0.125, "locks": ["pan"]})"));
    EXPECT_TRUE(third["peak_dbfs"].is_null() && third["rms_dbfs"].is_null());
}

TEST_F(Program, InfoForPeople) {
    Write("a.sn", SoundFile({"rain", 44100, false, false, 2, 0, 1.0f}, std::string(44100, '\0')));
    const run_t run = RunWell("info a.sn");
    for (const char* text : {"a.sn", "SimpleSound", "rain", "44100", "2.000", "22050", "1.000", "-inf"})
        EXPECT_NE(run.out.find(text), std::string::npos) << text << " in " << run.out;
}

TEST_F(Program, RenderWritesTheSameToAFileAndToStandardOutput) {
    WriteAudio("tone.flac", flac16, 1, 44100, std::vector<double>(3000, 0.5));
    std::filesystem::create_directory("sub");
    Write("sub/s.toml",
          "duration = 0.2\n[[sound]]\nfile = \"../tone.flac\"\n[[event]]\nat = 0.05\nsound = \"tone\"\n"
          "do = \"one-shot\"\n");
    RunWell("render sub/s.toml -o out.wav");
    const run_t toPipe = RunWell("render sub/s.toml -o -");
    EXPECT_EQ(toPipe.out, Bytes("out.wav"));
    EXPECT_EQ(toPipe.err, "");
    EXPECT_NE(toPipe.out.find("\x00\x40\x00\x40", 44, 4), std::string::npos) << "the sound, on both channels";
    EXPECT_EQ(FilesHere(), (std::set<std::string>{"tone.flac", "sub", "out.wav"}));
}

TEST_F(Program, OutputFileAppearsWhenItIsComplete) {
    Write("s.toml", "duration = 0.1\n");
    std::filesystem::create_directory("folder");
    ExpectRefused({{"render s.toml -o folder", 1, "folder: "},
                   {"render s.toml -o nowhere/out.wav", 1, "nowhere/out.wav: "},
                   {"render s.toml -o /dev/full", 1, "/dev/full: "}});
    Write("kept", "older");
    const auto before = FilesHere();
    {
        tools::OutputFile_t abandoned;
        ASSERT_TRUE(abandoned.Create("kept"));
        abandoned.Write("newer");
    }
    EXPECT_EQ(Bytes("kept"), "older");
    tools::OutputFile_t file;
    ASSERT_TRUE(file.Create("kept"));
    file.Write("newer");
    EXPECT_EQ(Bytes("kept"), "older");
    ASSERT_TRUE(file.Commit());
    EXPECT_EQ(Bytes("kept"), "newer");
    EXPECT_EQ(FilesHere(), before);
}

// In a process of its own: what an interrupt leaves behind, and how the program then ends.
TEST_F(Program, InterruptedRenderCleansUp) {
    Write("s.toml", "duration = 20000\n");
    const pid_t child = fork();
    if (child == 0) {
        tools::CatchInterrupts();
        std::raise(SIGTERM);
        if (Run("render s.toml -o out.wav").status != 1) _exit(3);
        tools::ResumeInterrupt();
        _exit(4);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    EXPECT_EQ(FilesHere(), std::set<std::string>{"s.toml"});
}

}  // namespace
