// fuzz_corpus_test.cpp - every fuzz target over its corpus: what the fuzzer has found once stays found, in
// every build. And over what some changes make of each input, which finds what comes new.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "engine_fixture.h"
#include "fuzz/targets.h"

namespace {

constexpr uint32_t changedInputs = RINGMIX_TEST_SANITIZED ? 8 : 40;

// Cut anywhere, or some bytes replaced, removed or put in: every other time near the beginning, where a
// header is.
std::string Changed(std::string bytes, uint32_t seed) {
    std::mt19937 random(seed);
    if (random() % 4 == 0) return bytes.substr(0, random() % (bytes.size() + 1));
    const std::size_t reach = random() % 2 ? bytes.size() : std::min<std::size_t>(bytes.size(), 60);
    const std::string likely(" 0123456789.-\0\1\2\x11\x7F\x80\xFF", 20);
    for (std::size_t changes = 1 + random() % 3; changes > 0; --changes) {
        const std::size_t pick = random() % (likely.size() + 4), at = random() % (reach + 1);
        const char value = pick < likely.size() ? likely[pick] : static_cast<char>(random());
        bytes.replace(std::min(at, bytes.size()), random() % 6 ? 1 : 0, random() % 6 ? 1 : 0, value);
    }
    return bytes;
}

class FuzzCorpus : public testing::TestWithParam<fuzz::target_t> {
  protected:
    static void Run(const std::string& bytes) {
        GetParam().run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
};

TEST_P(FuzzCorpus, IsTakenWithoutHarm) {
    std::size_t count = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(RINGMIX_FUZZ_CORPUS "/" + std::string(GetParam().name))) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        SCOPED_TRACE(entry.path().filename());
        Run(bytes);
        for (uint32_t seed = 0; seed < changedInputs; ++seed) Run(Changed(bytes, seed));
        ++count;
    }
    EXPECT_GT(count, 3u);
}

INSTANTIATE_TEST_SUITE_P(, FuzzCorpus, testing::ValuesIn(fuzz::targets),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
