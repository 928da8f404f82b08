// alsa_library.h - libasound, loaded when it is first needed: the engine runs where it is not installed.
//
// Whatever it has to say goes to the debug output of the thread that it says it on, not to the host's
// standard error.
#pragma once

#include <alsa/asoundlib.h>

namespace platform {

// Each function under its own name, without the prefix: alsa->pcm_open is snd_pcm_open.
#define RINGMIX_ALSA_FUNCTIONS(use)                                                                          \
    use(strerror) use(lib_error_set_local) use(config_update_free_global) use(device_name_hint) use(         \
        device_name_get_hint) use(device_name_free_hint) use(pcm_open) use(pcm_close) use(pcm_drop)          \
        use(pcm_prepare) use(pcm_start) use(pcm_recover) use(pcm_state) use(pcm_avail) use(pcm_delay) use(   \
            pcm_writei) use(pcm_dump) use(pcm_readi) use(pcm_set_params) use(pcm_hw_params)                  \
            use(pcm_hw_params_malloc) use(pcm_hw_params_free) use(pcm_hw_params_any) use(                    \
                pcm_hw_params_set_rate_resample) use(pcm_hw_params_set_access) use(pcm_hw_params_set_format) \
                use(pcm_hw_params_set_channels) use(pcm_hw_params_set_rate)                                  \
                    use(pcm_hw_params_set_buffer_size_near) use(pcm_hw_params_set_period_size_near)          \
                        use(pcm_hw_params_get_buffer_size) use(pcm_hw_params_get_period_size)                \
                            use(pcm_sw_params) use(pcm_sw_params_malloc) use(pcm_sw_params_free)             \
                                use(pcm_sw_params_current) use(pcm_sw_params_set_start_threshold)            \
                                    use(pcm_format_name) use(output_buffer_open) use(output_buffer_string)   \
                                        use(output_close) use(mixer_open) use(mixer_close) use(mixer_attach) \
                                            use(mixer_selem_register) use(mixer_load) use(mixer_first_elem)  \
                                                use(mixer_elem_next) use(mixer_selem_get_name)               \
                                                    use(mixer_selem_has_playback_volume)                     \
                                                        use(mixer_selem_is_playback_mono)                    \
                                                            use(mixer_selem_get_playback_volume_range)       \
                                                                use(mixer_selem_get_playback_volume)         \
                                                                    use(mixer_selem_set_playback_volume)

struct alsa_library_t {
#define RINGMIX_ALSA_MEMBER(name) decltype(&snd_##name) name = nullptr;
    RINGMIX_ALSA_FUNCTIONS(RINGMIX_ALSA_MEMBER)
#undef RINGMIX_ALSA_MEMBER
};

// Null where it is not installed, or lacks one of these. Thread: any.
const alsa_library_t* LoadAlsa() noexcept;

// While this lives, the library's messages on this thread go to the debug output.
class AlsaMessages_t {
  public:
    explicit AlsaMessages_t(const alsa_library_t& library) noexcept;
    ~AlsaMessages_t();
    AlsaMessages_t(const AlsaMessages_t&) = delete;
    AlsaMessages_t& operator=(const AlsaMessages_t&) = delete;

  private:
    const alsa_library_t& alsa;
    snd_local_error_handler_t before;
};

}  // namespace platform
