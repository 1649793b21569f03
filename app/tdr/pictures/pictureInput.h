// SPDX-License-Identifier: MIT
// The picture that a conversion reads, wherever it comes from.
#pragma once

#include "driverSet.h"
#include "metadata.h"
#include "tdr/picture.h"

#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class PictureInput {
  public:
    explicit PictureInput(std::string name) : name_(std::move(name)) {}
    virtual ~PictureInput() = default;
    PictureInput(const PictureInput&) = delete;
    PictureInput& operator=(const PictureInput&) = delete;

    /// The user's name of it.
    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] virtual std::int32_t width() const = 0;
    [[nodiscard]] virtual std::int32_t height() const = 0;
    /// The driver that reads it, if any.
    [[nodiscard]] virtual std::optional<std::size_t> driver() const { return {}; }
    /// When its file was changed last, if it is a file.
    [[nodiscard]] virtual std::optional<timespec> time() const { return {}; }

    /// Reads all lines into a new block, the bottom line first, and closes the input.
    virtual Outcome<void> readAll(tdr::SharedBlock& block) = 0;
    /// Reads a line (0 is the bottom one) into the beginning of `block`: from the top line down,
    /// perhaps twice.
    virtual Outcome<void> readLine(tdr::SharedBlock& block, std::int32_t line) = 0;
    /// Closes it. Only its success proves that the lines were the answers to their requests.
    virtual Outcome<void> close() = 0;

    /// True when something of the picture was missing so far.
    [[nodiscard]] virtual bool damaged() const { return false; }
    /// Shows what its driver has said.
    virtual void passOnLines() {}

    Metadata metadata;
    std::vector<std::string> losses; ///< what is not read of the file

  private:
    std::string name_;
};

/// Opens the file `path` with the driver that reads it, or with that of `kind` (see
/// `DriverSet::byKind`) if it is not empty. `matte` is the one to read of several,
/// counted from 1; 0: the first, and the others are losses.
[[nodiscard]] Outcome<std::unique_ptr<PictureInput>>
openInput(DriverSet& drivers, const std::string& path, const std::string& kind, std::int32_t matte);
