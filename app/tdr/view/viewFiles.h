// SPDX-License-Identifier: MIT
// The files that tdr view shows, one after another in a circle.
#pragma once

#include "viewPicture.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

class ViewFiles {
  public:
    /// The files of `options`: names, and patterns for the frames that exist. Reports what is not
    /// there.
    ViewFiles(const DriverOptions& drivers, const ViewOptions& options);

    /// Reads the file that is `step` from the current one, or the first beyond it that can be read;
    /// it is the current one then. Those that cannot are reported and left out from then on. None
    /// if none is left, or after a signal.
    std::optional<ViewPicture> read(int step, PixelSize room, int matte);

    /// "2 of 3"; empty if there has never been more than one.
    [[nodiscard]] std::string place() const;
    /// Of the current file.
    [[nodiscard]] const std::string& name() const { return files_[current_].name; }
    [[nodiscard]] bool empty() const { return files_.empty(); }
    /// `Failed` if one of them could not be shown in full.
    [[nodiscard]] ExitCode exit() const { return exit_; }

  private:
    void leaveOut(std::size_t file);

    struct File {
        std::string name;
        bool told = false; ///< what its driver has reported
    };
    const DriverOptions& drivers_;
    AlphaChange alpha_;
    std::vector<File> files_; ///< that can be shown, as far as known
    bool several_ = false;
    std::size_t current_ = 0;
    ExitCode exit_ = ExitCode::Done;
};
