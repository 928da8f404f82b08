// hardware_volume_test.cpp - the search for a mixer line and its arithmetic, on invented lines.
#include "output/hardware_volume.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "platform/mixer_lines.h"

namespace {

using namespace AudioSystem;
using platform::AUXCAPS_LRVOLUME;
using platform::AUXCAPS_VOLUME;

struct invented_line_t {
    const char* name;
    uint32_t support;
    uint32_t volume;
};

class InventedLines_t final : public platform::MixerLines_t {
  public:
    explicit InventedLines_t(std::vector<invented_line_t> all) : lines(std::move(all)) {}
    uint32_t Count() override { return static_cast<uint32_t>(lines.size()); }
    platform::mixer_line_t Line(uint32_t line) override { return {lines[line].name, lines[line].support}; }
    uint32_t GetVolume(uint32_t line) override { return lines[line].volume; }
    void SetVolume(uint32_t line, uint32_t volume) override { lines[line].volume = volume; }

    std::vector<invented_line_t> lines;
};

constexpr uint32_t mono = AUXCAPS_VOLUME, stereo = AUXCAPS_VOLUME | AUXCAPS_LRVOLUME;
constexpr int none = -1;

TEST(HardwareVolume, FindsTheFirstLineWithTheWord) {
    const struct {
        std::vector<invented_line_t> lines;
        int master, wave;
    } rows[] = {
        {{}, none, none},
        {{{"Master", mono, 0}, {"Wave", mono, 0}}, 0, 1},
        {{{"wavetable", mono, 0}, {"remastered", mono, 0}}, 1, 0},
        {{{"mASTER", mono, 0}, {"wAVE", mono, 0}, {"Wav", mono, 0}}, none, none},
        {{{"CD", mono, 0}, {"MASTER", mono, 0}, {"Master", mono, 0}, {"WAVE 2", mono, 0}}, 1, 3},
        {{{"Master", 0, 0}, {"Master 2", mono, 0}}, none, none},
        {{{"Master", AUXCAPS_LRVOLUME, 0}}, none, none},
        {{{"Master Wave", stereo, 0}}, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(&row - rows));
        for (const auto& [which, want] :
             {std::pair(volume_line_t::master, row.master), {volume_line_t::wave, row.wave}}) {
            InventedLines_t mixer(row.lines);
            EXPECT_EQ(SetLineVolume(mixer, which, 1.0f), want != none);
            for (int i = 0; i < static_cast<int>(mixer.lines.size()); ++i)
                EXPECT_EQ(mixer.lines[i].volume != 0, i == want) << i;
            float volume = 7;
            EXPECT_EQ(GetLineVolume(mixer, which, &volume), want != none);
            EXPECT_FLOAT_EQ(volume, want != none ? 1.0f : 7.0f) << "untouched";
        }
    }
}

TEST(HardwareVolume, Arithmetic) {
    constexpr float unit = 1.5259022e-05f;
    const struct {
        float volume;
        uint32_t mono, stereo;
    } sets[] = {{1.0f, 65535, 0xFFFFFFFF},
                {0.5f, 32767, 0x7FFF7FFF},
                {0.0f, 0, 0},
                {-1.0f, 0, 0},
                {3.0f, 65535, 0xFFFFFFFF},
                {NAN, 0, 0},
                {INFINITY, 65535, 0xFFFFFFFF},
                {1.5f / 65535, 1, 0x00010001}};
    for (const auto& row : sets) {
        InventedLines_t mixer({{"Master", mono, 5}, {"Wave", stereo, 5}});
        EXPECT_TRUE(SetLineVolume(mixer, volume_line_t::master, row.volume));
        EXPECT_TRUE(SetLineVolume(mixer, volume_line_t::wave, row.volume));
        EXPECT_EQ(mixer.lines[0].volume, row.mono) << row.volume;
        EXPECT_EQ(mixer.lines[1].volume, row.stereo) << row.volume;
    }
    const struct {
        uint32_t volume;
        float mono, stereo;
    } gets[] = {{0x0000FFFF, 1.0f, 32767 * unit},
                {0xFFFF0000, 0.0f, 32767 * unit},
                {0x00030001, unit, 2 * unit},
                {0xFFFFFFFF, 1.0f, 1.0f}};
    for (const auto& row : gets) {
        InventedLines_t mixer({{"Master", mono, row.volume}, {"Wave", stereo, row.volume}});
        float volumes[2] = {7, 7};
        EXPECT_TRUE(GetLineVolume(mixer, volume_line_t::master, &volumes[0]));
        EXPECT_TRUE(GetLineVolume(mixer, volume_line_t::wave, &volumes[1]));
        EXPECT_FLOAT_EQ(volumes[0], row.mono);
        EXPECT_FLOAT_EQ(volumes[1], row.stereo);
    }
}

}  // namespace
