// SPDX-License-Identifier: MIT
#include "fileKinds.h"
#include "output/console.h"
#include "pictures/formatText.h"
#include "pictures/pictureFile.h"

#include <fmt/format.h>

namespace {

nlohmann::ordered_json formatJson(std::int32_t index, const tdr::PixelFormat& format) {
    return {{"index", index},
            {"depths", {format.depth1, format.depth2}},
            {"channels", format.channels}};
}

/// The driver's answers about itself and its open file.
struct Answers {
    std::string vendor;
    std::string formatName;
    std::int32_t current = 0;
    tdr::PixelFormat format;
};

tdr::Result<Answers> ask(tdr::Session& driver) {
    const auto vendor = driver.vendorName();
    const auto name = vendor ? driver.formatName() : vendor;
    if (!name) {
        return name.failure();
    }
    const auto current = driver.currentFormat();
    if (!current) {
        return current.failure();
    }
    const auto format = driver.format(*current);
    if (!format) {
        return format.failure();
    }
    return Answers{*vendor, *name, *current, format->value_or(tdr::PixelFormat{})};
}

} // namespace

Outcome<FileInfo> describePicture(const std::filesystem::path& file, DriverSet& drivers) {
    auto picture = openPicture(drivers, file);
    if (!picture) {
        return picture.problem();
    }
    const auto answers = ask(picture->running->session);
    if (!answers) {
        return picture->running->problem(file.string(), answers.failure());
    }
    if (const auto closed = picture->source.close(); !closed) {
        return picture->running->problem(file.string(), closed.failure());
    }
    picture->running->passOnLines();
    const tdr::PictureShape& shape = picture->source.shape();
    FileInfo info;
    info.rows = {
        {"size", fmt::format("{} x {}", shape.width, shape.height)},
        {"driver", fmt::format("{} ({}, {})", drivers.name(picture->driver),
                               printable(answers->vendor), printable(answers->formatName))},
        {"format", fmt::format("{}: {}", answers->current, formatText(answers->format))},
    };
    const nlohmann::ordered_json json = {{"width", shape.width},
                                         {"height", shape.height},
                                         {"matte", shape.matte},
                                         {"driver", drivers.name(picture->driver)},
                                         {"vendor", answers->vendor},
                                         {"formatName", answers->formatName},
                                         {"format", formatJson(answers->current, answers->format)}};
    info.json = [json](JsonWriter& out) { out.members(json); };
    info.damage = picture->running->names.in(picture->running->session.damage());
    return info;
}
