// SPDX-License-Identifier: MIT
// A file of ours that goes when its object does, and when its process has died.
#pragma once

#include "output/outcome.h"
#include "privateFolder.h"

#include <string>
#include <sys/types.h>

/// An empty file to write to, by its descriptor. The private folder notes where it lies, so that
/// the next run removes it when this one is killed. Move-only.
class TemporaryFile {
  public:
    /// Makes it in `folder`. Its name begins with a dot.
    static Outcome<TemporaryFile> in(base::UniqueFd folder, mode_t mode);

    /// Makes one without a name.
    static Outcome<TemporaryFile> unnamed();

    TemporaryFile(TemporaryFile&& other) noexcept = default;
    TemporaryFile& operator=(TemporaryFile&&) = delete;
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    [[nodiscard]] int fd() const { return file_.get(); }
    [[nodiscard]] int folder() const { return folder_.get(); }

    /// Gives it the name `name` in its folder, in the place of whatever is called so: 0, or errno.
    /// ESTALE says that its own name has become another file's.
    [[nodiscard]] int rename(const std::string& name);

  private:
    explicit TemporaryFile(PrivateFolder notes)
        : notes_(std::move(notes)), name_("." + notes_.mark()), note_(notes_.noteName()) {}
    [[nodiscard]] bool create(int folder, mode_t mode);
    void noteWhere() const;
    [[nodiscard]] int lookUp(const std::string& name) const;

    PrivateFolder notes_;
    std::string name_;
    std::string note_;
    base::UniqueFd folder_; ///< none without a name
    base::UniqueFd file_;
    bool renamed_ = false;
};
