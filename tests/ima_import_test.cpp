// ima_import_test.cpp - what other programs have encoded plays as they decode it, and what is encoded here
// are their blocks.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <cstdlib>

#include "engine_fixture.h"
#include "ima_sounds.h"
#include "scratch_folder.h"

namespace {

using samples_t = std::vector<int16_t>;

SF_INFO Info(int rate, int channels, int coding) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | coding;
    return info;
}

void WriteWave(const std::string& path, const samples_t& samples, SF_INFO info) {
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << path;
    sf_write_short(file, samples.data(), std::ssize(samples));
    sf_close(file);
}

// Empty for what libsndfile cannot read.
samples_t ReadWave(const std::string& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) return {};
    samples_t samples(static_cast<std::size_t>(info.frames * info.channels));
    samples.resize(static_cast<std::size_t>(sf_read_short(file, samples.data(), std::ssize(samples))));
    sf_close(file);
    return samples;
}

bool HasSox() { return std::system("sox --version >/dev/null 2>&1") == 0; }

bool EncodeWithSox(const std::string& from, const std::string& to) {
    return std::system(("sox -D '" + from + "' -e ima-adpcm '" + to + "' 2>/dev/null").c_str()) == 0;
}

class ImaImport : public EngineFixture_t {
  protected:
    bool Import(const std::string& path) const {
        return IMA_ADPCM_Sound_t::ImportWaveFile(path.c_str(), folder.At("out.isn").c_str(), "n", 5, 1.0f);
    }

    ScratchFolder_t folder;
};

// Blocks of libsndfile and of sox play as libsndfile decodes them; and full blocks encoded here are
// libsndfile's, byte for byte, where the sizes are the same.
TEST_F(ImaImport, OtherPrograms) {
    if (!HasSox()) std::puts("no sox here: libsndfile's files alone");
    const struct {
        int rate, channels;
        bool isSox, isSameSize;
    } rows[] = {{44100, 1, false, false}, {44100, 2, false, true}, {22050, 1, false, true},
                {11025, 2, false, false}, {44100, 1, true, false}, {44100, 2, true, false},
                {22050, 1, true, false},  {11025, 2, true, false}};
    for (const auto& row : rows) {
        if (row.isSox && !HasSox()) continue;
        SCOPED_TRACE(testing::Message() << row.rate << " Hz, " << row.channels << ", sox " << row.isSox);
        const auto channels = static_cast<uint32_t>(row.channels);
        samples_t source(90'000 * channels);
        std::mt19937 random(1);
        for (std::size_t i = 0; i < source.size(); ++i) {
            const double noise = static_cast<double>(random() % 65536) - 32768,
                         turns = static_cast<double>(i % 300) / 150;
            source[i] = static_cast<int16_t>(i / 20'000 % 2 ? noise * turns / 2
                                                            : 32767 * std::sin(3.1415926 * turns));
        }
        const std::string pcm = folder.At("pcm.wav"), wave = folder.At("ima.wav"), isn = folder.At("out.isn");
        WriteWave(pcm, source, Info(row.rate, row.channels, SF_FORMAT_PCM_16));
        WriteWave(wave, source, Info(row.rate, row.channels, SF_FORMAT_IMA_ADPCM));
        ASSERT_TRUE(!row.isSox || EncodeWithSox(pcm, wave));
        const samples_t decoded = ReadWave(wave);
        ASSERT_GE(decoded.size(), source.size());
        ASSERT_TRUE(Import(pcm));
        const std::string own = folder.Read("out.isn");
        ASSERT_TRUE(Import(wave));
        const std::size_t whole = own.size() - 30 - 2048;  // behind the frame count, up to the last block
        EXPECT_TRUE(!row.isSameSize || own.substr(30, whole) == folder.Read("out.isn").substr(30, whole));
        ASSERT_TRUE(Start());
        AudioSystem::LoadSound(isn.c_str(), nullptr);
        auto* sound = static_cast<IMA_ADPCM_Sound_t*>(AudioSystem::GetSound("n", nullptr));
        for (const uint32_t block : {0u, 9u}) {
            const uint32_t first = block * sound->samplesPerBlock, divisor = sound->rateDivisor;
            Voice_t* voice = sound->CreateCompatibleVoice(0);
            voice->SetPos(first);
            voice->Play();
            frames_t heard, wanted;
            RunTicks(60, 1000, heard);
            for (uint32_t i = 0; wanted.size() < 50'000; ++i) {
                const std::size_t at = std::size_t{first + i / divisor} * channels;
                wanted.push_back({decoded[at], decoded[at + channels - 1]});
            }
            EXPECT_NE(std::search(heard.begin(), heard.end(), wanted.begin(), wanted.end()), heard.end())
                << block;
            delete voice;
            RunTicks(20, 1000, heard);  // what had been mixed ahead
        }
        AudioSystem::DeInitialize();
        platform::ResetManualOutput();
    }
}

}  // namespace
