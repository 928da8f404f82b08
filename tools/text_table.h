// text_table.h - what people read.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace tools {

// Names come out of files: control characters, which a terminal would obey, become '?'.
std::string Printable(std::string_view text);

// Columns, each as wide as its widest cell. The first row holds the titles.
using table_row_t = std::vector<std::string>;
void PrintTable(const std::vector<table_row_t>& rows, FILE* to = stdout);

}  // namespace tools
