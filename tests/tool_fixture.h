// tool_fixture.h - a folder for each test, and what the tests of the program need to fill it and look into
// it.
#pragma once

#include <gtest/gtest.h>
#include <sndfile.h>
#include <wordexp.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "core/settings.h"
#include "tests/scratch_folder.h"
#include "tools/commands.h"

constexpr int wave16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16, wave8 = SF_FORMAT_WAV | SF_FORMAT_PCM_U8,
              wave24 = SF_FORMAT_WAV | SF_FORMAT_PCM_24, waveIma = SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM,
              waveFloat = SF_FORMAT_WAV | SF_FORMAT_FLOAT, flac16 = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;

class ToolTest : public testing::Test {
  protected:
    ToolTest() {
        AudioSystem::compressedPageBytes = 16384;     // a scene before may have changed it
        std::filesystem::current_path(scratch.path);  // so that messages hold plain names
    }
    ~ToolTest() override { std::filesystem::current_path(home); }

    struct run_t {
        int status;
        std::string out, err;
    };

    // The program's arguments as a shell takes them apart.
    static int RunProgram(const std::string& arguments) {
        wordexp_t words{};
        EXPECT_EQ(wordexp(("ringmix " + arguments).c_str(), &words, WRDE_NOCMD), 0) << arguments;
        const int status = tools::RunProgram(static_cast<int>(words.we_wordc), words.we_wordv);
        wordfree(&words);
        return status;
    }
    static run_t Run(const std::string& arguments) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = RunProgram(arguments);
        std::string out = testing::internal::GetCapturedStdout();
        return {status, out, testing::internal::GetCapturedStderr()};
    }
    static run_t RunWell(const std::string& arguments) {
        run_t run = Run(arguments);
        EXPECT_EQ(run.status, 0) << arguments << ": " << run.err;
        return run;
    }

    struct refusal_t {
        std::string arguments;
        int status;
        std::string message;  // how it begins, behind the program's name
    };
    // A failure is told in one line, and wrong usage may name the help in another; no file is changed.
    static void ExpectRefused(const std::vector<refusal_t>& refusals) {
        const auto before = ContentsHere();
        for (const auto& [arguments, status, message] : refusals) {
            SCOPED_TRACE(arguments);
            const run_t run = Run(arguments);
            EXPECT_EQ(run.status, status);
            EXPECT_EQ(run.err.find("ringmix: " + message), 0u) << run.err;
            EXPECT_LE(std::count(run.err.begin(), run.err.end(), '\n'), status) << run.err;
            EXPECT_EQ(run.out, "");
            EXPECT_TRUE(ContentsHere() == before);
        }
    }

    static std::string Bytes(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static void Write(const std::string& path, const std::string& bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }
    static std::set<std::string> FilesIn(const std::string& path) {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path))
            names.insert(entry.path().filename());
        return names;
    }
    static std::set<std::string> FilesHere() { return FilesIn("."); }
    static std::map<std::string, std::string> ContentsHere() {
        std::map<std::string, std::string> contents;
        for (const std::string& name : FilesHere())
            contents[name] = std::filesystem::is_directory(name) ? "" : Bytes(name);
        return contents;
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

    // As libsndfile decodes the file: the program's own arithmetic has no part in it.
    static std::vector<int16_t> Samples(const std::string& path, SF_INFO* format = nullptr) {
        SF_INFO info{};
        SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
        if (format != nullptr) *format = info;
        if (file == nullptr) return {};
        std::vector<int16_t> samples(static_cast<size_t>(info.frames * info.channels));
        sf_read_short(file, samples.data(), static_cast<sf_count_t>(samples.size()));
        sf_close(file);
        return samples;
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
            WriteAudio(std::string(name) + ".wav", wave16, channels, rateHz, samples);
        }
    }

    const std::filesystem::path home = std::filesystem::current_path();
    const ScratchFolder_t scratch;
};
