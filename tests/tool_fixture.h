// tool_fixture.h - a folder for each test, and what the tests of the program need to fill it and look into
// it.
#pragma once

#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <tuple>
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

    // a.wav (22050 Hz mono), b.wav (44100 Hz stereo) and c.wav (44100 Hz mono): soft, so that many of them
    // mix without clipping.
    static void WriteRecordings(int framesOfA, int framesOfB, int framesOfC) {
        std::mt19937 random(5);
        for (const auto& [name, channels, rateHz, frames] :
             {std::tuple("a", 1, 22050, framesOfA), std::tuple("b", 2, 44100, framesOfB),
              std::tuple("c", 1, 44100, framesOfC)}) {
            std::vector<double> samples;
            for (int i = 0; i < frames * channels; ++i) {
                samples.push_back(0.01 * std::sin(i * 0.01 * name[0]) +
                                  static_cast<double>(random() % 1000) * 5e-6);
            }
            WriteAudio(std::string(name) + ".wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, channels, rateHz,
                       samples);
        }
    }

    std::filesystem::path folder, home;
};
