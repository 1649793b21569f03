// SPDX-License-Identifier: MIT
// How a driver reaches exactly one file, whatever the file's name is.
#pragma once

#include "output/outcome.h"
#include "privateFolder.h"

#include <string>
#include <string_view>
#include <vector>

/// Which of our paths stands for which file of the user's, for the texts of drivers.
class FileNames {
  public:
    void add(std::string path, std::string named);
    void add(const FileNames& others);

    /// `text` with each of the paths replaced by what the user calls the file.
    [[nodiscard]] std::string in(std::string text) const;

  private:
    struct Row {
        std::string path;
        std::string named;
    };
    std::vector<Row> rows_; ///< those first whose paths may begin with others
};

/// Drivers have rules for names: the toolkit's appends an ending to a name that does not end in it
/// to the letter, and opens what is called like that instead; a path of more than 1023 bytes is
/// cut; a file directly under the root cannot be reached. So a driver is given a name of ours: a
/// symbolic link in a private folder, which ends as the driver likes it and leads to a descriptor
/// that is already open. No name that anybody else could change is looked up again. Move-only.
class DriverLink {
  public:
    /// Links to what `fd` has open, which stays open as long as the object lives. `named` is what
    /// the user calls it.
    static Outcome<DriverLink> make(int fd, std::string named);

    DriverLink(DriverLink&&) noexcept = default;
    DriverLink& operator=(DriverLink&&) = delete;
    DriverLink(const DriverLink&) = delete;
    DriverLink& operator=(const DriverLink&) = delete;
    ~DriverLink();

    /// The path for a driver whose files end in `ending`.
    Outcome<std::string> path(std::string_view ending);

    /// The paths given so far.
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
