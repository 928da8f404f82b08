#include <ringmix/base_wrapper.h>

#include "core/settings.h"
#include "streaming/base_stream.h"

BaseWrapper_t::BaseWrapper_t() = default;
BaseWrapper_t::BaseWrapper_t(const BaseWrapper_t&) = default;
BaseWrapper_t::~BaseWrapper_t() = default;
BaseWrapper_t& BaseWrapper_t::operator=(const BaseWrapper_t&) = default;

const char* BaseWrapper_t::GetClassNameA() { return BaseStream_t::SortName(); }

void BaseWrapper_t::LoadStreams() { AudioSystem::LoadStreams(); }

unsigned int BaseWrapper_t::WaitForStreamLoad(unsigned int timeoutMs) {
    return AudioSystem::streamEvent.Wait(timeoutMs);
}
