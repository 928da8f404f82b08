// alsa_output.cpp - the system's sound output: looping buffers in our own memory, and a thread that feeds the
// device from the one that is heard.
//
// All that can block happens on the feeding thread, the opening included. The host waits for the first
// opening for a while and for the thread's end for a while, and otherwise never; a thread that hangs in a
// device is left to itself, together with all that it may touch.
#include <time.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <new>
#include <thread>

#include "platform/alsa_pcm.h"
#include "platform/debug_output.h"
#include "platform/output_backends.h"
#include "platform/output_feeder.h"
#include "platform/output_status.h"
#include "platform/software_buffer.h"

namespace platform {
namespace {

constexpr uint32_t primaryBytes = 32768;
constexpr int64_t nsPerMs = 1'000'000, nsPerSecond = 1'000'000'000;
constexpr auto openWait = std::chrono::seconds(3);
constexpr auto endWait = std::chrono::seconds(1);
constexpr int64_t longestSleepNs = 20 * nsPerMs;  // how soon the end is seen

// Where not even a busy machine may delay the thread by more than a few milliseconds, and where it may.
constexpr uint32_t realTimeLeadFrames = outputRateHz * 10 / 1000, otherLeadFrames = outputRateHz * 40 / 1000;

int64_t NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// A plain sleep: waiting for a condition is far less punctual on a busy machine.
void SleepNs(int64_t ns) {
    if (ns <= 0) return;
    timespec left{ns / nsPerSecond, ns % nsPerSecond};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {}
}

uint32_t FirstLeadFrames(uint32_t wantedMs, thread_priority_t priority) {
    if (wantedMs > 0) return std::min(wantedMs, 1000u) * outputRateHz / 1000;
    return priority == thread_priority_t::realTime ? realTimeLeadFrames : otherLeadFrames;
}

// What the device, its buffers and the feeding thread share. Kept alive by whoever still needs it.
class Playback_t {
  public:
    explicit Playback_t(const alsa_library_t& library)
        : pcm(library, OutputRequest().device), wantedLeadMs(OutputRequest().leadMs) {}

    heard_ring_t heard;

    // Returns when the device is open, cannot be opened, or takes too long.
    static bool Start(const std::shared_ptr<Playback_t>& playback) {
        try {
            playback->thread = std::thread([playback] { playback->Run(); });
        } catch (const std::exception&) {  // no thread, or no memory for one
            OutputDebugLine("The system gives no thread for the sound output\n");
            return false;
        }
        std::unique_lock lock(playback->stateMutex);
        playback->stateChanged.wait_for(lock, openWait, [&] { return playback->state != state_t::opening; });
        if (playback->state == state_t::opening) OutputDebugLine("The sound output does not answer\n");
        if (playback->state == state_t::open) return true;
        lock.unlock();
        playback->End();
        return false;
    }

    void End() {
        mustEnd = true;
        std::unique_lock lock(stateMutex);
        const bool hasEnded = stateChanged.wait_for(lock, endWait, [&] { return state == state_t::ended; });
        lock.unlock();
        if (hasEnded) {
            thread.join();
        } else {
            thread.detach();
        }
    }

  private:
    enum class state_t { opening, open, ended };

    void Run() {
        try {
            FeedUntilEnd();
        } catch (const std::bad_alloc&) {
            OutputDebugLine("No memory for the sound output\n");
        }
        SetState(state_t::ended);
    }

    void FeedUntilEnd() {
        const thread_priority_t priority = RaiseThreadPriority("Sound output thread");
        OutputFeeder_t feeder(heard, pcm, FirstLeadFrames(wantedLeadMs, priority), priority);
        if (feeder.Open(NowNs())) {
            SetState(state_t::open);
            while (!mustEnd) {
                const int64_t before = NowNs();
                const int64_t next = before + feeder.Step(before);
                for (int64_t now = NowNs(); now < next && !mustEnd; now = NowNs())
                    SleepNs(std::min(next - now, longestSleepNs));
            }
            pcm.Close();
        }
    }

    void SetState(state_t newState) {
        const std::lock_guard lock(stateMutex);
        state = newState;
        stateChanged.notify_all();
    }

    AlsaPcm_t pcm;
    const uint32_t wantedLeadMs;
    std::thread thread;
    std::atomic<bool> mustEnd{false};
    std::mutex stateMutex;
    std::condition_variable stateChanged;
    state_t state = state_t::opening;
};

// Never lost, as far as its user can tell: while there is no device it plays on unheard.
class SystemBuffer_t final : public SoftwareBuffer_t {
  public:
    SystemBuffer_t(uint32_t bytes, std::shared_ptr<Playback_t> shared)
        : SoftwareBuffer_t(bytes), playback(std::move(shared)), ring(memory) {}

    output_result_t GetCurrentPosition(uint32_t* playCursor, uint32_t* writeCursor) override {
        const std::lock_guard lock(playback->heard.mutex);
        const int64_t now = NowNs();
        *playCursor = ring.PlayCursor(now);
        *writeCursor = ring.WriteCursor(now);
        return outputOk;
    }

    // Between the two nothing is taken, so no half-written stretch is heard.
    output_result_t Lock(uint32_t offset, uint32_t bytes, void** first, uint32_t* firstBytes, void** second,
                         uint32_t* secondBytes, uint32_t flags) override {
        playback->heard.mutex.lock();
        const output_result_t result =
            SoftwareBuffer_t::Lock(offset, bytes, first, firstBytes, second, secondBytes, flags);
        if (result != outputOk) playback->heard.mutex.unlock();
        return result;
    }
    output_result_t Unlock(void* first, uint32_t firstBytes, void*, uint32_t secondBytes) override {
        const auto offset = static_cast<uint32_t>(static_cast<uint8_t*>(first) - memory.data());
        ring.Written(NowNs(), offset, firstBytes + secondBytes);
        playback->heard.mutex.unlock();
        return outputOk;
    }

    output_result_t Play(uint32_t, uint32_t, uint32_t) override {
        const std::lock_guard lock(playback->heard.mutex);
        ring.Play(NowNs());
        playback->heard.ring = &ring;
        return outputOk;
    }
    output_result_t Stop() override {
        const std::lock_guard lock(playback->heard.mutex);
        ring.Stop(NowNs());
        return outputOk;
    }

  private:
    ~SystemBuffer_t() override {
        const std::lock_guard lock(playback->heard.mutex);
        if (playback->heard.ring == &ring) playback->heard.ring = nullptr;
    }

    std::shared_ptr<Playback_t> playback;
    PlayRing_t ring;
};

class SystemDevice_t final : public SoftwareDevice_t {
  public:
    explicit SystemDevice_t(std::shared_ptr<Playback_t> shared) : playback(std::move(shared)) {}

    output_result_t CreateSoundBuffer(const DSBUFFERDESC* description, IDirectSoundBuffer** buffer,
                                      void*) override {
        const bool isPrimary = (description->dwFlags & DSBCAPS_PRIMARYBUFFER) != 0;
        const uint32_t bytes = isPrimary ? primaryBytes : description->dwBufferBytes;
        if (bytes == 0 || bytes % outputFrameBytes != 0) return DSERR_INVALIDPARAM;
        return MakeSoftwareBuffer<SystemBuffer_t>(bytes, buffer, playback);
    }

  private:
    ~SystemDevice_t() override { playback->End(); }

    std::shared_ptr<Playback_t> playback;
};

output_result_t Open(IDirectSound** directSound) {
    const alsa_library_t* alsa = LoadAlsa();
    if (!alsa) {
        OutputDebugLine("No sound output: libasound is not installed\n");
        return DSERR_NODRIVER;
    }
    std::shared_ptr<Playback_t> playback;
    try {
        playback = std::make_shared<Playback_t>(*alsa);
    } catch (const std::bad_alloc&) {
        return DSERR_GENERIC;
    }
    if (!Playback_t::Start(playback)) return DSERR_NODRIVER;
    *directSound = new (std::nothrow) SystemDevice_t(playback);
    if (*directSound) return outputOk;
    playback->End();
    return DSERR_GENERIC;
}

}  // namespace

const output_backend_t systemBackend{"system", "the machine's sound output", Open, false, true};

}  // namespace platform
