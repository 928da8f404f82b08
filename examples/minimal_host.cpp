// Plays one sound file and writes what is heard to standard output, as raw 16-bit stereo at 44,100 Hz:
//   minimal_host rain.sn rain | aplay -f cd
#include <ringmix/audio_wrapper.h>
#include <ringmix/output_selection.h>
#include <ringmix/sound_wrapper.h>
#include <ringmix/voice_wrapper.h>

#include <cstdio>
#include <memory>

int main(int argc, char** argv) {
    if (argc != 3) return std::fprintf(stderr, "usage: minimal_host SOUND.sn NAME\n"), 2;
    OutputSelection_t::SelectBackend("manual");
    AudioWrapper_t::Initialize(nullptr, false, 4096, 32, 16384);
    if (!AudioWrapper_t::IsInitialized()) return 1;

    SoundWrapper_t::LoadSound(argv[1], nullptr);
    std::unique_ptr<SoundWrapper_t> sound(SoundWrapper_t::GetSound(argv[2], nullptr));
    if (sound->IsDefault()) return std::fprintf(stderr, "%s holds no sound named %s\n", argv[1], argv[2]), 1;
    std::unique_ptr<VoiceWrapper_t> voice(sound->CreateCompatibleVoice(0));
    voice->SetVolume(1.0f, 0.7f);
    voice->Play();

    short frame[735 * 2];  // 1/60 second
    for (int lastFrames = 30; lastFrames > 0; lastFrames -= voice->IsPlaying() ? 0 : 1) {
        AudioWrapper_t::MixVoices();  // once per frame of the host
        std::fwrite(frame, 4, OutputSelection_t::PlayManual(frame, 735), stdout);
    }
    AudioWrapper_t::DeInitialize();
}
