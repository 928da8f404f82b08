// tools_report_test.cpp - figures and pictures: that they tell of the sound what the sound itself shows.
#include <nlohmann/json.hpp>

#include "tests/tool_fixture.h"
#include "tools/pictures.h"
#include "tools/signal.h"
#include "tools/spectrogram.h"

namespace {

using json_t = nlohmann::json;
using stretch_t = std::pair<int64_t, int64_t>;

class Report : public ToolTest {
  protected:
    // A sound that is nowhere silent: where a voice is heard can be seen in the output.
    static void WriteLevel(const std::string& path, int rateHz, int frames, double level) {
        WriteAudio(path, wave16, 1, rateHz, std::vector<double>(static_cast<size_t>(frames), level));
    }
    static std::string Sound(const std::string& file, const std::string& store) {
        return "[[sound]]\nfile = \"" + file + "\"\nstore = \"" + store + "\"\n";
    }
    static std::string Event(double at, const std::string& rest) {
        return "[[event]]\nat = " + std::to_string(at) + "\n" + rest + "\n";
    }
    static json_t Figures(const std::string& more = "") {
        RunWell("render s.toml -o seen.wav --json s.json " + more);
        return json_t::parse(Bytes("s.json"));
    }
    static std::vector<stretch_t> HeardStretches() {
        const std::vector<int16_t> samples = Samples("seen.wav");
        std::vector<stretch_t> stretches;
        for (size_t i = 0; i < samples.size(); i += 2) {
            if (samples[i] == 0 && samples[i + 1] == 0) continue;
            const auto at = static_cast<int64_t>(i / 2);
            if (stretches.empty() || stretches.back().second != at) stretches.push_back({at, at});
            stretches.back().second = at + 1;
        }
        return stretches;
    }
};

// One voice at a time, each with another end: what is told of each play is where the output is not silent.
TEST_F(Report, EveryPlayIsHeardWhereItIsSaidToBe) {
    WriteLevel("a.wav", 44100, 3000, 0.25);
    WriteLevel("b.wav", 22050, 1500, 0.25);
    const std::string events =
        Event(0.1, "voice = \"one\"\nsound = \"a\"\ndo = \"play\"") +
        Event(0.5, "voice = \"one\"\nfrequency = 1.5\ndo = \"play\"") +
        Event(0.8, "voice = \"two\"\nsound = \"b\"\nloop = true\ndo = \"play\"") +
        Event(1.0, "voice = \"two\"\nloop = true\ndo = \"play\"") +  // plays already
        Event(1.1, "voice = \"two\"\ndo = \"stop\"") +
        Event(1.5, "voice = \"three\"\nsound = \"a\"\nqueue = [\"b\"]\ndo = \"play\"") +
        Event(1.9, "sound = \"b\"\ndo = \"one-shot\"") +
        Event(2.2, "voice = \"none\"\nsound = \"a\"\ndo = \"play\"") +
        Event(2.2, "voice = \"none\"\ndo = \"reset\"") + Event(2.3, "voice = \"two\"\ndo = \"play\"") +
        Event(2.45, "voice = \"two\"\ndo = \"free\"") +
        Event(2.8, "voice = \"four\"\nsound = \"a\"\nloop = true\ndo = \"play\"");
    const std::vector<const char*> endings = {"played", "played",  "stopped", "played",
                                              "played", "stopped", "freed",   "scene-end"};
    for (const char* how : {"pcm", "adpcm", "stream", "adpcm-stream"}) {
        for (const char* device : {"", "[device]\nwrite_lead_bytes = 4000\n", "[device]\nemulated = true\n",
                                   "[loader]\nmode = \"thread\"\n"}) {
            SCOPED_TRACE(std::string(how) + ", " + device);
            const std::string scene = "duration = 3.0\nworst_case_frame_rate = 30\n" + std::string(device) +
                                      Sound("a.wav", how) + Sound("b.wav", how) + events;
            Write("s.toml", scene);
            RunWell("render s.toml -o plain.wav");
            json_t figures = Figures();
            ASSERT_EQ(Bytes("seen.wav"), Bytes("plain.wav")) << "looking on has changed the output";

            std::vector<stretch_t> told;
            const json_t& plays = figures["voices"]["plays"];
            ASSERT_EQ(plays.size(), endings.size());
            for (size_t i = 0; i < plays.size(); ++i) {
                EXPECT_EQ(plays[i]["end"], endings[i]) << i;
                EXPECT_EQ(plays[i]["heard_frame"].is_null(), i == 5) << i;
                if (!plays[i]["heard_frame"].is_null())
                    told.push_back({plays[i]["heard_frame"], plays[i]["ended_frame"]});
            }
            EXPECT_EQ(told, HeardStretches());
            EXPECT_TRUE(plays[4]["voice"].is_null());
            EXPECT_EQ(plays[3]["sound"], "a + b");
            EXPECT_GT(plays[2]["rounds"], 0);
            EXPECT_EQ(figures["voices"]["asked"], 8);
            EXPECT_EQ(figures["voices"]["heard"], 7);
            EXPECT_EQ(figures["voices"]["most_at_once"], 1);

            json_t again = Figures();
            for (json_t* one : {&figures, &again}) one->erase("measured");
            EXPECT_EQ(figures, again);
        }
    }
}

// Sounds so short that a tick passes several of their seams, or whole voices.
TEST_F(Report, WhatPassesWithinATickIsTold) {
    std::string sounds;
    for (const auto& [name, rateHz, frames] : {std::tuple("k1", 44100, 200),
                                               {"k2", 22050, 150},
                                               {"k3", 11025, 25},
                                               {"k4", 44100, 76},
                                               {"one", 44100, 1}}) {
        const std::string file = std::string(name) + ".wav";
        WriteLevel(file, rateHz, frames, 0.25);
        sounds += Sound(file, "pcm");
    }
    const std::string queue = "voice = \"q\"\nsound = \"k1\"\nqueue = [\"k2\", \"k3\", \"k4\"]\n";
    const std::string oneShot = Event(0.2, "sound = \"k1\"\ndo = \"one-shot\"");
    const struct {
        const char* what;
        std::string events;
        uint32_t mostAtOnce;
    } rows[] = {
        {"a queue", Event(0.2, queue + "do = \"play\""), 1},
        {"a queue in a loop that ends",
         Event(0.2, queue + "loop = true\ndo = \"play\"") + Event(0.35, "voice = \"q\"\nloop = false"), 1},
        {"moved to its end by the host",
         Event(0.2, queue + "loop = true\ndo = \"play\"") +
             Event(0.3, "voice = \"q\"\nloop = false\nposition = 400"),
         1},
        {"a loop of one frame",
         Event(0.2, "voice = \"q\"\nsound = \"one\"\nloop = true\ndo = \"play\"") +
             Event(0.46, "voice = \"q\"\ndo = \"stop\""),
         1},
        {"three that begin and end together", oneShot + oneShot + oneShot, 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Write("s.toml", "duration = 0.6\n" + sounds + row.events);
        const json_t figures = Figures();
        const std::vector<stretch_t> heard = HeardStretches();
        ASSERT_EQ(heard.size(), 1u);
        for (const json_t& play : figures["voices"]["plays"]) {
            EXPECT_EQ(play["heard_frame"], heard[0].first);
            EXPECT_EQ(play["ended_frame"], heard[0].second);
        }
        EXPECT_EQ(figures["voices"]["most_at_once"], row.mostAtOnce);
        const json_t& columns = figures["host_frames"];
        for (size_t i = 0; i < columns["frame"].size(); ++i) {
            const int64_t from = columns["frame"][i],
                          to = i + 1 < 36 ? columns["frame"][i + 1] : json_t(26'460);
            const bool isHeard = from < heard[0].second && heard[0].first < to;
            EXPECT_EQ(columns["voices"][i], isHeard ? row.mostAtOnce : 0) << i;
        }
    }
}

TEST_F(Report, LevelsAreThoseOfTheOutput) {
    WriteLevel("a.wav", 44100, 9000, 0.75);
    Write("s.toml", "duration = 0.5\n" + Sound("a.wav", "pcm") +
                        Event(0.05, "voice = \"1\"\nsound = \"a\"\ndo = \"play\"") +
                        Event(0.1, "voice = \"2\"\nsound = \"a\"\nvolume = [1.0, 0.0]\ndo = \"play\""));
    const json_t figures = Figures();
    const std::vector<int16_t> samples = Samples("seen.wav");
    EXPECT_EQ(figures["frames"], samples.size() / 2);
    EXPECT_EQ(figures["hash"], Run("verify s.toml --hash").out.substr(0, 64));
    int64_t full = 0;
    int rightPeak = 0;
    for (size_t i = 0; i < samples.size(); i += 2) {
        full += samples[i] == 32767 ? 1 : 0;
        rightPeak = std::max<int>(rightPeak, samples[i + 1]);
    }
    EXPECT_GT(full, 1000);
    EXPECT_EQ(figures["levels"]["full_scale_samples"], full);
    EXPECT_EQ(figures["levels"]["right"]["full_scale_samples"], 0);
    EXPECT_NEAR(figures["levels"]["peak_dbfs"].get<double>(), 0.0, 0.001);
    EXPECT_NEAR(figures["levels"]["right"]["peak_dbfs"].get<double>(), 20 * std::log10(rightPeak / 32768.0),
                0.001);
    EXPECT_NEAR(figures["levels"]["mix_peak_dbfs"].get<double>(), 20 * std::log10(1.5), 0.001);
    const json_t& columns = figures["host_frames"];
    for (const auto& [key, list] : columns.items()) EXPECT_EQ(list.size(), 30u) << key;
    EXPECT_EQ(figures["measured"]["tick_ms"].size(), 30u);
    for (size_t i = 0; i < 30; ++i) EXPECT_LE(columns["lowest_lead_frames"][i], columns["lead_frames"][i]);

    Write("s.toml", "duration = 0.0\n");
    const json_t none = Figures(RINGMIX_PICTURES ? "--report s.html" : "");
    EXPECT_TRUE(none["levels"]["peak_dbfs"].is_null());
    EXPECT_EQ(none["frames"], 0);
}

#if RINGMIX_LOUDNESS
// A stereo sine wave of 997 Hz at -20 dBFS has, by the definition of EBU R 128, -20 LUFS.
TEST_F(Report, LoudnessIsThatOfTheStandard) {
    std::vector<double> sine;
    for (int i = 0; i < 3 * 44100; ++i)
        sine.insert(sine.end(), 2, 0.1 * std::sin(2 * M_PI * 997 / 44100 * i));
    WriteAudio("sine.wav", wave16, 2, 44100, sine);
    Write("s.toml", "duration = 3.0\n" + Sound("sine.wav", "pcm") +
                        Event(0, "voice = \"1\"\nsound = \"sine\"\ndo = \"play\""));
    const json_t loudness = Figures()["loudness"];
    EXPECT_NEAR(loudness["integrated_lufs"].get<double>(), -20.0, 0.1);
    EXPECT_NEAR(loudness["true_peak_dbtp"].get<double>(), -20.0, 0.1);
    EXPECT_EQ(loudness["momentary_lufs"].size(), 30u);
    EXPECT_TRUE(loudness["momentary_lufs"][2].is_null());
    EXPECT_NEAR(loudness["momentary_lufs"][20].get<double>(), -20.0, 0.1);
}
#endif

// A host that stands still for longer than the ring reaches, and a disk that is slower than the voice.
TEST_F(Report, WhatIsLateIsTold) {
    WriteLevel("a.wav", 44100, 9000, 0.25);
    Write("s.toml", "duration = 2.0\nstall = { at = 0.5, seconds = 0.8 }\n" + Sound("a.wav", "pcm") +
                        Event(0, "voice = \"1\"\nsound = \"a\"\nloop = true\ndo = \"play\""));
    const json_t host = Figures();
    const std::vector<stretch_t> heard = HeardStretches();
    ASSERT_EQ(heard.size(), 2u);
    // The ring is silent beyond the horizon: what it still has is sent before anything counts as missing.
    EXPECT_GT(host["ring"]["underrun_frames"], 0);
    EXPECT_LT(host["ring"]["underrun_frames"], heard[1].first - heard[0].second);
    EXPECT_EQ(host["host_frames"]["lowest_mixed_frames"][77], host["host_frames"]["lowest_lead_frames"][77]);
    EXPECT_GT(host["host_frames"]["lowest_mixed_frames"][29], host["host_frames"]["lowest_lead_frames"][29]);
    int64_t stalled = 0;
    for (const json_t& frame : host["host_frames"]["stalled"]) stalled += frame.get<int64_t>();
    EXPECT_EQ(stalled, 48);

    Write("s.toml",
          "duration = 1.0\n[memory]\nstream_pages_ahead = 1\n[loader]\nmode = \"delayed\"\ndelay_frames = "
          "12\n" +
              Sound("a.wav", "stream") +
              Event(0, "voice = \"1\"\nsound = \"a\"\nloop = true\ndo = \"play\""));
    const json_t disk = Figures();
    EXPECT_GT(disk["late_frames"], 0);
    EXPECT_EQ(disk["late_frames"], disk["streams"][0]["late_frames"]);
    const std::string statistics = Run("render s.toml -o x.wav --stats").out;
    EXPECT_NE(statistics.find(disk["late_frames"].dump()), std::string::npos) << statistics;
}

TEST_F(Report, WhereResultsGo) {
    WriteLevel("a.wav", 44100, 300, 0.25);
    Write("s.toml",
          "duration = 0.1\n" + Sound("a.wav", "pcm") + Event(0, "sound = \"a\"\ndo = \"one-shot\""));
    const run_t toPipe = Run("render s.toml --json -");
    EXPECT_EQ(json_t::parse(toPipe.out)["voices"]["heard"], 1);
    ExpectRefused({
        {"render s.toml -o a.out --json a.out", 2, ""},
        {"render s.toml -o a.out --report ./a.out", 2, ""},
        {"render s.toml -o '" + std::filesystem::absolute("a.out").string() + "' --json a.out", 2, ""},
        {"render s.toml -o - --json -", 2, ""},
        {"render s.toml -o new.wav --json nowhere/x", 1, ""},
        {"render s.toml -o new.wav --json /dev/full", 1, ""},
        {"render s.toml -o new.wav --report nowhere/x", 1, ""},
        {"render s.toml -o new.wav --report /dev/full", 1, ""},
    });
    RunWell("render s.toml -o a.out --json b.out -q");
    EXPECT_EQ(Run("render s.toml -o o.wav --quiet").out, "");
}

TEST_F(Report, EnvelopeCoversEveryFrameOnce) {
    for (const uint64_t frames : {1, 7, 960, 961, 44'100}) {
        for (const uint32_t columns : {1u, 7u, 960u}) {
            std::vector<double> saw;
            for (uint64_t i = 0; i < frames; ++i)
                saw.push_back(static_cast<double>(i) / static_cast<double>(frames));
            tools::Envelope_t envelope(1, frames, columns, 0.999);
            for (size_t at = 0; at < saw.size(); at += 100)
                envelope.Add(&saw[at], std::min<size_t>(100, saw.size() - at));
            ASSERT_EQ(envelope.Columns(), std::min<uint64_t>(frames, columns));
            for (uint32_t i = 0; i < envelope.Columns(); ++i) {
                const bool isLast = i + 1 == envelope.Columns();
                const uint64_t last = (isLast ? frames : envelope.FirstFrame(i + 1)) - 1;
                ASSERT_EQ(envelope.At(0, i).lowest, saw[envelope.FirstFrame(i)]) << frames << ", " << i;
                ASSERT_EQ(envelope.At(0, i).highest, saw[last]) << frames << ", " << i;
            }
        }
    }
}

#if RINGMIX_PICTURES

// Names of tags that are open, in order; whatever is no tag must not contain '<'.
std::string Unbalanced(const std::string& html) {
    std::vector<std::string> open;
    for (size_t at = html.find('<'); at != std::string::npos; at = html.find('<', at + 1)) {
        const size_t end = html.find('>', at);
        if (end == std::string::npos) return "a tag without an end";
        const std::string tag = html.substr(at + 1, end - at - 1);
        if (tag[0] == '!' || tag.back() == '/') continue;
        const std::string name = tag.substr(tag[0] == '/', tag.find_first_of(" ", 0) - (tag[0] == '/'));
        if (tag[0] != '/') {
            open.push_back(name);
        } else if (open.empty() || open.back() != name) {
            return "</" + name + "> at " + std::to_string(at);
        } else {
            open.pop_back();
        }
    }
    return open.empty() ? "" : open.back();
}

TEST_F(Report, PageStandsAlone) {
    WriteLevel("a.wav", 44100, 3000, 0.25);
    std::string scene = "duration = 1.0\nstall = { at = 0.2, seconds = 0.7 }\n" + Sound("a.wav", "stream") +
                        Event(0, "voice = '<b>&\"x\"'\nsound = \"a\"\nloop = true\ndo = \"play\"");
    for (int i = 0; i < 60; ++i)  // more than the timeline has rows
        scene += Event(0.01 * i, "voice = \"v" + std::to_string(i) + "\"\nsound = \"a\"\ndo = \"play\"");
    Write("s.toml", scene);
    RunWell("render s.toml --report s.html -q");
    const std::string page = Bytes("s.html");
    EXPECT_EQ(Unbalanced(page), "");
    EXPECT_EQ(page.find("://"), std::string::npos);
    for (const char* source : {"src=\"", "srcset=\"", "href=\"", "url("}) {
        for (size_t at = page.find(source); at != std::string::npos; at = page.find(source, at + 1))
            EXPECT_EQ(page.compare(at + std::strlen(source), 26, "data:image/svg+xml;base64,"), 0)
                << page.substr(at, 60);
    }
    for (const char* text : {"Waveform", "Spectrum over time", "Voices", "Ring", "Late data", "Cost per tick",
                             "Every play", "&lt;b&gt;&amp;&quot;x&quot;", "prefers-color-scheme: dark", "v59",
                             "There is no room for 21 more plays"})
        EXPECT_NE(page.find(text), std::string::npos) << text;
    EXPECT_NE(page.find(Run("verify s.toml --hash").out.substr(0, 64)), std::string::npos);
}

TEST_F(Report, SpectrogramShowsToneAndTime) {
    constexpr uint32_t columns = 40, rows = 120;
    constexpr uint64_t frames = 44'100;
    tools::Spectrogram_t spectrogram(2, 44'100, frames, columns, rows);
    std::vector<double> block;  // silent up to the middle, then 1 kHz at full scale
    for (uint64_t i = 0; i < frames; ++i)
        block.insert(block.end(), 2,
                     i < frames / 2 ? 0.0 : std::sin(2 * M_PI * 1000 / 44'100 * static_cast<double>(i)));
    for (size_t at = 0; at < frames; at += 700)
        spectrogram.Add(&block[2 * at], std::min<size_t>(700, frames - at));
    spectrogram.Finish();
    const double perRow = std::log(spectrogram.HighestHz() / tools::Spectrogram_t::lowestHz) / rows;
    const auto toneRow = static_cast<uint32_t>(std::log(1000 / tools::Spectrogram_t::lowestHz) / perRow);
    for (const uint32_t column : {0u, 10u, 17u})
        EXPECT_LT(spectrogram.At(column, toneRow), -150.0f) << column;
    for (const uint32_t column : {22u, 30u, 38u}) {
        EXPECT_NEAR(spectrogram.At(column, toneRow), 0.0f, 1.5f) << column;
        for (uint32_t row = 0; row < rows; ++row) {
            const bool isFarOff = row + 10 < toneRow || row > toneRow + 10;
            EXPECT_TRUE(!isFarOff || spectrogram.At(column, row) < -40.0f) << row;
        }
    }
}

TEST_F(Report, PlotsOfEveryKind) {
    WriteRecordings(300, 5000, 1);
    Run("import b.wav b.sn --name b\xff");
    Run("import a.wav a.isn");
    Run("import a.wav a.ssn --8bit");
    Run("import b.wav b.iss");
    Run("archive create two.archive b.sn a.isn");
    WriteAudio("six.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 6, 48000, std::vector<double>(6 * 500, 0.1));
    WriteAudio("one.wav", wave16, 1, 44100, {0.999985});
    WriteAudio("none.wav", waveFloat, 2, 96000, {});
    const std::string sounds[] = {"b.sn",     "a.isn",   "a.ssn",
                                  "b.iss",    "c.wav",   "six.flac",
                                  "none.wav", "one.wav", "two.archive --name a"};
    std::set<std::string> pictures;
    RunWell("plot b.sn -o p.png");
    for (const std::string& sound : sounds) {
        const run_t run = RunWell("plot -o p.svg " + sound);
        EXPECT_NE(run.out.find("peak"), std::string::npos) << run.out;
        EXPECT_EQ(Bytes("p.png").substr(0, 8), "\x89PNG\r\n\x1a\n");
        EXPECT_EQ(Bytes("p.svg").substr(0, 5), "<?xml");
        pictures.insert(Bytes("p.svg"));
    }
    EXPECT_EQ(pictures.size(), std::size(sounds));
    const std::string one = Run("plot one.wav -o p.svg").out;
    for (const char* fact :
         {" 1 frame, ", "peak 0.0 dBFS", " 1 sample at full scale", "a loop has no step at its seam"})
        EXPECT_NE(one.find(fact), std::string::npos) << fact << " is not in " << one;

    Write("p.png", "older");
    Write("cut.sn", Bytes("b.sn").substr(0, 3000));
    Write("text.wav", "no sound at all");
    ExpectRefused({
        {"plot b.sn -o p.gif", 1, "p.gif: The name of a picture ends in .png or .svg\n"},
        {"plot missing.sn -o p.png", 1, "missing.sn: "},
        {"plot cut.sn -o p.png", 1, "cut.sn: Ends before its samples do\n"},
        {"plot text.wav -o p.png", 1, "text.wav: "},
        {"plot two.archive -o p.png", 1, "two.archive: Holds 2 sounds: pick one with --name ("},
        {"plot two.archive -o p.png --name x", 1, "two.archive: Has no sound x; it has "},
        {"plot c.wav -o p.png --name x", 1, "c.wav: "},
        {"plot b.sn -o nowhere/p.png", 1, "nowhere/p.png: "},
    });
}

TEST_F(Report, PictureOfADifference) {
    WriteLevel("a.wav", 44100, 30'000, 0.25);
    Write("s.toml", "duration = 0.5\n" + Sound("a.wav", "pcm") +
                        Event(0, "voice = \"1\"\nsound = \"a\"\ndo = \"play\""));
    RunWell("render s.toml -o good.wav");
    std::string bad = Bytes("good.wav");
    bad[44 + 4 * 12'000] ^= 0x10;
    Write("bad.wav", bad);
    WriteAudio("short.wav", wave16, 2, 44100, std::vector<double>(200, 0.25));
    RunWell("verify s.toml good.wav --picture d.png");
    EXPECT_FALSE(std::filesystem::exists("d.png")) << "there is nothing to show";
    for (const std::string expected : {"bad.wav", "short.wav"}) {
        for (const std::string picture : {"d.png", "d.svg"}) {
            const run_t run = Run("verify s.toml " + expected + " --picture " + picture);
            EXPECT_EQ(run.status, 1);
            EXPECT_EQ(run.err, "");
            EXPECT_NE(run.out.find("picture: " + picture), std::string::npos) << run.out;
            EXPECT_GT(std::filesystem::file_size(picture), 5000u);
        }
    }
    EXPECT_EQ(Run("verify s.toml bad.wav -q").out, "");
    ExpectRefused({{"verify s.toml " + std::string(64, '0') + " --picture d.png", 2, ""},
                   {"verify s.toml --hash --picture d.png", 2, ""}});
}

#else

TEST_F(Report, SaysWhatIsMissing) {
    Write("s.toml", "duration = 0.1\n");
    WriteRecordings(1, 1, 1);
    for (const char* arguments :
         {"render s.toml --report x.html", "plot a.wav -o x.png", "verify s.toml a.wav --picture x.png"}) {
        const run_t run = Run(arguments);
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.err.find("libcairo2-dev"), std::string::npos) << run.err;
    }
}

#endif

}  // namespace
