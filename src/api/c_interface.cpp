// c_interface.cpp - ringmix.h over host.h: types turned into each other, and nothing more. Handles have the
// same numbers on both sides.
#include <ringmix/audio_wrapper.h>
#include <ringmix/base_wrapper.h>
#include <ringmix/host.h>
#include <ringmix/output_selection.h>
#include <ringmix/ringmix.h>

#include <cstring>
#include <new>

#include "api/no_memory.h"

using namespace ringmix;

struct ringmix_completion_event {
    CompletionEvent_t event;
};
struct ringmix_loader {
    Loader_t loader;
};
struct ringmix_pump {
    Pump_t pump;
};

namespace {

ringmix_problem Answer(const result_t& result, ringmix_error* error = nullptr) {
    const auto problem = static_cast<ringmix_problem>(result.problem);
    if (error) {
        static_assert(sizeof error->text == sizeof result.text);
        error->problem = problem;
        std::memcpy(error->text, result.text, sizeof error->text);
    }
    return problem;
}

ringmix_problem RefuseNull(ringmix_error* error) {
    return Answer({problem_t::badArgument, "a pointer that is needed is null"}, error);
}

SoundHandle_t Of(ringmix_sound sound) { return {sound.id}; }
VoiceHandle_t Of(ringmix_voice voice) { return {voice.id}; }
RawStreamHandle_t Of(ringmix_raw_stream stream) { return {stream.id}; }

// Runs an operation with a handle as its result, and gives its number.
template <typename Handle, typename Result, typename Operation>
ringmix_problem AnswerWithHandle(Result* out, ringmix_error* error, Operation operate) {
    if (!out) return RefuseNull(error);
    Handle handle;
    const ringmix_problem problem = Answer(operate(handle), error);
    out->id = handle.id;
    return problem;
}

voice_options_t Of(const ringmix_voice_options* options) {
    if (!options) return {};
    return {options->is_mixed_far_ahead != 0,
            options->is_sliding != 0,
            options->is_looping != 0,
            options->wants_loop_news != 0,
            options->left_volume,
            options->right_volume,
            options->frequency};
}

void GiveCount(const archive_count_t& count, uint32_t* sounds, uint32_t* missing) {
    if (sounds) *sounds = count.sounds;
    if (missing) *missing = count.missing;
}

}  // namespace

// ---- The engine

void ringmix_default_start_options(ringmix_start_options* options) {
    if (!options) return;
    const start_options_t usual;
    *options = {usual.backend,
                usual.window,
                usual.usePrimaryBuffer,
                usual.streamPageBytes,
                usual.streamPagesAhead,
                usual.compressedPageBytes,
                usual.worstCaseFramesPerSecond};
}

ringmix_problem ringmix_start(const ringmix_start_options* options, ringmix_error* error) {
    start_options_t wanted;
    if (options)
        wanted = {options->backend,
                  options->window,
                  options->use_primary_buffer != 0,
                  options->stream_page_bytes,
                  options->stream_pages_ahead,
                  options->compressed_page_bytes,
                  options->worst_case_frames_per_second};
    try {
        return Answer(Start(wanted), error);
    } catch (const std::bad_alloc&) {
        return Answer({problem_t::outOfMemory, "out of memory"}, error);
    }
}

void ringmix_stop() { Stop(); }
int ringmix_is_running() { return AudioWrapper_t::IsInitialized(); }
const char* ringmix_version() { return RINGMIX_VERSION; }
void ringmix_tick() { AudioWrapper_t::MixVoices(); }
void ringmix_set_worst_case_frame_rate(float rate) { AudioWrapper_t::SetWorstCaseFrameRate(rate); }
void ringmix_pause() { AudioWrapper_t::Pause(); }
void ringmix_resume() { AudioWrapper_t::Resume(); }
int ringmix_is_mixing() { return AudioWrapper_t::IsMixing(); }
int ringmix_is_device_emulated() { return AudioWrapper_t::IsDirSoundEmulationMode(); }

// ---- The output

uint32_t ringmix_backend_count() { return OutputSelection_t::GetBackendCount(); }
const char* ringmix_backend_name(uint32_t index) { return OutputSelection_t::GetBackendName(index); }

const char* ringmix_backend_description(uint32_t index) {
    return OutputSelection_t::GetBackendDescription(index);
}

int ringmix_select_backend(const char* name) { return OutputSelection_t::SelectBackend(name); }
const char* ringmix_selected_backend() { return OutputSelection_t::GetSelectedBackend(); }
uint32_t ringmix_device_count() {
    return api::WithMemory(0u, [] { return OutputSelection_t::GetDeviceCount(); });
}
const char* ringmix_device_name(uint32_t index) { return OutputSelection_t::GetDeviceName(index); }

const char* ringmix_device_description(uint32_t index) {
    return OutputSelection_t::GetDeviceDescription(index);
}

int ringmix_select_device(const char* name) {
    return api::WithMemory(0, [=] { return int{OutputSelection_t::SelectDevice(name)}; });
}
const char* ringmix_selected_device() {
    return api::WithMemory("", [] { return OutputSelection_t::GetSelectedDevice(); });
}
int ringmix_set_lead(uint32_t milliseconds) {
    return api::WithMemory(0, [=] { return int{OutputSelection_t::SetLead(milliseconds)}; });
}

ringmix_output_status ringmix_get_output_status() {
    const OutputStatus_t now = OutputSelection_t::GetStatus();
    ringmix_output_status status{};
    status.is_open = now.isOpen;
    status.is_real_time = now.isRealTime;
    status.rate_hz = now.rateHz;
    status.channels = now.channels;
    status.buffer_frames = now.bufferFrames;
    status.period_frames = now.periodFrames;
    status.lead_frames = now.leadFrames;
    status.underruns = now.underruns;
    status.losses = now.losses;
    status.jumps = now.jumps;
    static_assert(sizeof status.format == sizeof now.format && sizeof status.device == sizeof now.device);
    std::memcpy(status.format, now.format, sizeof status.format);
    std::memcpy(status.device, now.device, sizeof status.device);
    return status;
}

void ringmix_set_debug_sink(void (*sink)(const char* line)) { OutputSelection_t::SetDebugSink(sink); }

uint32_t ringmix_play_manual(int16_t* out, uint32_t frames) {
    return OutputSelection_t::PlayManual(out, frames);
}

// ---- Sounds

ringmix_problem ringmix_load_sound(const char* path, const char* archive_name, ringmix_sound* sound,
                                   ringmix_error* error) {
    return AnswerWithHandle<SoundHandle_t>(
        sound, error, [&](SoundHandle_t& handle) { return SoundHandle_t::Load(path, archive_name, handle); });
}

ringmix_problem ringmix_load_sound_from_memory(const char* name, const void* image, uint32_t image_bytes,
                                               ringmix_sound* sound, ringmix_error* error) {
    return AnswerWithHandle<SoundHandle_t>(sound, error, [&](SoundHandle_t& handle) {
        return SoundHandle_t::LoadFromMemory(name, image, image_bytes, handle);
    });
}

ringmix_problem ringmix_find_sound(const char* sound_name, const char* archive_name, ringmix_sound* sound,
                                   ringmix_error* error) {
    return AnswerWithHandle<SoundHandle_t>(sound, error, [&](SoundHandle_t& handle) {
        return SoundHandle_t::Find(sound_name, archive_name, handle);
    });
}

int ringmix_sound_is_alive(ringmix_sound sound) { return Of(sound).IsAlive(); }
const char* ringmix_sound_name(ringmix_sound sound) { return Of(sound).GetName(); }
const char* ringmix_sound_archive_name(ringmix_sound sound) { return Of(sound).GetArchiveName(); }

ringmix_problem ringmix_sound_read_requested(ringmix_sound sound, ringmix_error* error) {
    return Answer(Of(sound).ReadRequested(), error);
}

ringmix_sound_info ringmix_sound_get_info(ringmix_sound sound) {
    const sound_info_t info = Of(sound).GetInfo();
    return {static_cast<ringmix_sound_kind>(info.kind),
            info.frames,
            info.rateHz,
            info.channels,
            info.bits,
            info.baseVolume,
            info.isVolumeLocked,
            info.isPanLocked,
            info.isFrequencyLocked};
}

ringmix_problem ringmix_sound_free(ringmix_sound sound, ringmix_error* error) {
    return Answer(Of(sound).Free(), error);
}

void ringmix_default_voice_options(ringmix_voice_options* options) {
    const voice_options_t usual;
    if (options) *options = {0, 0, 0, 0, usual.leftVolume, usual.rightVolume, usual.frequency};
}

ringmix_problem ringmix_make_voice(ringmix_sound sound, const ringmix_voice_options* options,
                                   ringmix_voice* voice, ringmix_error* error) {
    return AnswerWithHandle<VoiceHandle_t>(
        voice, error, [&](VoiceHandle_t& handle) { return Of(sound).MakeVoice(handle, Of(options)); });
}

ringmix_problem ringmix_play_once(ringmix_sound sound, const ringmix_voice_options* options,
                                  ringmix_voice* voice, ringmix_error* error) {
    ringmix_voice unwanted;
    return AnswerWithHandle<VoiceHandle_t>(voice ? voice : &unwanted, error, [&](VoiceHandle_t& handle) {
        return Of(sound).PlayOnce(handle, Of(options));
    });
}

// ---- Archives

ringmix_problem ringmix_load_archive(const char* path, const char* archive_name, uint32_t* sounds,
                                     uint32_t* missing, ringmix_error* error) {
    archive_count_t count;
    const result_t result = Archives_t::Load(path, archive_name, &count);
    GiveCount(count, sounds, missing);
    return Answer(result, error);
}

ringmix_problem ringmix_load_archive_from_memory(const void* image, uint32_t image_bytes,
                                                 const char* archive_name, uint32_t* sounds,
                                                 uint32_t* missing, ringmix_error* error) {
    archive_count_t count;
    const result_t result = Archives_t::LoadFromMemory(image, image_bytes, archive_name, &count);
    GiveCount(count, sounds, missing);
    return Answer(result, error);
}

ringmix_problem ringmix_save_archive(const char* path, const char* archive_name, ringmix_error* error) {
    return Answer(Archives_t::Save(path, archive_name), error);
}

ringmix_problem ringmix_save_archive_to_memory(void* buffer, uint32_t buffer_bytes, const char* archive_name,
                                               uint32_t* written_bytes, ringmix_error* error) {
    if (!written_bytes) return RefuseNull(error);
    return Answer(Archives_t::SaveToMemory(buffer, buffer_bytes, archive_name, *written_bytes), error);
}

uint32_t ringmix_archive_sound_count(const char* archive_name) {
    return Archives_t::GetSoundCount(archive_name);
}

ringmix_sound ringmix_archive_sound(const char* archive_name, uint32_t index) {
    return {Archives_t::GetSound(archive_name, index).id};
}

ringmix_problem ringmix_free_archive(const char* archive_name, ringmix_error* error) {
    return Answer(Archives_t::Free(archive_name), error);
}

// ---- Voices

int ringmix_voice_is_alive(ringmix_voice voice) { return Of(voice).IsAlive(); }
int ringmix_voice_is_playing(ringmix_voice voice) { return Of(voice).IsPlaying(); }
ringmix_problem ringmix_voice_play(ringmix_voice voice) { return Answer(Of(voice).Play()); }
ringmix_problem ringmix_voice_stop(ringmix_voice voice) { return Answer(Of(voice).Stop()); }
ringmix_problem ringmix_voice_reset(ringmix_voice voice) { return Answer(Of(voice).Reset()); }

ringmix_problem ringmix_voice_set_position(ringmix_voice voice, uint32_t frame) {
    return Answer(Of(voice).SetPosition(frame));
}

uint32_t ringmix_voice_position(ringmix_voice voice) { return Of(voice).GetPosition(); }
uint32_t ringmix_voice_length(ringmix_voice voice) { return Of(voice).GetLength(); }

ringmix_problem ringmix_voice_set_looping(ringmix_voice voice, int is_looping) {
    return Answer(Of(voice).SetLooping(is_looping != 0));
}

ringmix_problem ringmix_voice_set_volume(ringmix_voice voice, float left, float right) {
    return Answer(Of(voice).SetVolume(left, right));
}

ringmix_problem ringmix_voice_set_frequency(ringmix_voice voice, float ratio) {
    return Answer(Of(voice).SetFrequency(ratio));
}

int ringmix_voice_can_play(ringmix_voice voice, ringmix_sound sound) { return Of(voice).CanPlay(Of(sound)); }

ringmix_problem ringmix_voice_queue(ringmix_voice voice, ringmix_sound sound, ringmix_error* error) {
    return Answer(Of(voice).Queue(Of(sound)), error);
}

ringmix_problem ringmix_voice_release(ringmix_voice voice) { return Answer(Of(voice).Release()); }

ringmix_problem ringmix_voice_slide_frequency(ringmix_voice voice, uint32_t from_frame, uint32_t to_frame,
                                              float ratio_at_from, float ratio_at_to) {
    return Answer(Of(voice).SlideFrequency(from_frame, to_frame, ratio_at_from, ratio_at_to));
}

ringmix_problem ringmix_voice_slide_volume(ringmix_voice voice, uint32_t from_frame, uint32_t to_frame,
                                           float left_at_from, float left_at_to, float right_at_from,
                                           float right_at_to) {
    return Answer(
        Of(voice).SlideVolume(from_frame, to_frame, left_at_from, left_at_to, right_at_from, right_at_to));
}

ringmix_problem ringmix_voice_clear_slides(ringmix_voice voice) { return Answer(Of(voice).ClearSlides()); }
ringmix_problem ringmix_voice_free(ringmix_voice voice) { return Answer(Of(voice).Free()); }

// ---- News

int ringmix_take_news(ringmix_news* news) {
    news_t taken;
    if (!news || !TakeNews(taken)) return 0;
    *news = {static_cast<ringmix_news_kind>(taken.kind), taken.rounds, {taken.voice.id}};
    return 1;
}

ringmix_completion_event* ringmix_completion_event_new() {
    return new (std::nothrow) ringmix_completion_event;
}
void ringmix_completion_event_free(ringmix_completion_event* event) { delete event; }

int ringmix_completion_event_wait(ringmix_completion_event* event, uint32_t timeout_ms) {
    return event && event->event.Wait(timeout_ms);
}

ringmix_problem ringmix_voice_set_completion_event(ringmix_voice voice, ringmix_completion_event* event) {
    return Answer(Of(voice).SetCompletionEvent(event ? &event->event : nullptr));
}

// ---- Raw streams

ringmix_problem ringmix_make_raw_stream(const ringmix_raw_stream_options* options, ringmix_raw_stream* stream,
                                        ringmix_error* error) {
    if (!options) return RefuseNull(error);
    return AnswerWithHandle<RawStreamHandle_t>(stream, error, [&](RawStreamHandle_t& handle) {
        return RawStreamHandle_t::Make({options->name, options->archive_name, options->channels,
                                        options->bits, options->rate_hz, options->capacity_frames},
                                       handle);
    });
}

int ringmix_raw_stream_is_alive(ringmix_raw_stream stream) { return Of(stream).IsAlive(); }

ringmix_problem ringmix_raw_stream_feed(ringmix_raw_stream stream, const void* samples, uint32_t frames,
                                        ringmix_error* error) {
    return Answer(Of(stream).Feed(samples, frames), error);
}

ringmix_problem ringmix_raw_stream_play(ringmix_raw_stream stream) { return Answer(Of(stream).Play()); }
ringmix_problem ringmix_raw_stream_stop(ringmix_raw_stream stream) { return Answer(Of(stream).Stop()); }

ringmix_problem ringmix_raw_stream_set_volume(ringmix_raw_stream stream, float left, float right) {
    return Answer(Of(stream).SetVolume(left, right));
}

ringmix_problem ringmix_raw_stream_set_frequency(ringmix_raw_stream stream, float ratio) {
    return Answer(Of(stream).SetFrequency(ratio));
}

int ringmix_raw_stream_is_playing(ringmix_raw_stream stream) { return Of(stream).IsPlaying(); }

ringmix_raw_stream_statistics ringmix_raw_stream_get_statistics(ringmix_raw_stream stream) {
    const raw_stream_statistics_t statistics = Of(stream).GetStatistics();
    return {statistics.residentBytes, statistics.fedFrames, statistics.playedFrames,
            statistics.capacityFrames};
}

ringmix_voice ringmix_raw_stream_voice(ringmix_raw_stream stream) { return {Of(stream).GetVoice().id}; }
ringmix_problem ringmix_raw_stream_free(ringmix_raw_stream stream) { return Answer(Of(stream).Free()); }

// ---- Statistics

ringmix_statistics ringmix_get_statistics() {
    const engine_statistics_t all = GetStatistics();
    ringmix_statistics statistics{};
    statistics.sound_bytes = all.soundBytes;
    statistics.voices = all.voices;
    statistics.playing_voices = all.playingVoices;
    statistics.archives = all.archives;
    statistics.sounds = all.sounds;
    statistics.ring_frames = all.ringFrames;
    statistics.base_frame = all.baseFrame;
    statistics.output_frame = all.outputFrame;
    statistics.clear_frame = all.clearFrame;
    statistics.horizon_frames = all.horizonFrames;
    statistics.queued_frames = all.queuedFrames;
    statistics.underruns = all.underruns;
    statistics.underrun_frames = all.underrunFrames;
    statistics.dropped_news = all.droppedNews;
    return statistics;
}

ringmix_mix_costs ringmix_get_mix_costs(ringmix_voice_kind kind) {
    static_assert(RINGMIX_VOICE_RAW_STREAM == static_cast<int>(voice_kind_t::rawStream));
    const mix_costs_t measured = GetMixCosts(static_cast<voice_kind_t>(kind));
    ringmix_mix_costs costs;
    static_assert(sizeof costs.seconds == sizeof measured.seconds);
    std::memcpy(costs.seconds, measured.seconds, sizeof costs.seconds);
    return costs;
}

ringmix_sound_statistics ringmix_sound_get_statistics(ringmix_sound sound) {
    const sound_statistics_t statistics = GetStatistics(Of(sound));
    return {statistics.residentBytes, statistics.wholeBytes, statistics.voices};
}

ringmix_voice_statistics ringmix_voice_get_statistics(ringmix_voice voice) {
    const voice_statistics_t statistics = GetStatistics(Of(voice));
    return {statistics.heldBytes, statistics.aheadFrames, statistics.queuedSounds, statistics.mixSeconds};
}

// ---- Helper threads

ringmix_loader* ringmix_loader_new() { return new (std::nothrow) ringmix_loader; }

ringmix_problem ringmix_loader_start(ringmix_loader* loader, ringmix_error* error) {
    return loader ? Answer(loader->loader.Start(), error) : RefuseNull(error);
}

void ringmix_loader_stop(ringmix_loader* loader) {
    if (loader) loader->loader.Stop();
}

int ringmix_loader_is_running(const ringmix_loader* loader) { return loader && loader->loader.IsRunning(); }

uint32_t ringmix_loader_pass_count(const ringmix_loader* loader) {
    return loader ? loader->loader.GetPassCount() : 0;
}

void ringmix_loader_free(ringmix_loader* loader) { delete loader; }
void ringmix_load_streams() { BaseWrapper_t::LoadStreams(); }
uint32_t ringmix_wait_for_stream_load(uint32_t timeout_ms) {
    return BaseWrapper_t::WaitForStreamLoad(timeout_ms);
}

ringmix_pump* ringmix_pump_new() { return new (std::nothrow) ringmix_pump; }

ringmix_problem ringmix_pump_start(ringmix_pump* pump, float ticks_per_second, ringmix_error* error) {
    return pump ? Answer(pump->pump.Start(ticks_per_second), error) : RefuseNull(error);
}

void ringmix_pump_stop(ringmix_pump* pump) {
    if (pump) pump->pump.Stop();
}

int ringmix_pump_is_running(const ringmix_pump* pump) { return pump && pump->pump.IsRunning(); }
uint32_t ringmix_pump_tick_count(const ringmix_pump* pump) { return pump ? pump->pump.GetTickCount() : 0; }

void ringmix_pump_free(ringmix_pump* pump) { delete pump; }
