// ima_adpcm_file.h - the text header of an IMA ADPCM sound file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

struct sound_header_t;

// Takes the word and the block size off the front; returns their length, where the fields of sound_file.h
// begin, or 0 if it is malformed.
uint32_t ParseImaHead(std::string_view bytes, uint32_t& blockBytes);

// The whole header. Empty if the name or a number does not fit the form.
std::string FormatImaHeader(uint32_t blockBytes, const sound_header_t& header, uint32_t compressedBytes);

// The same from a file, whose position is then behind the head; the block size, or 0 if it is malformed.
uint32_t ReadImaHead(FILE* file);

// Whether so many bytes of blocks are playable and hold that many frames.
bool ImaBlocksHold(uint32_t frameCount, uint32_t compressedBytes, uint32_t blockBytes, bool is16Bit,
                   bool isStereo);
