// SPDX-License-Identifier: MIT
#include "fileInfo.h"
#include "output/console.h"
#include "output/formatted.h"
#include "pictures/formatText.h"
#include "pictures/pictureFile.h"

namespace {

/// The driver's answers about itself and its open file.
struct PictureFacts {
    tdr::PictureShape shape;
    std::string driver;
    std::string vendor;
    std::string formatName;
    std::int32_t current = 0; ///< index of the format
    tdr::PixelFormat format;
};

InfoRows rowsOf(const PictureFacts& facts) {
    return {
        {"size", formatted("{} x {}", facts.shape.width, facts.shape.height)},
        {"driver", formatted("{} ({}, {})", facts.driver, printable(facts.vendor),
                             printable(facts.formatName))},
        {"format", formatted("{}: {}", facts.current, formatText(facts.format))},
    };
}

nlohmann::ordered_json jsonOf(const PictureFacts& facts) {
    return {{"width", facts.shape.width},
            {"height", facts.shape.height},
            {"matte", facts.shape.matte},
            {"driver", facts.driver},
            {"vendor", facts.vendor},
            {"formatName", facts.formatName},
            {"format",
             {{"index", facts.current},
              {"depths", {facts.format.depth1, facts.format.depth2}},
              {"channels", facts.format.channels}}}};
}

/// Queries the driver about itself and its open file.
tdr::Status ask(tdr::Session& driver, PictureFacts& facts) {
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
    facts.vendor = *vendor;
    facts.formatName = *name;
    facts.current = *current;
    facts.format = format->value_or(tdr::PixelFormat{});
    return {};
}

} // namespace

Outcome<FileInfo> describeByDriver(const std::filesystem::path& file,
                                   const DriverOptions& options) {
    DriverSet drivers(options);
    auto picture = openPicture(drivers, file);
    if (!picture) {
        return picture.failure();
    }
    RunningDriver& running = *picture->running;
    PictureFacts facts{picture->source.shape(), drivers.name(picture->driver), {}, {}, 0, {}};
    tdr::Status asked = ask(running.session, facts);
    if (asked) {
        asked = picture->source.close();
    }
    if (!asked) {
        return running.problem(file.string(), asked.failure());
    }
    running.passOnLines();
    return FileInfo{facts.shape.matte ? "matte" : "picture", [facts] { return rowsOf(facts); },
                    [facts](JsonWriter& out) { out.members(jsonOf(facts)); },
                    running.names.in(running.session.damage())};
}
