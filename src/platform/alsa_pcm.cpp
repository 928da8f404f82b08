// alsa_pcm.cpp - plain interleaved writes without blocking. No memory-mapped access and no rewinding: not
// every plugin has them, and some only say so.
#include "platform/alsa_pcm.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/play_ring.h"

namespace platform {
namespace {

// Small periods, as that is how often a sound server takes; a large buffer, as only the lead is ever filled
// and a device that stumbles must not be cut short.
constexpr snd_pcm_uframes_t wantedPeriodFrames = outputRateHz * 5 / 1000;
constexpr snd_pcm_uframes_t wantedBufferFrames = outputRateHz / 2;
constexpr unsigned channels = 2;
constexpr snd_pcm_format_t sampleFormat = SND_PCM_FORMAT_S16_LE;

template <typename Params>
using params_t = std::unique_ptr<Params, void (*)(Params*)>;

}  // namespace

// A card that does not take the engine's format is opened once more with a converter before it.
int AlsaPcm_t::Open(pcm_setup_t& setup) {
    const AlsaMessages_t messages(alsa);
    // What the system's configuration makes of a name can depend on whether a sound server runs: it is read
    // afresh for each start of the engine. A device that was lost is waited for under the name's old meaning:
    // taking the card itself in the meantime would keep a server from coming back.
    if (!std::exchange(hasLooked, true)) alsa.config_update_free_global();
    const int result = OpenAs(deviceName.c_str(), setup);
    if (result != -EINVAL || deviceName.find('\'') != std::string::npos) return result;
    return OpenAs(("plug:SLAVE='" + deviceName + "'").c_str(), setup);
}

int AlsaPcm_t::OpenAs(const char* name, pcm_setup_t& setup) {
    Close();
    int result = alsa.pcm_open(&pcm, name, SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK);
    if (result < 0) {
        pcm = nullptr;
        return result;
    }
    result = SetHardware(setup);
    if (result >= 0) result = SetSoftware();
    if (result >= 0) result = alsa.pcm_prepare(pcm);
    if (result >= 0) {
        Describe(setup);
    } else {
        Close();
    }
    return result;
}

int AlsaPcm_t::SetHardware(pcm_setup_t& setup) {
    snd_pcm_hw_params_t* allocated = nullptr;
    int result = alsa.pcm_hw_params_malloc(&allocated);
    if (result < 0) return result;
    const params_t<snd_pcm_hw_params_t> params(allocated, alsa.pcm_hw_params_free);
    snd_pcm_uframes_t buffer = wantedBufferFrames, period = wantedPeriodFrames;
    result = alsa.pcm_hw_params_any(pcm, params.get());
    if (result < 0) return result;
    const int steps[] = {
        alsa.pcm_hw_params_set_rate_resample(pcm, params.get(), 1),
        alsa.pcm_hw_params_set_access(pcm, params.get(), SND_PCM_ACCESS_RW_INTERLEAVED),
        alsa.pcm_hw_params_set_format(pcm, params.get(), sampleFormat),
        alsa.pcm_hw_params_set_channels(pcm, params.get(), channels),
        alsa.pcm_hw_params_set_rate(pcm, params.get(), outputRateHz, 0),
        alsa.pcm_hw_params_set_period_size_near(pcm, params.get(), &period, nullptr),
        alsa.pcm_hw_params_set_buffer_size_near(pcm, params.get(), &buffer),
        alsa.pcm_hw_params(pcm, params.get()),
        alsa.pcm_hw_params_get_buffer_size(params.get(), &buffer),
        alsa.pcm_hw_params_get_period_size(params.get(), &period, nullptr),
    };
    for (const int step : steps) {
        if (step < 0) return step;
    }
    bufferFrames = static_cast<long>(buffer);
    setup.rateHz = outputRateHz;
    setup.channels = channels;
    setup.bufferFrames = static_cast<uint32_t>(buffer);
    setup.periodFrames = static_cast<uint32_t>(period);
    std::snprintf(setup.format, sizeof setup.format, "%s", alsa.pcm_format_name(sampleFormat));
    return 0;
}

// The first write starts it. (A server takes the threshold for what must be queued again after an underrun.)
int AlsaPcm_t::SetSoftware() {
    snd_pcm_sw_params_t* allocated = nullptr;
    int result = alsa.pcm_sw_params_malloc(&allocated);
    if (result < 0) return result;
    const params_t<snd_pcm_sw_params_t> params(allocated, alsa.pcm_sw_params_free);
    result = alsa.pcm_sw_params_current(pcm, params.get());
    if (result >= 0) result = alsa.pcm_sw_params_set_start_threshold(pcm, params.get(), 1);
    return result < 0 ? result : alsa.pcm_sw_params(pcm, params.get());
}

// The library's own account of the way to the device, up to where it goes into details.
void AlsaPcm_t::Describe(pcm_setup_t& setup) {
    setup.chain[0] = 0;
    snd_output_t* output = nullptr;
    if (alsa.output_buffer_open(&output) < 0) return;
    char* text = nullptr;
    if (alsa.pcm_dump(pcm, output) >= 0) {
        const size_t length = alsa.output_buffer_string(output, &text);
        std::string chain(text, length);
        chain.resize(std::min(chain.find("Its setup"), chain.size()));
        while (!chain.empty() && chain.back() == '\n') chain.pop_back();
        std::replace(chain.begin(), chain.end(), '\n', ' ');
        std::snprintf(setup.chain, sizeof setup.chain, "%s", chain.c_str());
    }
    alsa.output_close(output);
}

void AlsaPcm_t::Close() {
    if (pcm) alsa.pcm_close(pcm);
    pcm = nullptr;
}

long AlsaPcm_t::QueuedFrames() {
    const snd_pcm_sframes_t free = alsa.pcm_avail(pcm);
    if (free < 0) return free;
    if (alsa.pcm_state(pcm) == SND_PCM_STATE_DISCONNECTED) return -ENODEV;
    return std::max(bufferFrames - free, 0l);
}

long AlsaPcm_t::DelayFrames() {
    snd_pcm_sframes_t delay = 0;
    const int result = alsa.pcm_delay(pcm, &delay);
    return result < 0 ? result : delay;
}

long AlsaPcm_t::Write(const uint8_t* bytes, uint32_t frames) { return alsa.pcm_writei(pcm, bytes, frames); }

int AlsaPcm_t::Recover(int error) {
    const AlsaMessages_t messages(alsa);
    return alsa.pcm_recover(pcm, error, 1);
}

int AlsaPcm_t::Restart() {
    const int result = alsa.pcm_drop(pcm);
    return result < 0 ? result : alsa.pcm_prepare(pcm);
}

}  // namespace platform
