#include "tools/sample_hash.h"

#include <sha2.h>
#include <sys/types.h>

#include <algorithm>

namespace tools {

struct SampleHash_t::state_t {
    SHA2_CTX context;
};

SampleHash_t::SampleHash_t() : state(std::make_unique<state_t>()) { SHA256Init(&state->context); }

SampleHash_t::~SampleHash_t() = default;

void SampleHash_t::Add(const uint8_t* bytes, size_t count) { SHA256Update(&state->context, bytes, count); }

std::string SampleHash_t::Finish() {
    char text[SHA256_DIGEST_STRING_LENGTH];
    return SHA256End(&state->context, text);
}

bool SampleHash_t::IsHash(std::string_view text) {
    const auto isDigit = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
    return text.size() == SHA256_DIGEST_STRING_LENGTH - 1 && std::all_of(text.begin(), text.end(), isDigit);
}

}  // namespace tools
