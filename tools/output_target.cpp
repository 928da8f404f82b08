// output_target.cpp - see the header.
#include "tools/output_target.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tools {

bool OutputTarget_t::Write(const void* bytes, size_t count) {
    if (IsFile()) return file.Write(bytes, count);
    if (!IsWanted()) return true;
    if (pipeError == 0 && std::fwrite(bytes, 1, count, stdout) != count) pipeError = errno;
    return pipeError == 0;
}

outcome_t OutputTarget_t::Close() {
    if (IsFile()) return file.Commit();
    if (!IsWanted()) return Success();
    if (pipeError == 0 && std::fflush(stdout) != 0) pipeError = errno;
    return pipeError == 0 ? Success() : Failure("standard output", std::strerror(pipeError));
}

}  // namespace tools
