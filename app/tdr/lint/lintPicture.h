// SPDX-License-Identifier: MIT
// What the checks with a picture share: its lines, and requests that a driver has to refuse.
#pragma once

#include "lintTrial.h"
#include "output/formatted.h"

#include <cstddef>

/// The picture that is written.
inline constexpr std::int32_t kLintWidth = 7;
inline constexpr std::int32_t kLintHeight = 5;

/// Opaque pixels, each of which differs from its neighbours.
[[nodiscard]] std::vector<std::uint8_t> lineToWrite(std::int32_t line);

/// A block of shared memory with a guard behind its bytes, which the driver must not change.
class GuardedBlock {
  public:
    static std::optional<GuardedBlock> create(LintTrial& trial, std::size_t bytes);
    /// Empties the block for the next request.
    tdr::SharedBlock& cleared();
    [[nodiscard]] std::span<std::uint8_t> content() const { return block_.bytes().first(bytes_); }
    [[nodiscard]] bool isWhole() const;

  private:
    GuardedBlock(tdr::SharedBlock block, std::size_t bytes)
        : block_(std::move(block)), bytes_(bytes) {}
    [[nodiscard]] std::span<std::uint8_t> guard() const { return block_.bytes().subspan(bytes_); }

    tdr::SharedBlock block_;
    std::size_t bytes_;
};

/// A connected picture and the bytes of its lines in a block.
struct Connected {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::size_t lineBytes = 0;
};

/// Connects for reading as a host does, and checks what the driver then reports.
std::optional<Connected> connect(LintTrial& trial, const std::string& path);

/// Reads all lines, from the top one or from the bottom one. None after a fault.
std::optional<Lines> readLines(LintTrial& trial, const Connected& picture, bool fromTheTop);

/// Whether hosts use whole pictures: not if the driver transfers them without a file.
bool transfersCaches(LintTrial& trial, tdr::Access access, const char* request);

/// A path in the run's folder with the driver's ending.
[[nodiscard]] std::string newFile(const LintTrial& trial, const std::string& name);

/// Another size while a file is open: refused, or without effect.
void refuseAnotherSize(LintTrial& trial, const Connected& picture);

/// Requests that no line or block fits. `transfer` gets or puts a line.
template <typename Transfer>
void refuseWrongLines(LintTrial& trial, const Connected& picture, const std::string& request,
                      Transfer transfer) {
    auto block = trial.block(picture.lineBytes);
    auto small = trial.block(picture.lineBytes > 1 ? picture.lineBytes - 1 : 1);
    if (!block || !small) {
        return;
    }
    trial.refused(transfer(*block, -1), request + " -1, below the picture,");
    trial.refused(transfer(*block, picture.height),
                  formatted("{} {}, above the picture,", request, picture.height));
    if (picture.lineBytes > 1) {
        trial.refused(transfer(*small, 0), request + " with a block that is one byte too small");
    }
}
