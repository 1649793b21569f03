// SPDX-License-Identifier: MIT
// tdr scene check|format|binary|text: checks and rewrites scene files.
#include "output/console.h"
#include "output/formatted.h"
#include "scene/sceneDocument.h"
#include "subcommands.h"

#include <unistd.h>
#include <vector>

namespace {

struct SceneOptions {
    std::vector<std::string> files;
    std::string output;
    bool inPlace = false;
    bool force = false;
};

// --- Check ---------------------------------------------------------------------------------------

ExitCode checkOne(const std::string& file) {
    const auto document = readSceneDocument(file);
    if (!document) {
        return fail(document.failure());
    }
    const SceneReport& report = document->report;
    return worse(report.whole() ? ExitCode::Done : ExitCode::Failed, say(textOf(file, report)));
}

ExitCode check(const SceneOptions& options) {
    ExitCode exit = ExitCode::Done;
    for (std::size_t i = 0; i < options.files.size() && verdictIsWanted(); ++i) {
        const std::string& file = options.files[i];
        exit = worse(exit, withinMemory(file, [&] { return checkOne(file); }));
    }
    return exit;
}

// --- Writing again -------------------------------------------------------------------------------

/// Losses that are reported one by one; `scene check` reports all of them.
constexpr std::size_t kMostTold = 10;

/// Writes a document to another file, or in place.
class Rewriting {
  public:
    Rewriting(const SceneDocument& document, const SceneOptions& options)
        : document_(document), file_(options.files.front()),
          stream_(!options.inPlace && options.output == "-"), target_(options.inPlace ? file_
                                                                      : stream_ ? "standard output"
                                                                                : options.output),
          inPlace_(!stream_ && isSameFile(file_, target_)),
          existing_(options.inPlace || options.force ? Existing::Replaced : Existing::Kept) {}

    ExitCode into(SceneFlavour flavour) {
        if (stream_) {
            return show(flavour);
        }
        const SceneFormat& format = *document_.format;
        if (!inPlace_ && isOtherKindsName(format, target_)) {
            return fail({ExitCode::Usage, formatted("{}: a {} can only be written as {}", target_,
                                                    format.name, format.ending)});
        }
        const auto written = writeSceneDocument(document_, target_, flavour, existing_,
                                                [&](const SceneReport& ofWriting) {
                                                    writing_ = ofWriting;
                                                    return inPlace_ ? approve() : Outcome<void>();
                                                });
        return written ? tell() : fail(written.failure());
    }

  private:
    ExitCode show(SceneFlavour flavour) {
        if (flavour == SceneFlavour::Binary && ::isatty(STDOUT_FILENO) == 1) {
            return fail({ExitCode::Failed, target_ + ": is a terminal; a binary file is no text"});
        }
        const auto shown = showSceneDocument(document_, flavour, writing_);
        return shown ? tell() : fail(shown.failure());
    }

    [[nodiscard]] bool whole() const { return document_.report.whole() && writing_.whole(); }

    [[nodiscard]] std::string changes() const {
        const std::string reading = document_.report.changes();
        const std::string writing = writing_.changes();
        return reading + (reading.empty() || writing.empty() ? "" : ", ") + writing;
    }

    /// A file is replaced in place only if nothing is lost.
    [[nodiscard]] Outcome<void> approve() const {
        const auto refusal = [&](const std::string& reason) {
            return Problem{ExitCode::Failed, file_ + ": not replaced, " + reason};
        };
        const auto now = stampOf(file_);
        if (!now || *now != document_.stamp) {
            return refusal("it was changed since it was read");
        }
        const std::string lost = whole() ? changes() : lossesOf(document_.report, writing_);
        return lost.empty() ? Outcome<void>() : refusal("name another file with -o: " + lost);
    }

    /// "2 unknown words when it was read (tdr scene check lists them), 3 dropped".
    static std::string lossesOf(const SceneReport& reading, const SceneReport& writing) {
        const std::string read =
            reading.whole() ? ""
                            : reading.losses() + " when it was read (tdr scene check tells where)";
        return read + (reading.whole() || writing.whole() ? "" : "; ") + writing.losses();
    }

    /// Reports what the new file lacks.
    [[nodiscard]] ExitCode tell() const {
        if (const std::string changed = changes(); !changed.empty()) {
            warn(target_ + ": " + changed);
        }
        if (whole()) {
            return ExitCode::Done;
        }
        tellEach(file_, document_.report);
        tellEach(target_, writing_);
        warn(target_ +
             ": written, but not everything is in it: " + lossesOf(document_.report, writing_));
        return ExitCode::Failed;
    }

    static void tellEach(const std::string& file, const SceneReport& report) {
        std::size_t told = 0;
        for (const SceneRemark& remark : report.remarks) {
            if (remark.severity == AnimSeverity::Loss && ++told <= kMostTold) {
                warn(lineOf(file, remark));
            }
        }
        if (told > kMostTold) {
            warn(formatted("{}: {}", file, counted(told - kMostTold, "further remark")));
        }
    }

    const SceneDocument& document_;
    const std::string& file_;
    bool stream_;
    const std::string target_;
    bool inPlace_;
    Existing existing_;
    SceneReport writing_;
};

ExitCode format(const SceneOptions& options) {
    const auto document = readSceneDocument(options.files.front());
    return document ? Rewriting(*document, options).into(document->flavour)
                    : fail(document.failure());
}

template <SceneFlavour Flavour>
ExitCode turnInto(const SceneOptions& options) {
    const auto document = readSceneDocument(options.files.front());
    if (!document) {
        return fail(document.failure());
    }
    if (!document->format->hasBinary) {
        const char* reason = Flavour == SceneFlavour::Binary
                                 ? ": scenes have no binary flavour"
                                 : ": scenes are text already (see tdr scene format)";
        return fail({ExitCode::Failed, options.files.front() + reason});
    }
    return Rewriting(*document, options).into(Flavour);
}

struct Action {
    const char* name;
    const char* help;
    ExitCode (*run)(const SceneOptions&);
    bool writes; ///< takes one file, and --output or --in-place; otherwise many files
};

constexpr Action kActions[] = {
    {"check", "Tell whether everything in files was understood, and each place where not", check,
     false},
    {"format", "Read a file and write it again in the same flavour", format, true},
    {"binary", "Write a spline or hierarchy in the binary flavour", turnInto<SceneFlavour::Binary>,
     true},
    {"text", "Write a spline or hierarchy in the text flavour", turnInto<SceneFlavour::Text>, true},
};

} // namespace

void addScene(Arguments& arguments, Command& command) {
    for (const Action& action : kActions) {
        auto sub = arguments.subcommand(action.name, action.help);
        auto options = std::make_shared<SceneOptions>();
        auto files =
            sub.value("file", "FILE", options->files,
                      action.writes ? "A .scn, .spl or .hrc file" : ".scn, .spl or .hrc files");
        files.require();
        if (action.writes) {
            files.single();
            auto output =
                sub.value("-o,--output", "OUT", options->output, "File to write; - for stdout");
            output.exclude(sub.flag("--in-place", options->inPlace, "Replace FILE itself"));
            sub.flag("--force", options->force, "Replace an existing file OUT");
        }
        sub.run([&command, &action, options] {
            if (action.writes && options->output.empty() && !options->inPlace) {
                command.exit = fail({ExitCode::Usage, "scene " + std::string(action.name) +
                                                          ": --output or --in-place is required"});
                return;
            }
            command.exit =
                withinMemory(options->files.front(), [&] { return action.run(*options); });
        });
    }
}
