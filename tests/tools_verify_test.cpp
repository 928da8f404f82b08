// tools_verify_test.cpp - scenes checked against what they gave before, and scenes with bad days.
#include <cctype>

#include "tests/tool_fixture.h"

namespace {

class Verify : public ToolTest {
  protected:
    void SetUp() override {
        WriteRecordings(9'000, 30'000, 20'480);
        Write("s.toml", Scene("", "0"));
        ASSERT_EQ(Run({"render", "s.toml", "-o", "good.wav"}).status, 0);
    }

    static std::string Scene(const std::string& more, const std::string& at) {
        return "duration = 0.5\nworst_case_frame_rate = 15\n" + more +
               "[[sound]]\nfile = \"b.wav\"\n[[event]]\nat = " + at +
               "\nvoice = \"v\"\nsound = \"b\"\nloop = true\ndo = \"play\"\n";
    }
    static int SampleAt(const std::string& wave, size_t frame) {
        const auto low = static_cast<uint8_t>(wave[44 + 4 * frame]);
        return static_cast<int16_t>(low | static_cast<uint8_t>(wave[45 + 4 * frame]) << 8);
    }
};

TEST_F(Verify, SaysWhereItDiffers) {
    const std::string good = Bytes("good.wav");
    const auto changed = [&](size_t frame, char by) {
        std::string bytes = good;
        bytes[44 + 4 * frame] = static_cast<char>(bytes[44 + 4 * frame] + by);
        return bytes;
    };
    Write("late.wav", changed(20'000, 1));
    std::string two = changed(12'345, 3);
    two[44 + 4 * 20'000 + 3] ^= 0x40;  // right, high byte
    Write("two.wav", two);
    WriteAudio("short.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 44100, std::vector<double>(2 * 1'000));
    WriteAudio("mono.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 44100, {0.0});
    WriteAudio("fine.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 44100, {0.0, 0.0});
    const std::string hash = Run({"verify", "s.toml", "--hash"}).out.substr(0, 64);
    std::string capitals = hash;
    for (char& digit : capitals) digit = static_cast<char>(std::toupper(digit));
    const int heard = SampleAt(good, 12'345);
    const struct {
        std::string expected, out;
        int status;
    } rows[] = {
        {"good.wav", "s.toml: equal to good.wav\n", 0},
        {hash, "s.toml: equal to " + hash + "\n", 0},
        {capitals, "s.toml: equal to " + capitals + "\n", 0},
        {std::string(64, '0'),
         "its hash is " + hash + "\ns.toml: differs from " + std::string(64, '0') + "\n", 1},
        {"two.wav",
         "first difference in frame 12345 (0.2799 s, left): " + std::to_string(heard) + " instead of " +
             std::to_string(SampleAt(two, 12'345)) +
             "\n2 frames differ, by up to 16384 (-6.0 dBFS)\ns.toml: differs from two.wav\n",
         1},
        {"mono.wav", "", 1},
        {"fine.wav", "", 1},
        {"missing.wav", "", 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        const run_t run = Run({"verify", "s.toml", row.expected});
        EXPECT_EQ(run.status, row.status) << run.err;
        EXPECT_EQ(run.out, row.out);
        EXPECT_EQ(run.err.empty(), !row.out.empty());
    }
    const std::string longer = Run({"verify", "s.toml", "short.wav"}).out;
    EXPECT_NE(longer.find("21050 frames longer than expected: from frame 1000 (0.0227 s) on\n"),
              std::string::npos)
        << longer;
    Write("none.toml", "duration = 0\n");
    EXPECT_EQ(
        Run({"verify", "none.toml", "short.wav"}).out,
        "1000 frames shorter than expected: from frame 0 (0.0000 s) on\nnone.toml: differs from short.wav\n");
    EXPECT_EQ(Run({"verify", "s.toml"}).status, 2);
    EXPECT_EQ(Run({"verify", "s.toml", "good.wav", "--hash"}).status, 2);
}

// A stall that the horizon covers is not heard, also of what falls due in it; a longer one is. A lost device
// is heard as silence, and the voice goes on behind it.
TEST_F(Verify, BadDays) {
    const auto verify = [](const std::string& scene) {
        Write("bad.toml", scene);
        return Run({"verify", "bad.toml", "good.wav"});
    };
    EXPECT_EQ(verify(Scene("stall = { at = 0.2, seconds = 0.03 }\n", "0")).status, 0);
    EXPECT_EQ(
        verify(Scene("stall = [{ at = 0.2, seconds = 0.03 }, { at = 0.3, seconds = 0.02 }]\n", "0")).status,
        0);
    const run_t stalled = verify(Scene("stall = { at = 0.2, seconds = 0.2 }\n", "0"));
    EXPECT_EQ(stalled.status, 1);
    EXPECT_EQ(stalled.out.find("first difference in frame 1"), 0u) << stalled.out;

    Write("bad.toml", Scene("device_loss = { at = 0.2, seconds = 0.1 }\n", "0"));
    ASSERT_EQ(Run({"render", "bad.toml", "-o", "lost.wav"}).status, 0);
    const std::string lost = Bytes("lost.wav"), good = Bytes("good.wav");
    EXPECT_EQ(lost.size(), good.size());
    const size_t gone = 44 + 4 * 8'820, back = 44 + 4 * 13'230;
    EXPECT_EQ(lost.substr(0, gone), good.substr(0, gone));
    EXPECT_EQ(lost.find_first_not_of('\0', gone), lost.find_first_not_of('\0', back));
    EXPECT_NE(lost.find_first_not_of('\0', back), std::string::npos);

    const struct {
        const char *text, *message;
    } rows[] = {
        {"stall = 1\n", "bad.toml:3: stall must be a list of tables\n"},
        {"stall = { at = 1 }\n", "bad.toml:3: seconds is missing\n"},
        {"device_loss = { at = -1, seconds = 1 }\n", "bad.toml:3: at must not lie below 0\n"},
        {"stall = { at = 1, seconds = 1, x = 1 }\n", "bad.toml:3: unknown key x\n"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(verify(Scene(row.text, "0")).err, std::string("ringmix: ") + row.message);
}

}  // namespace
