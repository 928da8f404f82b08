// no_loudness.cpp - in place of loudness.cpp where libebur128 is missing.
#include "tools/loudness.h"

namespace tools {

struct LoudnessMeter_t::state_t {};

LoudnessMeter_t::LoudnessMeter_t(uint32_t, uint32_t) {}
LoudnessMeter_t::~LoudnessMeter_t() = default;
bool LoudnessMeter_t::IsThere() { return false; }
void LoudnessMeter_t::Add(const double*, size_t) {}
std::optional<loudness_t> LoudnessMeter_t::Finish() { return std::nullopt; }

}  // namespace tools
