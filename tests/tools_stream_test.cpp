// tools_stream_test.cpp - scenes whose sounds are streamed, whoever loads them, and what that is said to
// cost.
#include <sstream>

#include "tests/tool_fixture.h"

namespace {

class SceneStreams : public ToolTest {
  protected:
    void SetUp() override { WriteRecordings(9000, 12000, 20480); }

    std::string Render(const std::string& scene) {
        Write("s.toml", scene);
        last = RunWell("render s.toml -o out.wav --stats");
        return Bytes("out.wav");
    }
    static std::string Sounds(const std::string& store) {
        std::string text;
        for (const char* name : {"a", "b", "c"})
            text += std::string("[[sound]]\nfile = \"") + name + ".wav\"\nstore = \"" + store + "\"\n";
        return text;
    }
    static std::string Memory(int pageBytes, int pagesAhead) {
        return "[memory]\nstream_page_bytes = " + std::to_string(pageBytes) +
               "\nstream_pages_ahead = " + std::to_string(pagesAhead) + "\n";
    }

    run_t last;
};

// In front of all tables.
const std::string events =
    "event = [\n"
    "{ at = 0.0, voice = \"1\", sound = \"a\", queue = [\"c\", \"b\"], loop = true, volume = [0.2, 0.1], do "
    "= \"play\" },\n"
    "{ at = 0.1, voice = \"2\", sound = \"c\", frequency = 0.7, volume = [0.1, 0.2], position = 4068, do = "
    "\"play\" },\n"
    "{ at = 0.2, sound = \"b\", do = \"one-shot\" },\n"
    "{ at = 0.4, voice = \"2\", position = 2034 },\n"
    "{ at = 0.5, voice = \"1\", do = \"free\" }]\n";

// The look-ahead covers a tick: streams sound as their twins in memory do, whoever loads.
TEST_F(SceneStreams, SoundAsInMemory) {
    const std::string head = "duration = 0.9\nworst_case_frame_rate = 30\n" + events;
    for (const auto& [stream, twin] : {std::pair("stream", "pcm"), std::pair("adpcm-stream", "adpcm")}) {
        const std::string wanted = Render(head + Sounds(twin));
        EXPECT_EQ(last.out.find("no streams"), last.out.find('\n') + 1);
        for (const char* loader : {"", "[loader]\nmode = \"each-frame\"\n", "[loader]\nmode = \"thread\"\n",
                                   "[loader]\nmode = \"delayed\"\ndelay_frames = 0\n"}) {
            for (const auto& [pageBytes, pagesAhead] : {std::pair(4096, 32), std::pair(65536, 1)}) {
                SCOPED_TRACE(std::string(stream) + " " + loader);
                EXPECT_TRUE(Render(head + Memory(pageBytes, pagesAhead) + loader + Sounds(stream)) == wanted);
            }
        }
    }
}

// A look-ahead that is too short for a tick loses the same frames whoever loads, in every run, also where the
// first passes find nothing to do.
TEST_F(SceneStreams, LateFramesAreTheSameEveryTime) {
    std::string late = events;
    late.replace(late.find("0.0"), 3, "0.3");
    for (const auto& [stream, played] :
         {std::pair("stream", events), std::pair("adpcm-stream", events), std::pair("stream", late)}) {
        const std::string head = "duration = 0.9\nframe_rate = 12\n" + played, sounds = Sounds(stream);
        const std::string first = Render(head + Memory(4096, 1) + sounds), table = last.out;
        EXPECT_NE(first, Render(head + sounds));
        for (const char* loader : {"thread", "each-frame", "thread"}) {
            EXPECT_TRUE(Render(head + Memory(4096, 1) + "[loader]\nmode = \"" + loader + "\"\n" + sounds) ==
                        first);
            EXPECT_EQ(last.out, table);
        }
    }
}

// c: 10 pages of 2048 frames. The first tick mixes 2648 frames, the second 732; a voice holds one page
// beyond, and round at the head of its queue.
TEST_F(SceneStreams, StatisticsAreExact) {
    const std::string head = "worst_case_frame_rate = 60\n";
    const std::string play =
        "[[sound]]\nfile = \"c.wav\"\nstore = \"stream\"\n"
        "[[event]]\nat = 0\nvoice = \"v\"\nsound = \"c\"\ndo = \"play\"\n";
    const std::string again =
        "[[event]]\nat = 0.8\nvoice = \"v\"\nsound = \"c\"\nposition = 0\ndo = \"play\"\n";
    const std::string late = "[loader]\nmode = \"delayed\"\ndelay_frames = ";
    const struct {
        const char* name;
        std::string text;
        const char *row, *lateFrames;
    } rows[] = {
        // Only the first page is there for the first tick.
        {"once", "duration = 0.7\n" + Memory(4096, 1) + play, "4096 11 45056 1 3 ", "600"},
        // The first tick of the second time falls on another stretch of the ring, 204 frames shorter.
        {"twice", "duration = 1.5\n" + Memory(4096, 1) + play + again, "4096 21 86016 11 3 ", "996"},
        // In the second tick the first page is there, but it has been played.
        {"a frame late", "duration = 0.7\n" + Memory(4096, 1) + late + "1\n" + play, "4096 11 45056 1 3 ",
         "3380"},
        {"never", "duration = 0.7\n" + Memory(4096, 1) + late + "99\n" + play, "4096 0 0 0 3 ", "20480"},
        {"whole", "duration = 1.5\n" + Memory(65536, 1) + play + again, "65536 1 40960 0 1 ", "0"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Render(head + row.text);
        std::istringstream words(last.out.substr(last.out.rfind("\nc ")));
        std::string text, word;
        while (words >> word) text += word + " ";
        EXPECT_EQ(text, std::string("c ") + row.row + row.lateFrames + " ");
    }
    // The table keeps off an output on standard output.
    Write("s.toml", "duration = 0.1\n" + play);
    const run_t run = Run("render s.toml -o - --stats");
    EXPECT_EQ(run.out.substr(0, 4), "RIFF");
    EXPECT_EQ(run.out.size(), 44u + 4 * 4410);
    EXPECT_EQ(run.err.substr(0, 6), "stream");
    // Two names of one sound are one row.
    RunWell("import c.wav c.ssn");
    const std::string named = "[[sound]]\nfile = \"c.ssn\"\nname = ";
    Render("duration = 0.7\n" + named + "\"c\"\n" + named + "\"d\"\n" + play.substr(play.find("[[event]]")));
    EXPECT_NE(last.out.find("\nc       4096        10 "), std::string::npos) << last.out;
    EXPECT_EQ(last.out.find("\nd "), std::string::npos) << last.out;
}

TEST_F(SceneStreams, AreFoundInArchives) {
    std::string files;
    for (const std::string file : {"a.ssn", "b.iss", "c.ssn"}) {
        RunWell("import " + file.substr(0, 1) + ".wav " + file);
        files += "[[sound]]\nfile = \"" + file + "\"\n";
    }
    const std::string head = "duration = 0.9\n", archive = "[[archive]]\nfile = \"x.archive\"\n";
    const std::string body =
        "[[event]]\nat = 0\nvoice = \"v\"\nsound = \"a\"\nqueue = [\"c\"]\ndo = \"play\"\n"
        "[[event]]\nat = 0\nsound = \"b\"\ndo = \"one-shot\"\n";
    RunWell("archive create x.archive a.ssn b.iss c.ssn");
    EXPECT_TRUE(Render(head + archive + body) == Render(head + files + body));
    std::filesystem::remove("b.iss");
    Write("s.toml", head + archive + body);
    ExpectRefused({{"render s.toml -o out.wav", 1, "b.iss: No such file or directory\n"}});
}

}  // namespace
