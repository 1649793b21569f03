// SPDX-License-Identifier: MIT
#include "lintPicture.h"

#include <algorithm>

namespace {

/// Bytes behind a line or a picture.
constexpr std::size_t kGuardBytes = 64;
constexpr std::uint8_t kGuard = 0xA5;

} // namespace

std::vector<std::uint8_t> lineToWrite(std::int32_t line) {
    std::vector<std::uint8_t> pixels;
    for (std::int32_t x = 0; x < kLintWidth; ++x) {
        for (const std::int32_t value : {255, 20 + 40 * line, 200 - 25 * x, 10 + 31 * x + line}) {
            pixels.push_back(static_cast<std::uint8_t>(value));
        }
    }
    return pixels;
}

std::optional<GuardedBlock> GuardedBlock::create(LintTrial& trial, std::size_t bytes) {
    auto block = trial.block(bytes + kGuardBytes);
    return block ? std::optional(GuardedBlock(std::move(*block), bytes)) : std::nullopt;
}

tdr::SharedBlock& GuardedBlock::cleared() {
    std::ranges::fill(content(), std::uint8_t{0});
    std::ranges::fill(guard(), kGuard);
    return block_;
}

bool GuardedBlock::isWhole() const {
    return std::ranges::all_of(guard(), [](std::uint8_t byte) { return byte == kGuard; });
}

std::optional<Connected> connect(LintTrial& trial, const std::string& path) {
    const auto source = tdr::PictureSource::open(trial.driver(), path);
    if (!source) {
        trial.done(source.failure(), "connect for reading, with bounds and format");
        return {};
    }
    const auto current = trial.answered(trial.driver().currentFormat(), "current format");
    trial.expect(!current || *current >= 0, "a connect for reading sets no currentFormat");
    const tdr::PictureShape& shape = source->shape();
    const std::size_t bits = static_cast<std::size_t>(shape.width) *
                             static_cast<std::size_t>(shape.channels) * (shape.matte ? 1 : 8);
    return Connected{shape.width, shape.height, (bits + 7) / 8};
}

std::optional<Lines> readLines(LintTrial& trial, const Connected& picture, bool fromTheTop) {
    auto block = GuardedBlock::create(trial, picture.lineBytes);
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

bool transfersCaches(LintTrial& trial, tdr::Access access, const char* request) {
    const auto has = trial.answered(trial.driver().transfersCaches(access),
                                    std::string(request) + " without an open file");
    if (has && !*has) {
        trial.note(std::string("it answers ") + request +
                   " without an open file, so hosts use its lines alone");
    }
    return has && *has;
}

std::string newFile(const LintTrial& trial, const std::string& name) {
    return (trial.run.folder / (name + trial.run.ending)).native();
}

void refuseAnotherSize(LintTrial& trial, const Connected& picture) {
    tdr::Session& driver = trial.driver();
    const auto set = driver.setBounds({0, 0, picture.width + 1, picture.height + 1});
    if (!set && set.failure().kind != tdr::FailureKind::Refused) {
        trial.done(set, "set bounds while a file is open");
        return;
    }
    const auto bounds = trial.answered(driver.bounds(), "bounds");
    trial.expect(!bounds || (bounds->width == picture.width && bounds->height == picture.height),
                 "set bounds changes the size of a picture that is open");
}
