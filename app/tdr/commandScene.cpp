// SPDX-License-Identifier: MIT
// tdr scene check|format|binary|text FILE: what the toolkit makes of a scene file.
#include "console.h"
#include "sceneDocument.h"
#include "sceneJson.h"
#include "subcommands.h"
#include "utf8Text.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>

namespace {

struct SceneOptions {
    std::string file;
    std::string output;
};

// ------------------------------------------------------------------------------------------- check

std::string remarkLine(const std::string& file, const SceneRemark& remark) {
    return remark.kind ? fmt::format("{}:{}: {}{}\n", file, remark.line, nameOf(*remark.kind),
                                     remark.text.empty() ? "" : " \"" + remark.text + '"')
                       : remark.text + '\n';
}

ExitCode check(const SceneOptions& options) {
    const auto document = readSceneDocument(options.file);
    if (!document) {
        return complain(document.problem());
    }
    const SceneReport& report = document->report;
    const std::string file = utf8Text(std::string_view(options.file));
    std::string text;
    for (const SceneRemark& remark : report.remarks) {
        text += remarkLine(file, remark);
    }
    if (report.dropped != 0) {
        text += fmt::format("{}: {} further remarks\n", file, report.dropped);
    }
    text +=
        fmt::format("{}: {}\n", file, report.clean() ? "everything was read" : report.summary());
    return worse(report.clean() ? ExitCode::Done : ExitCode::Failed, say(text));
}

// ---------------------------------------------------------------------------------- writing again

/// What the file now written holds otherwise than the document; empty when nothing. Texts have
/// fewer digits than binary files, and no form has room for everything.
std::string differences(const SceneDocument& document, const std::filesystem::path& written) {
    const auto again = readSceneDocument(written);
    if (!again) {
        return "the new file cannot be read: " + again.problem().text;
    }
    auto before = jsonOf(document);
    auto after = jsonOf(*again);
    before.erase("flavour");
    after.erase("flavour");
    const auto changes = nlohmann::ordered_json::diff(before, after);
    return changes.empty() ? ""
                           : fmt::format("{} value{} changed, the first is {}", changes.size(),
                                         changes.size() == 1 ? "" : "s",
                                         changes.front().at("path").get<std::string>());
}

/// Everything that the written file lacks, beginning with the words that the reader did not take.
std::string lossOf(const SceneDocument& document, const std::filesystem::path& written) {
    std::string loss = document.report.clean()
                           ? ""
                           : document.report.summary() + " when it was read (see tdr scene check)";
    const std::string changed = differences(document, written);
    return loss + (loss.empty() || changed.empty() ? "" : "; ") + changed;
}

/// Writes the document again. A loss is told, and never happens to the file itself.
ExitCode writeAgain(const SceneOptions& options, const SceneDocument& document,
                    SceneFlavour flavour) {
    const bool inPlace = options.output.empty();
    const auto approve = [&](const std::filesystem::path& written) -> Outcome<bool> {
        const std::string loss = lossOf(document, written);
        if (inPlace && !loss.empty()) {
            return Problem{ExitCode::Failed,
                           options.file + ": not replaced, name another file with -o: " + loss};
        }
        if (!loss.empty()) {
            complain(options.output + ": not everything is kept: " + loss);
        }
        return true;
    };
    const auto written =
        writeSceneDocument(document, inPlace ? options.file : options.output, flavour, approve);
    return written ? ExitCode::Done : complain(written.problem());
}

ExitCode format(const SceneOptions& options) {
    const auto document = readSceneDocument(options.file);
    return document ? writeAgain(options, *document, document->flavour)
                    : complain(document.problem());
}

template <SceneFlavour Flavour>
ExitCode turnInto(const SceneOptions& options) {
    const auto document = readSceneDocument(options.file);
    if (!document) {
        return complain(document.problem());
    }
    if (!document->format->hasBinary) {
        return complain(
            Problem{ExitCode::Failed, options.file + ": scenes have no binary flavour"});
    }
    return writeAgain(options, *document, Flavour);
}

struct Action {
    const char* name;
    const char* help;
    ExitCode (*run)(const SceneOptions&);
    bool writes;         ///< takes --output
    bool outputRequired; ///< otherwise the file itself is replaced
};

constexpr Action kActions[] = {
    {"check", "Tell what the toolkit says of a file, and every word that it does not know", check,
     false, false},
    {"format", "Read a file and write it again in the same flavour", format, true, true},
    {"binary", "Write a spline or hierarchy in the binary flavour", turnInto<SceneFlavour::Binary>,
     true, false},
    {"text", "Write a spline or hierarchy in the text flavour", turnInto<SceneFlavour::Text>, true,
     false},
};

} // namespace

void addScene(CLI::App& app, Command& command) {
    auto* group = app.add_subcommand("scene", "Check, reformat and convert .scn, .spl, .hrc files");
    group->require_subcommand(1);
    for (const Action& action : kActions) {
        auto* sub = group->add_subcommand(action.name, action.help);
        auto options = std::make_shared<SceneOptions>();
        sub->add_option("file", options->file, "A .scn, .spl or .hrc file")
            ->required()
            ->type_name("FILE");
        if (action.writes) {
            sub->add_option("-o,--output", options->output,
                            action.outputRequired ? "File to write"
                                                  : "File to write (default: FILE itself)")
                ->required(action.outputRequired)
                ->type_name("OUT");
        }
        sub->callback([&command, &action, options] { command.exit = action.run(*options); });
    }
}
