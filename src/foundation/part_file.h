// part_file.h - a file that appears under its name only when it is complete; until then, and if anything
// fails, an older file of that name stays.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

class PartFile_t {
  public:
    explicit PartFile_t(const char* path);  // opens `path`.part
    ~PartFile_t();                          // without Commit nothing is left
    PartFile_t(const PartFile_t&) = delete;
    PartFile_t& operator=(const PartFile_t&) = delete;

    // False from the first failure on, the opening included.
    bool Write(const void* bytes, std::size_t count);
    bool Commit();

  private:
    std::string path, partPath;
    FILE* file;
    bool isGood;
};
