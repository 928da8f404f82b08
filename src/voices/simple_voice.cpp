#include "voices/simple_voice.h"

#include "sounds/simple_sound.h"

bool SimpleVoice_t::IsCompatibleSound(Sound_t* sound) { return sound->IsASortOf("SimpleSound"); }

void SimpleVoice_t::ReleaseSound() {
    Sound_t* silence = SimpleSound_t::GetDefaultSound();
    QueueAlone(silence);
    totalLength = 0;
    SetSound(silence, 0);
}
