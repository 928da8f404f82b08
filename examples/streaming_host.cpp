// Music that is read from disk while it plays, effects on top: two streams in the queue of one voice, over
// and over, and an effect every half second.
//   streaming_host FIRST.ssn NAME SECOND.ssn NAME EFFECT.sn NAME [SECONDS [BACKEND]]
//
// Both streams are .ssn files (or both .iss), of whatever formats. BACKEND is one of OutputSelection_t's;
// without it the default one opens, or else "null", which plays in real time and is heard by nobody.
//
// Hosts have <ringmix/...> only, and all but one line here needs no more. The exported classes have no call
// that puts a second sound into a voice's queue: for QueueSound this example includes the engine's own
// voice.h and sound.h, and links the static library.
#include <ringmix/audio_wrapper.h>
#include <ringmix/base_wrapper.h>
#include <ringmix/output_selection.h>
#include <ringmix/sound_wrapper.h>
#include <ringmix/voice_wrapper.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include "sounds/sound.h"
#include "voices/voice.h"

namespace {

constexpr unsigned framesPerSecond = 60;  // of the host
constexpr unsigned outputFrames = 44100 / framesPerSecond;
constexpr unsigned streamPageBytes = 4096, streamPagesAhead = 32;  // 0.74 s of 16-bit stereo at 44,100 Hz

bool Start(const char* backend) {
    if (backend && !OutputSelection_t::SelectBackend(backend)) return false;
    AudioWrapper_t::Initialize(nullptr, false, streamPageBytes, streamPagesAhead, 16384);
    if (!AudioWrapper_t::IsInitialized() && !backend) {  // a machine without a sound output
        OutputSelection_t::SelectBackend("null");
        AudioWrapper_t::Initialize(nullptr, false, streamPageBytes, streamPagesAhead, 16384);
    }
    return AudioWrapper_t::IsInitialized();
}

using sound_t = std::unique_ptr<SoundWrapper_t>;  // a handle: the engine owns the sound

// Loads fail without a word: ask for the sound, then whether it is only the one that stands in.
sound_t Load(const char* path, const char* name) {
    SoundWrapper_t::LoadSound(path, nullptr);
    sound_t sound(SoundWrapper_t::GetSound(name, nullptr));
    if (sound->IsDefault()) std::fprintf(stderr, "%s holds no sound named %s\n", path, name);
    return sound;
}

// The one thread that reads stream files. It waits with a limit, since nothing else tells it to end.
class Loader_t {
  public:
    ~Loader_t() {
        isOver = true;
        thread.join();
    }

  private:
    void Run() {
        while (!isOver) {
            if (BaseWrapper_t::WaitForStreamLoad(20) == 0) BaseWrapper_t::LoadStreams();
        }
    }

    std::atomic<bool> isOver{false};
    std::thread thread{&Loader_t::Run, this};  // the last member: it uses the others
};

// False if the sounds cannot be played.
bool PlayMusicAndEffects(char** files, unsigned seconds) {
    const sound_t first = Load(files[0], files[1]), second = Load(files[2], files[3]);
    const sound_t effect = Load(files[4], files[5]);
    if (first->IsDefault() || second->IsDefault() || effect->IsDefault()) return false;

    // A voice asks for its first pages when it is made, and for those of a sound that is queued.
    Voice_t* const queue = AudioSystem::GetSound(files[1], nullptr)->CreateCompatibleVoice(0);
    Sound_t* const next = AudioSystem::GetSound(files[3], nullptr);
    if (!queue->IsCompatibleSound(next)) {
        std::fprintf(stderr, "%s and %s do not play in one voice\n", files[0], files[2]);
        return false;
    }
    queue->QueueSound(next);
    VoiceWrapper_t music;
    music.SetVoicePointer(queue);
    music.SetVolume(0.6f, 0.6f);
    music.SetLooping(true);
    BaseWrapper_t::LoadStreams();  // so that the first note is there when it is due
    music.Play();

    const std::unique_ptr<VoiceWrapper_t> shot(effect->CreateCompatibleVoice(0));
    const Loader_t loader;  // ends before the engine does, on every way out of here
    auto due = std::chrono::steady_clock::now();
    for (unsigned frame = 0; frame < seconds * framesPerSecond; ++frame) {
        if (frame % (framesPerSecond / 2) == 0) {
            shot->Reset();
            shot->SetVolume(frame % framesPerSecond ? 1.0f : 0.3f, frame % framesPerSecond ? 0.3f : 1.0f);
            shot->Play();
        }
        AudioWrapper_t::MixVoices();
        OutputSelection_t::PlayManual(nullptr, outputFrames);  // does nothing but on "manual"
        if (frame % framesPerSecond == 0) std::printf("music at frame %u\n", music.GetPos());
        due += std::chrono::microseconds(1'000'000 / framesPerSecond);
        std::this_thread::sleep_until(due);  // stands in for the rest of the host's frame
    }
    std::printf("music at frame %u\n", music.GetPos());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 7 || argc > 9) {
        std::fprintf(
            stderr,
            "usage: streaming_host FIRST.ssn NAME SECOND.ssn NAME EFFECT.sn NAME [SECONDS [BACKEND]]\n");
        return 2;
    }
    const unsigned seconds = argc > 7 ? static_cast<unsigned>(std::strtoul(argv[7], nullptr, 10)) : 10;
    if (!Start(argc > 8 ? argv[8] : nullptr)) {
        std::fprintf(stderr, "no sound output\n");
        return 1;
    }
    AudioWrapper_t::SetWorstCaseFrameRate(framesPerSecond / 2);
    const bool hasPlayed = PlayMusicAndEffects(argv + 1, seconds);
    AudioWrapper_t::DeInitialize();  // frees voices and sounds
    return hasPlayed ? 0 : 1;
}
