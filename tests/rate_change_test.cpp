// A new worst-case frame rate while a voice plays: nothing is heard of the change.
#include <algorithm>

#include "engine_fixture.h"

namespace {

using namespace AudioSystem;

struct rates_t {
    float from, to;
};

class RateChange_t : public EngineFixture_t, public testing::WithParamInterface<rates_t> {};

TEST_P(RateChange_t, IsNotHeard) {
    ASSERT_TRUE(Start());
    SetWorstCaseFrameRate(GetParam().from);
    Voice_t* voice = MakeSound("ramp", 32000, {}, Ramp)->CreateCompatibleVoice(0);
    voice->Play();
    frames_t heard;
    RunTicks(15, 735, heard);
    SetWorstCaseFrameRate(GetParam().to);
    const uint32_t wanted = std::min<uint32_t>(mixHorizon, deviceMixLimit);
    RunTicks(20, 735, heard);

    EXPECT_EQ(outputLimit, wanted);
    EXPECT_EQ(device->leadBytes, 2 * wanted);
    EXPECT_TRUE(TakeDebugLines().empty());
    const auto first =
        std::find_if(heard.begin(), heard.end(), [](frame_t frame) { return frame.left != 0; });
    ASSERT_GT(heard.end() - first, 6000);  // at one frame a second it starts late
    for (auto frame = first; frame != heard.end(); ++frame) {
        const auto at = static_cast<uint32_t>(frame - first);
        ASSERT_EQ(frame->left, Ramp(at)) << "frame " << at << " of the sound";
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, RateChange_t,
                         testing::Values(rates_t{8, 60}, rates_t{60, 8}, rates_t{60, 30}, rates_t{30, 60},
                                         rates_t{20, 60}, rates_t{60, 1}, rates_t{1, 60}, rates_t{120, 2}));

}  // namespace
