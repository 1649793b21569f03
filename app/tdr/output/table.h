// SPDX-License-Identifier: MIT
// Text in columns.
#pragma once

#include <string>
#include <vector>

class Table {
  public:
    explicit Table(std::vector<std::string> heading) { add(std::move(heading)); }

    /// Adds a row of as many cells as the heading has.
    void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

    /// All rows, with columns two blanks apart and the last one not padded.
    [[nodiscard]] std::string text() const;

  private:
    std::vector<std::vector<std::string>> rows_;
};
