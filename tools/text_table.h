// Rows in columns, for people.
#pragma once

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

// The width of each column is that of its longest text; the last one isn't filled up.
inline void PrintColumns(std::ostream& out, const std::vector<std::vector<std::string>>& rows,
                         const std::string& indent = {}) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i + 1 < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    for (const auto& row : rows) {
        std::string line = indent;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size())
                line.append(widths[i] - row[i].size() + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}
