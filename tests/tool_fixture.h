// tool_fixture.h - a folder for each test, and what the tests of the program need to fill it and look into
// it.
#pragma once

#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "tools/commands.h"

class ToolTest : public testing::Test {
  protected:
    ToolTest() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ringmix-test-XXXXXX").string();
        folder = mkdtemp(pattern.data());
        home = std::filesystem::current_path();
        std::filesystem::current_path(folder);  // so that messages hold plain names
    }
    ~ToolTest() override {
        std::filesystem::current_path(home);
        std::filesystem::remove_all(folder);
    }

    struct run_t {
        int status;
        std::string out, err;
    };

    static run_t Run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "ringmix");
        std::vector<char*> pointers;
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = tools::RunProgram(static_cast<int>(pointers.size()), pointers.data());
        std::string out = testing::internal::GetCapturedStdout();
        return {status, out, testing::internal::GetCapturedStderr()};
    }

    static std::string Bytes(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static void Write(const std::string& path, const std::string& bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }
    static std::set<std::string> FilesHere() {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator("."))
            names.insert(entry.path().filename());
        return names;
    }

    // Full scale is 1.0; interleaved.
    static void WriteAudio(const std::string& path, int format, int channels, int rateHz,
                           const std::vector<double>& samples) {
        SF_INFO info{};
        info.format = format;
        info.channels = channels;
        info.samplerate = rateHz;
        SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
        ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
        sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
        sf_write_double(file, samples.data(), static_cast<sf_count_t>(samples.size()));
        sf_close(file);
    }

    std::filesystem::path folder, home;
};
