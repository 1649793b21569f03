// SPDX-License-Identifier: MIT
// Leads a driver to exactly one file, whatever its name.
#pragma once

#include "tdr/privateFolder.h"
#include "tdr/result.h"

#include <string>
#include <string_view>
#include <vector>

namespace tdr {

/// Maps our paths to the user's file names, for the messages of drivers.
class FileNames {
  public:
    void add(std::string path, std::string named);
    void add(const FileNames& others);

    /// `text` with each of the paths replaced by the user's name of the file.
    [[nodiscard]] std::string in(std::string text) const;

  private:
    struct Row {
        std::string path;
        std::string named;
    };
    std::vector<Row> rows_; ///< a path before its prefixes
};

/// Drivers have rules for names: the toolkit's driver appends an ending to a name without it
/// (case-sensitive) and opens that file instead; a path of more than 1023 bytes is cut; a file
/// directly under the root cannot be reached. So a driver gets a name of ours: a symbolic link in a
/// private folder, with the driver's ending, to a descriptor that is already open. No name that
/// others could change is resolved again. Move-only.
class DriverLink {
  public:
    /// Links to the open file of `fd`, which stays open while the object exists. `named` is the
    /// user's name of it. Fails with `CannotOpen` without a folder of our own.
    static Result<DriverLink> make(int fd, std::string named);

    DriverLink(DriverLink&&) noexcept = default;
    DriverLink& operator=(DriverLink&&) = delete;
    DriverLink(const DriverLink&) = delete;
    DriverLink& operator=(const DriverLink&) = delete;
    ~DriverLink();

    /// The path for a driver whose files end in `ending`.
    Result<std::string> path(std::string_view ending);

    /// The paths returned so far.
    [[nodiscard]] const FileNames& names() const { return names_; }

  private:
    DriverLink(PrivateFolder folder, std::string target, std::string named)
        : folder_(std::move(folder)), target_(std::move(target)), named_(std::move(named)) {}
    [[nodiscard]] bool link(const std::string& name);

    PrivateFolder folder_;
    std::string target_;
    std::string named_;
    std::vector<std::string> links_; ///< names in the folder
    FileNames names_;
};

} // namespace tdr
