// SPDX-License-Identifier: MIT
// The result of a run as a page for a browser: a row a file, with an image. It needs nothing but
// its folder.
#pragma once

#include "pageFolder.h"
#include "pageImage.h"

#include <memory>
#include <string>

class CheckPage {
  public:
    /// In `folder`, as PageFolder says.
    static Outcome<CheckPage> begin(const DriverOptions& drivers, const std::string& folder,
                                    bool force);

    [[nodiscard]] std::string folder() const { return folder_->path().string(); }

    /// Adds a row. A whole picture that cannot be shown is reported.
    void add(const std::string& file, const Outcome<FileCheck>& check);

    /// Puts the page in place. Fails if an image could not be written, or without memory for a row.
    Outcome<void> end(const CheckCounts& counts);

  private:
    void addRow(const std::string& file, const Outcome<FileCheck>& check);
    CheckPage(const DriverOptions& drivers, std::unique_ptr<PageFolder> folder)
        : folder_(std::move(folder)),
          drivers_(std::make_unique<DriverSet>(drivers, Drivers::ForMany)) {}

    std::unique_ptr<PageFolder> folder_;
    std::unique_ptr<DriverSet> drivers_; ///< for the thumbnails
    std::size_t images_ = 0;
    Outcome<void> written_; ///< the images
    std::string rows_;
};
