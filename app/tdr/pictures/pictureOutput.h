// SPDX-License-Identifier: MIT
// The picture that a conversion writes, wherever it goes.
#pragma once

#include "driverSet.h"
#include "files/replacedFile.h"
#include "pictureInput.h"
#include "readBack.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class PictureOutput {
  public:
    explicit PictureOutput(std::string name) : name_(std::move(name)) {}
    virtual ~PictureOutput() = default;
    PictureOutput(const PictureOutput&) = delete;
    PictureOutput& operator=(const PictureOutput&) = delete;

    /// The user's name of it.
    [[nodiscard]] const std::string& name() const { return name_; }

    /// Begins a picture of this size.
    virtual Outcome<void> begin(std::int32_t width, std::int32_t height) = 0;
    /// Writes all lines, the bottom line first in the block.
    virtual Outcome<void> writeAll(const tdr::SharedBlock& block) = 0;
    /// Writes a line (0 is the bottom one): from the top line down, each once.
    virtual Outcome<void> writeLine(const tdr::SharedBlock& block, std::int32_t line) = 0;
    /// Ends the picture. Returns what of the metadata it cannot hold.
    virtual Outcome<std::vector<std::string>> close(const Metadata& metadata) = 0;
    /// Compares what was written with the original.
    virtual Outcome<void> verify(const OriginalPicture& original) = 0;
    /// Makes the picture visible under its name, with this time of change if it is given.
    virtual Outcome<void> commit(std::optional<timespec> time) = 0;

    /// True when a failure would leave a part of the picture under its name.
    [[nodiscard]] virtual bool isPartlyWritten() const { return false; }

    /// For a report: how the kind of the new file was chosen, if nothing determines it.
    std::string guessed;

  private:
    std::string name_;
};

/// Begins the file `path`: of the kind `kind` if that is not empty, or as `writerFor` determines,
/// or else as the input's driver writes it.
[[nodiscard]] Outcome<std::unique_ptr<PictureOutput>>
openOutput(DriverSet& drivers, const std::string& path, const std::string& kind, Existing existing,
           const PictureInput& input);
