// tools_play_test.cpp - `play`, `devices`, `volume` and `latency`: on the output that nobody hears, and
// through a sound server.
#include <fcntl.h>
#include <ringmix/output_selection.h>
#include <sys/wait.h>
#include <termios.h>

#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <thread>

#include "sound_server.h"
#include "stream_fixture.h"
#include "tests/tool_fixture.h"
#include "tools/interrupt.h"

namespace {

class PlayProgram : public ToolTest {
  protected:
    static std::string Numbers(const std::string& name, uint32_t frames) {
        return SoundImage(name, frames, {.isStereo = true}, Ramp);
    }
};

TEST_F(PlayProgram, SaysWhatIsWrong) {
    Write("a.sn", Numbers("a", 100));
    Write("broken.sn", Numbers("a", 100).substr(0, 200));
    setenv("PULSE_SERVER", "unix:/nonexistent", 0);  // named, so that none is started
    ExpectRefused({
        {"play", 2, "FILE"},
        {"play a.sn --volume 2", 2, "--volume: a volume is"},
        {"play a.sn --volume 0.5,", 2, "--volume: a volume is"},
        {"play a.sn --volume 0.5,nan", 2, "--volume: a volume is"},
        {"play a.sn --frequency 8", 2, "--frequency: a frequency is"},
        {"play a.sn --frequency fast", 2, "--frequency: a frequency is"},
        {"play missing.wav --device null", 1, "missing.wav: "},
        {"play broken.sn --device null", 1, "broken.sn: "},
        {"play a.sn missing.isn --device null", 1, "missing.isn: "},
        {"latency --device no-such-device", 1, "no-such-device: "},
        {"volume loudness", 2, "LINE"},
        {"volume master 101", 2, "PERCENT"},
        {"devices all", 2, ""},
    });
    const std::string advice = Run("play a.sn --device no-such-device").err;
    EXPECT_EQ(advice.find("ringmix: no-such-device: "), 0u) << advice;
    EXPECT_NE(advice.find("--device null"), std::string::npos) << advice;
}

// Every kind of file, one after the other: the time that it takes is theirs.
TEST_F(PlayProgram, PlaysEveryKindOfFileUnheard) {
    WriteAudio("tone.wav", wave16, 1, 44100, std::vector<double>(8820, 0.25));
    const std::string samples = Numbers("samples", 8820), adpcm = ImaOf("adpcm", 8820, 256, {});
    Write("samples.sn", samples);
    Write("samples.ssn", samples);
    Write("adpcm.isn", adpcm);
    Write("adpcm.iss", adpcm);
    RunWell("archive create all.archive samples.sn adpcm.isn");
    const auto secondsOf = [](const run_t& run) {
        return std::atof(run.out.c_str() + std::string("played ").size());
    };
    const run_t all = RunWell(
        "play tone.wav samples.sn samples.ssn adpcm.isn adpcm.iss all.archive --device null --volume "
        "0.5,0.25 --frequency 0.5");
    EXPECT_EQ(all.err, "");
    EXPECT_GT(secondsOf(all), 7 * 0.4) << all.out;
    EXPECT_LE(secondsOf(all), 7 * 0.9 + 10) << all.out;
    const run_t loop = RunWell("play tone.wav samples.ssn --loop --device null --seconds 1.5");
    EXPECT_GE(secondsOf(loop), 1.5);
    EXPECT_EQ(FilesHere().size(), 6u) << "what was imported is elsewhere";
    const run_t latency = RunWell("latency --device null");
    EXPECT_NE(latency.out.find("from Play to taken: "), std::string::npos) << latency.out;
    const auto devices = nlohmann::json::parse(Run("devices --json").out);
    EXPECT_EQ(devices.back()["name"], "null");
}

class PlayProgramDeathTest : public PlayProgram {
  protected:
    // In a process of its own, until `end` ends it.
    template <typename End>
    void PlayUntil(End end) {
        Write("a.sn", Numbers("a", 4410));
        std::thread ender(end);
        const int status = Run("play a.sn --loop --device null").status;
        ender.join();
        std::filesystem::remove_all(scratch.path);  // nobody else does, in a process that ends like this
        if (status != 0) _exit(9);
    }
};

TEST_F(PlayProgramDeathTest, EndsCleanlyOnCtrlC) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto leave = [this] {
        PlayUntil([] {
            SleepMs(1000);
            kill(getpid(), SIGINT);
        });
        if (!AudioSystem::IsInitialized() && tools::Interrupted()) tools::ResumeInterrupt();
        _exit(8);
    };
    EXPECT_EXIT(leave(), testing::KilledBySignal(SIGINT), "");
}

TEST_F(PlayProgramDeathTest, ObeysKeysAndGivesTheTerminalBack) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto leave = [this] {
        setsid();
        const int keys = posix_openpt(O_RDWR | O_NOCTTY);
        if (keys < 0 || grantpt(keys) != 0 || unlockpt(keys) != 0) _exit(7);
        const int terminal = open(ptsname(keys), O_RDWR);
        dup2(terminal, STDIN_FILENO);
        PlayUntil([keys] {
            SleepMs(500);
            for (const char* key : {" ", " ", "\x1b[C", "\x1b[D", "\x1b[A", "\x1b[B", "x", " ", "q"}) {
                SleepMs(100);
                if (write(keys, key, std::strlen(key)) < 0) _exit(6);
            }
        });
        termios mode{};
        tcgetattr(STDIN_FILENO, &mode);
        _exit((mode.c_lflag & ICANON) && (mode.c_lflag & ECHO) ? 0 : 5);
    };
    EXPECT_EXIT(leave(), testing::ExitedWithCode(0), "");
}

class RealOutputProgram : public PlayProgram {
  protected:
    void SetUp() override {
        if (!SoundServer_t::IsInstalled())
            GTEST_SKIP() << "pulseaudio and pulseaudio-utils are not installed";
        ASSERT_TRUE(server.Start());
        ASSERT_TRUE(OutputSelection_t::SetLead(100));  // the machine may be busy
    }
    void TearDown() override { OutputSelection_t::SetLead(0); }
    SoundServer_t server;
};

// A gap proves only that somebody was late; all else must be the sound, from its first frame to its last.
TEST_F(RealOutputProgram, PlaysWhatTheFileHolds) {
    constexpr uint32_t frames = 30'000;
    Write("numbers.ssn", Numbers("numbers", frames));
    for (int attempt = 1;; ++attempt) {
        Recorder_t recorder;
        ASSERT_TRUE(recorder.Start());
        const run_t run = RunWell("play numbers.ssn");
        SleepMs(300);
        recorder.Stop();
        std::vector<int16_t> heard;
        for (const frame_t& frame : recorder.Frames()) {
            if (frame != frame_t{}) heard.push_back(frame.left);
        }
        bool isWhole = heard.size() == frames && run.out.find(" 0 losses") != std::string::npos;
        for (uint32_t i = 0; isWhole && i < frames; ++i) isWhole = heard[i] == Ramp(i);
        if (isWhole) return;
        ASSERT_LT(attempt, 10) << heard.size() << " frames were heard; " << run.out;
    }
}

TEST_F(RealOutputProgram, ShowsAndSetsWhatTheServerHas) {
    EXPECT_EQ(Run("volume master 40").out, "master: 40\n");
    EXPECT_NE(OutputOf({"pactl", "get-sink-volume", "test"}).find(" 40%"), std::string::npos);
    OutputOf({"pactl", "set-sink-volume", "test", "80%", "40%"});
    EXPECT_EQ(Run("volume").out, "master: 60\n") << "the mean of two channels";
    RunWell("volume master 100");
    EXPECT_EQ(Run("volume wave").status, 1) << "the server has no such line";
    const auto devices = nlohmann::json::parse(Run("devices --json").out);
    EXPECT_EQ(devices[0]["name"], "default");
    EXPECT_EQ(std::ranges::count(devices, "null", [](const auto& one) { return one["name"]; }), 1);
    const run_t latency = RunWell("latency");
    for (const char* line : {"from Play to taken: ", "lead: ", "underruns: ", "from Play to heard: "})
        EXPECT_NE(latency.out.find(line), std::string::npos) << latency.out;
    server.Kill();
    EXPECT_EQ(Run("volume").status, 1);
    EXPECT_EQ(Run("volume master 10").status, 1);
}

}  // namespace
