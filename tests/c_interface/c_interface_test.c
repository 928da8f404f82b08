/* c_interface_test.c - a host in C against the shared library: what it hears, counts and is refused. */
#include <ringmix/ringmix.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;

#define CHECK(condition)                                                                     \
    do {                                                                                     \
        if (!(condition)) {                                                                  \
            fprintf(stderr, "%s:%d: %s (%s)\n", __FILE__, __LINE__, #condition, error.text); \
            ++failures;                                                                      \
        }                                                                                    \
    } while (0)

enum { frameCount = 2000, blockFrames = 735 };

static ringmix_error error;

/* A mono sound of 1, 2, 3, ... ; returns its length. */
static uint32_t MakeImage(unsigned char* image) {
    const int head = sprintf((char*)image, "Sound beep%c %d 0 1 1 0 1.000 ", 0, frameCount);
    uint32_t length = (uint32_t)head;
    for (int i = 1; i <= frameCount; ++i) {
        image[length++] = (unsigned char)(i & 0xFF);
        image[length++] = (unsigned char)(i >> 8);
    }
    return length;
}

/* Frames of `heard` that are not silent and continue 1, 2, 3, ... of the left channel; -1: one does not. */
static int CountInOrder(const int16_t* heard, uint32_t frames, int* next) {
    int count = 0;
    for (uint32_t i = 0; i < frames; ++i) {
        if (heard[2 * i] == 0) continue;
        if (heard[2 * i] != (*next)++) return -1;
        ++count;
    }
    return count;
}

static int PlayTicks(int ticks) {
    int16_t heard[blockFrames * 2];
    int total = 0, next = 1;
    for (int tick = 0; tick < ticks; ++tick) {
        ringmix_tick();
        const int count = CountInOrder(heard, ringmix_play_manual(heard, blockFrames), &next);
        if (count < 0) return -1;
        total += count;
    }
    return total;
}

static void TestSound(const unsigned char* image, uint32_t imageBytes) {
    ringmix_sound sound = {77};
    CHECK(ringmix_load_sound("/none.sn", NULL, &sound, &error) == RINGMIX_NOT_FOUND);
    CHECK(sound.id == 0 && error.problem == RINGMIX_NOT_FOUND && strstr(error.text, "/none.sn") != NULL);
    CHECK(ringmix_load_sound("/none.sn", NULL, &sound, NULL) == RINGMIX_NOT_FOUND);
    CHECK(ringmix_load_sound_from_memory("x.sn", image, imageBytes, NULL, &error) == RINGMIX_BAD_ARGUMENT);
    CHECK(ringmix_load_sound_from_memory("x.sn", image, imageBytes, &sound, &error) == RINGMIX_OK);
    CHECK(error.problem == RINGMIX_OK && error.text[0] == 0);
    const ringmix_sound_info info = ringmix_sound_get_info(sound);
    CHECK(info.kind == RINGMIX_SOUND_SIMPLE && info.frames == frameCount && info.bits == 16);
    CHECK(info.rate_hz == 44100 && info.channels == 1 && info.base_volume == 1.0f);
    CHECK(strcmp(ringmix_sound_name(sound), "beep") == 0);
    CHECK(strcmp(ringmix_sound_archive_name(sound), "x.sn") == 0);
    CHECK(ringmix_sound_read_requested(sound, &error) == RINGMIX_OK);

    ringmix_voice voice;
    ringmix_voice_options options;
    ringmix_default_voice_options(&options);
    options.wants_loop_news = 1;
    CHECK(ringmix_make_voice(sound, &options, &voice, &error) == RINGMIX_OK);
    CHECK(ringmix_voice_set_frequency(voice, 9.0f) == RINGMIX_BAD_ARGUMENT);
    CHECK(ringmix_voice_slide_volume(voice, 0, 9, 0, 1, 0, 1) == RINGMIX_INCOMPATIBLE);
    CHECK(ringmix_voice_can_play(voice, sound));
    CHECK(ringmix_voice_length(voice) == frameCount);
    CHECK(ringmix_voice_play(voice) == RINGMIX_OK);
    CHECK(ringmix_voice_is_playing(voice) == 1);
    CHECK(PlayTicks(6) == frameCount);
    /* 16 bits, mono, at full volume. */
    CHECK(ringmix_get_mix_costs(RINGMIX_VOICE_SIMPLE).seconds[1][0][0] ==
          ringmix_voice_get_statistics(voice).mix_seconds);
    ringmix_news news = {RINGMIX_LOOPED, 7, {0}};
    CHECK(ringmix_take_news(&news) == 1);
    CHECK(news.kind == RINGMIX_ENDED && news.rounds == 0 && news.voice.id == voice.id);
    CHECK(ringmix_take_news(&news) == 0);

    CHECK(ringmix_play_once(sound, NULL, NULL, &error) == RINGMIX_OK);
    CHECK(ringmix_get_statistics().playing_voices == 1);
    CHECK(PlayTicks(6) == frameCount);
    CHECK(ringmix_get_statistics().voices == 1);
    CHECK(ringmix_sound_get_statistics(sound).resident_bytes == 2 * frameCount);

    uint32_t bytes = 0, sounds = 0, missing = 7;
    CHECK(ringmix_save_archive_to_memory(NULL, 0, "x.sn", &bytes, &error) == RINGMIX_OK);
    void* archive = malloc(bytes);
    CHECK(ringmix_save_archive_to_memory(archive, bytes, "x.sn", &bytes, &error) == RINGMIX_OK);
    CHECK(ringmix_load_archive_from_memory(archive, bytes, NULL, &sounds, &missing, &error) == RINGMIX_OK);
    CHECK(sounds == 1 && missing == 0 && ringmix_archive_sound_count(NULL) == 1);
    CHECK(ringmix_archive_sound(NULL, 0).id != sound.id);
    free(archive);

    CHECK(ringmix_sound_free(sound, &error) == RINGMIX_OK);
    CHECK(!ringmix_voice_is_alive(voice) && !ringmix_sound_is_alive(sound));
    CHECK(ringmix_voice_play(voice) == RINGMIX_DEAD_HANDLE);
    CHECK(ringmix_make_voice(sound, NULL, &voice, &error) == RINGMIX_DEAD_HANDLE && voice.id == 0);
}

static void TestRawStreamAndHelpers(const unsigned char* samples) {
    const ringmix_raw_stream_options options = {"talk", NULL, 1, 16, 44100, frameCount};
    ringmix_raw_stream stream;
    CHECK(ringmix_make_raw_stream(&options, &stream, &error) == RINGMIX_OK);
    CHECK(ringmix_raw_stream_feed(stream, samples, frameCount + 1, &error) == RINGMIX_FULL);
    CHECK(ringmix_raw_stream_feed(stream, samples, frameCount, &error) == RINGMIX_OK);
    CHECK(ringmix_raw_stream_play(stream) == RINGMIX_OK);
    ringmix_completion_event* event = ringmix_completion_event_new();
    CHECK(ringmix_voice_set_completion_event(ringmix_raw_stream_voice(stream), event) == RINGMIX_OK);

    ringmix_loader* loader = ringmix_loader_new();
    ringmix_pump* pump = ringmix_pump_new();
    CHECK(ringmix_loader_start(loader, &error) == RINGMIX_OK);
    CHECK(ringmix_pump_start(pump, 0, &error) == RINGMIX_BAD_ARGUMENT);
    CHECK(ringmix_pump_start(pump, 60, &error) == RINGMIX_OK);
    int16_t heard[2 * 4000];
    int next = 1;
    CHECK(CountInOrder(heard, ringmix_play_manual(heard, 4000), &next) == frameCount - 1);
    CHECK(ringmix_completion_event_wait(event, 0) == 1);
    ringmix_completion_event_free(event);
    CHECK(ringmix_loader_is_running(loader) == 1 && ringmix_loader_pass_count(loader) > 0);
    CHECK(ringmix_pump_is_running(pump) == 1 && ringmix_pump_tick_count(pump) > 0);
    ringmix_pump_stop(pump);
    ringmix_loader_stop(loader);
    CHECK(!ringmix_pump_is_running(pump) && !ringmix_loader_is_running(loader));
    CHECK(!ringmix_pump_is_running(NULL) && ringmix_loader_pass_count(NULL) == 0);
    ringmix_pump_free(pump);
    ringmix_loader_free(loader);
    const ringmix_raw_stream_statistics statistics = ringmix_raw_stream_get_statistics(stream);
    CHECK(statistics.played_frames == frameCount - 1); /* the last one waits for what follows */
    CHECK(statistics.fed_frames == frameCount && statistics.capacity_frames == frameCount);
    CHECK(statistics.resident_bytes >= 2 * frameCount);
    CHECK(ringmix_raw_stream_free(stream) == RINGMIX_OK && !ringmix_raw_stream_is_alive(stream));
}

static int linesTold = 0;
static void CountLine(const char* line) { linesTold += line[0] != 0; }

/* Every backend that is listed can be selected, and nothing else or later. */
static void TestOutput(void) {
    CHECK(ringmix_backend_count() == 3 && ringmix_backend_name(3) == NULL);
    for (uint32_t i = 0; i < ringmix_backend_count(); ++i) {
        CHECK(ringmix_select_backend(ringmix_backend_name(i)) && ringmix_backend_description(i)[0] != 0);
        CHECK(strcmp(ringmix_selected_backend(), ringmix_backend_name(i)) == 0);
    }
    CHECK(!ringmix_select_backend("loud") && strcmp(ringmix_selected_backend(), "manual") == 0);
    const uint32_t devices = ringmix_device_count();
    CHECK(ringmix_device_name(devices) == NULL && ringmix_device_description(devices) == NULL);
    CHECK(devices == 0 || ringmix_device_name(devices - 1)[0] != 0);
    CHECK(!ringmix_select_device("") && ringmix_select_device("no-such-device") && ringmix_set_lead(20));
    CHECK(strcmp(ringmix_selected_device(), "no-such-device") == 0);

    ringmix_start_options options;
    ringmix_default_start_options(&options);
    options.backend = "system";
    ringmix_set_debug_sink(CountLine);
    CHECK(ringmix_start(&options, &error) == RINGMIX_CANNOT_START);
    ringmix_set_debug_sink(NULL);
    CHECK(strstr(error.text, "no-such-device does not start: ") != NULL && linesTold > 0);
    CHECK(!ringmix_get_output_status().is_open);
    CHECK(ringmix_select_device("default") && ringmix_set_lead(0));
}

static void TestOutputWhileRunning(void) {
    const ringmix_output_status status = ringmix_get_output_status();
    CHECK(status.is_open && status.rate_hz == 44100 && status.channels == 2 && status.jumps == 0);
    CHECK(strcmp(status.device, "manual") == 0 && strcmp(status.format, "S16_LE") == 0);
    CHECK(!ringmix_select_backend("null") && !ringmix_select_device("default") && !ringmix_set_lead(5));
    CHECK(!ringmix_is_mixing() && !ringmix_is_device_emulated());
}

int main(void) {
    TestOutput();
    unsigned char image[64 + 2 * frameCount];
    const uint32_t imageBytes = MakeImage(image);
    ringmix_start_options options;
    ringmix_default_start_options(&options);
    options.backend = "loud";
    CHECK(ringmix_start(&options, &error) == RINGMIX_NOT_FOUND && strstr(error.text, "loud") != NULL);
    CHECK(!ringmix_is_running());
    options.backend = "manual";
    options.worst_case_frames_per_second = 60;
    CHECK(ringmix_start(&options, &error) == RINGMIX_OK);
    CHECK(ringmix_start(NULL, &error) == RINGMIX_ALREADY_RUNS);
    TestOutputWhileRunning();
    TestSound(image, imageBytes);
    TestRawStreamAndHelpers(image + imageBytes - 2 * frameCount);
    ringmix_stop();
    ringmix_stop();
    CHECK(!ringmix_is_running() && ringmix_version()[0] != 0);
    return failures == 0 ? 0 : 1;
}
