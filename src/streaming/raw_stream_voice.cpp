#include "streaming/raw_stream_voice.h"

RawStreamVoice_t::~RawStreamVoice_t() {
    Stop();
    rawSound->wantPlaying = false;
    rawSound->resumePosition = queueBase + position;
    rawSound->voice = nullptr;
}

bool RawStreamVoice_t::OnStopPosition() {
    rawSound->resumePosition = queueBase + position;
    return false;
}
