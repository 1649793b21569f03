// SPDX-License-Identifier: MIT
// A file that is written beside its target and takes its place when it is complete.
#pragma once

#include "base/uniqueFd.h"
#include "driverLink.h"
#include "output/outcome.h"
#include "temporaryFile.h"

#include <filesystem>
#include <string>
#include <string_view>

/// Fails when `target` names a folder, be it there or not, and says so.
[[nodiscard]] Outcome<bool> checkTarget(const std::filesystem::path& target);

/// Until `commit` the target is as it was; without it the new file is removed. Move-only.
///
/// The new file lies in the target's folder under a name of ours, and only its descriptor is used:
/// a name that somebody puts in its place is not followed. Symbolic links to the target stay, also
/// those that lead nowhere yet. A target that exists keeps what `takeOverAttributes` can keep.
/// Something that is not a regular file, a device or a named pipe for example, cannot be replaced
/// by renaming: `commit` writes to it.
class ReplacedFile {
  public:
    /// Makes the empty new file; its path ends in `ending`. Fails when the target is a folder or
    /// may not be written, or when its folder takes no new file.
    static Outcome<ReplacedFile> begin(const std::filesystem::path& target,
                                       std::string_view ending);

    /// From now on `commit` waits until the new file and its name are on the disk.
    static void syncToDisk() { sync_ = true; }

    /// Where to write: short, absolute, and gone with this object.
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    /// For texts about the new file, which the user knows as the target.
    [[nodiscard]] const FileNames& names() const { return link_.names(); }

    /// Makes `text` the new file's content.
    Outcome<bool> write(std::string_view text);

    /// Puts the new file in the target's place. Fails when nobody has written to it.
    Outcome<bool> commit();

  private:
    /// Where the new file belongs.
    struct Place {
        base::UniqueFd folder; ///< of a regular file, be it there or not; the new file's, then
        std::string name;      ///< in the folder
        base::UniqueFd old;    ///< the file that is there now, if any: to look at only
        base::UniqueFd stream; ///< instead of all that: something that is not a regular file
    };
    static Outcome<Place> find(const std::filesystem::path& target);
    static Outcome<Place> findBehindLinks(const std::filesystem::path& target);
    ReplacedFile(std::string named, Place place, TemporaryFile file, DriverLink link,
                 std::filesystem::path path)
        : named_(std::move(named)), place_(std::move(place)), file_(std::move(file)),
          link_(std::move(link)), path_(std::move(path)) {}
    Outcome<bool> takePlace();

    std::string named_; ///< as the user calls the target
    Place place_;
    TemporaryFile file_;
    DriverLink link_;
    std::filesystem::path path_;

    inline static bool sync_ = false;
};
