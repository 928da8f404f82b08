// signal_source.cpp - see the header.
#include "tools/signal_source.h"

#include <cmath>
#include <filesystem>

#include "tools/audio_source.h"
#include "tools/number_text.h"
#include "tools/sound_choice.h"
#include "tools/sound_classes.h"
#include "tools/sound_report.h"

namespace tools {

namespace {

std::string ChannelsText(uint32_t channels) {
    return channels == 1 ? "mono" : channels == 2 ? "stereo" : std::to_string(channels) + " channels";
}

std::string FormatName(uint32_t format) {
    std::string names;
    for (const uint32_t part : {format & SF_FORMAT_TYPEMASK, format & SF_FORMAT_SUBMASK}) {
        SF_FORMAT_INFO info{};
        info.format = static_cast<int>(part);
        if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) == 0 && info.name)
            names += (names.empty() ? "" : ", ") + std::string(info.name);
    }
    return names;
}

std::string VoiceFacts(const sound_header_t& header) {
    std::string locks;
    for (const std::string& lock : LocksOf(header.lockFlags)) locks += (locks.empty() ? "" : ", ") + lock;
    return "base volume " + FixedText(header.baseVolume, 3) +
           ", locked: " + (locks.empty() ? "nothing" : locks);
}

}  // namespace

SignalSource_t::SignalSource_t() = default;
SignalSource_t::~SignalSource_t() = default;

outcome_t SignalSource_t::Open(const std::string& path, const std::string* name) {
    if (IsEngineFile(path) || ArchiveFile_t::IsArchive(path)) return OpenSound(path, name);
    if (name != nullptr) return Failure(path, "Is no archive: --name picks a sound of one");
    return OpenAudio(path);
}

outcome_t SignalSource_t::OpenSound(const std::string& path, const std::string* name) {
    sound = std::make_unique<SoundChoice_t>();
    if (outcome_t opened = sound->Open(path, name); !opened) return opened;
    const stored_sound_t& stored = sound->stored;
    channels = stored.Channels();
    rateHz = static_cast<uint32_t>(std::lround(stored.RateHz()));
    highestValue = stored.header.is16Bit ? 32767.0 / 32768.0 : 127.0 / 128.0;
    title = std::filesystem::path(path).filename().string() + ": " + stored.header.name;
    facts = {(stored.IsAdpcm() ? "IMA ADPCM in blocks of " + std::to_string(stored.blockBytes) + " bytes"
                               : std::to_string(stored.Bits()) + "-bit samples") +
                 ", " + ChannelsText(channels) + ", " + RateText(stored) + " Hz",
             VoiceFacts(stored.header)};
    return Success();
}

outcome_t SignalSource_t::OpenAudio(const std::string& path) {
    audio = std::make_unique<AudioSource_t>();
    if (outcome_t opened = audio->Open(path); !opened) return opened;
    channels = audio->Channels();
    rateHz = audio->RateHz();
    if (audio->Is16Bit()) highestValue = 32767.0 / 32768.0;
    title = std::filesystem::path(path).filename().string();
    facts = {FormatName(audio->Format()) + ", " + ChannelsText(channels) + ", " + std::to_string(rateHz) +
             " Hz"};
    return Success();
}

outcome_t SignalSource_t::ReadBlock(std::vector<double>& block) {
    if (audio) return audio->ReadBlock(block);
    block.clear();
    const double scale = sound->stored.header.is16Bit ? 32768.0 : 128.0;
    if (outcome_t read = sound->samples->Next(samples); !read) return read;
    for (const int16_t sample : samples) block.push_back(sample / scale);
    return Success();
}

}  // namespace tools
