// SPDX-License-Identifier: MIT
// tdr check FILE...: tells which files are whole.
#include "batch/inputs.h"
#include "check/checkPage.h"
#include "check/checkText.h"
#include "output/fileRun.h"
#include "output/formatted.h"
#include "subcommands.h"
#include "talkOptions.h"

#include <cerrno>
#include <filesystem>
#include <new>

namespace fs = std::filesystem;

namespace {

struct CheckOptions {
    std::vector<std::string> files;
    bool recursive = false;
    bool json = false;
    std::string page;
    bool force = false;
    Talk talk;
};

/// A file to check.
struct FileToCheck {
    std::string path;
    bool found = false; ///< in a folder: skipped if it is of no kind that can be checked
};

/// One run over all files.
class Checking {
  public:
    Checking(const DriverOptions& drivers, const CheckOptions& options,
             std::optional<CheckPage> page)
        : options_(drivers), known_(drivers), asJson_(options.json), quiet_(options.talk.quiet),
          page_(std::move(page)) {
        json_.beginArray();
    }

    void add(const FileToCheck& file, FileRun& run) {
        exit_ = worse(exit_, run.workOn(file.path, [&] { return check(file.path, file.found); }));
    }

    /// Of a folder that could not be searched.
    void addProblem(const std::string& folder, const std::string& problem) {
        exit_ = worse(exit_, take(folder, Problem{ExitCode::Failed, problem, Cause::Unreadable}));
    }

    ExitCode end() {
        json_.end();
        if (asJson_) {
            json_.finish();
        }
        if ((counts_.all() != 1 || counts_.skipped == 1) && !quiet_) {
            warn(textOf(counts_));
        }
        const auto shown = page_ && verdictIsWanted() ? page_->end(counts_) : Outcome<void>();
        return worse(worse(exit_, said_), shown ? ExitCode::Done : fail(shown.failure()));
    }

  private:
    ExitCode check(const std::string& file, bool found) {
        const auto result = checked(file);
        if (!result && found && isOfNoKind(result.failure().cause) &&
            !hasKnownEnding(file, known_)) {
            ++counts_.skipped;
            return ExitCode::Done;
        }
        return take(file, result);
    }

    [[nodiscard]] Outcome<FileCheck> checked(const std::string& file) const {
        try {
            return checkFile(file, options_);
        } catch (const std::bad_alloc&) {
            return problemWith(file, ENOMEM);
        }
    }

    ExitCode take(const std::string& file, const Outcome<FileCheck>& result) {
        if (result) {
            ++(result->whole ? counts_.whole : counts_.damaged);
        } else {
            ++(result.failure().cause == Cause::Damaged ? counts_.damaged : counts_.failed);
        }
        if (asJson_) {
            writeJson(json_, file, result);
        } else if (result && !(quiet_ && result->whole)) {
            say_(textOf(file, *result));
        }
        if (page_) {
            page_->add(file, result);
        }
        if (!result) {
            return fail(result.failure());
        }
        return result->whole ? ExitCode::Done : ExitCode::Failed;
    }

    static bool isOfNoKind(Cause cause) {
        return cause == Cause::WrongKind || cause == Cause::Empty || cause == Cause::NotAFile;
    }

    void say_(std::string_view text) { said_ = say(text); }

    const DriverOptions& options_;
    DriverSet known_; ///< for the endings of its files
    bool asJson_;
    bool quiet_; ///< nothing about whole files, no counts
    JsonWriter json_{[this](std::string_view bytes) { say_(bytes); }};
    ExitCode exit_ = ExitCode::Done;
    ExitCode said_ = ExitCode::Done;
    CheckCounts counts_;
    std::optional<CheckPage> page_;
};

ExitCode checkAll(const DriverOptions& drivers, const CheckOptions& options) {
    std::optional<CheckPage> page;
    if (!options.page.empty()) {
        auto begun = CheckPage::begin(drivers, options.page, options.force);
        if (!begun) {
            return fail(begun.failure());
        }
        page.emplace(std::move(*begun));
    }
    const std::string pageFolder = page ? page->folder() : "";
    Checking checking(drivers, options, std::move(page));
    std::vector<FileToCheck> files;
    for (const std::string& name : options.files) {
        InputRule rule;
        rule.listed = {name};
        rule.searchFolders = options.recursive;
        rule.isLeftOut = [&](const std::string& folder) {
            std::error_code error;
            return isPageImages(folder) ||
                   (!pageFolder.empty() && fs::equivalent(folder, pageFolder, error));
        };
        const FoundInputs found = findInputs(rule);
        for (const InputProblem& problem : found.problems) {
            checking.addProblem(problem.path, problem.text);
        }
        for (const PlannedInput& input : found.inputs) {
            files.push_back({input.path, input.inFolder});
        }
    }
    FileRun run(files.size(), options.talk);
    for (const FileToCheck& file : files) {
        if (verdictIsWanted()) {
            checking.add(file, run);
        }
    }
    return checking.end();
}

} // namespace

void addCheck(Arguments& arguments, Command& command) {
    auto options = std::make_shared<CheckOptions>();
    arguments
        .value("files", "FILE", options->files, "Pictures, mattes, scenes, splines, hierarchies")
        .require();
    arguments.flag("-r,--recursive", options->recursive, "Check all files in folders");
    arguments.flag("--json", options->json, "Print a JSON array with one object a file");
    const Argument page = arguments.value("--html", "FOLDER", options->page,
                                          "Write a page for a browser into a new or empty folder");
    arguments
        .flag("--force", options->force,
              "Replace index.html in FOLDER, and the images of older pages")
        .need(page);
    addTalkOptions(arguments, options->talk.quiet, options->talk.verbose,
                   {.quiet = "Print nothing about whole files; show no progress and no counts"});
    arguments.run([&command, options] { command.exit = checkAll(command.drivers, *options); });
}
