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

tdr::Result<Answers> ask(tdr::Driver& driver) {
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
    const auto answers = ask(picture->session->driver);
    if (!answers) {
        return picture->session->problem(file.string(), answers.failure());
    }
    if (const auto closed = picture->reader.close(); !closed) {
        return picture->session->problem(file.string(), closed.failure());
    }
    picture->session->passOnLines();
    const tdr::PictureShape& shape = picture->reader.shape();
    FileInfo info;
    info.rows = {
        {"size", fmt::format("{} x {}", shape.width, shape.height)},
        {"driver", fmt::format("{} ({}, {})", picture->driverName, printable(answers->vendor),
                               printable(answers->formatName))},
        {"format", fmt::format("{}: {}", answers->current, formatText(answers->format))},
    };
    const nlohmann::ordered_json json = {{"width", shape.width},
                                         {"height", shape.height},
                                         {"matte", shape.matte},
                                         {"driver", picture->driverName},
                                         {"vendor", answers->vendor},
                                         {"formatName", answers->formatName},
                                         {"format", formatJson(answers->current, answers->format)}};
    info.json = [json](JsonWriter& out) { out.members(json); };
    info.damage = picture->session->driver.damage();
    return info;
}
