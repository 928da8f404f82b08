// text_table.cpp - see the header.
#include "text_table.h"

#include <algorithm>

#include "terminal.h"

namespace tools {

std::string Printable(std::string_view text) {
    std::string printable(text);
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    std::replace_if(printable.begin(), printable.end(), isControl, '?');
    return printable;
}

void PrintTable(const std::vector<table_row_t>& rows, FILE* to) {
    std::vector<size_t> widths;
    for (const table_row_t& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    for (const table_row_t& row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += Printable(row[i]);
            if (i + 1 < row.size()) line += std::string(widths[i] - row[i].size() + 2, ' ');
        }
        if (&row == &rows.front()) line = Painted(to, paint_t::bold, line);
        std::fprintf(to, "%s\n", line.c_str());
    }
}

}  // namespace tools
