// SPDX-License-Identifier: MIT
// A folder that only this user can access, so that others cannot replace names in it.
#pragma once

#include "base/uniqueFd.h"
#include "tdr/result.h"

#include <string>
#include <string_view>
#include <utility>

namespace tdr {

/// TMPDIR/tdr-UID (or in /tmp, if TMPDIR is unusable), shared by all runs of one user. It is opened
/// once and used by descriptor, so changes of its name do not matter. Each object has its own mark,
/// with which the names of its files begin. The first object of a process removes what dead
/// processes have left there, and the files next to targets that they noted there. The last object
/// of all processes removes the folder. Move-only.
class PrivateFolder {
  public:
    static Result<PrivateFolder> open();

    PrivateFolder(PrivateFolder&& other) noexcept
        : path_(std::exchange(other.path_, {})), mark_(std::move(other.mark_)),
          fd_(std::move(other.fd_)) {}
    PrivateFolder& operator=(PrivateFolder&&) = delete;
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    ~PrivateFolder();

    [[nodiscard]] int fd() const { return fd_.get(); }
    [[nodiscard]] const std::string& mark() const { return mark_; }

    /// A path of the entry `name` for any process of this user while the object exists: short,
    /// without special characters, through our descriptor.
    [[nodiscard]] std::string pathOf(std::string_view name) const;

    /// Name of the entry that notes the location of the temporary file "." + mark().
    [[nodiscard]] std::string noteName() const { return mark_ + ".at"; }

  private:
    PrivateFolder(std::string path, std::string mark)
        : path_(std::move(path)), mark_(std::move(mark)) {}
    [[nodiscard]] bool enter();

    std::string path_; ///< empty after a move
    std::string mark_;
    base::UniqueFd fd_;
};

/// A path to the file of our descriptor `fd`, for any process of this user.
[[nodiscard]] std::string pathOfDescriptor(int fd);

} // namespace tdr
