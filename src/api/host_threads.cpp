// host_threads.cpp - the two helper threads: one reads for streams, one ticks while the host is busy.
//
// Both look at their stop flag whenever they wake, and a stop wakes them. Both end by themselves when the
// engine is gone.
#include <mutex>

#include "api/host_access.h"
#include "core/audio_system.h"
#include "foundation/relaxed.h"
#include "platform/event.h"
#include "platform/thread.h"
#include "streaming/base_stream.h"

namespace ringmix {

using host::Refuse;

namespace {

constexpr uint32_t joinStepMs = 1000;
constexpr uint32_t loaderWaitMs = 100;  // in case somebody else has taken the event
constexpr uint32_t retryMs = 1;         // until the host lets go of the lock

// A thread that can be told to stop.
struct helper_t {
    platform::Thread_t* thread = nullptr;
    Relaxed_t<bool> stop{false};
    Relaxed_t<bool> hasEnded{false};
    Relaxed_t<uint32_t> count{0};

    uint32_t Count() const { return count; }

    bool IsRunning() const { return thread && !hasEnded; }

    void Join() {
        while (thread && !platform::JoinThread(thread, joinStepMs)) {}
        thread = nullptr;
    }

    result_t Start(void (*body)(void*), void* argument) {
        if (!AudioSystem::initialized) return Refuse(problem_t::notRunning, "the engine does not run");
        if (IsRunning()) return Refuse(problem_t::alreadyRuns, "it runs already");
        Join();  // one that ended with an earlier run of the engine
        stop = hasEnded = false;
        count = 0;
        thread = platform::StartThread(body, argument);
        return thread ? result_t{} : Refuse(problem_t::outOfMemory, "the system gives no thread");
    }
};

result_t RefuseWithoutState() { return Refuse(problem_t::outOfMemory, "out of memory"); }

}  // namespace

struct Loader_t::state_t {
    helper_t helper;

    static void Run(void* self) {
        helper_t& helper = static_cast<state_t*>(self)->helper;
        // The first pass waits for nothing: what was asked for may have been announced before.
        do {
            AudioSystem::LoadStreams();
            helper.count = helper.count + 1;
        } while (!helper.stop && AudioSystem::streamEvent.Wait(loaderWaitMs) != platform::waitFailed &&
                 !helper.stop);
        helper.hasEnded = true;
    }
};

Loader_t::Loader_t() : state(new (std::nothrow) state_t) {}

Loader_t::~Loader_t() {
    Stop();
    delete state;
}

result_t Loader_t::Start() { return state ? state->helper.Start(state_t::Run, state) : RefuseWithoutState(); }

void Loader_t::Stop() {
    if (!state) return;
    state->helper.stop = true;
    AudioSystem::streamEvent.Set();
    state->helper.Join();
}

bool Loader_t::IsRunning() const { return state && state->helper.IsRunning(); }
uint32_t Loader_t::GetPassCount() const { return state ? state->helper.Count() : 0; }

struct Pump_t::state_t {
    helper_t helper;
    platform::Event_t wake;
    uint32_t periodMs = 0;

    // False: the host is inside a call; not now. Never waits for the lock: the host may be waiting for time.
    bool TryTick() {
        const std::unique_lock lock(host::engineLock, std::try_to_lock);
        if (!lock.owns_lock()) return false;
        if (!AudioSystem::initialized) helper.stop = true;
        if (helper.stop || AudioSystem::paused) return true;
        AudioSystem::MixVoices();
        helper.count = helper.count + 1;
        return true;
    }

    static void Run(void* argument) {
        auto& self = *static_cast<state_t*>(argument);
        while (!self.helper.stop) (void)self.wake.Wait(self.TryTick() ? self.periodMs : retryMs);
        self.helper.hasEnded = true;
    }
};

Pump_t::Pump_t() : state(new (std::nothrow) state_t) {
    if (state) state->wake.Create();
}

Pump_t::~Pump_t() {
    Stop();
    delete state;
}

result_t Pump_t::Start(float ticksPerSecond) {
    if (!state) return RefuseWithoutState();
    if (!(ticksPerSecond >= 1.0f && ticksPerSecond <= 1000.0f))
        return Refuse(problem_t::badArgument, "%g ticks a second are not from 1 to 1000",
                      static_cast<double>(ticksPerSecond));
    if (!state->helper.IsRunning()) state->periodMs = static_cast<uint32_t>(1000.0f / ticksPerSecond);
    return state->helper.Start(state_t::Run, state);
}

void Pump_t::Stop() {
    if (!state) return;
    state->helper.stop = true;
    state->wake.Set();
    state->helper.Join();
}

bool Pump_t::IsRunning() const { return state && state->helper.IsRunning(); }
uint32_t Pump_t::GetTickCount() const { return state ? state->helper.Count() : 0; }

}  // namespace ringmix
