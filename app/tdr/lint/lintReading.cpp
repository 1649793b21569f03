// SPDX-License-Identifier: MIT
// The checks of reading: lines in any order, whole pictures, files that were cut.
#include "lintPicture.h"

#include <algorithm>
#include <system_error>

namespace {

/// A file that is in `from` with all its bytes but a quarter.
std::string cutFile(const LintTrial& trial, const std::string& from) {
    std::string path = newFile(trial, "cut");
    std::error_code error;
    std::filesystem::copy_file(from, path, error);
    std::filesystem::resize_file(path, std::filesystem::file_size(path, error) * 3 / 4, error);
    return path;
}

} // namespace

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
    if (auto block = trial.block(picture->lineBytes)) {
        trial.refused(driver.putLine(*block, 0), "put line to a file that is being read");
    }
    refuseAnotherSize(trial, *picture);
    if (!driver.damage().empty()) {
        trial.note("the file is damaged");
    }
    trial.done(driver.connectToFile(path, tdr::Access::Read), "connect while a file is open");
    trial.done(driver.disconnectFromFile(), "disconnect after reading");
}

void lintDamage(LintTrial& trial, const std::string& path) {
    const std::string cut = cutFile(trial, path);
    const auto answer = trial.driver().connectToFile(cut, tdr::Access::Read);
    if (!answer && answer.failure().kind == tdr::FailureKind::Refused) {
        return; // too short for its header, and the driver says so
    }
    if (!trial.expect(answer || answer.failure().kind != tdr::FailureKind::NotMyFormat,
                      "a file that was cut is refused without a line on standard error, which "
                      "means that it has another format")) {
        return;
    }
    const auto picture = connect(trial, cut);
    const auto lines = picture ? readLines(trial, *picture, true) : std::nullopt;
    std::int32_t whole = 0;
    while (lines && whole < picture->height &&
           (*lines)[static_cast<std::size_t>(whole)] == lineToWrite(whole)) {
        ++whole;
    }
    trial.expect(!lines || whole == picture->height || !trial.driver().damage().empty(),
                 "a file that was cut is read without a line with 'cut short or damaged' on "
                 "standard error");
}

void lintWholePictures(LintTrial& trial, const std::string& path) {
    if (!transfersCaches(trial, tdr::Access::Read, "get cache")) {
        return;
    }
    const auto picture = connect(trial, path);
    const auto lines = picture ? readLines(trial, *picture, true) : std::nullopt;
    if (!lines) {
        return;
    }
    const std::size_t bytes = picture->lineBytes * lines->size();
    auto small = trial.block(bytes - (bytes > 1 ? 1 : 0));
    auto block = GuardedBlock::create(trial, bytes);
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
