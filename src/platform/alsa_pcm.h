// alsa_pcm.h - a playback device of ALSA: the machine's sound server, through its plugin, or a card.
#pragma once

#include <string>

#include "platform/alsa_library.h"
#include "platform/pcm_stream.h"

namespace platform {

class AlsaPcm_t final : public PcmStream_t {
  public:
    AlsaPcm_t(const alsa_library_t& library, std::string device)
        : alsa(library), deviceName(std::move(device)) {}
    ~AlsaPcm_t() override { Close(); }
    AlsaPcm_t(const AlsaPcm_t&) = delete;
    AlsaPcm_t& operator=(const AlsaPcm_t&) = delete;

    int Open(pcm_setup_t& setup) override;
    void Close() override;
    long QueuedFrames() override;
    long DelayFrames() override;
    long Write(const uint8_t* bytes, uint32_t frames) override;
    int Recover(int error) override;
    int Restart() override;
    const char* ErrorText(int error) override { return alsa.strerror(error); }

  private:
    int OpenAs(const char* name, pcm_setup_t& setup);
    int SetHardware(pcm_setup_t& setup);
    int SetSoftware();
    void Describe(pcm_setup_t& setup);

    const alsa_library_t& alsa;
    std::string deviceName;
    bool hasLooked = false;  // for what the system's configuration says today
    snd_pcm_t* pcm = nullptr;
    long bufferFrames = 0;
};

}  // namespace platform
