// string.h - String_t, the owning text of every name, path and tag.
//
// Comparing is left to the reader of `text`: byte by byte up to the terminator, so case matters.
// Thread: no lock; the owner of an instance guards it.
#pragma once

#include <cstdint>
#include <cstring>

class String_t {
  public:
    // What Find answers when there is nothing to be found.
    static constexpr uint32_t notFound = 0xFFFFFFFFu;

    // Copies the text; null counts as the empty text. Errors: std::bad_alloc, here and in every copy below.
    String_t(const char* source = nullptr);
    String_t(const String_t& source);
    ~String_t();

    // A text that compares equal changes nothing, the block included; so assigning a string to itself, or
    // from a part of its own text, is harmless. A failed allocation leaves the old text.
    String_t& operator=(const String_t& source);
    String_t& operator=(const char* source);

    // Index of the first occurrence in bytes, or notFound. The terminator is no part of the text, so a zero
    // character is never found; the empty pattern is found at 0, a null pattern nowhere.
    uint32_t Find(char wanted) const noexcept;
    uint32_t Find(const char* pattern) const noexcept;

    // Heap block of exactly length + 1 bytes, the last one zero; never null, not even for the empty text.
    char* text;
};

// How texts compare everywhere: byte by byte, upper and lower case apart. Neither may be null.
inline bool SameText(const char* one, const char* other) noexcept { return std::strcmp(one, other) == 0; }
