// SPDX-License-Identifier: MIT
// A folder that only this user can access, so that others cannot replace names in it.
#pragma once

#include "tdr/result.h"

#include <memory>
#include <string>
#include <string_view>

namespace tdr {

/// TMPDIR/tdr-UID (or in /tmp, if TMPDIR is unusable), shared by all runs of one user. The objects
/// of a process share one descriptor of it, so changes of its name do not matter: keep one object
/// for as long as more will follow. Each object has its own mark, with which the names of its files
/// begin. The first object of a process removes what dead processes have left there, and the files
/// next to targets that they noted there. The last object of all processes removes the folder.
/// Move-only.
class PrivateFolder {
  public:
    static Result<PrivateFolder> open();

    PrivateFolder(PrivateFolder&&) noexcept = default;
    PrivateFolder& operator=(PrivateFolder&&) = delete;
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    ~PrivateFolder();

    /// -1 after a move.
    [[nodiscard]] int fd() const;
    [[nodiscard]] const std::string& mark() const { return mark_; }

    /// A path of the entry `name` for any process of this user while the object exists: short,
    /// without special characters, through our descriptor.
    [[nodiscard]] std::string pathOf(std::string_view name) const;

    /// Name of the entry that notes the location of the temporary file "." + mark().
    [[nodiscard]] std::string noteName() const { return mark_ + ".at"; }

  private:
    class Stay;
    explicit PrivateFolder(std::shared_ptr<const Stay> stay);
    static Result<std::shared_ptr<const Stay>> enter();

    std::shared_ptr<const Stay> stay_; ///< null after a move
    std::string mark_;
};

/// A path to the file of our descriptor `fd`, for any process of this user.
[[nodiscard]] std::string pathOfDescriptor(int fd);

} // namespace tdr
