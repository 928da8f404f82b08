#include <ringmix/audio_wrapper.h>

#include "core/audio_system.h"
#include "output/dir_sound.h"

AudioWrapper_t::AudioWrapper_t() = default;
AudioWrapper_t::AudioWrapper_t(const AudioWrapper_t&) = default;
AudioWrapper_t::~AudioWrapper_t() = default;
AudioWrapper_t& AudioWrapper_t::operator=(const AudioWrapper_t&) = default;

void AudioWrapper_t::Initialize(void* window, bool usePrimaryBuffer, unsigned int streamPageBytes,
                                unsigned int streamPagesAhead, unsigned int compressedPageBytes) {
    (void)AudioSystem::Initialize(window, usePrimaryBuffer, streamPageBytes, streamPagesAhead,
                                  compressedPageBytes);
}

void AudioWrapper_t::DeInitialize() { AudioSystem::DeInitialize(); }
bool AudioWrapper_t::IsInitialized() { return AudioSystem::IsInitialized(); }
bool AudioWrapper_t::IsMixing() { return AudioSystem::IsMixing(); }

bool AudioWrapper_t::IsDirSoundEmulationMode() {
    return AudioSystem::initialized && AudioSystem::device->emulated;
}

IDirectSound* AudioWrapper_t::GetDSoundObjectPtr() {
    return AudioSystem::initialized ? AudioSystem::device->GetDirectSound() : nullptr;
}

void AudioWrapper_t::SetWorstCaseFrameRate(float framesPerSecond) {
    AudioSystem::SetWorstCaseFrameRate(framesPerSecond);
}

void AudioWrapper_t::MixVoices() { AudioSystem::MixVoices(); }
void AudioWrapper_t::Pause() { AudioSystem::Pause(); }
void AudioWrapper_t::Resume() { AudioSystem::Resume(); }
