// SPDX-License-Identifier: MIT
#include "nearest.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace {

/// Longer words are not typing errors, and the work grows with both lengths.
constexpr std::size_t kLongest = 40;

std::size_t changesBetween(std::string_view a, std::string_view b) {
    std::vector<std::size_t> before; // the rows of the table: a letter of a each
    std::vector<std::size_t> last;
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        before = std::exchange(last, row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min(
                {last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
    }
    return row.back();
}

} // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& known) {
    std::string found;
    std::size_t fewest = std::max<std::size_t>(word.size() / 3, 1) + 1;
    for (const std::string& candidate : known) {
        if (word.size() > kLongest || candidate.size() > kLongest) {
            continue;
        }
        if (const std::size_t changes = changesBetween(word, candidate); changes < fewest) {
            fewest = changes;
            found = candidate;
        }
    }
    return found;
}
