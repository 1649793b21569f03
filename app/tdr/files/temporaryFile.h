// SPDX-License-Identifier: MIT
// A file that is removed with its object, or after its process has died.
#pragma once

#include "base/uniqueFd.h"
#include "output/outcome.h"
#include "tdr/privateFolder.h"

#include <cstdint>
#include <string>
#include <sys/types.h>

/// What becomes of an existing file of the wanted name.
enum class Existing : std::uint8_t {
    Replaced,    ///< by the new one
    Overwritten, ///< by the new content: it stays the same file, for programs that hold it open
    Kept,
};

/// An empty file to write to, by its descriptor. The private folder notes its location, so that a
/// later run removes it if this one is killed. Move-only.
class TemporaryFile {
  public:
    /// Creates it in `folder`. Its name begins with a dot.
    static Outcome<TemporaryFile> in(base::UniqueFd folder, mode_t mode);

    /// Creates one without a name.
    static Outcome<TemporaryFile> unnamed();

    TemporaryFile(TemporaryFile&& other) noexcept = default;
    TemporaryFile& operator=(TemporaryFile&&) = delete;
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    [[nodiscard]] int fd() const { return file_.get(); }
    [[nodiscard]] int folder() const { return folder_.get(); }

    /// Renames it to `name` in its folder: 0, or errno. EEXIST means that an existing file is kept,
    /// ESTALE that its own name now belongs to another file.
    [[nodiscard]] int rename(const std::string& name, Existing existing);

  private:
    explicit TemporaryFile(tdr::PrivateFolder notes)
        : notes_(std::move(notes)), name_("." + notes_.mark()), note_(notes_.noteName()) {}
    [[nodiscard]] bool create(int folder, mode_t mode);
    void noteWhere() const;
    [[nodiscard]] int lookUp(const std::string& name) const;

    tdr::PrivateFolder notes_;
    std::string name_;
    std::string note_;
    base::UniqueFd folder_; ///< none if it has no name
    base::UniqueFd file_;
    bool renamed_ = false;
};
