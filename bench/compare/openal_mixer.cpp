// openal_mixer.cpp - OpenAL Soft on its loopback device: it mixes when it is asked to, on the calling thread,
// with its default resampler.
#include "mixers.h"

#ifdef RINGMIX_BENCH_OPENAL

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>

#include <algorithm>

namespace {

class OpenAl_t final : public Mixer_t {
  public:
    OpenAl_t() : Mixer_t("openal") {
        Load(openLoopback, "alcLoopbackOpenDeviceSOFT");
        Load(render, "alcRenderSamplesSOFT");
    }

    bool Takes(const mix_case_t& mixCase) const override {
        return openLoopback && render && mixCase.IsPlainStereo();
    }

    double RunSlice(const mix_case_t& mixCase, unsigned voices, uint32_t ticks) override {
        const session_t session(*this, mixCase, voices);
        if (!session.device) return -1.0;
        alSourcePlayv(static_cast<ALsizei>(voices), session.sources.data());
        std::vector<int16_t> out(framesPerTick * 2);
        double start = 0.0;
        for (uint32_t tick = 0; tick < 8 + ticks; ++tick) {
            if (tick == 8) start = ThreadNs();
            render(session.device, out.data(), framesPerTick);
        }
        const double spent = ThreadNs() - start;
        ALint state = 0;
        alGetSourcei(session.sources.back(), AL_SOURCE_STATE, &state);
        const bool isHeard = state == AL_PLAYING && alGetError() == AL_NO_ERROR && FirstSound(out) >= 0;
        return isHeard ? spent / (static_cast<double>(ticks) * framesPerTick * voices) : -1.0;
    }

    // Whoever asks for the samples has that much of them queued.
    double RunStart(double stallMs) override {
        const session_t session(*this, {}, 1);
        if (!session.device) return -1.0;
        std::vector<int16_t> out(static_cast<std::size_t>(stallMs * 44.1) * 2);
        render(session.device, out.data(), static_cast<ALCsizei>(out.size() / 2));
        alSourcePlayv(1, session.sources.data());
        const double queuedMs = static_cast<double>(out.size() / 2) / 44.1;
        render(session.device, out.data(), static_cast<ALCsizei>(out.size() / 2));
        const std::ptrdiff_t first = FirstSound(out);
        return first < 0 ? -1.0 : queuedMs + static_cast<double>(first) / 44.1;
    }

  private:
    // A device, a context, and sources with buffers of their own.
    struct session_t {
        ALCdevice* device;
        ALCcontext* context = nullptr;
        std::vector<ALuint> sources, buffers;

        session_t(const OpenAl_t& owner, const mix_case_t& mixCase, unsigned voices)
            : device(owner.openLoopback(nullptr)), sources(voices), buffers(voices) {
            if (!device) return;
            const ALCint attributes[] = {ALC_FORMAT_CHANNELS_SOFT,
                                         ALC_STEREO_SOFT,
                                         ALC_FORMAT_TYPE_SOFT,
                                         ALC_SHORT_SOFT,
                                         ALC_FREQUENCY,
                                         44100,
                                         ALC_STEREO_SOURCES,
                                         1024,
                                         ALC_MONO_SOURCES,
                                         0,
                                         ALC_HRTF_SOFT,
                                         ALC_FALSE,
                                         0};
            context = alcCreateContext(device, attributes);
            alcMakeContextCurrent(context);
            alGenSources(static_cast<ALsizei>(voices), sources.data());
            alGenBuffers(static_cast<ALsizei>(voices), buffers.data());
            for (unsigned i = 0; i < voices; ++i) {
                alBufferData(buffers[i], AL_FORMAT_STEREO16, Noise(i).data(), soundFrames * 4, 44100);
                alSourcei(sources[i], AL_BUFFER, static_cast<ALint>(buffers[i]));
                alSourcei(sources[i], AL_LOOPING, AL_TRUE);
                alSourcef(sources[i], AL_GAIN, mixCase.left);
                alSourcef(sources[i], AL_PITCH, mixCase.pitch);
            }
        }
        ~session_t() {
            if (!device) return;
            alDeleteSources(static_cast<ALsizei>(sources.size()), sources.data());
            alDeleteBuffers(static_cast<ALsizei>(buffers.size()), buffers.data());
            alcMakeContextCurrent(nullptr);
            alcDestroyContext(context);
            alcCloseDevice(device);
        }
        session_t(const session_t&) = delete;
        session_t& operator=(const session_t&) = delete;
    };

    // The frame, or -1.
    static std::ptrdiff_t FirstSound(const std::vector<int16_t>& out) {
        const auto found = std::find_if(out.begin(), out.end(), [](int16_t sample) { return sample != 0; });
        return found == out.end() ? -1 : (found - out.begin()) / 2;
    }

    template <class function_t>
    static void Load(function_t& function, const char* name) {
        function = reinterpret_cast<function_t>(alcGetProcAddress(nullptr, name));
    }

    LPALCLOOPBACKOPENDEVICESOFT openLoopback = nullptr;
    LPALCRENDERSAMPLESSOFT render = nullptr;
};

}  // namespace

void AddOpenAl(mixers_t& mixers) { mixers.push_back(std::make_unique<OpenAl_t>()); }

#else

void AddOpenAl(mixers_t&) {}

#endif
