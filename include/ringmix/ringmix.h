/* ringmix.h - the engine for C, and for whatever binds to C.
 *
 * It is host.h in other clothes: what is said there of units, handles, news, threads and errors holds here.
 * In short: call everything from one thread; start, load, make voices, play, tick once a frame; handles are
 * numbers whose object may be gone, which is refused and never followed.
 *
 * Results are 0, or a problem's number. Where an operation takes `error`, it may be null; otherwise it is
 * filled either way. Out parameters are set to nothing (0) by an operation that fails. Booleans are ints, 0
 * or 1. */
#ifndef RINGMIX_RINGMIX_H
#define RINGMIX_RINGMIX_H

#include <ringmix/export.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Results */

typedef enum ringmix_problem {
    RINGMIX_OK = 0,
    RINGMIX_NOT_RUNNING = 1,
    RINGMIX_DEAD_HANDLE = 2,
    RINGMIX_BAD_ARGUMENT = 3,
    RINGMIX_NOT_FOUND = 4,
    RINGMIX_UNREADABLE = 5,
    RINGMIX_UNWRITABLE = 6,
    RINGMIX_NAME_TAKEN = 7,
    RINGMIX_INCOMPATIBLE = 8,
    RINGMIX_FULL = 9,
    RINGMIX_OUT_OF_MEMORY = 10,
    RINGMIX_CANNOT_START = 11,
    RINGMIX_ALREADY_RUNS = 12,
    RINGMIX_NOTHING_TO_PLAY = 13
} ringmix_problem;

typedef struct ringmix_error {
    ringmix_problem problem;
    char text[252]; /* one line; empty if there is no problem */
} ringmix_error;

/* ---- The engine */

typedef struct ringmix_start_options {
    const char* backend; /* null: the selected one */
    void* window;
    int use_primary_buffer;
    uint32_t stream_page_bytes;
    uint32_t stream_pages_ahead;
    uint32_t compressed_page_bytes;
    float worst_case_frames_per_second;
} ringmix_start_options;

/* Fills in what is usual: call it first, then change what you need. */
RINGMIX_EXPORT void ringmix_default_start_options(ringmix_start_options* options);
/* Null options: what is usual. */
RINGMIX_EXPORT ringmix_problem ringmix_start(const ringmix_start_options* options, ringmix_error* error);
RINGMIX_EXPORT void ringmix_stop(void);
RINGMIX_EXPORT int ringmix_is_running(void);
RINGMIX_EXPORT const char* ringmix_version(void); /* "0.1.0" */

/* Once per frame. Not while paused: it then takes a second. */
RINGMIX_EXPORT void ringmix_tick(void);
RINGMIX_EXPORT void ringmix_set_worst_case_frame_rate(float frames_per_second);
RINGMIX_EXPORT void ringmix_pause(void);
RINGMIX_EXPORT void ringmix_resume(void);
RINGMIX_EXPORT int ringmix_is_mixing(void);          /* inside ringmix_tick, while voices are mixed */
RINGMIX_EXPORT int ringmix_is_device_emulated(void); /* and needs larger margins */

/* ---- The output, as output_selection.h has it. What selects and sets does so before the start: 0, and no
 * change, while the engine runs or for a name that there is not. Texts are the library's; null: no such. */

RINGMIX_EXPORT uint32_t ringmix_backend_count(void);
RINGMIX_EXPORT const char* ringmix_backend_name(uint32_t index);
RINGMIX_EXPORT const char* ringmix_backend_description(uint32_t index);
RINGMIX_EXPORT int ringmix_select_backend(const char* name);
RINGMIX_EXPORT const char* ringmix_selected_backend(void);

/* "system": the devices that there are. The count looks; the texts stay until it looks again. */
RINGMIX_EXPORT uint32_t ringmix_device_count(void);
RINGMIX_EXPORT const char* ringmix_device_name(uint32_t index);
RINGMIX_EXPORT const char* ringmix_device_description(uint32_t index);
RINGMIX_EXPORT int ringmix_select_device(const char* name); /* any name: the start tells whether it is one */
RINGMIX_EXPORT const char* ringmix_selected_device(void);   /* until the next call of it */
RINGMIX_EXPORT int ringmix_set_lead(uint32_t milliseconds); /* 0: what the thread's priority allows */

typedef struct ringmix_output_status {
    int is_open;
    int is_real_time;
    uint32_t rate_hz;
    uint32_t channels;
    uint32_t buffer_frames, period_frames;
    uint32_t lead_frames; /* how far ahead the device is fed */
    uint32_t underruns;   /* the device ran dry */
    uint32_t losses;      /* the device failed and was opened again */
    uint32_t jumps;       /* the device overtook what the engine had written */
    char format[16];
    char device[160];
} ringmix_output_status;

RINGMIX_EXPORT ringmix_output_status ringmix_get_output_status(void);

/* "manual": plays that many frames into `out`, 2 words a frame, which may be null. */
RINGMIX_EXPORT uint32_t ringmix_play_manual(int16_t* out, uint32_t frames);

/* Receives diagnostic lines, on the host's thread or one of the engine's; must not block. Null: nobody. */
RINGMIX_EXPORT void ringmix_set_debug_sink(void (*sink)(const char* line));

/* ---- Sounds. A null archive name means "DefaultArchive". */

typedef struct ringmix_sound {
    uint64_t id; /* 0: nothing */
} ringmix_sound;

typedef struct ringmix_voice {
    uint64_t id;
} ringmix_voice;

typedef enum ringmix_sound_kind {
    RINGMIX_SOUND_NONE = 0,
    RINGMIX_SOUND_SIMPLE = 1,
    RINGMIX_SOUND_COMPRESSED = 2,
    RINGMIX_SOUND_STREAM = 3,
    RINGMIX_SOUND_COMPRESSED_STREAM = 4,
    RINGMIX_SOUND_RAW_STREAM = 5
} ringmix_sound_kind;

typedef struct ringmix_sound_info {
    ringmix_sound_kind kind;
    uint32_t frames;
    uint32_t rate_hz;
    uint32_t channels;
    uint32_t bits;
    float base_volume;
    int is_volume_locked;
    int is_pan_locked;
    int is_frequency_locked;
} ringmix_sound_info;

typedef struct ringmix_voice_options {
    int is_mixed_far_ahead;
    int is_sliding;
    int is_looping;
    int wants_loop_news;
    float left_volume;
    float right_volume;
    float frequency;
} ringmix_voice_options;

RINGMIX_EXPORT ringmix_problem ringmix_load_sound(const char* path, const char* archive_name,
                                                  ringmix_sound* sound, ringmix_error* error);
RINGMIX_EXPORT ringmix_problem ringmix_load_sound_from_memory(const char* name, const void* image,
                                                              uint32_t image_bytes, ringmix_sound* sound,
                                                              ringmix_error* error);
RINGMIX_EXPORT ringmix_problem ringmix_find_sound(const char* sound_name, const char* archive_name,
                                                  ringmix_sound* sound, ringmix_error* error);
RINGMIX_EXPORT int ringmix_sound_is_alive(ringmix_sound sound);
RINGMIX_EXPORT const char* ringmix_sound_name(ringmix_sound sound); /* the sound's own: copy it to keep it */
RINGMIX_EXPORT const char* ringmix_sound_archive_name(ringmix_sound sound); /* likewise */
RINGMIX_EXPORT ringmix_sound_info ringmix_sound_get_info(ringmix_sound sound);
/* Reads now what the voices of a sound that streams have asked for. */
RINGMIX_EXPORT ringmix_problem ringmix_sound_read_requested(ringmix_sound sound, ringmix_error* error);
RINGMIX_EXPORT ringmix_problem ringmix_sound_free(ringmix_sound sound, ringmix_error* error);

/* 1.0, 1.0, 1.0 and no flags. */
RINGMIX_EXPORT void ringmix_default_voice_options(ringmix_voice_options* options);
/* Null options: what is usual. */
RINGMIX_EXPORT ringmix_problem ringmix_make_voice(ringmix_sound sound, const ringmix_voice_options* options,
                                                  ringmix_voice* voice, ringmix_error* error);
/* `voice` may be null here. */
RINGMIX_EXPORT ringmix_problem ringmix_play_once(ringmix_sound sound, const ringmix_voice_options* options,
                                                 ringmix_voice* voice, ringmix_error* error);

/* ---- Archives */

RINGMIX_EXPORT ringmix_problem ringmix_load_archive(const char* path, const char* archive_name,
                                                    uint32_t* sounds, uint32_t* missing,
                                                    ringmix_error* error);
RINGMIX_EXPORT ringmix_problem ringmix_load_archive_from_memory(const void* image, uint32_t image_bytes,
                                                                const char* archive_name, uint32_t* sounds,
                                                                uint32_t* missing, ringmix_error* error);
RINGMIX_EXPORT ringmix_problem ringmix_save_archive(const char* path, const char* archive_name,
                                                    ringmix_error* error);
/* A null buffer of 0 bytes asks for the size. */
RINGMIX_EXPORT ringmix_problem ringmix_save_archive_to_memory(void* buffer, uint32_t buffer_bytes,
                                                              const char* archive_name,
                                                              uint32_t* written_bytes, ringmix_error* error);
RINGMIX_EXPORT uint32_t ringmix_archive_sound_count(const char* archive_name);
RINGMIX_EXPORT ringmix_sound ringmix_archive_sound(const char* archive_name, uint32_t index);
RINGMIX_EXPORT ringmix_problem ringmix_free_archive(const char* archive_name, ringmix_error* error);

/* ---- Voices */

RINGMIX_EXPORT int ringmix_voice_is_alive(ringmix_voice voice);
RINGMIX_EXPORT int ringmix_voice_is_playing(ringmix_voice voice);
RINGMIX_EXPORT ringmix_problem ringmix_voice_play(ringmix_voice voice);
RINGMIX_EXPORT ringmix_problem ringmix_voice_stop(ringmix_voice voice);
RINGMIX_EXPORT ringmix_problem ringmix_voice_reset(ringmix_voice voice);
RINGMIX_EXPORT ringmix_problem ringmix_voice_set_position(ringmix_voice voice, uint32_t frame);
RINGMIX_EXPORT uint32_t ringmix_voice_position(ringmix_voice voice);
RINGMIX_EXPORT uint32_t ringmix_voice_length(ringmix_voice voice);
RINGMIX_EXPORT ringmix_problem ringmix_voice_set_looping(ringmix_voice voice, int is_looping);
RINGMIX_EXPORT ringmix_problem ringmix_voice_set_volume(ringmix_voice voice, float left, float right);
RINGMIX_EXPORT ringmix_problem ringmix_voice_set_frequency(ringmix_voice voice, float ratio);
RINGMIX_EXPORT int ringmix_voice_can_play(ringmix_voice voice, ringmix_sound sound);
RINGMIX_EXPORT ringmix_problem ringmix_voice_queue(ringmix_voice voice, ringmix_sound sound,
                                                   ringmix_error* error);
RINGMIX_EXPORT ringmix_problem ringmix_voice_release(ringmix_voice voice);
RINGMIX_EXPORT ringmix_problem ringmix_voice_slide_frequency(ringmix_voice voice, uint32_t from_frame,
                                                             uint32_t to_frame, float ratio_at_from,
                                                             float ratio_at_to);
RINGMIX_EXPORT ringmix_problem ringmix_voice_slide_volume(ringmix_voice voice, uint32_t from_frame,
                                                          uint32_t to_frame, float left_at_from,
                                                          float left_at_to, float right_at_from,
                                                          float right_at_to);
RINGMIX_EXPORT ringmix_problem ringmix_voice_clear_slides(ringmix_voice voice);
RINGMIX_EXPORT ringmix_problem ringmix_voice_free(ringmix_voice voice);

/* ---- News */

typedef enum ringmix_news_kind {
    RINGMIX_ENDED = 1,
    RINGMIX_STOPPED = 2,
    RINGMIX_LOOPED = 3
} ringmix_news_kind;

typedef struct ringmix_news {
    ringmix_news_kind kind;
    uint32_t rounds;
    ringmix_voice voice;
} ringmix_news;

/* 1: there was some; 0: there is no more. */
RINGMIX_EXPORT int ringmix_take_news(ringmix_news* news);

/* An event for threads that wait for ends of voices. Null: there is no memory. */
typedef struct ringmix_completion_event ringmix_completion_event;
RINGMIX_EXPORT ringmix_completion_event* ringmix_completion_event_new(void);
RINGMIX_EXPORT void ringmix_completion_event_free(ringmix_completion_event* event);
RINGMIX_EXPORT int ringmix_completion_event_wait(ringmix_completion_event* event, uint32_t timeout_ms);
RINGMIX_EXPORT ringmix_problem ringmix_voice_set_completion_event(ringmix_voice voice,
                                                                  ringmix_completion_event* event);

/* ---- Raw streams */

typedef struct ringmix_raw_stream {
    uint64_t id;
} ringmix_raw_stream;

typedef struct ringmix_raw_stream_options {
    const char* name;
    const char* archive_name;
    uint32_t channels; /* 1 or 2 */
    uint32_t bits;     /* 8 or 16 */
    uint32_t rate_hz;
    uint32_t capacity_frames;
} ringmix_raw_stream_options;

RINGMIX_EXPORT ringmix_problem ringmix_make_raw_stream(const ringmix_raw_stream_options* options,
                                                       ringmix_raw_stream* stream, ringmix_error* error);
RINGMIX_EXPORT int ringmix_raw_stream_is_alive(ringmix_raw_stream stream);
RINGMIX_EXPORT ringmix_problem ringmix_raw_stream_feed(ringmix_raw_stream stream, const void* samples,
                                                       uint32_t frames, ringmix_error* error);
RINGMIX_EXPORT ringmix_problem ringmix_raw_stream_play(ringmix_raw_stream stream);
RINGMIX_EXPORT ringmix_problem ringmix_raw_stream_stop(ringmix_raw_stream stream);
RINGMIX_EXPORT ringmix_problem ringmix_raw_stream_set_volume(ringmix_raw_stream stream, float left,
                                                             float right);
RINGMIX_EXPORT ringmix_problem ringmix_raw_stream_set_frequency(ringmix_raw_stream stream, float ratio);
RINGMIX_EXPORT int ringmix_raw_stream_is_playing(ringmix_raw_stream stream);

typedef struct ringmix_raw_stream_statistics {
    uint64_t resident_bytes;
    uint32_t fed_frames, played_frames, capacity_frames;
} ringmix_raw_stream_statistics;

RINGMIX_EXPORT ringmix_raw_stream_statistics ringmix_raw_stream_get_statistics(ringmix_raw_stream stream);
RINGMIX_EXPORT ringmix_voice ringmix_raw_stream_voice(ringmix_raw_stream stream);
RINGMIX_EXPORT ringmix_problem ringmix_raw_stream_free(ringmix_raw_stream stream);

/* ---- Statistics */

typedef struct ringmix_statistics {
    uint64_t sound_bytes;
    uint32_t voices, playing_voices;
    uint32_t archives, sounds;
    uint32_t ring_frames, base_frame, output_frame, clear_frame, horizon_frames;
    uint32_t queued_frames;
    uint32_t underruns, underrun_frames;
    uint32_t dropped_news;
} ringmix_statistics;

typedef struct ringmix_sound_statistics {
    uint64_t resident_bytes;
    uint64_t whole_bytes;
    uint32_t voices;
} ringmix_sound_statistics;

typedef struct ringmix_voice_statistics {
    uint64_t held_bytes;
    uint32_t ahead_frames;
    uint32_t queued_sounds;
    float mix_seconds;
} ringmix_voice_statistics;

typedef enum ringmix_voice_kind {
    RINGMIX_VOICE_SIMPLE = 0,
    RINGMIX_VOICE_SLIDING = 1,
    RINGMIX_VOICE_COMPRESSED = 2,
    RINGMIX_VOICE_STREAM = 3,
    RINGMIX_VOICE_COMPRESSED_STREAM = 4,
    RINGMIX_VOICE_RAW_STREAM = 5
} ringmix_voice_kind;

/* Worst measured seconds an output frame; 0: unmeasured. Gain path: any volume or frequency but 1.0. */
typedef struct ringmix_mix_costs {
    float seconds[2][2][2]; /* [is 16 bits][is stereo][is gain path] */
} ringmix_mix_costs;

RINGMIX_EXPORT ringmix_mix_costs ringmix_get_mix_costs(ringmix_voice_kind kind);
RINGMIX_EXPORT ringmix_statistics ringmix_get_statistics(void);
RINGMIX_EXPORT ringmix_sound_statistics ringmix_sound_get_statistics(ringmix_sound sound);
RINGMIX_EXPORT ringmix_voice_statistics ringmix_voice_get_statistics(ringmix_voice voice);

/* ---- Helper threads. Stop them before the engine; free stops. Null: there is no memory. */

typedef struct ringmix_loader ringmix_loader;
RINGMIX_EXPORT ringmix_loader* ringmix_loader_new(void);
RINGMIX_EXPORT ringmix_problem ringmix_loader_start(ringmix_loader* loader, ringmix_error* error);
RINGMIX_EXPORT void ringmix_loader_stop(ringmix_loader* loader);
RINGMIX_EXPORT int ringmix_loader_is_running(const ringmix_loader* loader);
RINGMIX_EXPORT uint32_t ringmix_loader_pass_count(const ringmix_loader* loader); /* since its start */
RINGMIX_EXPORT void ringmix_loader_free(ringmix_loader* loader);
/* For hosts with a loader of their own: what BaseWrapper_t has. 0, 258 after a time-out, 0xFFFFFFFF. */
RINGMIX_EXPORT void ringmix_load_streams(void);
RINGMIX_EXPORT uint32_t ringmix_wait_for_stream_load(uint32_t timeout_ms);

typedef struct ringmix_pump ringmix_pump;
RINGMIX_EXPORT ringmix_pump* ringmix_pump_new(void);
RINGMIX_EXPORT ringmix_problem ringmix_pump_start(ringmix_pump* pump, float ticks_per_second,
                                                  ringmix_error* error);
RINGMIX_EXPORT void ringmix_pump_stop(ringmix_pump* pump);
RINGMIX_EXPORT int ringmix_pump_is_running(const ringmix_pump* pump);
RINGMIX_EXPORT uint32_t ringmix_pump_tick_count(const ringmix_pump* pump); /* since its start */
RINGMIX_EXPORT void ringmix_pump_free(ringmix_pump* pump);

#ifdef __cplusplus
}
#endif

#endif /* RINGMIX_RINGMIX_H */
