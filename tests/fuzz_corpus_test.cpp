// fuzz_corpus_test.cpp - every fuzz target over its corpus: what the fuzzer has found once stays found, in
// every build.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/targets.h"

namespace {

class FuzzCorpus : public testing::TestWithParam<fuzz::target_t> {};

TEST_P(FuzzCorpus, IsTakenWithoutHarm) {
    std::size_t count = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(RINGMIX_FUZZ_CORPUS "/" + std::string(GetParam().name))) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        SCOPED_TRACE(entry.path().filename());
        GetParam().run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    EXPECT_GT(count, 3u);
}

INSTANTIATE_TEST_SUITE_P(, FuzzCorpus, testing::ValuesIn(fuzz::targets),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
