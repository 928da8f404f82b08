#include "platform/output_backends.h"

#include <atomic>

namespace platform {
namespace {
const output_backend_t* const backends[] = {&systemBackend, &nullBackend, &manualBackend};
std::atomic<const output_backend_t*> selected{&systemBackend};
}  // namespace

std::span<const output_backend_t* const> OutputBackends() noexcept { return backends; }

const output_backend_t& SelectedOutput() noexcept { return *selected.load(std::memory_order_acquire); }

bool SelectOutput(std::string_view name) noexcept {
    for (const output_backend_t* backend : backends) {
        if (name == backend->name) {
            selected.store(backend, std::memory_order_release);
            return true;
        }
    }
    return false;
}

}  // namespace platform

output_result_t DirectSoundCreate(const void*, IDirectSound** directSound, void*) {
    return platform::SelectedOutput().open(directSound);
}
