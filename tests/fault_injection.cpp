// fault_injection.cpp - what the linker puts in the place of the calls: it counts them on whichever thread,
// and asks the real one.
#include "fault_injection.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <new>

#include "interposed_device.h"
#include "platform/event.h"

namespace {

std::atomic<int> armedKind{-1};
std::atomic<uint32_t> calls{0}, firstFailing{0}, lastFailing{0};
std::atomic<bool> isWatching{true};

bool Fails(fault_t kind) {
    if (armedKind != static_cast<int>(kind) || !isWatching) return false;
    const uint32_t call = ++calls;
    if (call < firstFailing || call > lastFailing) return false;
    errno = kind == fault_t::allocation ? ENOMEM : EIO;
    return true;
}

class FaultyBuffer_t final : public InterposedBuffer_t {
  public:
    using InterposedBuffer_t::InterposedBuffer_t;
    output_result_t Lock(uint32_t offset, uint32_t bytes, void** first, uint32_t* firstBytes, void** second,
                         uint32_t* secondBytes, uint32_t flags) override {
        if (Fails(fault_t::lostBuffer)) return DSERR_BUFFERLOST;
        return InterposedBuffer_t::Lock(offset, bytes, first, firstBytes, second, secondBytes, flags);
    }
    static bool DeviceRefuses() { return Fails(fault_t::device); }

  private:
    bool Refuses() override { return Fails(fault_t::device); }
};

}  // namespace

void ArmFault(fault_t kind, uint32_t n, uint32_t more) {
    calls = 0;
    firstFailing = n;
    lastFailing = n + more;
    armedKind = static_cast<int>(kind);
}

void WatchCalls(bool isOn) { isWatching = isOn; }

bool DisarmFault() {
    armedKind = -1;
    return calls >= firstFailing;
}

// The names are the linker's: __wrap_ and __real_ before the mangled name.
#define RINGMIX_WRAPPED(result, name, parameters) \
    result __real_##name parameters;              \
    result __wrap_##name parameters;              \
    result __wrap_##name parameters

#define RINGMIX_FAULTY(kind, failure, result, name, parameters, arguments) \
    RINGMIX_WRAPPED(result, name, parameters) {                            \
        return Fails(fault_t::kind) ? failure : __real_##name arguments;   \
    }

extern "C" {

RINGMIX_FAULTY(reserve, nullptr, uint8_t*, _ZN8platform12ReservePagesEm, (std::size_t bytes), (bytes))
RINGMIX_FAULTY(reserve, nullptr, uint8_t*, _ZN8platform17AllocateZeroPagesEm, (std::size_t bytes), (bytes))
RINGMIX_FAULTY(reserve, nullptr, uint8_t*, _ZN8platform17AllocateHugePagesEm, (std::size_t bytes), (bytes))
RINGMIX_FAULTY(commit, false, bool, _ZN8platform11CommitPagesEPhm, (uint8_t * first, std::size_t bytes),
               (first, bytes))
RINGMIX_FAULTY(decommit, false, bool, _ZN8platform13DecommitPagesEPhm, (uint8_t * first, std::size_t bytes),
               (first, bytes))
RINGMIX_FAULTY(thread, nullptr, void*, _ZN8platform11StartThreadEPFvPvES0_,
               (void (*body)(void*), void* argument), (body, argument))
RINGMIX_FAULTY(event, false, bool, _ZN8platform7Event_t6CreateEv, (platform::Event_t * event), (event))
RINGMIX_FAULTY(openFile, nullptr, FILE*, _ZN8platform15OpenRegularFileEPKc, (const char* path), (path))
RINGMIX_FAULTY(openFile, nullptr, FILE*, fopen, (const char* path, const char* mode), (path, mode))
RINGMIX_FAULTY(readFile, 0, std::size_t, fread, (void* to, std::size_t size, std::size_t count, FILE* file),
               (to, size, count, file))
RINGMIX_FAULTY(seekFile, -1, int, fseek, (FILE * file, long offset, int whence), (file, offset, whence))
RINGMIX_FAULTY(seekFile, -1, int, fseeko, (FILE * file, off_t offset, int whence), (file, offset, whence))
RINGMIX_FAULTY(allocation, throw std::bad_alloc(), void*, _Znwm, (std::size_t bytes), (bytes))
RINGMIX_FAULTY(allocation, throw std::bad_alloc(), void*, _Znam, (std::size_t bytes), (bytes))
RINGMIX_FAULTY(allocation, nullptr, void*, _ZnwmRKSt9nothrow_t,
               (std::size_t bytes, const std::nothrow_t& tag), (bytes, tag))
RINGMIX_FAULTY(allocation, nullptr, void*, _ZnamRKSt9nothrow_t,
               (std::size_t bytes, const std::nothrow_t& tag), (bytes, tag))
RINGMIX_FAULTY(allocation, nullptr, void*, _ZnwmSt11align_val_tRKSt9nothrow_t,
               (std::size_t bytes, std::align_val_t alignment, const std::nothrow_t& tag),
               (bytes, alignment, tag))

RINGMIX_WRAPPED(output_result_t, _Z17DirectSoundCreatePKvPP12IDirectSoundPv,
                (const void* device, IDirectSound** directSound, void* outer)) {
    if (Fails(fault_t::device)) return DSERR_GENERIC;
    const output_result_t result =
        __real__Z17DirectSoundCreatePKvPP12IDirectSoundPv(device, directSound, outer);
    if (result == outputOk) *directSound = InterposedDevice_t<FaultyBuffer_t>::Before(*directSound);
    return result;
}
}
