// A wrapper without a voice answers harmlessly.
#include <ringmix/voice_wrapper.h>

#include "api/no_memory.h"
#include "voices/voice.h"

VoiceWrapper_t::VoiceWrapper_t() : voice(nullptr) {}
VoiceWrapper_t::VoiceWrapper_t(const VoiceWrapper_t&) = default;
VoiceWrapper_t::~VoiceWrapper_t() { voice = nullptr; }
VoiceWrapper_t& VoiceWrapper_t::operator=(const VoiceWrapper_t&) = default;

void VoiceWrapper_t::SetVoicePointer(Voice_t* newVoice) { voice = newVoice; }

void VoiceWrapper_t::Play() {
    api::IfMemoryAllows([&] {
        if (voice) voice->Play();
    });
}

void VoiceWrapper_t::Stop() {
    if (voice) voice->Stop();
}

void VoiceWrapper_t::Reset() {
    if (!voice) return;
    voice->Stop();
    voice->SetPos(0);
}

void VoiceWrapper_t::SetPos(unsigned int position) {
    if (voice) voice->SetPos(position);
}

unsigned int VoiceWrapper_t::GetPos() { return voice ? voice->queueBase + voice->position : 0; }

void VoiceWrapper_t::SetLooping(bool looping) {
    if (voice) voice->isLooping = looping;
}

bool VoiceWrapper_t::IsPlaying() { return voice && voice->isPlaying; }

void VoiceWrapper_t::SetVolume(float left, float right) {
    if (voice) voice->SetVolume(left, right);
}

void VoiceWrapper_t::FreeAll() { Voice_t::FreeAll(); }

void VoiceWrapper_t::FreeVoicesUsingSound(const char* soundName, const char* archiveName) {
    AudioSystem::FreeVoicesUsingSound(soundName, archiveName);
}

void VoiceWrapper_t::FreeVoicesUsingArchive(const char* archiveName) {
    AudioSystem::FreeVoicesUsingArchive(archiveName);
}
