// alsa_monitor.cpp - the monitor of PulseAudio's default sink, through ALSA's plugin for it.
#include <array>

#include "platform/alsa_library.h"
#include "platform/monitor_source.h"

namespace platform {
namespace {

constexpr char monitorName[] = "pulse:@DEFAULT_MONITOR@";
constexpr unsigned rateHz = 44100, channels = 2, bufferMicroseconds = 40'000;

class AlsaMonitor_t final : public MonitorSource_t {
  public:
    AlsaMonitor_t(const alsa_library_t& library, snd_pcm_t* openPcm) : alsa(library), pcm(openPcm) {}
    ~AlsaMonitor_t() override { alsa.pcm_close(pcm); }
    AlsaMonitor_t(const AlsaMonitor_t&) = delete;
    AlsaMonitor_t& operator=(const AlsaMonitor_t&) = delete;

    uint32_t Read(int16_t* samples, uint32_t frames) override {
        const snd_pcm_sframes_t count = alsa.pcm_readi(pcm, samples, frames);
        if (count >= 0) return static_cast<uint32_t>(count);
        if (count != -EAGAIN) Restart(static_cast<int>(count));
        return 0;
    }
    void Drop() override {
        std::array<int16_t, 2 * 1024> samples;
        while (Read(samples.data(), 1024) > 0) {}
    }

  private:
    void Restart(int error) {
        if (alsa.pcm_recover(pcm, error, 1) >= 0) alsa.pcm_start(pcm);
    }

    const alsa_library_t& alsa;
    snd_pcm_t* pcm;
};

}  // namespace

std::unique_ptr<MonitorSource_t> OpenMonitorSource() {
    const alsa_library_t* alsa = LoadAlsa();
    if (!alsa) return nullptr;
    const AlsaMessages_t messages(*alsa);
    snd_pcm_t* pcm = nullptr;
    if (alsa->pcm_open(&pcm, monitorName, SND_PCM_STREAM_CAPTURE, SND_PCM_NONBLOCK) < 0) return nullptr;
    auto monitor = std::make_unique<AlsaMonitor_t>(*alsa, pcm);
    const bool isReady = alsa->pcm_set_params(pcm, SND_PCM_FORMAT_S16_LE, SND_PCM_ACCESS_RW_INTERLEAVED,
                                              channels, rateHz, 1, bufferMicroseconds) >= 0 &&
                         alsa->pcm_start(pcm) >= 0;
    if (!isReady) return nullptr;
    return monitor;
}

}  // namespace platform
