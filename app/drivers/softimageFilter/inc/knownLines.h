// SPDX-License-Identifier: MIT
// Where the lines of the picture begin that was read as a whole last. A host connects to it again
// for its bottom row, which would otherwise take as long as the whole picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>

namespace softimage {

/// What changes when a file changes or is another one.
struct FileState {
    std::uint64_t device;
    std::uint64_t file;
    std::int64_t size;
    std::int64_t written; ///< nanoseconds
    std::int64_t changed;

    bool operator==(const FileState&) const = default;
};

/// The state of an open file. None for one that has changed so lately that it could change once
/// more without a new time.
[[nodiscard]] std::optional<FileState> settledState(std::FILE* stream);

class KnownLines {
  public:
    /// Remembers the position of every line of a file.
    void remember(const FileState& state, std::unique_ptr<std::uint64_t[]> positions,
                  std::size_t count);

    /// Copies them. False if they are not known: then nothing changes.
    [[nodiscard]] bool recall(const std::optional<FileState>& state,
                              std::span<std::uint64_t> positions) const;

  private:
    std::optional<FileState> state_;
    std::unique_ptr<std::uint64_t[]> positions_;
    std::size_t count_ = 0;
};

} // namespace softimage
