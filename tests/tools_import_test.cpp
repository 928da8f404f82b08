// tools_import_test.cpp - what `ringmix import` writes for each kind of input, and what it leaves behind.
#include "sounds/sound_file.h"
#include "tests/tool_fixture.h"
#include "tools/engine_rates.h"

// libsndfile forgets what libvorbis had allocated when it refuses a damaged file; fontconfig keeps the fonts
// of pictures where the leak sanitizer does not look.
extern "C" const char* __lsan_default_suppressions() { return "leak:vorbis_info_init\nleak:libfontconfig\n"; }

namespace {

constexpr int extensible16 = SF_FORMAT_WAVEX | SF_FORMAT_PCM_16,
              extensibleMuLaw = SF_FORMAT_WAVEX | SF_FORMAT_ULAW, aiff16 = SF_FORMAT_AIFF | SF_FORMAT_PCM_16,
              vorbis = SF_FORMAT_OGG | SF_FORMAT_VORBIS;

class Import : public ToolTest {
  protected:
    struct sound_t {
        sound_header_t header;
        std::vector<int32_t> samples;  // interleaved
    };

    static sound_t Load(const std::string& path) {
        const std::string bytes = Bytes(path);
        sound_t sound;
        const uint32_t start = ParseSoundHeader(bytes, sound.header);
        EXPECT_GT(start, 0u);
        EXPECT_EQ(bytes.size() - start, sound.header.SampleBytes());
        const size_t width = sound.header.is16Bit ? 2 : 1;
        for (size_t i = start; i + width <= bytes.size(); i += width) {
            const auto low = static_cast<uint8_t>(bytes[i]);
            sound.samples.push_back(
                width == 1 ? static_cast<int8_t>(low)
                           : static_cast<int16_t>(low | static_cast<uint8_t>(bytes[i + 1]) << 8));
        }
        return sound;
    }
};

using doubles_t = std::vector<double>;

struct case_t {
    std::string what;
    int format, channels, rateHz;
    doubles_t samples;
    std::vector<int32_t> wanted;
    std::string options = "", says = "";
    uint32_t divisor = 1;
    bool isStereo = false, is16Bit = true;
};

constexpr double unit = 1.0 / 32768;

int32_t Rounded(double sample) { return static_cast<int32_t>(std::lround(sample)); }

TEST_F(Import, SamplesComeThroughAsAskedFor) {
    const doubles_t ends = {-1.0, 32767 * unit, unit, -unit, 0.0, 1234 * unit}, eight = {-1, 0, 0.5},
                    to8 = {-1.0, 0.5, 0.6 / 128, 1.0};
    const doubles_t fine = {0.5 * unit, 1.5 * unit, 0.75 * unit, -0.75 * unit}, loud = {2.0, -2.0, 1.0, 0.25};
    const doubles_t none = {NAN, INFINITY, -INFINITY}, pairs = {0.5, -0.25, unit, 2 * unit};
    const doubles_t three = {0.5, 0, 0, 0, 0, 0.5}, six = {-1, -1, -1, -1, -1, -1, 0, 0, 0, 0, 0, -1};
    const std::vector<int32_t> ends16 = {-32768, 32767, 1, -1, 0, 1234}, eight8 = {-128, 0, 64};
    const double half = std::sqrt(0.5), sum3 = 1 + half, sum6 = 1 + 3 * half;  // the weights on one side
    const int32_t left3 = Rounded(16384 / sum3), centre3 = Rounded(16384 * half / sum3),
                  surround6 = Rounded(-32768 * half / sum6);
    const std::string same = "--mono --8bit --rate 22050", clipped = "samples clipped",
                      down = "mixed down from ";
    const case_t cases[] = {
        {"engine's own import", wave16, 2, 44100, ends, ends16, "", "", 1, true},
        {"extensible head", extensible16, 1, 11025, ends, ends16, "", "", 4},
        {"8 bits are unsigned there", wave8, 1, 22050, eight, eight8, "", "", 2, false, false},
        {"options for nothing new", wave8, 1, 22050, eight, eight8, same, "", 2, false, false},
        {"lossless, to the bit", flac16, 2, 22050, ends, ends16, "", "", 2, true},
        {"other byte order", aiff16, 1, 44100, ends, ends16},
        {"24 bits round to even", wave24, 1, 44100, fine, {0, 2, 1, -1}},
        {"beyond full scale", waveFloat, 1, 44100, loud, {32767, -32768, 32767, 8192}, "", "3 " + clipped},
        {"not a number, infinite", waveFloat, 1, 44100, none, {0, 32767, -32768}, "", clipped},
        {"coded, extensible head", extensibleMuLaw, 1, 22050, {0.0, 0.0}, {0, 0}, "", "", 2},
        {"average", wave16, 2, 44100, pairs, {4096, 2}, "--mono", down + "2"},
        {"average of three", wave16, 3, 44100, {0.75, 0.0, 0.0}, {8192}, "--mono"},
        {"centre to both", wave16, 3, 44100, three, {left3, 0, centre3, centre3}, "", down + "3", 1, true},
        {"six do not clip", wave16, 6, 44100, six, {-32768, -32768, 0, surround6}, "", "", 1, true},
        {"to 8 bits",
         wave16,
         1,
         44100,
         to8,
         {-128, 64, 1, 127},
         "--8bit",
         "1 sample clipped",
         1,
         false,
         false},
        {"no frames", wave16, 1, 44100, {}, {}, "", "0 frames"},
        {"no frames to resample", wave16, 1, 48000, {}, {}, "", "resampled from 48000"},
    };
    for (const case_t& test : cases) {
        SCOPED_TRACE(test.what);
        WriteAudio("in.audio", test.format, test.channels, test.rateHz, test.samples);
        const run_t run = RunWell("import in.audio out.sn " + test.options);
        EXPECT_NE(run.out.find(test.says), std::string::npos) << run.out;
        const sound_t sound = Load("out.sn");
        EXPECT_EQ(sound.samples, test.wanted);
        EXPECT_EQ(sound.header.rateDivisor, test.divisor);
        EXPECT_EQ(sound.header.isStereo, test.isStereo);
        EXPECT_EQ(sound.header.is16Bit, test.is16Bit);
        EXPECT_EQ(sound.header.name, "in");
    }
}

TEST(EngineRates, NearestInHertz) {
    const uint32_t cases[][2] = {{1, 11025},     {16537, 11025}, {16538, 22050}, {33074, 22050},
                                 {33075, 44100}, {48000, 44100}, {192000, 44100}};
    for (const auto& [rate, wanted] : cases) EXPECT_EQ(tools::NearestEngineRate(rate), wanted) << rate;
}

// A sine keeps its frequency, amplitude and phase, from the first frame to the last, and its length to the
// frame.
TEST_F(Import, ResampledSineIsASine) {
    const struct {
        int rateHz;
        std::string wantedRate;
        uint32_t divisor;
    } cases[] = {{48000, "44100", 1},
                 {96000, "44100", 1},
                 {32000, "22050", 2},
                 {8000, "11025", 4},
                 {22050, "44100", 1}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.rateHz);
        doubles_t sine;
        for (int i = 0; i < test.rateHz / 2; ++i)
            sine.push_back(0.5 * std::sin(2 * M_PI * 1000 * i / test.rateHz));
        WriteAudio("in.wav", waveFloat, 1, test.rateHz, sine);
        RunWell("import in.wav out.sn --rate " + test.wantedRate);
        const sound_t sound = Load("out.sn");
        const double rateHz = 44100.0 / test.divisor;
        ASSERT_EQ(sound.header.rateDivisor, test.divisor);
        ASSERT_EQ(sound.samples.size(), static_cast<size_t>(std::llround(rateHz / 2)));
        double worst = 0;  // the ends ring: the sine begins and stops there
        for (size_t i = 200; i + 200 < sound.samples.size(); ++i) {
            const double wanted = 16384 * std::sin(2 * M_PI * 1000 * static_cast<double>(i) / rateHz);
            worst = std::max(worst, std::abs(sound.samples[i] - wanted));
        }
        EXPECT_LT(worst, 1.0);  // steps of 16 bits: half of one is rounding
    }
}

TEST_F(Import, HeaderHoldsWhatWasAsked) {
    WriteAudio("in.flac", flac16, 1, 44100, {0.0});
    RunWell("import in.flac out.sn --name rain --volume 0.25 --lock volume,frequency");
    EXPECT_EQ(Bytes("out.sn"), std::string("Sound rain\0 1 0 1 1 5 0.250 \0\0", 30));
    WriteAudio("in.wav", wave16, 1, 44100, {0.0});
    RunWell("import in.wav out.sn --name rain --volume -0.5 --lock pan");
    EXPECT_EQ(Bytes("out.sn"), std::string("Sound rain\0 1 0 1 1 2 -0.500 \0\0", 31));
}

// Whatever goes wrong: an older output stays, nothing else appears.
TEST_F(Import, FailureLeavesNoTrace) {
    WriteAudio("good.wav", wave16, 1, 44100, {0.5});
    WriteAudio("two words.wav", wave16, 1, 44100, {0.5});
    WriteAudio("slow.wav", wave16, 1, 1, {0.5});
    Write("text.txt", "no audio");
    Write("out.sn", "older");
    std::filesystem::create_directory("dir.sn");
    ExpectRefused({
        {"import missing.wav out.sn", 1, "missing.wav: "},
        {"import text.txt out.sn", 1, "text.txt: "},
        {"import dir.sn out.sn", 1, "dir.sn: "},
        {"import /dev/zero out.sn", 1, "/dev/zero: "},
        {"import slow.wav out.sn", 1, "slow.wav: "},
        {"import 'two words.wav' out.sn", 1, "two words.wav: "},
        {"import good.wav dir.sn", 1, "dir.sn: "},
        {"import good.wav nowhere/out.sn", 1, "nowhere/out.sn: "},
        {"import good.wav out.wav", 2, "OUTPUT: "},
        {"import good.wav out.sn --name " + std::string(100, 'n'), 2, "--name: "},
        {"import good.wav out.sn --name ''", 2, "--name: "},
        {"import good.wav out.sn --volume inf", 2, "--volume: "},
        {"import good.wav out.sn --volume 1e30", 2, "--volume: "},
        {"import good.wav out.sn --rate 48000", 2, "--rate: "},
        {"import good.wav out.sn --lock volume,color", 2, "--lock: "},
        {"import good.wav", 2, ""},
        {"import good.wav out.sn more", 2, ""},
    });
}

// Through a link to the file behind it; a link is not replaced.
TEST_F(Import, FollowsALinkToItsOutput) {
    WriteAudio("in.wav", wave16, 1, 44100, {0.5});
    Write("real.sn", "older");
    std::filesystem::create_symlink("real.sn", "link.sn");
    RunWell("import in.wav link.sn");
    EXPECT_TRUE(std::filesystem::is_symlink("link.sn"));
    EXPECT_EQ(Load("real.sn").samples, std::vector<int32_t>{16384});
}

// Cut short and with bytes changed: refused, or a sound that can be read to its end.
TEST_F(Import, DamagedFilesAreImportedOrRefused) {
    doubles_t samples;
    for (int i = 0; i < 300; ++i) samples.push_back(std::sin(i));
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (const int format : {wave16, wave24, extensible16, flac16, aiff16, vorbis, waveIma}) {
        const std::string output = format == waveIma ? "out.isn" : "out.sn";
        WriteAudio("whole", format, format == waveIma ? 2 : 1, format == wave24 ? 48000 : 44100, samples);
        const std::string whole = Bytes("whole");
        RunWell("import whole " + output);
        for (int turn = 0; turn < 150; ++turn) {
            std::string damaged = whole.substr(
                0, turn % 2 == 0 ? whole.size() * static_cast<size_t>(turn) / 150 : whole.size());
            for (int i = 0; turn % 2 != 0 && i < 3; ++i)
                damaged[random() % 80 % damaged.size()] = static_cast<char>(random());
            Write("damaged", damaged);
            std::filesystem::remove(output);
            const run_t run = Run("import damaged " + output);
            ASSERT_EQ(std::filesystem::exists(output), run.status == 0) << run.err;
            if (run.status == 0) RunWell("info " + output);
            ASSERT_EQ(FilesHere().size(), run.status == 0 ? 3u : 2u);
        }
        std::filesystem::remove(output);
    }
}

}  // namespace
