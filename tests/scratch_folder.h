// scratch_folder.h - a folder of its own for each test, gone with it, and whole files in and out of it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

class ScratchFolder_t {
  public:
    ScratchFolder_t() {
        // Where TMPDIR says, or in memory if there is such a place: some tests write thousands of files.
        const std::filesystem::path temporary = std::filesystem::temp_directory_path();
        const std::filesystem::path bases[] = {std::getenv("TMPDIR") ? temporary : "/dev/shm", temporary};
        for (const std::filesystem::path& base : bases) {
            std::string pattern = (base / "ringmix-test-XXXXXX").string();
            if (!mkdtemp(pattern.data())) continue;
            path = pattern;
            return;
        }
        throw std::runtime_error("no place for a test's files");
    }
    ~ScratchFolder_t() { std::filesystem::remove_all(path); }
    ScratchFolder_t(const ScratchFolder_t&) = delete;
    ScratchFolder_t& operator=(const ScratchFolder_t&) = delete;

    std::string At(const std::string& name) const { return (path / name).string(); }

    // Returns the path of the file.
    std::string Write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path / name, std::ios::binary) << bytes;
        return At(name);
    }

    // Empty for a file that is not there.
    std::string Read(const std::string& name) const {
        std::ifstream file(path / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::size_t CountFiles() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path), {}));
    }

    std::filesystem::path path;
};
