// Music that is read from disk while it plays, effects on top: two streams in the queue of one voice, over
// and over, and an effect every half second.
//   streaming_host FIRST.ssn SECOND.ssn EFFECT.sn [SECONDS [BACKEND]]
//
// Both streams are .ssn files (or both .iss), of whatever formats. BACKEND is one of OutputSelection_t's;
// without it the default one opens, or else "null", which plays in real time and is heard by nobody.
#include <ringmix/audio_wrapper.h>
#include <ringmix/host.h>
#include <ringmix/output_selection.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

constexpr unsigned framesPerSecond = 60;  // of the host
constexpr unsigned outputFrames = 44100 / framesPerSecond;

// Tells why something failed, if it did.
bool Check(const ringmix::result_t& result) {
    if (!result) std::fprintf(stderr, "streaming_host: %s\n", result.text);
    return static_cast<bool>(result);
}

bool Start(const char* backend) {
    ringmix::start_options_t options;
    options.backend = backend;
    options.streamPageBytes = 4096;
    options.streamPagesAhead = 32;  // 0.74 s of 16-bit stereo at 44,100 Hz
    options.worstCaseFramesPerSecond = framesPerSecond / 2;
    if (!backend && ringmix::Start(options)) return true;
    if (!backend) options.backend = "null";  // a machine without a sound output
    return Check(ringmix::Start(options));
}

bool Load(const char* path, ringmix::SoundHandle_t& sound) {
    return Check(ringmix::SoundHandle_t::Load(path, nullptr, sound));
}

// False if the sounds cannot be played.
bool PlayMusicAndEffects(char** files, unsigned seconds) {
    ringmix::SoundHandle_t first, second, effect;
    if (!Load(files[0], first) || !Load(files[1], second) || !Load(files[2], effect)) return false;

    // A voice asks for its first pages when it is made, and for those of a sound that is queued.
    ringmix::VoiceHandle_t music, shot;
    if (!Check(first.MakeVoice(music)) || !Check(music.Queue(second))) return false;
    music.SetVolume(0.6f, 0.6f);
    music.SetLooping(true);
    first.ReadRequested();  // so that the first note is there when it is due
    music.Play();

    ringmix::Loader_t loader;  // ends before the engine does, on every way out of here
    if (!Check(loader.Start())) return false;
    auto due = std::chrono::steady_clock::now();
    for (unsigned frame = 0; frame < seconds * framesPerSecond; ++frame) {
        if (frame % (framesPerSecond / 2) == 0) {
            ringmix::voice_options_t side;
            side.leftVolume = frame % framesPerSecond ? 1.0f : 0.3f;
            side.rightVolume = frame % framesPerSecond ? 0.3f : 1.0f;
            if (!Check(effect.PlayOnce(shot, side))) return false;
        }
        AudioWrapper_t::MixVoices();
        OutputSelection_t::PlayManual(nullptr, outputFrames);  // does nothing but on "manual"
        if (frame % framesPerSecond == 0) std::printf("music at frame %u\n", music.GetPosition());
        due += std::chrono::microseconds(1'000'000 / framesPerSecond);
        std::this_thread::sleep_until(due);  // stands in for the rest of the host's frame
    }
    std::printf("music at frame %u\n", music.GetPosition());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4 || argc > 6) {
        std::fprintf(stderr, "usage: streaming_host FIRST.ssn SECOND.ssn EFFECT.sn [SECONDS [BACKEND]]\n");
        return 2;
    }
    const unsigned seconds = argc > 4 ? static_cast<unsigned>(std::strtoul(argv[4], nullptr, 10)) : 10;
    if (!Start(argc > 5 ? argv[5] : nullptr)) return 1;
    const bool hasPlayed = PlayMusicAndEffects(argv + 1, seconds);
    ringmix::Stop();  // frees voices and sounds
    return hasPlayed ? 0 : 1;
}
