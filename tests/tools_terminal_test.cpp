// tools_terminal_test.cpp - what the program sends to a terminal, and what it keeps from everything else.
#include <pty.h>
#include <sys/wait.h>

#include <cstdio>

#include "tests/tool_fixture.h"
#include "tools/commands.h"

namespace {

using Terminal = ToolTest;

// All that the program writes to a terminal of that kind. Both outputs are that terminal.
std::string OnTerminal(std::vector<std::string> arguments, const char* kind, const char* noColor) {
    int master = -1;
    const pid_t child = forkpty(&master, nullptr, nullptr, nullptr);
    if (child == 0) {
        setenv("TERM", kind, 1);
        noColor ? setenv("NO_COLOR", noColor, 1) : unsetenv("NO_COLOR");
        arguments.insert(arguments.begin(), "ringmix");
        std::vector<char*> pointers;
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        (void)tools::RunProgram(static_cast<int>(pointers.size()), pointers.data());
        std::fflush(nullptr);
        _exit(0);
    }
    EXPECT_GT(child, 0);
    std::string text;
    char block[4096];
    for (ssize_t count; (count = read(master, block, sizeof block)) > 0;)
        text.append(block, static_cast<size_t>(count));
    close(master);
    waitpid(child, nullptr, 0);
    return text;
}

TEST_F(Terminal, ProgressAndColours) {
    Write("s.toml", "duration = 1.0\n");
    ASSERT_EQ(Run({"render", "s.toml", "-o", "good.wav"}).status, 0);
    const struct {
        const char *what, *kind, *noColor;
        std::vector<std::string> arguments;
        bool hasProgress, hasColor;
    } rows[] = {
        {"a terminal", "xterm", nullptr, {"verify", "s.toml", "good.wav"}, true, true},
        {"NO_COLOR", "xterm", "1", {"verify", "s.toml", "good.wav"}, true, false},
        {"NO_COLOR, but empty", "xterm", "", {"verify", "s.toml", "good.wav"}, true, true},
        {"a terminal that cannot", "dumb", nullptr, {"verify", "s.toml", "good.wav"}, false, false},
        {"quiet", "xterm", nullptr, {"verify", "s.toml", "good.wav", "--quiet"}, false, false},
        {"an error", "xterm", nullptr, {"info", "missing.sn"}, false, true},
        {"an error without colours", "xterm", "1", {"info", "missing.sn"}, false, false},
        {"wrong usage", "xterm", nullptr, {"info"}, false, true},
        {"JSON", "xterm", nullptr, {"devices", "--json"}, false, false},
    };
    for (const auto& row : rows) {
        const std::string text = OnTerminal(row.arguments, row.kind, row.noColor);
        EXPECT_EQ(text.find("100%") != std::string::npos, row.hasProgress) << row.what << ": " << text;
        EXPECT_EQ(text.find("\x1b[0m") != std::string::npos, row.hasColor) << row.what << ": " << text;
        EXPECT_EQ(text.find('\x1b') != std::string::npos, row.hasProgress || row.hasColor)
            << row.what << ": " << text;
    }
}

TEST_F(Terminal, ProgressIsGoneBeforeTheReport) {
    const std::string scene = "\x1b]0;title\a" + std::string(100, 'x') + ".toml";
    Write(scene, "duration = 1.0\n");
    WriteRecordings(10, 10, 9'000);
    ASSERT_EQ(Run({"render", scene, "-o", "good.wav"}).status, 0);
    const struct {
        std::vector<std::string> arguments;
        const char* report;
    } rows[] = {
        {{"verify", scene, "good.wav"}, "equal to"},
        {{"render", scene, "-o", "x.wav"}, "x.wav: 44100 frames"},
#if RINGMIX_PICTURES
        {{"plot", "c.wav", "-o", "c.svg"}, "c.svg: "},
#endif
    };
    for (const auto& row : rows) {
        const std::string text = OnTerminal(row.arguments, "xterm", "1");
        const size_t full = text.find("100%"), erased = text.find("\r\x1b[K"), report = text.find(row.report);
        ASSERT_NE(full, std::string::npos) << text;
        ASSERT_NE(report, std::string::npos) << text;
        EXPECT_LT(full - text.rfind('\r', full), 76u) << "does not fit into a line: " << text;
        EXPECT_TRUE(full < erased && erased < report) << text;
        EXPECT_EQ(text.find("\x1b]"), std::string::npos) << text;
    }
}

// Whoever errs learns where to look, and of which command.
TEST_F(Terminal, WrongUsageNamesTheHelpThatHelps) {
    const struct {
        std::vector<std::string> arguments;
        const char* err;
    } rows[] = {
        {{"rendre"}, "ringmix: There is no command rendre\nRun ringmix --help to see what it takes.\n"},
        {{"archive", "pack"},
         "ringmix: There is no command pack\nRun ringmix archive --help to see what it takes.\n"},
        {{"archive", "list"},
         "ringmix: ARCHIVE is required\nRun ringmix archive list --help to see what it takes.\n"},
        {{"info", "--xml", "a"},
         "ringmix: The following argument was not expected: --xml\nRun ringmix info --help to see what it "
         "takes.\n"},
        {{"play", "a", "--seconds", "0"},
         "ringmix: --seconds: seconds are a number above 0\nRun ringmix play --help to see what it takes.\n"},
    };
    for (const auto& row : rows) {
        const run_t run = Run(row.arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, row.err);
    }
    WriteRecordings(10, 10, 10);
    Write("s.toml", "duration = 0.1\n\n[[sound]]\nfile = \"gone.wav\"\n");
    const struct {
        std::vector<std::string> arguments;
        const char* err;
    } failures[] = {
        {{"import", "a.wav", "no/a.sn"}, "ringmix: no/a.sn: There is no folder no\n"},
        {{"export", "a.wav", "b.wav"},
         "ringmix: a.wav: Not a sound file of the engine: ringmix import makes one\n"},
        {{"render", "s.toml", "-o", "x.wav"}, "ringmix: s.toml:4: gone.wav: No such file or directory\n"},
        {{"verify", "s.toml", "abcd"},
         "ringmix: abcd: No such file, and no hash either: that has 64 digits\n"},
    };
    for (const auto& row : failures) {
        const run_t run = Run(row.arguments);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err, row.err);
    }
}

}  // namespace
