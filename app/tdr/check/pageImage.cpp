// SPDX-License-Identifier: MIT
#include "pageImage.h"

#include "files/replacedFile.h"
#include "output/console.h"
#include "output/utf8Text.h"
#include "pictures/thumbnail.h"
#include "plot/drawings.h"

#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr std::int32_t kThumbnail = 320; ///< sharp on screens with several pixels a point

using Image = Outcome<std::optional<PageImage>>;

/// Its curves, or its trees if it has none.
Outcome<Plot> drawn(const SceneDocument& document, const std::string& title) {
    SceneReport complaints; // those of the file are known
    const SceneListener listener(complaints);
    if (document.spline != nullptr) {
        return plotSplines(document, title);
    }
    auto curves =
        document.scene != nullptr ? plotCurves(document, title, {}) : plotTrees(document, title);
    return curves || document.scene == nullptr ? std::move(curves) : plotTrees(document, title);
}

Image writePlot(const std::string& file, const fs::path& target) {
    const auto document = readSceneDocument(file);
    if (!document) {
        return std::optional<PageImage>();
    }
    const auto plot = drawn(*document, utf8Text(fs::path(file).filename().string()));
    if (!plot) {
        return std::optional<PageImage>();
    }
    const auto saved = saveText(target, ".svg", plot->svg, Existing::Kept);
    return saved ? Image(PageImage{target.filename().string(), true, {}}) : saved.failure();
}

} // namespace

Image writeImage(DriverSet& drivers, const std::string& file, const Outcome<FileCheck>& check,
                 const fs::path& folder, const std::string& name) {
    // What is wrong with the file, the check has told.
    std::optional<CollectedMessages> known(std::in_place);
    if (check && check->report) {
        return writePlot(file, folder / (name + ".svg"));
    }
    if (!check && check.failure().cause != Cause::Damaged) {
        return std::optional<PageImage>();
    }
    const auto thumbnail = readThumbnail(drivers, file, kThumbnail);
    known.reset();
    if (!thumbnail) {
        if (check && check->whole) {
            warn("no thumbnail: " + thumbnail.failure().text);
        }
        return std::optional<PageImage>();
    }
    const fs::path target = folder / (name + ".png");
    const auto written = writeThumbnail(drivers, target.string(), *thumbnail, Existing::Kept);
    return written ? Image(PageImage{target.filename().string(), false, thumbnail->pixels.size})
                   : written.failure();
}
