// host_access.h - what the operations of host.h have in common: one lock, handles to objects and back,
// refusals with a text.
#pragma once

#include <ringmix/host.h>

#include <new>

#include "core/settings.h"
#include "platform/critical_section.h"

class RawStreamSound_t;
class Sound_t;
class Voice_t;

namespace host {

using namespace ringmix;

// Held by every operation while it looks at voices, and by a pump while it ticks. A pump never waits for it.
extern platform::CriticalSection_t engineLock;
using engineLock_t = platform::CriticalSectionLock_t;

// Null for a handle that is dead.
Sound_t* Find(SoundHandle_t sound);
Voice_t* Find(VoiceHandle_t voice);
RawStreamSound_t* Find(RawStreamHandle_t stream);

// Errors: std::bad_alloc.
void ReserveSoundHandle();  // for the next sound
SoundHandle_t HandleOf(Sound_t& sound);
VoiceHandle_t HandleOf(Voice_t& voice);

// From now on news tell what becomes of the voice.
void Watch(Voice_t& voice, bool wantsLoopNews);
void ClearNews();
uint32_t DroppedNews();

voice_kind_t KindOf(Voice_t& voice);
sound_kind_t KindOf(const Sound_t& sound);

[[gnu::format(printf, 2, 3)]] result_t Refuse(problem_t problem, const char* format, ...);

bool IsVolume(float left);      // not negative, and a number
bool IsFrequency(float ratio);  // what Voice_t::SetFrequency takes
result_t RefuseVolume(float left);
result_t RefuseFrequency(float ratio);

// Runs an operation that needs the engine, under the lock. What it throws is a lack of memory.
template <typename Operation>
result_t WithEngine(Operation operate) {
    const engineLock_t lock(engineLock);
    if (!AudioSystem::initialized) return Refuse(problem_t::notRunning, "the engine does not run");
    try {
        return operate();
    } catch (const std::bad_alloc&) {
        return Refuse(problem_t::outOfMemory, "out of memory");
    }
}

// The same for an operation on what a handle refers to.
template <typename Handle, typename Operation>
result_t With(Handle handle, Operation operate) {
    return WithEngine([&] {
        auto* object = Find(handle);
        if (!object) return Refuse(problem_t::deadHandle, "the handle refers to nothing, or to what is gone");
        return operate(*object);
    });
}

// A value of what a handle refers to; `otherwise` for a dead one.
template <typename Value, typename Handle, typename Getter>
Value Ask(Handle handle, Value otherwise, Getter get) {
    const engineLock_t lock(engineLock);
    auto* object = AudioSystem::initialized ? Find(handle) : nullptr;
    return object ? get(*object) : otherwise;
}

}  // namespace host
