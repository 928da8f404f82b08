#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

FILE* OpenRegularFile(const char* path) noexcept {
    const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) return nullptr;
    struct stat status {};
    const bool isFile = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    FILE* file = isFile ? fdopen(descriptor, "rb") : nullptr;
    if (!file) close(descriptor);
    return file;
}

}  // namespace platform
