// audio_source.cpp - libsndfile behind a block reader. Nothing is sized by what a file claims but the block
// of one frame's channels, of which libsndfile allows 1024.
#include "audio_source.h"

#include <algorithm>
#include <cmath>

#include "input_file.h"
#include "sound_classes.h"

namespace tools {

namespace {

constexpr size_t blockSamples = 65536;

std::string WhyNot(const std::filesystem::path& path) {
    if (IsEngineFile(path)) return "A sound file of the engine: ringmix export makes a wave file of it";
    std::string reason = sf_strerror(nullptr);
    if (reason.ends_with('.')) reason.pop_back();
    return reason + ": not a wave, FLAC, Ogg, MP3 or AIFF file, nor anything else that libsndfile reads";
}

}  // namespace

outcome_t AudioSource_t::Open(const std::filesystem::path& path) {
    shownName = path.string();
    if (outcome_t readable = CheckReadable(path); !readable) return readable;
    info = {};
    file.reset(sf_open(path.c_str(), SFM_READ, &info));
    if (file == nullptr) return Failure(shownName, WhyNot(path));
    if (info.channels < 1 || info.samplerate < 1) return Failure(shownName, "No channels or no sample rate");
    return Success();
}

bool AudioSource_t::Is16Bit() const { return (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16; }

std::vector<int> AudioSource_t::ChannelMap() const {
    std::vector<int> map(Channels());
    const int bytes = static_cast<int>(map.size() * sizeof(int));
    if (sf_command(file.get(), SFC_GET_CHANNEL_MAP_INFO, map.data(), bytes) == SF_FALSE) map.clear();
    return map;
}

outcome_t AudioSource_t::ReadBlock(std::vector<double>& block) {
    const size_t frames = std::max<size_t>(1, blockSamples / Channels());
    block.resize(frames * Channels());
    const sf_count_t read = sf_readf_double(file.get(), block.data(), static_cast<sf_count_t>(frames));
    block.resize(static_cast<size_t>(std::max<sf_count_t>(0, read)) * Channels());
    if (sf_error(file.get()) != SF_ERR_NO_ERROR) return Failure(shownName, sf_strerror(file.get()));
    for (double& sample : block) {
        if (std::isfinite(sample)) continue;
        sample = std::isnan(sample) ? 0.0 : std::copysign(1.0, sample);
        ++repairedSamples;
    }
    return Success();
}

}  // namespace tools
