#include "foundation/part_file.h"

PartFile_t::PartFile_t(const char* target)
    : path(target),
      partPath(path + ".part"),
      file(std::fopen(partPath.c_str(), "wb")),
      isGood(file != nullptr) {}

PartFile_t::~PartFile_t() {
    if (!file) return;
    std::fclose(file);
    std::remove(partPath.c_str());
}

bool PartFile_t::Write(const void* bytes, std::size_t count) {
    isGood = isGood && std::fwrite(bytes, 1, count, file) == count;
    return isGood;
}

bool PartFile_t::Commit() {
    if (!file) return false;
    isGood = std::fclose(file) == 0 && isGood;
    file = nullptr;
    if (isGood && std::rename(partPath.c_str(), path.c_str()) == 0) return true;
    std::remove(partPath.c_str());
    return false;
}
