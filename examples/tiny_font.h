// tiny_font.h - letters of 3 x 5 dots, for hosts that want to show a word without a font library.
#pragma once

#include <SDL.h>

#include <cctype>
#include <cstdint>
#include <string_view>

namespace tiny_font {

constexpr int advance = 4, lineHeight = 8;  // in dots

// From ' ' to 'Z', a row of three dots an octal digit, the top one first.
constexpr uint16_t glyphs[] = {
    000000, 022202, 055000, 057575, 036763, 051245, 025253, 022000,  // space ! " # $ % & '
    012221, 042224, 005250, 002720, 000024, 000700, 000002, 011244,  // ( ) * + , - . /
    075557, 026227, 071747, 071717, 055711, 074717, 074757, 071222,  // 0 to 7
    075757, 075717, 002020, 002024, 012421, 007070, 042124, 071202,  // 8 9 : ; < = > ?
    025743, 025755, 065656, 034443, 065556, 074647, 074644, 034553,  // @ A to G
    055755, 072227, 011152, 055655, 044447, 057755, 065555, 025552,  // H to O
    065644, 025563, 065655, 034216, 072222, 055557, 055552, 055775,  // P to W
    055255, 055222, 071247,                                          // X Y Z
};

// In the renderer's colour; small letters look like capitals, what has no glyph like a blank.
inline void Draw(SDL_Renderer* renderer, int x, int y, int dotPixels, std::string_view text) {
    for (const char letter : text) {
        const int index = std::toupper(static_cast<unsigned char>(letter)) - ' ';
        const int rows = index >= 0 && index < static_cast<int>(std::size(glyphs)) ? glyphs[index] : 0;
        for (int dot = 0; dot < 15; ++dot) {
            if ((rows >> (14 - dot) & 1) == 0) continue;
            const SDL_Rect square{x + dot % 3 * dotPixels, y + dot / 3 * dotPixels, dotPixels, dotPixels};
            SDL_RenderFillRect(renderer, &square);
        }
        x += advance * dotPixels;
    }
}

}  // namespace tiny_font
