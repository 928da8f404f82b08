// tools_terminal_test.cpp - what the program sends to a terminal, and what it keeps from everything else.
#include <pty.h>
#include <sys/wait.h>

#include <cstdio>

#include "tests/tool_fixture.h"

namespace {

class Terminal : public ToolTest {
  protected:
    // All that the program writes to a terminal of that kind. Both outputs are that terminal.
    static std::string OnTerminal(const std::string& arguments, const char* kind, const char* noColor) {
        int master = -1;
        const pid_t child = forkpty(&master, nullptr, nullptr, nullptr);
        if (child == 0) {
            setenv("TERM", kind, 1);
            noColor ? setenv("NO_COLOR", noColor, 1) : unsetenv("NO_COLOR");
            (void)RunProgram(arguments);
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
};

TEST_F(Terminal, ProgressAndColours) {
    Write("s.toml", "duration = 1.0\n");
    RunWell("render s.toml -o good.wav");
    const struct {
        const char *what, *kind, *noColor;
        std::string arguments;
        bool hasProgress, hasColor;
    } rows[] = {
        {"a terminal", "xterm", nullptr, "verify s.toml good.wav", true, true},
        {"NO_COLOR", "xterm", "1", "verify s.toml good.wav", true, false},
        {"NO_COLOR, but empty", "xterm", "", "verify s.toml good.wav", true, true},
        {"a terminal that cannot", "dumb", nullptr, "verify s.toml good.wav", false, false},
        {"quiet", "xterm", nullptr, "verify s.toml good.wav --quiet", false, false},
        {"an error", "xterm", nullptr, "info missing.sn", false, true},
        {"an error without colours", "xterm", "1", "info missing.sn", false, false},
        {"wrong usage", "xterm", nullptr, "info", false, true},
        {"JSON", "xterm", nullptr, "devices --json", false, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const std::string text = OnTerminal(row.arguments, row.kind, row.noColor);
        EXPECT_EQ(text.find("100%") != std::string::npos, row.hasProgress) << text;
        EXPECT_EQ(text.find("\x1b[0m") != std::string::npos, row.hasColor) << text;
        EXPECT_EQ(text.find('\x1b') != std::string::npos, row.hasProgress || row.hasColor) << text;
    }
}

TEST_F(Terminal, ProgressIsGoneBeforeTheReport) {
    const std::string scene = "\x1b]0;title\a" + std::string(100, 'x') + ".toml", quoted = "'" + scene + "'";
    Write(scene, "duration = 1.0\n");
    WriteRecordings(10, 10, 9'000);
    RunWell("render " + quoted + " -o good.wav");
    const struct {
        std::string arguments, report;
    } rows[] = {
        {"verify " + quoted + " good.wav", "equal to"},
        {"render " + quoted + " -o x.wav", "x.wav: 44100 frames"},
#if RINGMIX_PICTURES
        {"plot c.wav -o c.svg", "c.svg: "},
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

}  // namespace
