// keyboard.cpp - see the header.
#include "tools/keyboard.h"

#include <unistd.h>

namespace tools {

// A program in the background that asked for this would be stopped by the terminal.
Keyboard_t::Keyboard_t() {
    if (isatty(STDIN_FILENO) != 1 || tcgetpgrp(STDIN_FILENO) != getpgrp()) return;
    if (tcgetattr(STDIN_FILENO, &before) != 0) return;
    termios raw = before;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 0;  // reads return what there is
    raw.c_cc[VTIME] = 0;
    isThere = tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
}

Keyboard_t::~Keyboard_t() {
    if (isThere) tcsetattr(STDIN_FILENO, TCSANOW, &before);
}

// An arrow is three characters, which come together.
key_t Keyboard_t::Read() {
    char first = 0;
    if (!isThere || read(STDIN_FILENO, &first, 1) != 1) return key_t::none;
    if (first == ' ') return key_t::space;
    if (first == 'q' || first == 'Q') return key_t::quit;
    char rest[2] = {};
    if (first != '\x1b' || read(STDIN_FILENO, rest, 2) != 2 || rest[0] != '[') return key_t::none;
    switch (rest[1]) {
        case 'A':
            return key_t::up;
        case 'B':
            return key_t::down;
        case 'C':
            return key_t::right;
        case 'D':
            return key_t::left;
        default:
            return key_t::none;
    }
}

}  // namespace tools
