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
    return text.size() == SHA256_DIGEST_STRING_LENGTH - 1 &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

bool SampleHash_t::AreEqual(std::string_view one, std::string_view other) {
    const auto value = [](char digit) { return digit >= 'A' && digit <= 'F' ? digit - 'A' + 'a' : digit; };
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [&](char a, char b) { return value(a) == value(b); });
}

}  // namespace tools
