// input_file.cpp - see the header.
#include "input_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace tools {

outcome_t CheckReadable(const std::filesystem::path& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (error) return Failure(path.string(), error.message());
    if (std::filesystem::is_directory(status)) return Failure(path.string(), std::strerror(EISDIR));
    if (!std::filesystem::is_regular_file(status)) return Failure(path.string(), "Not a regular file");
    if (access(path.c_str(), R_OK) != 0) return SystemFailure(path.string());
    return Success();
}

outcome_t ReadWholeFile(const std::filesystem::path& path, size_t byteLimit, std::string& bytes) {
    if (outcome_t readable = CheckReadable(path); !readable) return readable;
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (file == nullptr) return SystemFailure(path.string());
    bytes.clear();
    char block[65536];
    for (size_t count; (count = std::fread(block, 1, sizeof block, file.get())) > 0;) {
        bytes.append(block, count);
        if (bytes.size() > byteLimit) return Failure(path.string(), std::strerror(EFBIG));
    }
    return std::ferror(file.get()) == 0 ? Success() : SystemFailure(path.string());
}

}  // namespace tools
