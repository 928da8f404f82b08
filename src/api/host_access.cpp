#include "api/host_access.h"

#include <cstdarg>
#include <cstdio>

#include "compressed/compressed_voice.h"
#include "foundation/handle_table.h"
#include "sounds/sound.h"
#include "streaming/compressed_stream_voice.h"
#include "streaming/raw_stream_voice.h"
#include "streaming/stream_voice.h"
#include "voices/sliding_voice.h"

namespace host {

platform::CriticalSection_t engineLock;

namespace {

// Sounds and voices have one each, since sounds may be loaded while a pump's tick deletes voices.
HandleTable_t soundHandles;
HandleTable_t voiceHandles;

}  // namespace

Sound_t* Find(SoundHandle_t sound) { return static_cast<Sound_t*>(soundHandles.Find(sound.id)); }
Voice_t* Find(VoiceHandle_t voice) { return static_cast<Voice_t*>(voiceHandles.Find(voice.id)); }

RawStreamSound_t* Find(RawStreamHandle_t stream) {
    return dynamic_cast<RawStreamSound_t*>(Find(SoundHandle_t{stream.id}));
}

void ReserveSoundHandle() { soundHandles.Reserve(); }
SoundHandle_t HandleOf(Sound_t& sound) { return {soundHandles.IdOf(sound.anchor, &sound)}; }
VoiceHandle_t HandleOf(Voice_t& voice) { return {voiceHandles.IdOf(voice.anchor, &voice)}; }

voice_kind_t KindOf(Voice_t& voice) {
    if (dynamic_cast<SlidingVoice_t*>(&voice)) return voice_kind_t::sliding;
    if (dynamic_cast<CompressedVoice_t*>(&voice)) return voice_kind_t::compressed;
    if (dynamic_cast<StreamVoice_t*>(&voice)) return voice_kind_t::stream;
    if (dynamic_cast<CompressedStreamVoice_t*>(&voice)) return voice_kind_t::compressedStream;
    if (dynamic_cast<RawStreamVoice_t*>(&voice)) return voice_kind_t::rawStream;
    return voice_kind_t::simple;
}

sound_kind_t KindOf(const Sound_t& sound) {
    if (sound.IsASortOf("RawStreamSound")) return sound_kind_t::rawStream;
    if (sound.IsASortOf("CompressedStreamSound")) return sound_kind_t::compressedStream;
    if (sound.IsASortOf("StreamSound")) return sound_kind_t::stream;
    if (sound.IsASortOf("CompressedSound")) return sound_kind_t::compressed;
    return sound_kind_t::simple;
}

result_t Refuse(problem_t problem, const char* format, ...) {
    result_t result;
    result.problem = problem;
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(result.text, sizeof result.text, format, arguments);
    va_end(arguments);
    return result;
}

bool IsVolume(float left) { return left >= 0.0f; }
bool IsFrequency(float ratio) { return ratio >= 0.2f && ratio < 8.0f; }

result_t RefuseVolume(float left) {
    return Refuse(problem_t::badArgument, "a volume of %g is below 0.0", static_cast<double>(left));
}

result_t RefuseFrequency(float ratio) {
    return Refuse(problem_t::badArgument, "a frequency of %g is not from 0.2 up to 8.0",
                  static_cast<double>(ratio));
}

}  // namespace host
