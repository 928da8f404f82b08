// libfuzzer_main.cpp - the fuzzer: ringmix_fuzz --target=NAME, then what libFuzzer takes.
#include <cstring>

#include "fuzz/fuzz_input.h"
#include "fuzz/targets.h"

namespace {

const fuzz::target_t* target = nullptr;

constexpr char option[] = "--target=";

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argumentCount, char*** arguments);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerInitialize(int* argumentCount, char*** arguments) {
    for (int i = 1; i < *argumentCount; ++i) {
        const char* argument = (*arguments)[i];
        if (std::strncmp(argument, option, sizeof option - 1) != 0) continue;
        for (const fuzz::target_t& each : fuzz::targets) {
            if (std::strcmp(argument + sizeof option - 1, each.name) == 0) target = &each;
        }
    }
    if (target) return 0;
    std::fprintf(stderr, "ringmix_fuzz: --target= must be one of");
    for (const fuzz::target_t& each : fuzz::targets) std::fprintf(stderr, " %s", each.name);
    std::fprintf(stderr, "\n");
    std::exit(2);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    return target->run(data, size);
}
