// tools_adpcm_test.cpp - sound files of ADPCM: what `ringmix import` makes of each kind of input, what it
// says of it, and what `ringmix export` gives back.
#include <cmath>
#include <random>

#include "compressed/ima_adpcm_sound.h"
#include "core/settings.h"
#include "sounds/sound_file.h"
#include "tests/tool_fixture.h"

namespace {

constexpr int wave16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16, wave8 = SF_FORMAT_WAV | SF_FORMAT_PCM_U8;
constexpr int waveIma = SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM, flac16 = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
constexpr int wave24 = SF_FORMAT_WAV | SF_FORMAT_PCM_24;

class Adpcm : public ToolTest {
  protected:
    void SetUp() override { AudioSystem::compressedPageBytes = 16384; }  // a scene before may have changed it

    // Two tones and some noise, full scale 1.0.
    static std::vector<double> Music(int frames, int channels) {
        std::mt19937 random(7);
        std::vector<double> samples;
        for (int i = 0; i < frames * channels; ++i) {
            const double t = i / channels, tone = std::sin(t * (0.05 + 0.02 * (i % channels)));
            samples.push_back(0.5 * tone + 0.2 * std::sin(t * 0.31) +
                              static_cast<double>(random() % 1000) * 2e-5);
        }
        return samples;
    }

    // As libsndfile decodes the file: an encoder's own arithmetic has no part in it.
    static std::vector<int16_t> Samples(const std::string& path, SF_INFO* format = nullptr) {
        SF_INFO info{};
        SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
        if (format != nullptr) *format = info;
        if (file == nullptr) return {};
        std::vector<int16_t> samples(static_cast<size_t>(info.frames * info.channels));
        sf_read_short(file, samples.data(), static_cast<sf_count_t>(samples.size()));
        sf_close(file);
        return samples;
    }

    static double Ratio(const std::vector<int16_t>& original, const std::vector<int16_t>& decoded) {
        EXPECT_EQ(original.size(), decoded.size());
        double signal = 0, noise = 0;
        for (size_t i = 0; i < std::min(original.size(), decoded.size()); ++i) {
            signal += std::pow(original[i], 2);
            noise += std::pow(original[i] - decoded[i], 2);
        }
        return 10 * std::log10(signal / noise);
    }
    static double RatioIn(const std::string& report) {
        const std::string before = "signal-to-noise ratio ";
        const size_t at = report.find(before);
        return at == std::string::npos ? NAN : std::stod(report.substr(at + before.size()));
    }
};

// PCM goes through the engine's own import; the sizes and the ratio that are told are true.
TEST_F(Adpcm, PcmWavesAreEncodedByTheEngine) {
    const struct {
        int format, channels, rateHz, frames;
    } cases[] = {{wave16, 1, 22050, 5000}, {wave16, 2, 44100, 5000}, {wave8, 1, 11025, 3001},
                 {wave8, 2, 44100, 2041},  {wave16, 1, 44100, 1},    {wave16, 2, 22050, 0}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.frames);
        WriteAudio("in.wav", test.format, test.channels, test.rateHz, Music(test.frames, test.channels));
        const run_t run = Run({"import", "in.wav", "out.isn", "--volume", "0.5", "--lock", "pan"});
        ASSERT_EQ(run.status, 0) << run.err;
        ASSERT_TRUE(IMA_ADPCM_Sound_t::ImportWaveFile("in.wav", "engine.isn", "in", 2, 0.5f));
        EXPECT_EQ(Bytes("out.isn"), Bytes("engine.isn"));
        const std::string sizes = std::to_string(Bytes("in.wav").size()) + " -> " +
                                  std::to_string(Bytes("out.isn").size()) + " bytes";
        EXPECT_NE(run.out.find(sizes), std::string::npos) << run.out;

        ASSERT_EQ(Run({"export", "out.isn", "back.wav"}).status, 0);
        SF_INFO info{};
        const std::vector<int16_t> back = Samples("back.wav", &info), original = Samples("in.wav");
        EXPECT_EQ(info.samplerate, test.rateHz);
        EXPECT_EQ(info.channels, test.channels);
        if (test.frames > 1) {
            EXPECT_NEAR(RatioIn(run.out), Ratio(original, back), 0.006) << run.out;
        } else {
            EXPECT_NE(run.out.find("without loss"), std::string::npos) << run.out;  // a block's first frame
        }
    }
    EXPECT_EQ(FilesHere(), (std::set<std::string>{"in.wav", "out.isn", "engine.isn", "back.wav"}));
}

// Decoded, folded and resampled exactly as for a .sn file, and then encoded as any wave file is.
TEST_F(Adpcm, AllElseGoesTheWayOfPlainSoundsFirst) {
    const struct {
        int format, channels, rateHz;
        std::vector<std::string> options;
    } cases[] = {
        {flac16, 1, 44100, {}}, {flac16, 2, 48000, {"--mono"}},  {wave16, 2, 44100, {"--rate", "22050"}},
        {wave24, 3, 22050, {}}, {waveIma, 2, 44100, {"--mono"}}, {waveIma, 1, 8000, {}}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.rateHz);
        WriteAudio("in.x", test.format, test.channels, test.rateHz, Music(6000, test.channels));
        const auto import = [&](const std::string& input, const std::string& output) {
            std::vector<std::string> arguments = {"import", input, output, "--name", "n"};
            if (input == "in.x") arguments.insert(arguments.end(), test.options.begin(), test.options.end());
            return Run(arguments);
        };
        const run_t direct = import("in.x", "direct.isn");
        ASSERT_EQ(direct.status, 0) << direct.err;
        ASSERT_EQ(import("in.x", "plain.sn").status, 0);
        ASSERT_EQ(Run({"export", "plain.sn", "plain.wav"}).status, 0);
        const run_t byWave = import("plain.wav", "by-wave.isn");
        EXPECT_EQ(Bytes("direct.isn"), Bytes("by-wave.isn"));
        EXPECT_EQ(RatioIn(direct.out), RatioIn(byWave.out));
        EXPECT_GT(RatioIn(direct.out), 20.0);
    }
}

// Not encoded again: what is heard is what the wave file's own decoder hears.
TEST_F(Adpcm, ImaWavesAreCopied) {
    for (const int channels : {1, 2}) {
        WriteAudio("in.wav", waveIma, channels, 22050, Music(5000, channels));
        const run_t run = Run({"import", "in.wav", "out.isn"});
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_NE(run.out.find("copied"), std::string::npos) << run.out;
        EXPECT_TRUE(std::isnan(RatioIn(run.out)));
        ASSERT_EQ(Run({"export", "out.isn", "back.wav"}).status, 0);
        std::vector<int16_t> wanted = Samples("in.wav"), got = Samples("back.wav");
        ASSERT_GE(got.size(), wanted.size());  // the last block is full here, and padded there
        got.resize(wanted.size());
        EXPECT_EQ(got, wanted);
    }
}

TEST_F(Adpcm, FailureLeavesNoTrace) {
    WriteAudio("ima.wav", waveIma, 1, 22050, Music(5000, 1));
    std::string damaged = Bytes("ima.wav");
    const size_t data = damaged.find("data") + 8,
                 block = static_cast<uint8_t>(damaged[32]) |
                         static_cast<size_t>(static_cast<uint8_t>(damaged[33])) << 8;
    damaged[data + 2 * block + 2] = 89;  // a step index that is none
    Write("damaged.wav", damaged);
    WriteAudio("good.wav", wave16, 1, 44100, {0.5});
    Write("text.txt", "no audio");
    std::filesystem::create_directory("dir.isn");
    Write("out.isn", "older");
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string message;
    } cases[] = {
        {{"damaged.wav", "out.isn"}, 1, "ringmix: damaged.wav: Its ADPCM block 2 is broken"},
        {{"text.txt", "out.isn"}, 1, "ringmix: text.txt: "},
        {{"missing.wav", "out.isn"}, 1, "ringmix: missing.wav: "},
        {{"good.wav", "dir.isn"}, 1, "ringmix: dir.isn: "},
        {{"good.wav", "nowhere/out.isn"}, 1, "ringmix: nowhere/out.isn: "},
        {{"good.wav", "out.isn", "--8bit"}, 2, "ringmix: --8bit: "},
        {{"good.wav", "out.isn", "--name", "a b"}, 2, "ringmix: --name: "},
        {{"good.wav", "out.ogg"}, 2, "ringmix: OUTPUT: "},
    };
    const auto before = FilesHere();
    for (auto test : cases) {
        SCOPED_TRACE(test.message);
        test.arguments.insert(test.arguments.begin(), "import");
        const run_t run = Run(test.arguments);
        EXPECT_EQ(run.status, test.status);
        EXPECT_EQ(run.err.substr(0, test.message.size()), test.message) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(Bytes("out.isn"), "older");
        EXPECT_EQ(FilesHere(), before);
    }
}

// Cut short and with bytes changed, heads and blocks: refused, or a sound that plays to its end.
TEST_F(Adpcm, DamagedFilesAreImportedOrRefused) {
    WriteAudio("whole", waveIma, 2, 44100, Music(3000, 2));
    const std::string whole = Bytes("whole");
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    int imported = 0;
    for (int turn = 0; turn < 400; ++turn) {
        std::string damaged = whole;
        if (turn % 2 == 0) damaged.resize(whole.size() * static_cast<size_t>(turn) / 400);
        for (int i = 0; turn % 2 != 0 && i < 2; ++i) damaged[random() % 100] = static_cast<char>(random());
        Write("damaged", damaged);
        std::filesystem::remove("out.isn");
        const run_t run = Run({"import", "damaged", "out.isn"});
        ASSERT_EQ(std::filesystem::exists("out.isn"), run.status == 0) << run.err;
        ASSERT_EQ(FilesHere().size(), run.status == 0 ? 3u : 2u);
        if (run.status != 0) continue;
        ++imported;
        const run_t shown = Run({"info", "out.isn"});
        ASSERT_EQ(shown.status, 0) << shown.err;
    }
    EXPECT_GT(imported, 0);
}

// Through a wave file and back: the same sound file, at every rate, width and number of channels.
TEST_F(Adpcm, ExportAndImportAreInverse) {
    for (const int format : {wave8, wave16}) {
        for (const int channels : {1, 2}) {
            for (const int rateHz : {44100, 22050, 11025}) {
                WriteAudio("in.wav", format, channels, rateHz, Music(333, channels));
                ASSERT_EQ(Run({"import", "in.wav", "a.sn", "--name", "n"}).status, 0);
                ASSERT_EQ(Run({"export", "a.sn", "back.wav"}).status, 0);
                EXPECT_EQ(Bytes("back.wav").size() % 2, 0u) << "odd data are padded";
                ASSERT_EQ(Run({"import", "back.wav", "b.sn", "--name", "n"}).status, 0);
                EXPECT_EQ(Bytes("a.sn"), Bytes("b.sn"));
            }
        }
    }
    Write("odd.sn", FormatSoundHeader({"odd", 1, false, false, 8, 0, 1.0f}) + "\x7f");  // 5512.5 Hz
    ASSERT_EQ(Run({"export", "odd.sn", "odd.wav"}).status, 0);
    SF_INFO info{};
    EXPECT_EQ(Samples("odd.wav", &info), std::vector<int16_t>{0x7F00});
    EXPECT_EQ(info.samplerate, 5513);
}

// What info and export say of files that are not what they seem; nothing is believed, nothing is left.
TEST_F(Adpcm, BadSoundFilesAreToldOf) {
    WriteAudio("in.wav", wave16, 1, 44100, Music(2000, 1));
    ASSERT_EQ(Run({"import", "in.wav", "good.isn"}).status, 0);
    ASSERT_EQ(Run({"import", "in.wav", "plain.sn"}).status, 0);
    const std::string good = Bytes("good.isn");
    const size_t blocks = good.size() - 2 * 512;
    std::string badStep = good, badBlockBytes = good, manyFrames = good;
    badStep[blocks + 512 + 2] = 100;
    badBlockBytes.replace(16, 3, "003");
    manyFrames.replace(good.find(" 2000 "), 6, " 2035 ");  // two blocks hold 2034
    Write("step.isn", badStep);
    Write("size.isn", badBlockBytes);
    Write("frames.isn", manyFrames);
    Write("cut.isn", good.substr(0, good.size() - 1));
    Write("plain.isn", Bytes("plain.sn"));
    Write("adpcm.sn", good);
    Write("huge.isn",
          "IMA_ADPCM_Sound 1073741824 huge\0 1 0 1 1 0 1.000 4294967295 " + std::string(40, '\0'));
    Write("out.wav", "older");
    const auto before = FilesHere();
    for (const char* file :
         {"step.isn", "size.isn", "frames.isn", "cut.isn", "plain.isn", "adpcm.sn", "huge.isn"}) {
        for (const run_t& run : {Run({"info", file}), Run({"export", file, "out.wav"})}) {
            EXPECT_EQ(run.status, 1) << file;
            EXPECT_EQ(run.err.find(std::string("ringmix: ") + file + ": "), 0u) << run.err;
            EXPECT_EQ(run.out, "");
        }
    }
    EXPECT_EQ(Run({"export", "good.isn", "out.wav", "--name", "other"}).status, 1);
    EXPECT_EQ(Bytes("out.wav"), "older");
    EXPECT_EQ(FilesHere(), before);
}

}  // namespace
