// SPDX-License-Identifier: MIT
// A file that is written beside its target and takes its place when it is complete.
#pragma once

#include "outcome.h"

#include <filesystem>
#include <string>
#include <string_view>

/// Fails when `target` names a folder, be it there or not, and says so.
[[nodiscard]] Outcome<bool> checkTarget(const std::filesystem::path& target);

/// Until `commit` the target is as it was; without it the new file is removed. Move-only.
///
/// A target that is a symbolic link is followed; the link stays. A target that exists keeps its
/// permissions (and its owner, where the system lets us). Something that is not a regular file, a
/// device for example, cannot be replaced by renaming: it is written to directly.
class ReplacedFile {
  public:
    /// Makes the empty new file in the target's folder; its name ends in `ending`. Fails when the
    /// target is a folder or may not be written, or when its folder takes no new file.
    static Outcome<ReplacedFile> begin(const std::filesystem::path& target,
                                       std::string_view ending);

    ReplacedFile(ReplacedFile&& other) noexcept;
    ReplacedFile& operator=(ReplacedFile&&) = delete;
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;
    ~ReplacedFile();

    /// Where to write.
    [[nodiscard]] const std::filesystem::path& path() const { return temporary_; }

    /// Puts the new file in the target's place. Fails when nobody has written to it.
    Outcome<bool> commit();

  private:
    ReplacedFile(std::filesystem::path named, std::filesystem::path temporary,
                 std::filesystem::path target)
        : named_(std::move(named)), temporary_(std::move(temporary)), target_(std::move(target)) {}

    std::filesystem::path named_;     ///< as the user calls the target
    std::filesystem::path temporary_; ///< empty after the commit
    std::filesystem::path target_;    ///< empty when it is written to directly
};
