// SPDX-License-Identifier: MIT
#include "table.h"

#include <algorithm>
#include <cstddef>

std::string Table::text() const {
    std::vector<std::size_t> widths(rows_.front().size());
    for (const auto& row : rows_) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const auto& row : rows_) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            text += row[i];
            text.append(widths[i] + 2 - row[i].size(), ' ');
        }
        text += row.back() + '\n';
    }
    return text;
}
