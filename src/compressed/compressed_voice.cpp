#include "compressed/compressed_voice.h"

#include <algorithm>

CompressedVoice_t::CompressedVoice_t(CompressedSound_t* sound, int32_t mode)
    : Voice_t(sound, mode), compressedSound(sound), decoderState(sound->NewDecoderState()) {
    mixFlags = prepareExact;
}

CompressedVoice_t::~CompressedVoice_t() {
    Stop();
    compressedSound->ReleaseWindow(window);
    compressedSound->FreeDecoderState(decoderState);
}

// Frames behind the advance that the kernel reads are decoded with this pass and carried over to the next.
bool CompressedVoice_t::PrepareFrame(uint32_t frames) {
    const uint32_t decodedEnd = window.DecodedEnd(position);
    const uint32_t end = std::max(PassEnd(frames), decodedEnd);
    return compressedSound->MoveWindow(window, position, end, decodedEnd, decoderState);
}

void CompressedVoice_t::SetSound(Sound_t* sound, uint32_t newBase) {
    auto* next = static_cast<CompressedSound_t*>(sound);
    // Before anything changes, as it may find no memory. A state that is given back is there to be taken
    // again.
    void* fresh = decoderState ? nullptr : next->NewDecoderState();
    compressedSound->ReleaseWindow(window);
    if (decoderState) {
        compressedSound->FreeDecoderState(decoderState);
        fresh = next->NewDecoderState();
    }
    compressedSound = next;
    decoderState = fresh;
    Voice_t::SetSound(sound, newBase);
}

void CompressedVoice_t::SetPos(uint32_t target) {
    Voice_t::SetPos(target);
    if (totalLength != 0) compressedSound->ResetWindow(window, position);
}

bool CompressedVoice_t::IsCompatibleSound(Sound_t* sound) { return sound->IsASortOf("CompressedSound"); }

void CompressedVoice_t::ReleaseSound() {
    Sound_t* silence = CompressedSound_t::GetDefaultSound();
    QueueAlone(silence);
    SetSound(silence, 0);
    totalLength = 0;
}
