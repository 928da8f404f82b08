// string.cpp - a block is made in full before the old one goes, so a source may lie inside the old one and a
// failed allocation loses nothing.
#include "foundation/string.h"

#include <cstring>

namespace {

char* CopyText(const char* source) {
    const size_t bytes = std::strlen(source) + 1;
    return static_cast<char*>(std::memcpy(new char[bytes], source, bytes));
}

}  // namespace

String_t::String_t(const char* source) : text(CopyText(source != nullptr ? source : "")) {}

String_t::String_t(const String_t& source) : text(CopyText(source.text)) {}

String_t::~String_t() { delete[] text; }

String_t& String_t::operator=(const String_t& source) { return *this = source.text; }

String_t& String_t::operator=(const char* source) {
    if (source == nullptr) source = "";
    if (std::strcmp(text, source) == 0) return *this;
    char* copy = CopyText(source);
    delete[] text;
    text = copy;
    return *this;
}

uint32_t String_t::Find(char wanted) const noexcept {
    if (wanted == '\0') return notFound;
    const char* hit = std::strchr(text, wanted);
    return hit != nullptr ? static_cast<uint32_t>(hit - text) : notFound;
}

uint32_t String_t::Find(const char* pattern) const noexcept {
    const char* hit = pattern != nullptr ? std::strstr(text, pattern) : nullptr;
    return hit != nullptr ? static_cast<uint32_t>(hit - text) : notFound;
}
