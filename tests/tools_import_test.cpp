// tools_import_test.cpp - what `ringmix import` writes for each kind of input, and what it leaves behind.
#include <cmath>
#include <random>

#include "sounds/sound_file.h"
#include "tests/tool_fixture.h"
#include "tools/engine_rates.h"

// libsndfile forgets what libvorbis had allocated when it refuses a damaged file; fontconfig keeps the fonts
// of pictures where the leak sanitizer does not look.
extern "C" const char* __lsan_default_suppressions() { return "leak:vorbis_info_init\nleak:libfontconfig\n"; }

namespace {

constexpr int wave16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16, wave8 = SF_FORMAT_WAV | SF_FORMAT_PCM_U8;
constexpr int extensible16 = SF_FORMAT_WAVEX | SF_FORMAT_PCM_16,
              extensibleMuLaw = SF_FORMAT_WAVEX | SF_FORMAT_ULAW;
constexpr int wave24 = SF_FORMAT_WAV | SF_FORMAT_PCM_24, waveFloat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
constexpr int flac16 = SF_FORMAT_FLAC | SF_FORMAT_PCM_16, aiff16 = SF_FORMAT_AIFF | SF_FORMAT_PCM_16;
constexpr int vorbis = SF_FORMAT_OGG | SF_FORMAT_VORBIS;

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

struct case_t {
    const char* what;
    int format, channels, rateHz;
    std::vector<double> samples;
    std::vector<std::string> options;
    std::vector<int32_t> wanted;
    uint32_t divisor;
    bool isStereo, is16Bit;
    const char* says;
};

constexpr double unit = 1.0 / 32768;

TEST_F(Import, SamplesComeThroughAsAskedFor) {
    const std::vector<double> ends = {-1.0, 32767 * unit, unit, -unit, 0.0, 1234 * unit};
    const std::vector<int32_t> ends16 = {-32768, 32767, 1, -1, 0, 1234};
    const double half = std::sqrt(0.5), six = 1 + 3 * half;  // the weights of 5.1 on one side
    const case_t cases[] = {
        {"engine's own import", wave16, 2, 44100, ends, {}, ends16, 1, true, true, ""},
        {"extensible head", extensible16, 1, 11025, ends, {}, ends16, 4, false, true, ""},
        {"8 bits are unsigned there", wave8, 1, 22050, {-1, 0, 0.5}, {}, {-128, 0, 64}, 2, false, false, ""},
        {"options that ask for nothing new",
         wave8,
         1,
         22050,
         {-1, 0, 0.5},
         {"--mono", "--8bit", "--rate", "22050"},
         {-128, 0, 64},
         2,
         false,
         false,
         ""},
        {"lossless, to the bit", flac16, 2, 22050, ends, {}, ends16, 2, true, true, ""},
        {"other byte order", aiff16, 1, 44100, ends, {}, ends16, 1, false, true, ""},
        {"24 bits round to even",
         wave24,
         1,
         44100,
         {0.5 * unit, 1.5 * unit, 0.75 * unit, -0.75 * unit},
         {},
         {0, 2, 1, -1},
         1,
         false,
         true,
         ""},
        {"float beyond full scale",
         waveFloat,
         1,
         44100,
         {2.0, -2.0, 1.0, -1.0, 0.25},
         {},
         {32767, -32768, 32767, -32768, 8192},
         1,
         false,
         true,
         "3 samples clipped"},
        {"not a number, infinite",
         waveFloat,
         1,
         44100,
         {NAN, INFINITY, -INFINITY},
         {},
         {0, 32767, -32768},
         1,
         false,
         true,
         "samples clipped"},
        {"coded samples under an extensible head",
         extensibleMuLaw,
         1,
         22050,
         {0.0, 0.0},
         {},
         {0, 0},
         2,
         false,
         true,
         ""},
        {"average",
         wave16,
         2,
         44100,
         {0.5, -0.25, unit, 2 * unit},
         {"--mono"},
         {4096, 2},
         1,
         false,
         true,
         "mixed down from 2"},
        {"average of three", wave16, 3, 44100, {0.75, 0.0, 0.0}, {"--mono"}, {8192}, 1, false, true, ""},
        {"three channels: centre to both",
         wave16,
         3,
         44100,
         {0.5, 0, 0, 0, 0, 0.5},
         {},
         {static_cast<int32_t>(std::lround(16384 / (1 + half))), 0,
          static_cast<int32_t>(std::lround(16384 * half / (1 + half))),
          static_cast<int32_t>(std::lround(16384 * half / (1 + half)))},
         1,
         true,
         true,
         "mixed down from 3"},
        {"six full channels do not clip",
         wave16,
         6,
         44100,
         {-1, -1, -1, -1, -1, -1, 0, 0, 0, 0, 0, -1},
         {},
         {-32768, -32768, 0, static_cast<int32_t>(std::lround(-32768 * half / six))},
         1,
         true,
         true,
         ""},
        {"to 8 bits",
         wave16,
         1,
         44100,
         {-1.0, 0.5, 0.6 / 128, 1.0},
         {"--8bit"},
         {-128, 64, 1, 127},
         1,
         false,
         false,
         "1 samples clipped"},
        {"no frames", wave16, 1, 44100, {}, {}, {}, 1, false, true, "0 frames"},
        {"no frames to resample", wave16, 1, 48000, {}, {}, {}, 1, false, true, "resampled from 48000"},
    };
    for (const case_t& test : cases) {
        SCOPED_TRACE(test.what);
        WriteAudio("in.audio", test.format, test.channels, test.rateHz, test.samples);
        std::vector<std::string> arguments = {"import", "in.audio", "out.sn"};
        arguments.insert(arguments.end(), test.options.begin(), test.options.end());
        const run_t run = Run(arguments);
        ASSERT_EQ(run.status, 0) << run.err;
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
    const uint32_t cases[][2] = {{1, 11025},     {8000, 11025},  {16537, 11025},
                                 {16538, 22050}, {32000, 22050}, {33074, 22050},
                                 {33075, 44100}, {48000, 44100}, {192000, 44100}};
    for (const auto& [rate, wanted] : cases) EXPECT_EQ(tools::NearestEngineRate(rate), wanted) << rate;
}

// A sine keeps its frequency, amplitude and phase, from the first frame to the last, and its length to the
// frame.
TEST_F(Import, ResampledSineIsASine) {
    const struct {
        int rateHz;
        const char* wantedRate;
        uint32_t divisor;
    } cases[] = {{48000, "44100", 1},
                 {96000, "44100", 1},
                 {32000, "22050", 2},
                 {8000, "11025", 4},
                 {22050, "44100", 1}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.rateHz);
        std::vector<double> sine;
        for (int i = 0; i < test.rateHz / 2; ++i)
            sine.push_back(0.5 * std::sin(2 * M_PI * 1000 * i / test.rateHz));
        WriteAudio("in.wav", waveFloat, 1, test.rateHz, sine);
        ASSERT_EQ(Run({"import", "in.wav", "out.sn", "--rate", test.wantedRate}).status, 0);
        const sound_t sound = Load("out.sn");
        const double rateHz = 44100.0 / test.divisor;
        ASSERT_EQ(sound.header.rateDivisor, test.divisor);
        ASSERT_EQ(sound.samples.size(), static_cast<size_t>(std::llround(rateHz / 2)));
        double worst = 0;
        for (size_t i = 200; i + 200 < sound.samples.size();
             ++i) {  // the ends ring: the sine begins and stops there
            const double wanted = 16384 * std::sin(2 * M_PI * 1000 * static_cast<double>(i) / rateHz);
            worst = std::max(worst, std::abs(sound.samples[i] - wanted));
        }
        EXPECT_LT(worst, 1.0);  // steps of 16 bits: half of one is rounding
    }
}

TEST_F(Import, LossyFileKeepsItsShape) {
    std::vector<double> sine;
    for (int i = 0; i < 44100; ++i) sine.push_back(0.5 * std::sin(2 * M_PI * 441 * i / 44100));
    WriteAudio("in.ogg", vorbis, 1, 44100, sine);
    ASSERT_EQ(Run({"import", "in.ogg", "out.sn"}).status, 0);
    const sound_t sound = Load("out.sn");
    ASSERT_EQ(sound.samples.size(), sine.size());
    double error = 0, power = 0;
    for (size_t i = 0; i < sine.size(); ++i) {
        error += std::pow(sound.samples[i] / 32768.0 - sine[i], 2);
        power += sine[i] * sine[i];
    }
    EXPECT_LT(error, power * 1e-3);
}

TEST_F(Import, HeaderHoldsWhatWasAsked) {
    WriteAudio("in.flac", flac16, 1, 44100, {0.0});
    ASSERT_EQ(Run({"import", "in.flac", "out.sn", "--name", "rain", "--volume", "0.25", "--lock",
                   "volume,frequency"})
                  .status,
              0);
    EXPECT_EQ(Bytes("out.sn"), std::string("Sound rain\0 1 0 1 1 5 0.250 \0\0", 30));
    WriteAudio("in.wav", wave16, 1, 44100, {0.0});
    ASSERT_EQ(
        Run({"import", "in.wav", "out.sn", "--name", "rain", "--volume", "-0.5", "--lock", "pan"}).status, 0);
    EXPECT_EQ(Bytes("out.sn"), std::string("Sound rain\0 1 0 1 1 2 -0.500 \0\0", 31));
}

// Whatever goes wrong: an older output stays, nothing else appears.
TEST_F(Import, FailureLeavesNoTrace) {
    WriteAudio("good.wav", wave16, 1, 44100, {0.5});
    WriteAudio("two words.wav", wave16, 1, 44100, {0.5});
    WriteAudio("slow.wav", wave16, 1, 1, {0.5});
    Write("text.txt", "no audio");
    Write("empty.wav", "");
    std::filesystem::create_directory("dir.sn");
    const std::string longName(100, 'n');
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string message;  // up to the reason
    } cases[] = {
        {{"missing.wav", "out.sn"}, 1, "ringmix: missing.wav: "},
        {{"text.txt", "out.sn"}, 1, "ringmix: text.txt: "},
        {{"empty.wav", "out.sn"}, 1, "ringmix: empty.wav: "},
        {{"dir.sn", "out.sn"}, 1, "ringmix: dir.sn: "},
        {{"/dev/zero", "out.sn"}, 1, "ringmix: /dev/zero: "},
        {{"slow.wav", "out.sn"}, 1, "ringmix: slow.wav: "},
        {{"two words.wav", "out.sn"}, 1, "ringmix: two words.wav: "},
        {{"good.wav", "dir.sn"}, 1, "ringmix: dir.sn: "},
        {{"good.wav", "nowhere/out.sn"}, 1, "ringmix: nowhere/out.sn: "},
        {{"good.wav", "out.wav"}, 2, "ringmix: OUTPUT: "},
        {{"good.wav", "out.sn", "--name", longName}, 2, "ringmix: --name: "},
        {{"good.wav", "out.sn", "--name", ""}, 2, "ringmix: --name: "},
        {{"good.wav", "out.sn", "--volume", "inf"}, 2, "ringmix: --volume: "},
        {{"good.wav", "out.sn", "--volume", "1e30"}, 2, "ringmix: --volume: "},
        {{"good.wav", "out.sn", "--rate", "48000"}, 2, "ringmix: --rate: "},
        {{"good.wav", "out.sn", "--lock", "volume,color"}, 2, "ringmix: --lock: "},
        {{"good.wav"}, 2, "ringmix: "},
        {{"good.wav", "out.sn", "more"}, 2, "ringmix: "},
    };
    Write("out.sn", "older");
    const auto before = FilesHere();
    for (auto test : cases) {
        SCOPED_TRACE(test.message);
        test.arguments.insert(test.arguments.begin(), "import");
        const run_t run = Run(test.arguments);
        EXPECT_EQ(run.status, test.status);
        EXPECT_EQ(run.err.substr(0, test.message.size()), test.message) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(Bytes("out.sn"), "older");
        EXPECT_EQ(FilesHere(), before);
    }
}

// Through a link to the file behind it; a link is not replaced.
TEST_F(Import, FollowsALinkToItsOutput) {
    WriteAudio("in.wav", wave16, 1, 44100, {0.5});
    Write("real.sn", "older");
    std::filesystem::create_symlink("real.sn", "link.sn");
    ASSERT_EQ(Run({"import", "in.wav", "link.sn"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink("link.sn"));
    EXPECT_EQ(Load("real.sn").samples, std::vector<int32_t>{16384});
}

// Cut short and with bytes changed: imported or refused, nothing else.
TEST_F(Import, DamagedFilesAreImportedOrRefused) {
    std::vector<double> samples;
    for (int i = 0; i < 300; ++i) samples.push_back(std::sin(i));
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (const int format : {wave16, wave24, extensible16, flac16, aiff16, vorbis}) {
        WriteAudio("whole", format, 1, format == wave24 ? 48000 : 44100, samples);
        const std::string whole = Bytes("whole");
        for (int turn = 0; turn < 150; ++turn) {
            std::string damaged = whole.substr(
                0, turn % 2 == 0 ? whole.size() * static_cast<size_t>(turn) / 150 : whole.size());
            for (int i = 0; turn % 2 != 0 && i < 3; ++i)
                damaged[random() % 80 % damaged.size()] = static_cast<char>(random());
            Write("damaged", damaged);
            std::filesystem::remove("out.sn");
            const run_t run = Run({"import", "damaged", "out.sn"});
            ASSERT_EQ(std::filesystem::exists("out.sn"), run.status == 0) << run.err;
            if (run.status == 0) Load("out.sn");
            ASSERT_EQ(FilesHere().size(), run.status == 0 ? 3u : 2u);
        }
    }
}

}  // namespace
