#include "listening_output.h"

#include <chrono>
#include <mutex>

#include "interposed_device.h"

namespace {

using std::chrono::steady_clock;

// From the look that one piece was measured by to the end of writing the next: the engine keeps 137 ms of
// sound in the device for a host of 8 frames a second. Between two looks: the buffer holds 186 ms.
constexpr auto longestWithoutPiece = std::chrono::milliseconds(115),
               longestUnseen = std::chrono::milliseconds(170);
constexpr uint64_t effectFrames = 60'000;  // the queue, a whole turn of the ring, and the horizon

std::mutex mutex;  // also from each Lock to its Unlock
heard_sound_t sound;
uint64_t heardFrames = 0;
bool isListening = false;

class ListenedBuffer_t final : public InterposedBuffer_t {
  public:
    explicit ListenedBuffer_t(IDirectSoundBuffer* behind) : InterposedBuffer_t(behind) {
        DSBCAPS caps{};
        real->GetCaps(&caps);
        bytes = caps.dwBufferBytes;
        void *first = nullptr, *second = nullptr;
        uint32_t firstBytes = 0, secondBytes = 0;
        real->Lock(0, bytes, &first, &firstBytes, &second, &secondBytes, 0);
        memory = static_cast<const uint8_t*>(first);
        real->Unlock(first, firstBytes, second, secondBytes);
    }

    // Under the lock.
    void Collect() {
        const auto before = steady_clock::now();
        uint32_t playCursor = 0, writeCursor = 0;
        real->GetCurrentPosition(&playCursor, &writeCursor);
        if (steady_clock::now() - lastLook > longestUnseen) MarkLate(heardFrames);
        lastLook = before;
        for (; cursor != playCursor; cursor = (cursor + 4) % bytes, ++heardFrames)
            std::memcpy(&sound.frames.emplace_back(), memory + cursor, 4);
    }

    uint32_t Release() override {
        {
            const std::lock_guard lock(mutex);
            listened = nullptr;
        }
        return InterposedBuffer_t::Release();
    }
    output_result_t GetCurrentPosition(uint32_t* playCursor, uint32_t* writeCursor) override {
        const std::lock_guard lock(mutex);
        asked = steady_clock::now();
        Collect();
        return real->GetCurrentPosition(playCursor, writeCursor);
    }
    output_result_t Lock(uint32_t offset, uint32_t count, void** first, uint32_t* firstBytes, void** second,
                         uint32_t* secondBytes, uint32_t flags) override {
        mutex.lock();
        Collect();
        lockedEnd = (offset + count) % bytes;
        return real->Lock(offset, count, first, firstBytes, second, secondBytes, flags);
    }
    output_result_t Unlock(void* first, uint32_t firstBytes, void* second, uint32_t secondBytes) override {
        const output_result_t result = real->Unlock(first, firstBytes, second, secondBytes);
        if (lockedEnd != end) {  // not what has been written before
            if (steady_clock::now() - pieceAsked > longestWithoutPiece) MarkLate(sound.settledFrames);
            pieceAsked = asked;
            end = lockedEnd;
            sound.settledFrames = heardFrames;
        }
        mutex.unlock();
        return result;
    }
    output_result_t Play(uint32_t reserved, uint32_t priority, uint32_t flags) override {
        const std::lock_guard lock(mutex);
        listened = this;
        pieceAsked = lastLook = steady_clock::now();
        return real->Play(reserved, priority, flags);
    }
    static bool DeviceRefuses() { return false; }

    static inline ListenedBuffer_t* listened = nullptr;  // the one that plays

  private:
    static void MarkLate(uint64_t from) { sound.late.push_back({from, heardFrames + effectFrames}); }

    const uint8_t* memory;
    uint32_t bytes, cursor = 0, lockedEnd = 0, end = 0;
    steady_clock::time_point pieceAsked = steady_clock::now(), lastLook = pieceAsked;
    static inline thread_local steady_clock::time_point asked = steady_clock::now();
};

}  // namespace

void ListenToOutput(bool isOn) {
    isListening = isOn;
    sound = {};
    sound.frames.reserve(441'000);
    heardFrames = 0;
}

uint64_t CountHeardFrames() {
    const std::lock_guard lock(mutex);
    if (ListenedBuffer_t::listened) ListenedBuffer_t::listened->Collect();
    return heardFrames;
}

heard_sound_t TakeHeardSound() {
    const std::lock_guard lock(mutex);
    heard_sound_t taken = sound;
    sound.frames.clear();
    sound.late.clear();
    return taken;
}

extern "C" {
output_result_t __real__Z17DirectSoundCreatePKvPP12IDirectSoundPv(const void* device,
                                                                  IDirectSound** directSound, void* outer);
output_result_t __wrap__Z17DirectSoundCreatePKvPP12IDirectSoundPv(const void* device,
                                                                  IDirectSound** directSound, void* outer);
output_result_t __wrap__Z17DirectSoundCreatePKvPP12IDirectSoundPv(const void* device,
                                                                  IDirectSound** directSound, void* outer) {
    const output_result_t result =
        __real__Z17DirectSoundCreatePKvPP12IDirectSoundPv(device, directSound, outer);
    if (result == outputOk && isListening)
        *directSound = InterposedDevice_t<ListenedBuffer_t>::Before(*directSound);
    return result;
}
}
