// tools_adpcm_test.cpp - sound files of ADPCM: what `ringmix import` makes of each kind of input, what it
// says of it, and what `ringmix export` gives back.
#include "compressed/ima_adpcm_file.h"
#include "compressed/ima_adpcm_sound.h"
#include "sounds/sound_file.h"
#include "tests/tool_fixture.h"

namespace {

class Adpcm : public ToolTest {
  protected:
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
        const run_t run = RunWell("import in.wav out.isn --volume 0.5 --lock pan");
        ASSERT_TRUE(IMA_ADPCM_Sound_t::ImportWaveFile("in.wav", "engine.isn", "in", 2, 0.5f));
        EXPECT_EQ(Bytes("out.isn"), Bytes("engine.isn"));
        const std::string sizes = std::to_string(Bytes("in.wav").size()) + " -> " +
                                  std::to_string(Bytes("out.isn").size()) + " bytes";
        EXPECT_NE(run.out.find(sizes), std::string::npos) << run.out;

        RunWell("export out.isn back.wav");
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
        std::string options;
    } cases[] = {{flac16, 1, 44100, ""}, {flac16, 2, 48000, " --mono"},  {wave16, 2, 44100, " --rate 22050"},
                 {wave24, 3, 22050, ""}, {waveIma, 2, 44100, " --mono"}, {waveIma, 1, 8000, ""}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.rateHz);
        WriteAudio("in.x", test.format, test.channels, test.rateHz, Music(6000, test.channels));
        const run_t direct = RunWell("import in.x direct.isn --name n" + test.options);
        RunWell("import in.x plain.sn --name n" + test.options);
        RunWell("export plain.sn plain.wav");
        const run_t byWave = RunWell("import plain.wav by-wave.isn --name n");
        EXPECT_EQ(Bytes("direct.isn"), Bytes("by-wave.isn"));
        EXPECT_EQ(RatioIn(direct.out), RatioIn(byWave.out));
        EXPECT_GT(RatioIn(direct.out), 20.0);
    }
}

// Not encoded again: what is heard is what the wave file's own decoder hears.
TEST_F(Adpcm, ImaWavesAreCopied) {
    for (const int channels : {1, 2}) {
        WriteAudio("in.wav", waveIma, channels, 22050, Music(5000, channels));
        const run_t run = RunWell("import in.wav out.isn");
        EXPECT_NE(run.out.find("copied"), std::string::npos) << run.out;
        EXPECT_TRUE(std::isnan(RatioIn(run.out)));
        RunWell("export out.isn back.wav");
        std::vector<int16_t> wanted = Samples("in.wav"), got = Samples("back.wav");
        ASSERT_GE(got.size(), wanted.size());  // the last block is full here, and padded there
        got.resize(wanted.size());
        EXPECT_EQ(got, wanted);
    }
}

// Through a wave file and back: the same sound file, at every rate, width and number of channels.
TEST_F(Adpcm, ExportAndImportAreInverse) {
    for (const int format : {wave8, wave16}) {
        for (const int channels : {1, 2}) {
            for (const int rateHz : {44100, 22050, 11025}) {
                WriteAudio("in.wav", format, channels, rateHz, Music(333, channels));
                RunWell("import in.wav a.sn --name n");
                RunWell("export a.sn back.wav");
                EXPECT_EQ(Bytes("back.wav").size() % 2, 0u) << "odd data are padded";
                RunWell("import back.wav b.sn --name n");
                EXPECT_EQ(Bytes("a.sn"), Bytes("b.sn"));
            }
        }
    }
    Write("odd.sn", FormatSoundHeader({"odd", 1, false, false, 8, 0, 1.0f}) + "\x7f");  // 5512.5 Hz
    RunWell("export odd.sn odd.wav");
    SF_INFO info{};
    EXPECT_EQ(Samples("odd.wav", &info), std::vector<int16_t>{0x7F00});
    EXPECT_EQ(info.samplerate, 5513);
}

// Files that are not what they seem: nothing is believed, nothing is left.
TEST_F(Adpcm, BadFilesAreToldOf) {
    WriteAudio("ima.wav", waveIma, 1, 22050, Music(5000, 1));
    std::string damaged = Bytes("ima.wav");
    const size_t data = damaged.find("data") + 8,
                 block = static_cast<uint8_t>(damaged[32]) |
                         static_cast<size_t>(static_cast<uint8_t>(damaged[33])) << 8;
    damaged[data + 2 * block + 2] = 89;  // a step index that is none
    Write("damaged.wav", damaged);
    WriteAudio("in.wav", wave16, 1, 44100, Music(2000, 1));
    RunWell("import in.wav good.isn");
    RunWell("import in.wav plain.sn");
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
    Write("huge.isn", FormatImaHeader(1u << 30, {"huge", 1, false, true, 1, 0, 1.0f}, UINT32_MAX) +
                          std::string(40, '\0'));
    Write("field.isn", "IMA_ADPCM_Sound 64 field" + std::string(40, '\0'));
    Write("out.wav", "older");
    Write("out.isn", "older");
    std::vector<refusal_t> refusals = {
        {"import damaged.wav out.isn", 1, "damaged.wav: Its ADPCM block 2 is broken"},
        {"import in.wav nowhere/out.isn", 1, "nowhere/out.isn: "},
        {"import in.wav out.isn --8bit", 2, "--8bit: "},
        {"import in.wav out.isn --name 'a b'", 2, "--name: "},
        {"export good.isn out.wav --name other", 1, ""},
    };
    for (const std::string file : {"step.isn", "size.isn", "frames.isn", "cut.isn", "plain.isn", "adpcm.sn",
                                   "huge.isn", "field.isn"}) {
        refusals.push_back({"info " + file, 1, file + ": "});
        refusals.push_back({"export " + file + " out.wav", 1, file + ": "});
    }
    ExpectRefused(refusals);
}

}  // namespace
