// SPDX-License-Identifier: MIT
// A folder that only this user can look into, for names that nobody else may put in the way.
#pragma once

#include "base/uniqueFd.h"
#include "output/outcome.h"

#include <string>
#include <string_view>
#include <utility>

/// TMPDIR/tdr-UID (or in /tmp, where TMPDIR takes none), shared by all runs of one user. It is
/// opened once and used by descriptor: what becomes of its name does not matter. Each object has a
/// mark of its own, and its files there have names that begin with it. The first object of a
/// process removes what dead processes have left there, and the files beside targets that they
/// noted there. The last object of all processes removes the folder. Move-only.
class PrivateFolder {
  public:
    static Outcome<PrivateFolder> open();

    PrivateFolder(PrivateFolder&& other) noexcept
        : path_(std::exchange(other.path_, {})), mark_(std::move(other.mark_)),
          fd_(std::move(other.fd_)) {}
    PrivateFolder& operator=(PrivateFolder&&) = delete;
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    ~PrivateFolder();

    [[nodiscard]] int fd() const { return fd_.get(); }
    [[nodiscard]] const std::string& mark() const { return mark_; }

    /// A path of the entry `name` by which any process of this user reaches it while the object
    /// lives: short, without odd characters, and by way of our descriptor.
    [[nodiscard]] std::string pathOf(std::string_view name) const;

    /// Name of the entry that notes where the temporary file "." + mark() lies.
    [[nodiscard]] std::string noteName() const { return mark_ + ".at"; }

  private:
    PrivateFolder(std::string path, std::string mark)
        : path_(std::move(path)), mark_(std::move(mark)) {}
    [[nodiscard]] bool enter();

    std::string path_; ///< empty in one that was moved from
    std::string mark_;
    base::UniqueFd fd_;
};

/// A path of what our descriptor `fd` stands for, for any process of this user.
[[nodiscard]] std::string pathOfDescriptor(int fd);
