// tools_scene_test.cpp - what `ringmix render` says of a scene that it cannot play, and when it applies
// events.
#include <cmath>
#include <limits>

#include "tests/tool_fixture.h"
#include "tools/scene_schedule.h"
#include "tools/wave_header.h"

namespace {

constexpr int wave16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class Scene : public ToolTest {
  protected:
    void SetUp() override {
        WriteAudio("a.wav", wave16, 1, 44100, std::vector<double>(2000, 0.25));
        WriteAudio("b.wav", wave16, 1, 48000, std::vector<double>(2000, 0.25));
        ASSERT_EQ(Run({"import", "a.wav", "a.sn", "--name", "inner"}).status, 0);
        ASSERT_EQ(Run({"import", "b.wav", "c.sn", "--name", "inner"}).status, 0);
        Write("broken.sn", "Sound x");
        Write("late.sn", Bytes("a.sn").substr(0, 100));
    }
    static run_t Render(const std::string& scene) {
        Write("s.toml", scene);
        return Run({"render", "s.toml", "-o", "out.wav"});
    }
};

// In all of these the sound "a" and a voice "v" of it stand in lines 1 to 9; the case's text begins in
// line 10.
const std::string base =
    "duration = 0.01\n\n[[sound]]\nfile = \"a.wav\"\n[[event]]\nat = 0\nvoice = \"v\"\nsound = \"a\"\n\n";

struct error_case_t {
    const char* what;
    std::string scene;
    std::string message;  // up to the reason, or all of it
};

TEST_F(Scene, ErrorsNameFileAndLine) {
    const std::string event = base + "[[event]]\nat = 0.0\n", sound = base + "[[sound]]\n";
    const error_case_t cases[] = {
        {"no TOML", "duration = = 3\n", "s.toml:1: "},
        {"cut short", "duration = 3\nframe_rate = [[", "s.toml:2: "},
        {"invalid text", "duration = 1\nx = \"\xff\"", "s.toml:2: "},
        {"key twice", "duration = 1\nduration = 2", "s.toml:2: "},
        {"empty", "", "s.toml:1: duration is missing\n"},
        {"unknown key", base + "[printer]\nx = 1", "s.toml:10: unknown key printer\n"},
        {"unknown key in a table", base + "[device]\nemulated = true\nspeed = 1",
         "s.toml:12: unknown key speed\n"},
        {"unknown key in an event", event + "pan = 1", "s.toml:12: unknown key pan\n"},
        {"table for a value", base + "[frame_rate]", "s.toml:10: frame_rate must be a number\n"},
        {"value for a table", "duration = 1\ndevice = 3", "s.toml:2: device must be a table\n"},
        {"value for a list of tables", "duration = 1\nevent = [1]",
         "s.toml:2: event must be a list of tables\n"},
        {"one table for a list", "duration = 1\n[sound]\nfile = \"a.wav\"",
         "s.toml:2: sound must be a list of tables\n"},
        {"text for a number", "duration = \"1\"", "s.toml:1: duration must be a number\n"},
        {"negative duration", "duration = -0.5", "s.toml:1: duration must not lie below 0\n"},
        {"no duration", "duration = nan", "s.toml:1: duration must not lie below 0\n"},
        {"endless", "duration = inf", "s.toml:1: duration is longer than a wave file can hold"},
        {"a second too long", "duration = 24348", "s.toml:1: duration is longer than a wave file can hold"},
        {"frame rate of 0", "duration = 1\nframe_rate = 0", "s.toml:2: frame_rate must lie above 0"},
        {"frame rate not a number", "duration = 1\nframe_rate = nan",
         "s.toml:2: frame_rate must lie above 0"},
        {"frame rate too high", "duration = 1\nframe_rate = 44101", "s.toml:2: frame_rate must lie above 0"},
        {"frame rate inf", "duration = 1\nframe_rate = inf", "s.toml:2: frame_rate must lie above 0"},
        {"number for a flag", base + "[device]\nemulated = 1", "s.toml:11: emulated must be true or false\n"},
        {"fraction of a byte", base + "[memory]\nstream_page_bytes = 0.5",
         "s.toml:11: stream_page_bytes must be a whole"},
        {"negative size", base + "[device]\nwrite_lead_bytes = -1",
         "s.toml:11: write_lead_bytes must be a whole"},
        {"33 bits", event + "voice = \"v\"\nposition = 4294967296",
         "s.toml:13: position must be a whole number"},
        {"float for a position", event + "voice = \"v\"\nposition = 1.0",
         "s.toml:13: position must be a whole number"},
        {"at missing", base + "[[event]]\nvoice = \"v\"", "s.toml:10: at is missing\n"},
        {"at no number", base + "[[event]]\nat = nan\nvoice = \"v\"", "s.toml:11: at must be a number\n"},
        {"one volume", event + "voice = \"v\"\nvolume = [1.0]",
         "s.toml:13: volume must be a list of two numbers\n"},
        {"volume is a list", event + "voice = \"v\"\nvolume = 1.0",
         "s.toml:13: volume must be a list of two numbers\n"},
        {"text in a list", event + "voice = \"v\"\nvolume = [1, \"1\"]",
         "s.toml:13: volume must be a list of two"},
        {"queue is a list", event + "voice = \"v\"\nqueue = \"a\"",
         "s.toml:13: queue must be a list of names\n"},
        {"number in a queue", event + "voice = \"v\"\nqueue = [\"a\", 1]",
         "s.toml:13: queue must be a list of names\n"},
        {"short slide", event + "voice = \"v\"\nslide_frequency = [0, 1, 1.0]",
         "s.toml:13: slide_frequency must be"},
        {"long slide", event + "voice = \"v\"\nslide_frequency = [0, 1, 1, 1, 1, 1]",
         "s.toml:13: slide_frequency must be"},
        {"slide from a fraction", event + "voice = \"v\"\nslide_volume = [0.5, 1, 1, 1, 1, 1]",
         "s.toml:13: slide_volume must be"},
        {"no such action", event + "voice = \"v\"\ndo = \"jump\"", "s.toml:13: do must be \"play\""},
        {"mix mode out of range", event + "voice = \"v\"\nmix_mode = 2147483648",
         "s.toml:13: mix_mode must be"},
        {"no voice", event + "do = \"play\"", "s.toml:10: voice is missing\n"},
        {"new voice without a sound", event + "voice = \"w\"\ndo = \"play\"",
         "s.toml:12: voice w does not stand yet"},
        {"freed voice without a sound",
         event + "voice = \"v\"\ndo = \"free\"\n[[event]]\nat = 9\nvoice = \"v\"",
         "s.toml:16: voice v does not stand yet"},
        {"earlier event later in the file",
         event + "voice = \"w\"\n[[event]]\nat = -1\nvoice = \"w\"\nsound = \"a\"\ndo=\"free\"",
         "s.toml:12: voice w does not stand yet"},
        {"unknown sound", event + "voice = \"w\"\nsound = \"z\"", "s.toml:13: unknown sound z\n"},
        {"unknown sound queued", event + "voice = \"v\"\nqueue = [\n\"a\",\n\"z\"]",
         "s.toml:15: unknown sound z\n"},
        {"unknown one-shot", event + "sound = \"z\"\ndo = \"one-shot\"", "s.toml:12: unknown sound z\n"},
        {"one-shot of nothing", event + "do = \"one-shot\"", "s.toml:10: one-shot needs a sound\n"},
        {"one-shot of a voice", event + "voice = \"v\"\nsound = \"a\"\ndo = \"one-shot\"",
         "s.toml:10: one-shot takes a sound"},
        {"one-shot with a setting", event + "sound = \"a\"\nloop = true\ndo = \"one-shot\"",
         "s.toml:10: one-shot takes a sound"},
        {"slide on a plain voice", event + "voice = \"v\"\nslide_frequency = [0, 1, 1, 1]",
         "s.toml:13: voice v is no sliding voice\n"},
        {"volume slide on a plain voice", event + "voice = \"v\"\nslide_volume = [0, 1, 1, 1, 1, 1]",
         "s.toml:13: voice v is no sliding voice\n"},
        {"sliding, later", event + "voice = \"v\"\nsliding = true",
         "s.toml:13: voice v stands already, with another sliding\n"},
        {"other mix mode, later", event + "voice = \"v\"\nmix_mode = 2",
         "s.toml:13: voice v stands already, with another mix_mode\n"},
        {"other sound, later", sound + "file = \"b.wav\"\n[[event]]\nat = 0\nvoice = \"v\"\nsound = \"b\"",
         "s.toml:15: voice v stands already, with another sound\n"},
        {"sound without a file", sound + "name = \"x\"", "s.toml:10: file is missing\n"},
        {"name twice", sound + "file = \"b.wav\"\nname = \"a\"", "s.toml:12: there is another sound a\n"},
        {"default name twice", sound + "file = \"./a.wav\"", "s.toml:10: there is another sound a\n"},
        {"name inside twice", base + "[[sound]]\nfile = \"a.sn\"\n[[sound]]\nfile = \"c.sn\"",
         "s.toml:12: there is another sound inner\n"},
        {"one archive, one name, two files",
         base + "[[sound]]\nfile = \"a.sn\"\n[[sound]]\nfile = \"c.sn\"\nname = \"c\"",
         "s.toml:12: archive DefaultArchive already has a sound inner, from a.sn\n"},
        {"file that is not there", sound + "file = \"none.wav\"", "s.toml:11: none.wav: "},
        {"engine file that is none", sound + "file = \"broken.sn\"", "s.toml:11: broken.sn: "},
        {"engine file cut short", sound + "file = \"late.sn\"\nname = \"l\"", "s.toml:11: late.sn: "},
        {"file that is no audio", sound + "file = \"s.toml\"", "s.toml:11: s.toml: "},
        {"folder", sound + "file = \".\"", "s.toml:11: .: "},
    };
    Write("out.wav", "older");
    for (const error_case_t& test : cases) {
        SCOPED_TRACE(test.what);
        Write("s.toml", "");
        const auto before = FilesHere();
        const run_t run = Render(test.scene);
        EXPECT_EQ(run.status, 1);
        const std::string message = "ringmix: " + test.message;
        EXPECT_EQ(run.err.substr(0, message.size()), message) << run.err;
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << "one line";
        EXPECT_EQ(Bytes("out.wav"), "older");
        EXPECT_EQ(FilesHere(), before);
    }
}

// What the engine drops without a word is no error of the scene, and neither is the same word twice.
TEST_F(Scene, ValuesForTheEngineAreNotJudged) {
    const std::string scene =
        base +
        "[[sound]]\nfile = \"a.sn\"\n[[sound]]\nfile = \"a.sn\"\nname = \"same\"\n"
        "[[sound]]\nfile = \"c.sn\"\nname = \"other\"\narchive = \"x\"\n"
        "[memory]\nstream_page_bytes = 0\nstream_pages_ahead = 4294967295\ndecoded_page_bytes = 0\n"
        "[[event]]\nat = -inf\nvoice = \"s\"\nsound = \"inner\"\nsliding = true\nmix_mode = 3\nvolume = "
        "[-1.0, nan]\n"
        "frequency = 8.0\nposition = 4294967295\nslide_frequency = [44100, 0, inf, -inf]\n"
        "slide_volume = [9, 3, nan, -1, 1e300, 0]\nqueue = [\"same\", \"other\"]\nloop = true\ndo = "
        "\"play\"\n"
        "[[event]]\nat = 0.001\nvoice = \"s\"\nsound = \"inner\"\nsliding = true\nmix_mode = 3\ndo = "
        "\"free\"\n"
        "[[event]]\nat = inf\nsound = \"other\"\ndo = \"one-shot\"\n";
    for (const char* rate : {"nan", "-1", "0", "inf", "1e-30", "60"}) {
        const run_t run = Render(std::string("worst_case_frame_rate = ") + rate + "\n" + scene);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(Bytes("out.wav").size(), 44u + 441 * 4);
    }
}

TEST_F(Scene, LengthIsTheDuration) {
    const struct {
        const char* head;
        uint32_t frames;
    } cases[] = {{"duration = 0", 0},
                 {"duration = 0.1", 4410},
                 {"duration = 0.0000114", 1},  // 0.503 frames
                 {"duration = 0.0000113", 0},
                 {"duration = 1\nframe_rate = 0.001", 44100},  // one tick, many device buffers
                 {"duration = 0.1\nframe_rate = 44100", 4410},
                 {"duration = 1\nframe_rate = 59.94", 44100}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.head);
        ASSERT_EQ(Render(test.head).status, 0);
        const std::string bytes = Bytes("out.wav");
        EXPECT_EQ(bytes.substr(0, 44), tools::FormatWaveHeader(test.frames));
        EXPECT_EQ(bytes.size(), 44 + size_t{test.frames} * 4);
        EXPECT_EQ(bytes.find_first_not_of('\0', 44), std::string::npos) << "silence";
    }
}

// Freed, made anew, one-shot of an empty sound: names and voices stay in step.
TEST_F(Scene, VoicesComeAndGo) {
    WriteAudio("none.wav", wave16, 1, 44100, {});
    std::string scene = "duration = 0.5\n[[sound]]\nfile = \"a.wav\"\n[[sound]]\nfile = \"none.wav\"\n";
    for (int i = 0; i < 20; ++i) {
        const std::string at = "[[event]]\nat = " + std::to_string(i * 0.02) + "\n";
        scene += at + "sound = \"none\"\ndo = \"one-shot\"\n" + at + "sound = \"a\"\ndo = \"one-shot\"\n";
        scene += at + "voice = \"v\"\nsound = \"" + (i % 4 == 0 ? "none" : "a") +
                 "\"\nqueue = [\"none\", \"a\"]\ndo = \"play\"\n";
        scene += at + "voice = \"v\"\ndo = \"" + (i % 3 == 0 ? "reset" : "stop") + "\"\n" + at +
                 "voice = \"v\"\ndo = \"free\"\n";
    }
    ASSERT_EQ(Render(scene).status, 0);
    EXPECT_NE(Bytes("out.wav").find_first_not_of('\0', 44), std::string::npos);
}

// The test is a division in doubles: an event at k / rate is due in frame k, the next double after it in k
// + 1.
TEST(Schedule, EqualIsDue) {
    tools::scene_t scene;
    for (const double rate : {60.0, 59.94, 50.0, 0.1, 44100.0, 1.0 / 3.0}) {
        scene.frameRate = rate;
        scene.events.clear();
        const uint64_t frames[] = {0, 1, 3, 7, 59, 60, 1001, 123457};
        for (const uint64_t k : frames) {
            const double at = static_cast<double>(k) / rate;
            for (const double when : {at, std::nextafter(at, 1e9)}) {
                scene.events.emplace_back().at = tools::located_t<double>{when, 1};
            }
        }
        for (const auto& [hostFrame, event] : tools::ScheduleEvents(scene)) {
            const auto index = static_cast<size_t>(event - scene.events.data());
            if (static_cast<double>(frames[index / 2]) / rate > 100'000.0) continue;
            EXPECT_EQ(hostFrame, frames[index / 2] + index % 2) << rate << ", event " << index;
        }
    }
}

TEST(Schedule, FileOrderWithinAFrame) {
    tools::scene_t scene;  // 60 frames a second: these two are both due in frame 1
    for (const double at : {0.016, 0.001, 2.0, -5.0, std::numeric_limits<double>::infinity()}) {
        scene.events.emplace_back().at = tools::located_t<double>{at, 1};
    }
    std::vector<std::ptrdiff_t> order;
    for (const auto& scheduled : tools::ScheduleEvents(scene))
        order.push_back(scheduled.event - scene.events.data());
    EXPECT_EQ(order, (std::vector<std::ptrdiff_t>{3, 0, 1, 2, 4}));
}

TEST(Schedule, DeviceFramesNeverDrift) {
    EXPECT_EQ(tools::FramesBefore(0, 60.0, 1000), 0u);
    EXPECT_EQ(tools::FramesBefore(1, 59.94, 10000), 735u);  // 735.73
    EXPECT_EQ(tools::FramesBefore(5994, 59.94, 10000000), 4410000u);
    EXPECT_EQ(tools::FramesBefore(100, 60.0, 1000), 1000u);  // the cut
    EXPECT_EQ(tools::FramesBefore(UINT64_MAX, 1e-300, 7), 7u);
}

}  // namespace
