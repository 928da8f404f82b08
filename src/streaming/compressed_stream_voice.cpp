#include "streaming/compressed_stream_voice.h"

#include <algorithm>

#include "core/settings.h"
#include "foundation/raised_flag.h"
#include "streaming/queue_walk.h"

namespace {

CompressedStreamSound_t* StreamOf(const ListNode_t* node) {
    return static_cast<CompressedStreamSound_t*>(node->data);
}

}  // namespace

CompressedStreamVoice_t::CompressedStreamVoice_t(CompressedStreamSound_t* sound, int32_t mode)
    : Voice_t(sound, mode),
      streamSound(sound),
      lookAheadBytes(std::min(AudioSystem::streamLookAheadBytes, sound->compressedBytes)) {
    mixFlags = prepareExact;
    holds.KeepRoom(soundQueue.count);
    decoderState = sound->NewDecoderState();  // last of what may find no memory: nobody would give it back
    (void)HoldUpTo(0);
}

CompressedStreamVoice_t::~CompressedStreamVoice_t() {
    Stop();
    holds.DropAll();
    streamSound->ReleaseDecoded(window);
    streamSound->FreeDecoderState(decoderState);
}

// Holds the bytes from which the frames from the position up to `end` are decoded, and the look-ahead behind
// them.
bool CompressedStreamVoice_t::HoldUpTo(uint32_t end) {
    uint64_t startByte = 0, endByte = 0;
    streamSound->GetCompressedRange(startByte, endByte, position, end);
    const uint64_t soundBytes = streamSound->compressedBytes;
    // A frame inside a block may end inside its byte, whose other half is then the next frame's.
    const uint64_t readEnd = end > position ? endByte + 1 : endByte;
    const uint64_t wantedEnd = std::max(endByte + lookAheadBytes, readEnd);
    FilePages_t& pages = streamSound->filePages;
    holds.Want(pages, pages.SpanOf(startByte, std::min(wantedEnd, soundBytes)));
    uint64_t rest = endByte + lookAheadBytes > soundBytes ? endByte + lookAheadBytes - soundBytes : 0;
    for (QueueWalk_t walk(*this); rest > 0 && walk.node; walk.Next()) {
        CompressedStreamSound_t& sound = *StreamOf(walk.node);
        const uint64_t bytes = std::min<uint64_t>(rest, sound.compressedBytes);
        holds.Want(sound.filePages, sound.filePages.SpanOf(0, bytes));
        rest -= bytes;
    }
    return holds.Update();
}

bool CompressedStreamVoice_t::PrepareFrame(uint32_t frames) {
    const uint32_t decodedEnd = window.DecodedEnd(position);
    const uint32_t end = std::max(PassEnd(frames), decodedEnd);
    if (!HoldUpTo(end)) return false;
    if (PageWatch_t* watch = streamSound->filePages.watch) watch->OnUse(decodedEnd, end);
    return streamSound->MoveDecoded(window, position, end, decodedEnd, decoderState);
}

void CompressedStreamVoice_t::SetSound(Sound_t* sound, uint32_t newBase) {
    auto* next = static_cast<CompressedStreamSound_t*>(sound);
    // Before anything changes, as it may find no memory. A state that is given back is there to be taken
    // again.
    void* fresh = decoderState ? nullptr : next->NewDecoderState();
    streamSound->ReleaseDecoded(window);
    if (decoderState) {
        streamSound->FreeDecoderState(decoderState);
        fresh = next->NewDecoderState();
    }
    streamSound = next;
    decoderState = fresh;
    Voice_t::SetSound(sound, newBase);
    if (!isMoving) (void)HoldUpTo(0);
}

void CompressedStreamVoice_t::SetPos(uint32_t target) {
    if (totalLength == 0) return;
    isMoving = true;
    Voice_t::SetPos(target);
    isMoving = false;
    (void)HoldUpTo(position);
    streamSound->ResetDecoded(window, position);
}

bool CompressedStreamVoice_t::IsCompatibleSound(Sound_t* sound) {
    return sound->IsASortOf("CompressedStreamSound");
}

// A look-ahead that a short queue has cut grows with it.
void CompressedStreamVoice_t::QueueSound(Sound_t* sound) {
    const uint32_t lengthBefore = totalLength;
    holds.KeepRoom(soundQueue.count + 1);  // first: it may find no memory
    {
        const RaisedFlag_t moving(isMoving);
        Voice_t::QueueSound(sound);
    }
    if (totalLength == lengthBefore) return;  // refused
    const uint64_t addedBytes = static_cast<CompressedStreamSound_t*>(sound)->compressedBytes;
    lookAheadBytes = static_cast<uint32_t>(
        std::min<uint64_t>(lookAheadBytes + addedBytes, AudioSystem::streamLookAheadBytes));
    (void)HoldUpTo(position);
}

void CompressedStreamVoice_t::ReleaseSound() {
    Sound_t* silence = CompressedStreamSound_t::GetDefaultSound();
    QueueAlone(silence);
    lookAheadBytes = 0;
    isMoving = true;
    SetSound(silence, 0);
    isMoving = false;
    totalLength = 0;
    (void)HoldUpTo(0);
}
