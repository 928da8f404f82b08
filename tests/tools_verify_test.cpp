// tools_verify_test.cpp - scenes checked against what they gave before, and scenes with bad days.
#include <cctype>

#include "tests/tool_fixture.h"

namespace {

class Verify : public ToolTest {
  protected:
    void SetUp() override {
        WriteRecordings(9'000, 30'000, 20'480);
        Write("s.toml", Scene(""));
        RunWell("render s.toml -o good.wav");
    }

    static std::string Scene(const std::string& more) {
        return "duration = 0.5\nworst_case_frame_rate = 15\n" + more +
               "[[sound]]\nfile = \"b.wav\"\n[[event]]\nat = 0\nvoice = \"v\"\nsound = \"b\"\nloop = true\n"
               "do = \"play\"\n";
    }
};

TEST_F(Verify, SaysWhereItDiffers) {
    std::string two = Bytes("good.wav");
    two[44 + 4 * 12'345] = static_cast<char>(two[44 + 4 * 12'345] + 3);
    two[44 + 4 * 20'000 + 3] ^= 0x40;  // right, high byte
    Write("two.wav", two);
    WriteAudio("short.wav", wave16, 2, 44100, std::vector<double>(2 * 1'000));
    WriteAudio("mono.wav", wave16, 1, 44100, {0.0});
    WriteAudio("fine.wav", wave24, 2, 44100, {0.0, 0.0});
    const std::string hash = Run("verify s.toml --hash").out.substr(0, 64), zeros(64, '0');
    std::string capitals = hash;
    for (char& digit : capitals) digit = static_cast<char>(std::toupper(digit));
    const std::string heard = std::to_string(Samples("good.wav")[2 * 12'345]),
                      wanted = std::to_string(Samples("two.wav")[2 * 12'345]);
    Write("none.toml", "duration = 0\n");
    const struct {
        std::string arguments, out;
        int status;
    } rows[] = {
        {"s.toml good.wav", "s.toml: equal to good.wav\n", 0},
        {"s.toml " + hash, "s.toml: equal to " + hash + "\n", 0},
        {"s.toml " + capitals, "s.toml: equal to " + capitals + "\n", 0},
        {"s.toml " + zeros, "its hash is " + hash + "\ns.toml: differs from " + zeros + "\n", 1},
        {"s.toml two.wav",
         "first difference in frame 12345 (0.2799 s, left): " + heard + " instead of " + wanted +
             "\n2 frames differ, by up to 16384 (-6.0 dBFS)\ns.toml: differs from two.wav\n",
         1},
        {"none.toml short.wav",
         "1000 frames shorter than expected: from frame 0 (0.0000 s) on\n"
         "none.toml: differs from short.wav\n",
         1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.arguments);
        const run_t run = Run("verify " + row.arguments);
        EXPECT_EQ(run.status, row.status);
        EXPECT_EQ(run.out, row.out);
        EXPECT_EQ(run.err, "");
    }
    const std::string longer = Run("verify s.toml short.wav").out;
    EXPECT_NE(longer.find("21050 frames longer than expected: from frame 1000 (0.0227 s) on\n"),
              std::string::npos)
        << longer;
    ExpectRefused({{"verify s.toml mono.wav", 1, "mono.wav: "},
                   {"verify s.toml fine.wav", 1, "fine.wav: "},
                   {"verify s.toml missing.wav", 1, "missing.wav: "},
                   {"verify s.toml", 2, ""},
                   {"verify s.toml good.wav --hash", 2, ""}});
}

// A stall that the horizon covers is not heard, also of what falls due in it; a longer one is. A lost device
// is heard as silence, and the voice goes on behind it.
TEST_F(Verify, BadDays) {
    const auto verify = [](const std::string& more) {
        Write("bad.toml", Scene(more));
        return Run("verify bad.toml good.wav");
    };
    EXPECT_EQ(verify("stall = { at = 0.2, seconds = 0.03 }\n").status, 0);
    EXPECT_EQ(verify("stall = [{ at = 0.2, seconds = 0.03 }, { at = 0.3, seconds = 0.02 }]\n").status, 0);
    const run_t stalled = verify("stall = { at = 0.2, seconds = 0.2 }\n");
    EXPECT_EQ(stalled.status, 1);
    EXPECT_EQ(stalled.out.find("first difference in frame 1"), 0u) << stalled.out;

    Write("bad.toml", Scene("device_loss = { at = 0.2, seconds = 0.1 }\n"));
    RunWell("render bad.toml -o lost.wav");
    const std::string lost = Bytes("lost.wav"), good = Bytes("good.wav");
    EXPECT_EQ(lost.size(), good.size());
    const size_t gone = 44 + 4 * 8'820, back = 44 + 4 * 13'230;
    EXPECT_EQ(lost.substr(0, gone), good.substr(0, gone));
    EXPECT_EQ(lost.find_first_not_of('\0', gone), lost.find_first_not_of('\0', back));
    EXPECT_NE(lost.find_first_not_of('\0', back), std::string::npos);

    const char* const rows[][2] = {
        {"stall = 1\n", "stall must be a list of tables\n"},
        {"stall = { at = 1 }\n", "seconds is missing\n"},
        {"device_loss = { at = -1, seconds = 1 }\n", "at must not lie below 0\n"},
        {"stall = { at = 1, seconds = 1, x = 1 }\n", "unknown key x\n"},
    };
    for (const auto& [text, message] : rows)
        EXPECT_EQ(verify(text).err, std::string("ringmix: bad.toml:3: ") + message);
}

// Five voices, worked out frame by frame when it was stored: held and skipped frames, halved gains, a loop,
// starts into the past with known and at the output with unknown costs. Twice: costs that the first run in a
// process measured must not move anything.
TEST_F(Verify, TheGoldenSceneStays) {
    const std::string golden = RINGMIX_TEST_DATA "/golden/";
    for (int run = 0; run < 2; ++run)
        RunWell("verify '" + golden + "scene.toml' '" + golden + "expected.wav'");
}

}  // namespace
