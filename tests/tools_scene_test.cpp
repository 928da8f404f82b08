// tools_scene_test.cpp - what `ringmix render` says of a scene that it cannot play, and when it applies
// events.
#include <limits>

#include "tests/tool_fixture.h"
#include "tools/scene_schedule.h"
#include "tools/wave_header.h"

namespace {

class Scene : public ToolTest {
  protected:
    void SetUp() override {
        WriteAudio("a.wav", wave16, 1, 44100, std::vector<double>(2000, 0.25));
        WriteAudio("b.wav", wave16, 1, 48000, std::vector<double>(2000, 0.25));
        RunWell("import a.wav a.sn --name inner");
        RunWell("import b.wav c.sn --name inner");
        Write("broken.sn", "Sound x");
        Write("late.sn", Bytes("a.sn").substr(0, 100));
    }
    static std::string Rendered(const std::string& scene) {
        Write("s.toml", scene);
        RunWell("render s.toml -o out.wav");
        return Bytes("out.wav");
    }
};

// In all of these the sound "a" and a voice "v" of it stand in lines 1 to 9; the case's text begins in
// line 10.
const std::string base =
    "duration = 0.01\n\n[[sound]]\nfile = \"a.wav\"\n[[event]]\nat = 0\nvoice = \"v\"\nsound = \"a\"\n\n";

TEST_F(Scene, ErrorsNameFileAndLine) {
    const std::string event = base + "[[event]]\nat = 0.0\n", sound = base + "[[sound]]\n";
    const std::string voice = event + "voice = \"v\"\n", newVoice = event + "voice = \"w\"\n";
    const struct {
        std::string scene, message;  // up to the reason, or all of it
    } cases[] = {
        {"duration = = 3\n", "1: "},
        {"duration = 3\nframe_rate = [[", "2: "},
        {"duration = 1\nx = \"\xff\"", "2: "},
        {"duration = 1\nduration = 2", "2: "},
        {"", "1: duration is missing\n"},
        {base + "[printer]\nx = 1", "10: unknown key printer\n"},
        {base + "[device]\nemulated = true\nspeed = 1", "12: unknown key speed\n"},
        {event + "pan = 1", "12: unknown key pan\n"},
        {base + "[frame_rate]", "10: frame_rate must be a number\n"},
        {"duration = 1\ndevice = 3", "2: device must be a table\n"},
        {"duration = 1\nevent = [1]", "2: event must be a list of tables\n"},
        {"duration = 1\n[sound]\nfile = \"a.wav\"", "2: sound must be a list of tables\n"},
        {"duration = \"1\"", "1: duration must be a number\n"},
        {"duration = -0.5", "1: duration must not lie below 0\n"},
        {"duration = nan", "1: duration must not lie below 0\n"},
        {"duration = inf", "1: duration is longer than a wave file can hold"},
        {"duration = 24348", "1: duration is longer than a wave file can hold"},
        {"duration = 1\nframe_rate = 0", "2: frame_rate must lie above 0"},
        {"duration = 1\nframe_rate = nan", "2: frame_rate must lie above 0"},
        {"duration = 1\nframe_rate = 44101", "2: frame_rate must lie above 0"},
        {"duration = 1\nframe_rate = inf", "2: frame_rate must lie above 0"},
        {base + "[device]\nemulated = 1", "11: emulated must be true or false\n"},
        {base + "[memory]\nstream_page_bytes = 0.5", "11: stream_page_bytes must be a whole"},
        {base + "[device]\nwrite_lead_bytes = -1", "11: write_lead_bytes must be a whole"},
        {voice + "position = 4294967296", "13: position must be a whole number"},
        {voice + "position = 1.0", "13: position must be a whole number"},
        {base + "[[event]]\nvoice = \"v\"", "10: at is missing\n"},
        {base + "[[event]]\nat = nan\nvoice = \"v\"", "11: at must be a number\n"},
        {voice + "volume = [1.0]", "13: volume must be a list of two numbers\n"},
        {voice + "volume = 1.0", "13: volume must be a list of two numbers\n"},
        {voice + "volume = [1, \"1\"]", "13: volume must be a list of two"},
        {voice + "queue = \"a\"", "13: queue must be a list of names\n"},
        {voice + "queue = [\"a\", 1]", "13: queue must be a list of names\n"},
        {voice + "slide_frequency = [0, 1, 1.0]", "13: slide_frequency must be"},
        {voice + "slide_frequency = [0, 1, 1, 1, 1, 1]", "13: slide_frequency must be"},
        {voice + "slide_volume = [0.5, 1, 1, 1, 1, 1]", "13: slide_volume must be"},
        {voice + "do = \"jump\"", "13: do must be \"play\""},
        {voice + "mix_mode = 2147483648", "13: mix_mode must be"},
        {event + "do = \"play\"", "10: voice is missing\n"},
        {newVoice + "do = \"play\"", "12: voice w does not stand yet"},
        {voice + "do = \"free\"\n[[event]]\nat = 9\nvoice = \"v\"", "16: voice v does not stand yet"},
        {newVoice + "[[event]]\nat = -1\nvoice = \"w\"\nsound = \"a\"\ndo=\"free\"",
         "12: voice w does not stand yet"},
        {newVoice + "sound = \"z\"", "13: unknown sound z\n"},
        {voice + "queue = [\n\"a\",\n\"z\"]", "15: unknown sound z\n"},
        {event + "sound = \"z\"\ndo = \"one-shot\"", "12: unknown sound z\n"},
        {event + "do = \"one-shot\"", "10: one-shot needs a sound\n"},
        {voice + "sound = \"a\"\ndo = \"one-shot\"", "10: one-shot takes a sound"},
        {event + "sound = \"a\"\nloop = true\ndo = \"one-shot\"", "10: one-shot takes a sound"},
        {voice + "slide_frequency = [0, 1, 1, 1]", "13: voice v is no sliding voice\n"},
        {voice + "slide_volume = [0, 1, 1, 1, 1, 1]", "13: voice v is no sliding voice\n"},
        {voice + "sliding = true", "13: voice v stands already, with another sliding\n"},
        {voice + "mix_mode = 2", "13: voice v stands already, with another mix_mode\n"},
        {sound + "file = \"b.wav\"\n[[event]]\nat = 0\nvoice = \"v\"\nsound = \"b\"",
         "15: voice v stands already, with another sound\n"},
        {sound + "name = \"x\"", "10: file is missing\n"},
        {sound + "file = \"b.wav\"\nname = \"a\"", "12: there is another sound a\n"},
        {sound + "file = \"./a.wav\"", "10: there is another sound a\n"},
        {sound + "file = \"a.sn\"\n[[sound]]\nfile = \"c.sn\"", "12: there is another sound inner\n"},
        {sound + "file = \"a.sn\"\n[[sound]]\nfile = \"c.sn\"\nname = \"c\"",
         "12: archive DefaultArchive already has a sound inner, from a.sn\n"},
        {sound + "file = \"none.wav\"", "11: none.wav: "},
        {sound + "file = \"broken.sn\"", "11: broken.sn: "},
        {sound + "file = \"late.sn\"\nname = \"l\"", "11: late.sn: "},
        {sound + "file = \"s.toml\"", "11: s.toml: "},
        {sound + "file = \".\"", "11: .: "},
    };
    Write("out.wav", "older");
    for (const auto& test : cases) {
        SCOPED_TRACE(test.scene);
        Write("s.toml", test.scene);
        ExpectRefused({{"render s.toml -o out.wav", 1, "s.toml:" + test.message}});
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
        const std::string bytes = Rendered(std::string("worst_case_frame_rate = ") + rate + "\n" + scene);
        EXPECT_EQ(bytes.size(), 44u + 441 * 4);
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
        const std::string bytes = Rendered(test.head);
        EXPECT_EQ(bytes.substr(0, 44), tools::FormatWaveHeader(test.frames));
        EXPECT_EQ(bytes.size(), 44 + size_t{test.frames} * 4);
        EXPECT_EQ(bytes.find_first_not_of('\0', 44), std::string::npos) << "silence";
    }
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
