// tools_program_test.cpp - the command line, `ringmix info`, and where `ringmix render` writes.
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <nlohmann/json.hpp>

#include "sounds/sound_file.h"
#include "tests/tool_fixture.h"
#include "tools/interrupt.h"
#include "tools/output_file.h"

namespace {

using Program = ToolTest;

TEST_F(Program, HelpVersionAndWrongUsage) {
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char* out;
        const char* err;
    } cases[] = {
        {{"--version"}, 0, "ringmix 0.", ""},
        {{"import", "--version"}, 0, "ringmix 0.", ""},
        {{"info", "--version"}, 0, "ringmix 0.", ""},
        {{"render", "--version"}, 0, "ringmix 0.", ""},
        {{"export", "--version"}, 0, "ringmix 0.", ""},
        {{"play", "--help"}, 0, "--frequency", ""},
        {{"archive", "list", "--version"}, 0, "ringmix 0.", ""},
        {{"archive", "--help"}, 0, "extract", ""},
        {{"archive", "extract", "--help"}, 0, "--to", ""},
        {{"export", "--help"}, 0, "--name", ""},
        {{"--help"}, 0, "render", ""},
        {{"import", "--help"}, 0, "--8bit", ""},
        {{"info", "--help"}, 0, "--json", ""},
        {{"render", "--help"}, 0, "--output", ""},
        {{}, 2, "", "Usage"},
        {{"mix"}, 2, "", "ringmix: "},
        {{"--json"}, 2, "", "ringmix: "},
        {{"info"}, 2, "", "ringmix: "},
        {{"info", "--xml", "a.sn"}, 2, "", "ringmix: "},
        {{"render", "a.toml"}, 2, "", "ringmix: "},
        {{"render", "-o", "a.wav"}, 2, "", "ringmix: "},
        {{"render", "a.toml", "b.toml", "-o", "a.wav"}, 2, "", "ringmix: "},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.arguments));
        const run_t run = Run(test.arguments);
        EXPECT_EQ(run.status, test.status);
        EXPECT_NE(run.out.find(test.out), std::string::npos) << run.out;
        EXPECT_NE(run.err.find(test.err), std::string::npos) << run.err;
        EXPECT_EQ(run.out.empty(), run.status != 0);
        EXPECT_EQ(run.err.empty(), run.status == 0);
    }
}

std::string SoundFile(sound_header_t header, const std::string& samples) {
    return FormatSoundHeader(header) + samples;
}

TEST_F(Program, InfoForMachines) {
    sound_header_t wide{"wide", 2, true, true, 2, 5, 0.8f};
    Write("wide.sn",
          SoundFile(wide, std::string("\x00\x40\x00\x00\x00\xc0\x00\x00", 8)));  // 16384, 0, -16384, 0
    sound_header_t narrow{"narrow", 3, false, false, 8, 2, -0.125f};
    Write("narrow.sn", SoundFile(narrow, "\x80\x7f\x01"));
    sound_header_t none{"\xff", 0, false, true, 1, 0, 1.0f};  // no UTF-8
    Write("none.sn", SoundFile(none, ""));
    Write("short.sn", SoundFile(wide, "1234567"));
    Write("wide.ogg", Bytes("wide.sn"));

    const run_t run =
        Run({"info", "--json", "wide.sn", "short.sn", "narrow.sn", "missing.sn", "wide.ogg", "none.sn"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 3);
    for (const char* bad : {"ringmix: short.sn: ", "ringmix: missing.sn: ", "ringmix: wide.ogg: "}) {
        EXPECT_NE(run.err.find(bad), std::string::npos) << run.err;
    }
    const auto list = nlohmann::json::parse(run.out);
    ASSERT_EQ(list.size(), 3u);
    nlohmann::json first = list[0], second = list[1], third = list[2];
    EXPECT_NEAR(first["peak_dbfs"].get<double>(), -6.021, 0.001);
    EXPECT_NEAR(first["rms_dbfs"].get<double>(), -9.031, 0.001);
    EXPECT_EQ(second["peak_dbfs"], 0.0);
    EXPECT_EQ(second["seconds"], 3 / 5512.5);
    for (nlohmann::json* entry : {&first, &second}) {
        for (const char* key : {"peak_dbfs", "rms_dbfs", "seconds"}) entry->erase(key);
    }
    EXPECT_EQ(first, nlohmann::json::parse(
                         R"({"file": "wide.sn", "class": "SimpleSound", "name": "wide", "frames": 2,
        "rate": 22050, "channels": 2, "bits": 16, "base_volume": 0.8, "locks": ["volume", "frequency"]})"));
    EXPECT_EQ(second, nlohmann::json::parse(R"({"file": "narrow.sn", "class": "SimpleSound", "name": "narrow",
        "frames": 3, "rate": 5512.5, "channels": 1, "bits": 8, "base_volume": -0.125, "locks": ["pan"]})"));
    EXPECT_TRUE(third["peak_dbfs"].is_null() && third["rms_dbfs"].is_null());
}

TEST_F(Program, InfoForPeople) {
    Write("a.sn", SoundFile({"rain", 44100, false, false, 2, 0, 1.0f}, std::string(44100, '\0')));
    const run_t run = Run({"info", "a.sn"});
    EXPECT_EQ(run.status, 0);
    for (const char* text : {"a.sn", "SimpleSound", "rain", "44100", "2.000", "22050", "1.000", "-inf"}) {
        EXPECT_NE(run.out.find(text), std::string::npos) << text << " in " << run.out;
    }
}

// A header may promise gigabytes; what counts is what stands there.
TEST_F(Program, InfoDoesNotBelieveHeaders) {
    Write("a.sn", SoundFile({"huge", 4294967295u, true, true, 1, 0, 1.0f}, "1234"));
    const run_t run = Run({"info", "a.sn"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err.substr(0, 15), "ringmix: a.sn: ");
}

TEST_F(Program, RenderWritesTheSameToAFileAndToStandardOutput) {
    WriteAudio("tone.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, 44100, std::vector<double>(3000, 0.5));
    std::filesystem::create_directory("sub");
    Write("sub/s.toml",
          "duration = 0.2\n[[sound]]\nfile = \"../tone.flac\"\n[[event]]\nat = 0.05\nsound = \"tone\"\ndo = "
          "\"one-shot\"\n");
    const run_t toFile = Run({"render", "sub/s.toml", "-o", "out.wav"});
    ASSERT_EQ(toFile.status, 0) << toFile.err;
    const run_t toPipe = Run({"render", "sub/s.toml", "-o", "-"});
    EXPECT_EQ(toPipe.status, 0);
    EXPECT_EQ(toPipe.out, Bytes("out.wav"));
    EXPECT_EQ(toPipe.err, "");
    EXPECT_NE(toPipe.out.find("\x00\x40\x00\x40", 44, 4), std::string::npos) << "the sound, on both channels";
    EXPECT_EQ(FilesHere(), (std::set<std::string>{"tone.flac", "sub", "out.wav"}));
}

TEST_F(Program, RenderKeepsAnOlderOutputWhenItCannotWrite) {
    Write("s.toml", "duration = 0.1\n");
    std::filesystem::create_directory("folder");
    for (const char* target : {"folder", "nowhere/out.wav", "/dev/full"}) {
        const run_t run = Run({"render", "s.toml", "-o", target});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err.find(std::string("ringmix: ") + target + ": "), 0u) << run.err;
    }
    EXPECT_EQ(FilesHere(), (std::set<std::string>{"s.toml", "folder"}));
}

TEST_F(Program, OutputFileAppearsWhenItIsComplete) {
    Write("kept", "older");
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
    EXPECT_EQ(FilesHere(), std::set<std::string>{"kept"});
}

// In a process of its own: what an interrupt leaves behind, and how the program then ends.
TEST_F(Program, InterruptedRenderCleansUp) {
    Write("s.toml", "duration = 20000\n");
    const pid_t child = fork();
    if (child == 0) {
        tools::CatchInterrupts();
        std::raise(SIGTERM);
        if (Run({"render", "s.toml", "-o", "out.wav"}).status != 1) _exit(3);
        tools::ResumeInterrupt();
        _exit(4);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    EXPECT_EQ(FilesHere(), std::set<std::string>{"s.toml"});
}

}  // namespace
