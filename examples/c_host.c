/* Plays one sound file and writes what is heard to standard output, as raw 16-bit stereo at 44,100 Hz:
 *   c_host rain.sn | aplay -f cd */
#include <ringmix/ringmix.h>
#include <stdio.h>

int main(int argc, char** argv) {
    if (argc != 2) return fprintf(stderr, "usage: c_host SOUND\n"), 2;
    ringmix_error error;
    ringmix_sound sound;
    ringmix_voice voice;
    ringmix_start_options options;
    ringmix_default_start_options(&options);
    options.backend = "manual";
    if (ringmix_start(&options, &error) != RINGMIX_OK ||
        ringmix_load_sound(argv[1], NULL, &sound, &error) != RINGMIX_OK ||
        ringmix_play_once(sound, NULL, &voice, &error) != RINGMIX_OK)
        return fprintf(stderr, "c_host: %s\n", error.text), 1;

    int16_t frame[735 * 2]; /* 1/60 second */
    ringmix_news news = {0};
    for (int last_frames = 30; last_frames > 0; last_frames -= news.kind == RINGMIX_ENDED) {
        ringmix_load_streams(); /* a sound that streams asks for its pages; a real host has a ringmix_loader
                                 */
        ringmix_tick();         /* once per frame of the host */
        fwrite(frame, 4, ringmix_play_manual(frame, 735), stdout);
        ringmix_take_news(&news);
    }
    ringmix_stop();
    return 0;
}
