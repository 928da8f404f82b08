#include "platform/alsa_library.h"

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>

#include "platform/debug_output.h"

namespace platform {
namespace {

template <typename Function>
bool Find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

// Never unloaded: its plugins leave threads and thread-local data behind.
const alsa_library_t* Load() noexcept {
    void* library = dlopen("libasound.so.2", RTLD_NOW);
    if (!library) return nullptr;
    static alsa_library_t functions;
    bool isComplete = true;
#define RINGMIX_ALSA_FIND(name) isComplete = Find(library, "snd_" #name, functions.name) && isComplete;
    RINGMIX_ALSA_FUNCTIONS(RINGMIX_ALSA_FIND)
#undef RINGMIX_ALSA_FIND
    return isComplete ? &functions : nullptr;
}

void Tell(const char*, int, const char* function, int, const char* form, va_list values) {
    char text[200], line[256];
    std::vsnprintf(text, sizeof text, form, values);
    std::snprintf(line, sizeof line, "ALSA, %s: %s\n", function, text);
    OutputDebugLine(line);
}

}  // namespace

const alsa_library_t* LoadAlsa() noexcept {
    static const alsa_library_t* const loaded = Load();
    return loaded;
}

AlsaMessages_t::AlsaMessages_t(const alsa_library_t& library) noexcept
    : alsa(library), before(library.lib_error_set_local(Tell)) {}

AlsaMessages_t::~AlsaMessages_t() { alsa.lib_error_set_local(before); }

}  // namespace platform
