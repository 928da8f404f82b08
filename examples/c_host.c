/* Plays one sound file and writes what is heard to standard output, as raw 16-bit stereo at 44,100 Hz:
 *   c_host rain.sn | aplay -f cd */
#include <ringmix/ringmix.h>
#include <stdio.h>

enum { frame_count = 735 /* 1/60 second */ };

static int play(const char* path, ringmix_error* error) {
    ringmix_sound sound;
    ringmix_voice voice;
    if (ringmix_load_sound(path, NULL, &sound, error) != RINGMIX_OK ||
        ringmix_play_once(sound, NULL, &voice, error) != RINGMIX_OK)
        return 0;
    int16_t frames[frame_count * 2];
    ringmix_news news = {0};
    for (int last = 30; last > 0; last -= news.kind == RINGMIX_ENDED) {
        ringmix_load_streams(); /* for a sound that streams; a real host has a ringmix_loader */
        ringmix_tick();         /* once per frame of the host */
        fwrite(frames, 4, ringmix_play_manual(frames, frame_count), stdout);
        ringmix_take_news(&news);
    }
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 2) return fprintf(stderr, "usage: c_host SOUND\n"), 2;
    ringmix_error error;
    ringmix_start_options options;
    ringmix_default_start_options(&options);
    options.backend = "manual";
    const int has_played = ringmix_start(&options, &error) == RINGMIX_OK && play(argv[1], &error);
    ringmix_stop();
    if (!has_played) fprintf(stderr, "c_host: %s\n", error.text);
    return has_played ? 0 : 1;
}
