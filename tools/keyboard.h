// keyboard.h - single keys of a terminal, without waiting for them.
#pragma once

#include <termios.h>

namespace tools {

enum class key_t { none, space, left, right, up, down, quit };

// While this lives, keys come at once and unseen, if standard input is a terminal and this program has it.
class Keyboard_t {
  public:
    Keyboard_t();
    ~Keyboard_t();
    Keyboard_t(const Keyboard_t&) = delete;
    Keyboard_t& operator=(const Keyboard_t&) = delete;

    bool IsThere() const { return isThere; }
    key_t Read();  // none if none has been pressed

  private:
    bool isThere = false;
    termios before{};
};

}  // namespace tools
