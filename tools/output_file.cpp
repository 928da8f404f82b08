// output_file.cpp - write beside, then rename.
#include "output_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tools {

namespace {

// Opens a new file in the folder of `name`; -1 with errno if that fails.
int OpenBeside(const std::filesystem::path& name, std::filesystem::path& made) {
    std::string pattern = (name.parent_path() / ".ringmix-XXXXXX").string();
    const int descriptor = mkstemp(pattern.data());
    if (descriptor >= 0) made = pattern;
    return descriptor;
}

// mkstemp makes files that only their owner may read; a result is an ordinary file.
void GiveOrdinaryPermissions(int descriptor) {
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(descriptor, 0666 & ~mask);
}

}  // namespace

outcome_t SystemFailure(std::string subject) { return Failure(std::move(subject), std::strerror(errno)); }

OutputFile_t::~OutputFile_t() {
    if (file != nullptr) std::fclose(file);
    if (!temporary.empty()) unlink(temporary.c_str());
}

outcome_t OutputFile_t::Create(const std::filesystem::path& targetPath) {
    shownName = targetPath.string();
    std::error_code error;
    target = targetPath;
    const auto status = std::filesystem::status(targetPath, error);
    if (std::filesystem::is_directory(status)) return Failure(shownName, std::strerror(EISDIR));
    const std::filesystem::path folder = targetPath.parent_path();
    if (!folder.empty() && !std::filesystem::is_directory(folder, error))
        return Failure(shownName, "There is no folder " + folder.string());
    if (std::filesystem::exists(status)) {
        if (!std::filesystem::is_regular_file(status)) return Failure(shownName, "Not a regular file");
        target = std::filesystem::canonical(targetPath, error);
        if (error) return Failure(shownName, error.message());
    }
    if (std::filesystem::is_symlink(std::filesystem::symlink_status(target, error))) {
        target = std::filesystem::weakly_canonical(targetPath, error);  // to a file that is not there yet
        if (error) return Failure(shownName, error.message());
    }
    const int descriptor = OpenBeside(target, temporary);
    if (descriptor < 0) return SystemFailure(shownName);
    GiveOrdinaryPermissions(descriptor);
    file = fdopen(descriptor, "wb");
    if (file != nullptr) return Success();
    outcome_t failure = SystemFailure(shownName);
    close(descriptor);
    return failure;
}

bool OutputFile_t::Write(const void* bytes, size_t count) {
    if (writeError == 0 && std::fwrite(bytes, 1, count, file) != count) writeError = errno;
    return writeError == 0;
}

const std::filesystem::path& OutputFile_t::CloseForWriter() {
    if (file != nullptr) std::fclose(file);
    file = nullptr;
    return temporary;
}

outcome_t OutputFile_t::Commit() {
    if (file != nullptr && std::fclose(file) != 0 && writeError == 0) writeError = errno;
    file = nullptr;
    if (writeError != 0) return Failure(shownName, std::strerror(writeError));
    if (std::rename(temporary.c_str(), target.c_str()) != 0) return SystemFailure(shownName);
    temporary.clear();
    return Success();
}

outcome_t ImportFailure(const std::filesystem::path& input, const std::filesystem::path& output) {
    for (const int reason : {ENOSPC, EDQUOT, EFBIG, EROFS, EACCES, EIO, EMFILE}) {
        if (errno == reason) return SystemFailure(output.string());
    }
    return Failure(input.string(), "Not a complete wave file");
}

FILE* OpenScratchFile(const std::filesystem::path& beside) {
    std::filesystem::path made;
    const int descriptor = OpenBeside(beside, made);
    if (descriptor < 0) return nullptr;
    unlink(made.c_str());
    FILE* file = fdopen(descriptor, "w+b");
    if (file == nullptr) close(descriptor);
    return file;
}

}  // namespace tools
