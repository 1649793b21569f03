// SPDX-License-Identifier: MIT
// The checks with a picture: lines in any order, whole pictures, blocks of every size.
#include "lintTrial.h"

#include "output/formatted.h"

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

namespace {

constexpr std::int32_t kWidth = 7;
constexpr std::int32_t kHeight = 5;

/// Bytes behind a line or a picture, which the driver must not change.
constexpr std::size_t kGuardBytes = 64;
constexpr std::uint8_t kGuard = 0xA5;

/// The orders in which the lines of a new picture are put.
constexpr std::array<std::array<std::int32_t, kHeight>, 3> kOrders = {
    {{4, 3, 2, 1, 0}, {0, 1, 2, 3, 4}, {2, 4, 0, 1, 3}}};

/// Opaque pixels, each of which differs from its neighbours.
std::vector<std::uint8_t> lineToWrite(std::int32_t line) {
    std::vector<std::uint8_t> pixels;
    for (std::int32_t x = 0; x < kWidth; ++x) {
        for (const std::int32_t value : {255, 20 + 40 * line, 200 - 25 * x, 10 + 31 * x + line}) {
            pixels.push_back(static_cast<std::uint8_t>(value));
        }
    }
    return pixels;
}

/// A block of `bytes` bytes with a guard behind them.
class GuardedBlock {
  public:
    static tdr::Result<GuardedBlock> create(std::size_t bytes) {
        auto block = tdr::SharedBlock::create(bytes + kGuardBytes);
        return block ? tdr::Result<GuardedBlock>(GuardedBlock(std::move(*block), bytes))
                     : block.failure();
    }
    /// Empties the block for the next request.
    tdr::SharedBlock& cleared() {
        std::ranges::fill(content(), std::uint8_t{0});
        std::ranges::fill(guard(), kGuard);
        return block_;
    }
    [[nodiscard]] std::span<std::uint8_t> content() const { return block_.bytes().first(bytes_); }
    [[nodiscard]] bool isWhole() const {
        return std::ranges::all_of(guard(), [](std::uint8_t byte) { return byte == kGuard; });
    }

  private:
    GuardedBlock(tdr::SharedBlock block, std::size_t bytes)
        : block_(std::move(block)), bytes_(bytes) {}
    [[nodiscard]] std::span<std::uint8_t> guard() const { return block_.bytes().subspan(bytes_); }

    tdr::SharedBlock block_;
    std::size_t bytes_;
};

/// A connected picture and the bytes of its lines in a block.
struct Connected {
    std::int32_t height = 0;
    std::size_t lineBytes = 0;
};

/// Connects for reading as a host does, and checks what the driver then reports.
std::optional<Connected> connect(LintTrial& trial, const std::string& path) {
    const auto source = tdr::PictureSource::open(trial.driver(), path);
    if (!source) {
        trial.done(source.failure(), "connect for reading, with bounds and format");
        return {};
    }
    const auto current = trial.driver().currentFormat();
    trial.expect(current && *current >= 0, "a connect for reading sets no currentFormat");
    const tdr::PictureShape& shape = source->shape();
    const std::size_t bits = static_cast<std::size_t>(shape.width) *
                             static_cast<std::size_t>(shape.channels) * (shape.matte ? 1 : 8);
    return Connected{shape.height, (bits + 7) / 8};
}

/// Reads all lines, from the top one or from the bottom one. None after a fault.
std::optional<Lines> readLines(LintTrial& trial, const Connected& picture, bool fromTheTop) {
    auto block = GuardedBlock::create(picture.lineBytes);
    Lines lines(static_cast<std::size_t>(picture.height));
    for (std::int32_t i = 0; block && i < picture.height; ++i) {
        const std::int32_t line = fromTheTop ? picture.height - 1 - i : i;
        if (!trial.done(trial.driver().getLine(block->cleared(), line),
                        formatted("get line {} of {}", line, picture.height))) {
            return {};
        }
        if (!trial.expect(block->isWhole(), formatted("line {} is written past its end", line))) {
            return {};
        }
        lines[static_cast<std::size_t>(line)].assign(block->content().begin(),
                                                     block->content().end());
    }
    return block ? std::optional(std::move(lines)) : std::nullopt;
}

bool connectToWrite(LintTrial& trial, const std::string& path) {
    tdr::Session& driver = trial.driver();
    if (!trial.done(driver.setPixelFormat(0), "set pixel format 0") ||
        !trial.done(driver.setBounds({0, 0, kWidth, kHeight}), "set bounds")) {
        return false;
    }
    const auto connected = driver.connectToFile(path, tdr::Access::Write);
    if (!connected && connected.failure().kind != tdr::FailureKind::Died) {
        trial.note("it refuses to write, so writing is not checked");
        return false;
    }
    return trial.done(connected, "connect for writing");
}

/// Reads a new file back; false when it is not as it was written, or when nothing is there.
bool checkWritten(LintTrial& trial, const std::string& path, const std::string& how) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        trial.note("it writes no file, so reading is not checked");
        return false;
    }
    const auto picture = connect(trial, path);
    const auto lines = picture ? readLines(trial, *picture, true) : std::nullopt;
    if (!lines || !trial.expect(lines->size() == kHeight, "the new picture has another height")) {
        return false;
    }
    for (std::int32_t line = 0; line < kHeight; ++line) {
        if (!trial.expect((*lines)[static_cast<std::size_t>(line)] == lineToWrite(line),
                          formatted("line {} has other pixels than were put, {}", line, how))) {
            return false;
        }
    }
    return trial.done(trial.driver().disconnectFromFile(), "disconnect after reading");
}

/// Puts the lines in an order, or as a whole picture, and reads them back.
bool writeLines(LintTrial& trial, const std::string& path, std::span<const std::int32_t> order) {
    auto block = tdr::SharedBlock::create(tdr::lineBytes(kWidth));
    if (!block || !connectToWrite(trial, path)) {
        return false;
    }
    std::string how;
    for (const std::int32_t line : order) {
        std::ranges::copy(lineToWrite(line), block->bytes().begin());
        how += (how.empty() ? "" : ", ") + std::to_string(line);
        if (!trial.done(trial.driver().putLine(*block, line), "put line " + how)) {
            return false;
        }
    }
    return trial.done(trial.driver().disconnectFromFile(), "disconnect after writing") &&
           checkWritten(trial, path, "when the lines come in the order " + how);
}

void writeWhole(LintTrial& trial, const std::string& path) {
    auto block = tdr::SharedBlock::create(tdr::pictureBytes(kWidth, kHeight));
    if (!block || !connectToWrite(trial, path)) {
        return;
    }
    for (std::int32_t line = 0; line < kHeight; ++line) {
        std::ranges::copy(lineToWrite(line),
                          block->bytes().subspan(tdr::pictureBytes(kWidth, line)).begin());
    }
    const auto put = trial.driver().putCache(*block);
    if (!put && put.failure().kind == tdr::FailureKind::Refused) {
        trial.note("it refuses whole pictures; hosts put the lines");
    } else if (trial.done(put, "put cache") &&
               trial.done(trial.driver().disconnectFromFile(), "disconnect after writing")) {
        checkWritten(trial, path, "when they come as a whole picture");
    }
}

std::string newFile(const LintTrial& trial, const std::string& name) {
    return (trial.run.folder / (name + trial.run.ending)).native();
}

/// Requests that no line or block fits. `transfer` gets or puts a line.
template <typename Transfer>
void refuseWrongLines(LintTrial& trial, const Connected& picture, const std::string& request,
                      Transfer transfer) {
    auto block = tdr::SharedBlock::create(picture.lineBytes);
    auto small = tdr::SharedBlock::create(picture.lineBytes > 1 ? picture.lineBytes - 1 : 1);
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

} // namespace

void lintWriting(LintTrial& trial) {
    for (const auto& order : kOrders) {
        const std::string path = newFile(trial, "lines");
        if (!writeLines(trial, path, order)) {
            return;
        }
        trial.run.writtenFile = path;
    }
    writeWhole(trial, newFile(trial, "whole"));
}

void lintWrongPuts(LintTrial& trial) {
    if (!connectToWrite(trial, newFile(trial, "refused"))) {
        return;
    }
    tdr::Session& driver = trial.driver();
    const Connected picture{kHeight, tdr::lineBytes(kWidth)};
    refuseWrongLines(trial, picture, "put line",
                     [&](auto& block, std::int32_t line) { return driver.putLine(block, line); });
    auto block = tdr::SharedBlock::create(picture.lineBytes);
    if (block) {
        trial.refused(driver.getLine(*block, 0), "get line from a file that is being written");
        trial.refused(driver.putCache(*block), "put cache with a block of one line");
    }
}

void lintReading(LintTrial& trial, const std::string& path) {
    tdr::Session& driver = trial.driver();
    const auto picture = connect(trial, path);
    const auto down = picture ? readLines(trial, *picture, true) : std::nullopt;
    const auto up = down ? readLines(trial, *picture, false) : std::nullopt;
    if (!up) {
        return;
    }
    trial.expect(*down == *up, "lines have other pixels when they are got in another order");
    refuseWrongLines(trial, *picture, "get line",
                     [&](auto& block, std::int32_t line) { return driver.getLine(block, line); });
    if (auto block = tdr::SharedBlock::create(picture->lineBytes)) {
        trial.refused(driver.putLine(*block, 0), "put line to a file that is being read");
    }
    if (!driver.damage().empty()) {
        trial.note("the file is damaged");
    }
    trial.done(driver.connectToFile(path, tdr::Access::Read), "connect while a file is open");
    trial.done(driver.disconnectFromFile(), "disconnect after reading");
}

void lintWholePictures(LintTrial& trial, const std::string& path) {
    const auto picture = connect(trial, path);
    const auto lines = picture ? readLines(trial, *picture, true) : std::nullopt;
    if (!lines) {
        return;
    }
    const std::size_t bytes = picture->lineBytes * lines->size();
    auto small = tdr::SharedBlock::create(bytes - (bytes > 1 ? 1 : 0));
    auto block = GuardedBlock::create(bytes);
    if (!small || !block || !connect(trial, path)) { // lines and whole pictures do not mix
        return;
    }
    trial.refused(trial.driver().getCache(*small), "get cache with a block that is too small");
    if (!connect(trial, path)) {
        return;
    }
    const auto got = trial.driver().getCache(block->cleared());
    if (!got && got.failure().kind == tdr::FailureKind::Refused) {
        trial.note("it refuses whole pictures; hosts get the lines");
        return;
    }
    if (!trial.done(got, "get cache") ||
        !trial.expect(block->isWhole(), "the picture is written past its end")) {
        return;
    }
    for (std::size_t line = 0; line < lines->size(); ++line) {
        const auto row = block->content().subspan(line * picture->lineBytes, picture->lineBytes);
        // Drivers may repeat the top line as the bottom one.
        const bool same = std::ranges::equal(row, (*lines)[line]) ||
                          (line == 0 && std::ranges::equal(row, lines->back()));
        if (!trial.expect(same, formatted("line {} of the whole picture has other pixels than the "
                                          "single line",
                                          line))) {
            return;
        }
    }
}

void lintEnd(LintTrial& trial, const std::string& path) {
    trial.done(trial.driver().connectToFile(path, tdr::Access::Read), "connect for reading");
}
