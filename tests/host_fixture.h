// host_fixture.h - the engine as a host sees it that uses host.h, on the manual device.
#pragma once

#include <ringmix/host.h>

#include <map>
#include <ostream>

#include "stream_fixture.h"

namespace ringmix {

inline std::ostream& operator<<(std::ostream& out, const news_t& news) {
    const char* kinds[] = {"?", "ended", "stopped", "looped"};
    return out << kinds[static_cast<int>(news.kind)] << ' ' << news.voice.id << " x" << news.rounds;
}

}  // namespace ringmix

// Loads fail with a text that names the thing; nothing else has one.
#define EXPECT_OK(call)                             \
    do {                                            \
        const ringmix::result_t callResult{call};   \
        EXPECT_TRUE(callResult) << callResult.text; \
    } while (0)
#define EXPECT_REFUSED(call, why)                                                                  \
    do {                                                                                           \
        const ringmix::result_t callResult{call};                                                  \
        EXPECT_EQ(static_cast<int>(callResult.problem), static_cast<int>(ringmix::problem_t::why)) \
            << callResult.text;                                                                    \
        EXPECT_STRNE(callResult.text, "");                                                         \
    } while (0)

class HostFixture_t : public StreamFixture_t {
  protected:
    void SetUp() override {
        StreamFixture_t::SetUp();
        StartHost();
    }

    static void StartHost() {
        EXPECT_OK(ringmix::Start({.backend = "manual",
                                  .streamPageBytes = 4096,
                                  .streamPagesAhead = 8,
                                  .compressedPageBytes = 4096,
                                  .worstCaseFramesPerSecond = 60}));
    }

    static ringmix::SoundHandle_t LoadRampImage(const std::string& name, uint32_t frames,
                                                const sound_format_t& format = {}) {
        const std::string image = SoundImage(name, frames, format, Ramp);
        ringmix::SoundHandle_t sound;
        EXPECT_OK(ringmix::SoundHandle_t::LoadFromMemory((name + ".sn").c_str(), image.data(),
                                                         static_cast<uint32_t>(image.size()), sound));
        return sound;
    }

    // Through a file of its own, into an archive called as its class.
    ringmix::SoundHandle_t LoadFileOf(const std::string& name, const std::string& tag,
                                      const std::string& image) const {
        ringmix::SoundHandle_t sound;
        EXPECT_OK(
            ringmix::SoundHandle_t::Load(folder.Write(name + "." + tag, image).c_str(), tag.c_str(), sound));
        return sound;
    }

    static ringmix::VoiceHandle_t MakeVoice(ringmix::SoundHandle_t sound,
                                            const ringmix::voice_options_t& options = {}) {
        ringmix::VoiceHandle_t voice;
        EXPECT_OK(sound.MakeVoice(voice, options));
        return voice;
    }

    static std::vector<ringmix::news_t> TakeAllNews() {
        std::vector<ringmix::news_t> all;
        for (ringmix::news_t news; ringmix::TakeNews(news);) all.push_back(news);
        return all;
    }
};
