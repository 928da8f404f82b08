// terminal.h - what goes to a terminal and nowhere else: progress and colours. And whether anything is wanted
// there.
#pragma once

#include <cstdio>
#include <string>

namespace tools {

// --quiet: neither progress nor reports, until the next run of the program.
void SetQuiet(bool isQuiet);
bool IsQuiet();

// Standard error is a terminal that can redraw a line, and nobody asked for quiet.
bool ShowsProgress();

enum class paint_t { bold, green, red };

// As it is, unless `to` is a terminal with colours and the environment has no NO_COLOR.
std::string Painted(FILE* to, paint_t paint, const std::string& text);

// One line on standard output about what was done; nothing if quiet. Control characters become '?'.
void PrintReport(const std::string& line);

}  // namespace tools
