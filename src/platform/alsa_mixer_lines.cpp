// alsa_mixer_lines.cpp - the simple elements of the default mixer, their playback volumes spread over 16
// bits.
#include <algorithm>
#include <vector>

#include "platform/alsa_library.h"
#include "platform/mixer_lines.h"

namespace platform {
namespace {

constexpr long fullVolume = 65535;

class AlsaMixerLines_t final : public MixerLines_t {
  public:
    AlsaMixerLines_t(const alsa_library_t& library, snd_mixer_t* openMixer)
        : alsa(library), mixer(openMixer) {
        for (snd_mixer_elem_t* element = alsa.mixer_first_elem(mixer); element;
             element = alsa.mixer_elem_next(element))
            elements.push_back(element);
    }
    ~AlsaMixerLines_t() override { alsa.mixer_close(mixer); }
    AlsaMixerLines_t(const AlsaMixerLines_t&) = delete;
    AlsaMixerLines_t& operator=(const AlsaMixerLines_t&) = delete;

    uint32_t Count() override { return static_cast<uint32_t>(elements.size()); }

    mixer_line_t Line(uint32_t line) override {
        snd_mixer_elem_t* element = elements[line];
        uint32_t support = 0;
        if (alsa.mixer_selem_has_playback_volume(element)) {
            support = AUXCAPS_VOLUME;
            if (!alsa.mixer_selem_is_playback_mono(element)) support |= AUXCAPS_LRVOLUME;
        }
        return {alsa.mixer_selem_get_name(element), support};
    }

    uint32_t GetVolume(uint32_t line) override {
        const uint32_t left = Get(line, SND_MIXER_SCHN_FRONT_LEFT);
        return left |
               ((Line(line).support & AUXCAPS_LRVOLUME ? Get(line, SND_MIXER_SCHN_FRONT_RIGHT) : 0) << 16);
    }

    void SetVolume(uint32_t line, uint32_t volume) override {
        Set(line, SND_MIXER_SCHN_FRONT_LEFT, volume & 0xFFFF);
        if (Line(line).support & AUXCAPS_LRVOLUME) Set(line, SND_MIXER_SCHN_FRONT_RIGHT, volume >> 16);
    }

  private:
    struct range_t {
        long least = 0, most = 0;
        long Steps() const { return std::max(most - least, 1l); }
    };

    range_t RangeOf(uint32_t line) const {
        range_t range;
        alsa.mixer_selem_get_playback_volume_range(elements[line], &range.least, &range.most);
        return range;
    }

    uint32_t Get(uint32_t line, snd_mixer_selem_channel_id_t channel) const {
        const range_t range = RangeOf(line);
        long raw = range.least;
        alsa.mixer_selem_get_playback_volume(elements[line], channel, &raw);
        const long steps = std::clamp(raw - range.least, 0l, range.Steps());
        return static_cast<uint32_t>((steps * fullVolume + range.Steps() / 2) / range.Steps());
    }

    void Set(uint32_t line, snd_mixer_selem_channel_id_t channel, uint32_t volume) const {
        const range_t range = RangeOf(line);
        const long steps = (static_cast<long>(volume) * range.Steps() + fullVolume / 2) / fullVolume;
        alsa.mixer_selem_set_playback_volume(elements[line], channel, range.least + steps);
    }

    const alsa_library_t& alsa;
    snd_mixer_t* mixer;
    std::vector<snd_mixer_elem_t*> elements;  // the mixer's
};

bool Load(const alsa_library_t& alsa, snd_mixer_t* mixer) {
    return alsa.mixer_attach(mixer, "default") >= 0 &&
           alsa.mixer_selem_register(mixer, nullptr, nullptr) >= 0 && alsa.mixer_load(mixer) >= 0;
}

}  // namespace

std::unique_ptr<MixerLines_t> OpenMixerLines() {
    const alsa_library_t* alsa = LoadAlsa();
    if (!alsa) return std::make_unique<MixerLines_t>();
    const AlsaMessages_t messages(*alsa);
    alsa->config_update_free_global();  // what "default" is may have changed
    snd_mixer_t* mixer = nullptr;
    if (alsa->mixer_open(&mixer, 0) < 0) return std::make_unique<MixerLines_t>();
    if (Load(*alsa, mixer)) return std::make_unique<AlsaMixerLines_t>(*alsa, mixer);
    alsa->mixer_close(mixer);
    return std::make_unique<MixerLines_t>();
}

}  // namespace platform
