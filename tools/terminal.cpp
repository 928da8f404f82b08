// terminal.cpp - see the header.
#include "tools/terminal.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "tools/text_table.h"

namespace tools {

namespace {

bool quiet = false;

bool IsTerminal(FILE* file) {
    const char* const kind = std::getenv("TERM");
    return isatty(fileno(file)) == 1 && kind != nullptr && std::string_view(kind) != "dumb";
}

const char* CodeOf(paint_t paint) {
    switch (paint) {
        case paint_t::bold:
            return "1";
        case paint_t::green:
            return "32";
        case paint_t::red:
            return "1;31";
    }
    return "0";
}

}  // namespace

void SetQuiet(bool isQuiet) { quiet = isQuiet; }
bool IsQuiet() { return quiet; }

bool ShowsProgress() { return !quiet && IsTerminal(stderr); }

std::string Painted(FILE* to, paint_t paint, const std::string& text) {
    const char* const noColor = std::getenv("NO_COLOR");
    if ((noColor != nullptr && *noColor != '\0') || !IsTerminal(to)) return text;
    return std::string("\x1b[") + CodeOf(paint) + "m" + text + "\x1b[0m";
}

void PrintReport(const std::string& line) {
    if (!quiet) std::printf("%s\n", Printable(line).c_str());
}

}  // namespace tools
