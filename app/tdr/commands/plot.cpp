// SPDX-License-Identifier: MIT
// tdr plot FILE -o OUT.svg: draws the contents of a scene file.
#include "base/extension.h"
#include "files/replacedFile.h"
#include "output/console.h"
#include "output/formatted.h"
#include "output/utf8Text.h"
#include "plot/drawings.h"
#include "subcommands.h"

#include <charconv>

namespace fs = std::filesystem;

namespace {

struct PlotOptions {
    std::string file;
    std::string output;
    bool force = false;
    std::string show;
    std::string frames;
    CurveChoice choice;
};

/// "A-B" with whole numbers, A below B; each may be negative.
std::optional<PlotRange> framesIn(std::string_view text) {
    constexpr std::int32_t kMost = 10'000'000;
    std::int32_t first = 0;
    std::int32_t last = 0;
    const char* end = text.data() + text.size();
    const auto a = std::from_chars(text.data(), end, first);
    if (a.ec != std::errc() || a.ptr == end || *a.ptr != '-') {
        return {};
    }
    const auto b = std::from_chars(a.ptr + 1, end, last);
    if (b.ec != std::errc() || b.ptr != end || first >= last || first < -kMost || last > kMost) {
        return {};
    }
    return PlotRange{static_cast<double>(first), static_cast<double>(last), false};
}

std::string checkRange(const std::string& text) {
    return framesIn(text) ? "" : "frames are A-B with whole numbers, A below B: " + text;
}

std::string checkOutput(const std::string& name) {
    const bool writable = !fs::path(name).has_extension() || base::hasExtension(name, ".svg");
    return writable ? "" : "only SVG can be written: " + name;
}

/// To the file, or to stdout for "-".
ExitCode write(const PlotOptions& options, const std::string& svg) {
    if (options.output == "-") {
        return say(svg);
    }
    const auto saved =
        saveText(options.output, ".svg", svg, options.force ? Existing::Replaced : Existing::Kept);
    return saved ? ExitCode::Done : fail(saved.failure());
}

/// The default of --show for each kind of file.
Outcome<Plot> draw(const SceneDocument& document, const PlotOptions& options) {
    const std::string title = utf8Text(fs::path(options.file).filename().string());
    const std::string usual = document.scene != nullptr    ? "curves"
                              : document.spline != nullptr ? "splines"
                                                           : "trees";
    const std::string& show = options.show.empty() ? usual : options.show;
    if (show != "curves" && (options.choice.frames || !options.choice.channels.empty())) {
        return Problem{ExitCode::Usage,
                       "--curve and --frames choose among curves; this draws " + show};
    }
    SceneReport complaints; // from evaluating curves; `scene check` reports them
    const SceneListener listener(complaints);
    if (show == "curves") {
        return plotCurves(document, title, options.choice);
    }
    return show == "splines" ? plotSplines(document, title) : plotTrees(document, title);
}

ExitCode plot(PlotOptions& options) {
    if (!options.frames.empty()) {
        options.choice.frames = framesIn(options.frames);
    }
    const auto document = readSceneDocument(options.file);
    if (!document) {
        return fail(document.failure());
    }
    const auto drawn = draw(*document, options);
    if (!drawn) {
        return fail(problemWith(options.file, drawn.failure()));
    }
    if (!drawn->leftOut.empty()) {
        warn(options.file + ": " + drawn->leftOut);
    }
    if (const ExitCode exit = write(options, drawn->svg); exit != ExitCode::Done) {
        return exit;
    }
    if (!document->report.whole()) {
        return fail({ExitCode::Failed,
                     options.file + ": drawn, but not all was read: " + document->report.losses() +
                         " (tdr scene check tells where)"});
    }
    return ExitCode::Done;
}

} // namespace

void addPlot(Arguments& arguments, Command& command) {
    auto options = std::make_shared<PlotOptions>();
    arguments.value("file", "FILE", options->file, "A .scn, .spl or .hrc file").require();
    arguments.value("-o,--output", "OUT", options->output, "SVG file to write; - for stdout")
        .require()
        .check(checkOutput);
    arguments.flag("--force", options->force, "Replace an existing file OUT");
    arguments.value("--curve", "CHANNEL", options->choice.channels,
                    "Only curves of this channel, CAM_FOV for example (may be repeated)");
    arguments
        .value("--frames", "A-B", options->frames,
               "Only these frames (default: all, and some room)")
        .check(checkRange);
    arguments
        .value("--show", "KIND", options->show,
               "What to draw: curves (default for scenes), splines or trees")
        .oneOf({"curves", "splines", "trees"});
    arguments.run([&command, options] {
        command.exit = withinMemory(options->file, [&] { return plot(*options); });
    });
}
