// SPDX-License-Identifier: MIT
// A file that is written next to its target and replaces it when it is complete.
#pragma once

#include "base/uniqueFd.h"
#include "output/outcome.h"
#include "tdr/driverLink.h"
#include "temporaryFile.h"

#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>

/// Fails if `target` is a regular file, which may not be replaced.
[[nodiscard]] Outcome<void> checkIsNew(const std::filesystem::path& target);

/// Fails if `target` is the picture that is read, under whatever name: it would be lost. Fails too
/// if that cannot be found out.
[[nodiscard]] Outcome<void> checkIsNotInput(const std::string& target, const std::string& input);

/// Until `commit` the target is unchanged; without it the new file is removed. Move-only.
///
/// The new file is in the target's folder under a name of ours, and only its descriptor is used: a
/// file put in its place is not followed. Symbolic links to the target stay, even dangling ones. An
/// existing target keeps the attributes of `takeOverAttributes`. A target that is not a regular
/// file, such as a device or a named pipe, cannot be replaced by renaming: `commit` writes to it.
class ReplacedFile {
  public:
    /// Creates the empty new file; its path ends in `ending`. Fails if the target is a folder or
    /// may not be written, if its folder allows no new file, or if a regular file exists that is to
    /// be kept.
    static Outcome<ReplacedFile> begin(const std::filesystem::path& target, std::string_view ending,
                                       Existing existing = Existing::Replaced);

    /// From now on `commit` waits until the new file and its name are on the disk.
    static void syncToDisk() { sync_ = true; }

    /// Where to write: a short, absolute path, valid while this object exists.
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    /// The user's name of the target.
    [[nodiscard]] const std::string& target() const { return named_; }

    /// For messages about the new file, which the user knows as the target.
    [[nodiscard]] const tdr::FileNames& names() const { return link_.names(); }

    /// Writes `text` as the new file's content.
    Outcome<void> write(std::string_view text);

    /// Puts the new file in the target's place. Fails if it is empty, or if a file to be kept has
    /// appeared there.
    Outcome<void> commit();

    /// Sets the new file's time of change.
    Outcome<void> setTime(const timespec& changed);

  private:
    /// The place of the new file.
    struct Place {
        base::UniqueFd folder; ///< of a regular file, existing or not; then also the new file's
        std::string name;      ///< in the folder
        base::UniqueFd old;    ///< the existing file, if any: for inspection only
        base::UniqueFd stream; ///< instead of all these: a target that is written to itself
    };
    static Outcome<Place> find(const std::filesystem::path& target, Existing existing);
    static Outcome<Place> findBehindLinks(const std::filesystem::path& target);
    ReplacedFile(std::string named, Existing existing, Place place, TemporaryFile file,
                 tdr::DriverLink link, std::filesystem::path path)
        : named_(std::move(named)), existing_(existing), place_(std::move(place)),
          file_(std::move(file)), link_(std::move(link)), path_(std::move(path)) {}
    Outcome<void> takePlace();

    std::string named_;
    Existing existing_;
    Place place_;
    TemporaryFile file_;
    tdr::DriverLink link_;
    std::filesystem::path path_;

    inline static bool sync_ = false;
};

/// Writes `text` as a whole to such a file.
[[nodiscard]] Outcome<void> saveText(const std::filesystem::path& target, std::string_view ending,
                                     std::string_view text, Existing existing);
