// SPDX-License-Identifier: MIT
#include "convertPlan.h"

#include "base/limits.h"
#include "batch/inputs.h"
#include "output/console.h"
#include "output/formatted.h"
#include "pictures/matteOutput.h"
#include "pictures/metadata.h"
#include "pictures/namedPicture.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostProblems = 20;

Problem usage(const std::string& what) {
    return {ExitCode::Usage, what + "; see 'tdr convert --help'"};
}

/// True for the name of a folder, also of one that does not exist yet.
bool isFolder(const std::string& name) {
    std::error_code error;
    return name.ends_with('/') || fs::is_directory(name, error);
}

/// Shows all problems but the last one, which is returned.
Problem refusal(std::vector<std::string> problems) {
    if (problems.size() > kMostProblems) {
        const std::size_t left = problems.size() - kMostProblems;
        problems.resize(kMostProblems);
        problems.push_back(formatted("and {} more; nothing was written", left));
    }
    std::for_each(problems.begin(), problems.end() - 1, [](const auto& text) { warn(text); });
    return {ExitCode::Failed, problems.back()};
}

class Planner {
  public:
    Planner(const DriverOptions& drivers, const ConvertOptions& options)
        : options_(options), driverOptions_(drivers) {}

    Outcome<ConvertPlan> plan();

  private:
    Outcome<void> splitWords();
    Outcome<FoundInputs> find();
    Outcome<std::string> ending();
    Outcome<std::vector<Job>> match(const FoundInputs& found);
    Outcome<void> checkWays(const std::vector<Job>& jobs);

    /// Looked for only if the plan needs them.
    DriverSet& drivers() {
        return drivers_ ? *drivers_ : drivers_.emplace(driverOptions_, Drivers::ForMany);
    }

    const ConvertOptions& options_;
    const DriverOptions& driverOptions_;
    std::optional<DriverSet> drivers_;
    std::vector<std::string> names_;
    std::string output_;
    bool inFolder_ = false;
};

Outcome<void> Planner::splitWords() {
    names_ = options_.files;
    output_ = options_.output;
    if (output_.empty()) {
        if (names_.size() != 2 || !options_.list.empty()) {
            return usage(names_.size() > 1 || !options_.list.empty()
                             ? "several files need -o: convert IN... -o OUT"
                             : "a file to write is missing: convert IN OUT");
        }
        output_ = names_.back();
        names_.pop_back();
        return isFolder(output_)
                   ? Problem{ExitCode::Failed,
                             formatted("{0}: names a folder; name the file to write in it, "
                                       "or use -o {0}",
                                       output_)}
                   : Outcome<void>();
    }
    inFolder_ = isFolder(output_);
    return names_.empty() && options_.list.empty() ? usage("name a file to read") : Outcome<void>();
}

Outcome<FoundInputs> Planner::find() {
    InputRule rule;
    rule.names = names_;
    rule.searchFolders = options_.recursive;
    rule.mayBeMissing = !options_.picture.preRead.empty();
    if (!options_.list.empty()) {
        auto listed = readFileList(options_.list, options_.zeros ? '\0' : '\n');
        if (!listed) {
            return listed.failure();
        }
        rule.listed = std::move(*listed);
    }
    if (!options_.frames.empty()) {
        rule.frames = *parseFrames(options_.frames);
    }
    rule.isMeant = [this](const std::string& path) {
        const auto driver = drivers().byEnding(path);
        return (driver && *driver) || mayBePicture(path);
    };
    rule.isLeftOut = [this](const std::string& folder) {
        std::error_code error;
        return inFolder_ && fs::equivalent(folder, output_, error);
    };
    auto found = findInputs(rule);
    if (rule.frames && !found.patterns && found.problems.empty()) {
        return usage("--frames needs a pattern: shot.%04d.pic");
    }
    if (found.inputs.empty() && found.problems.empty()) {
        found.problems.push_back({{}, "no picture was found"});
    }
    return found;
}

/// The ending of new files in a folder: that of the driver `--to`, or `--to` itself if a driver has
/// it.
Outcome<std::string> Planner::ending() {
    const std::string& kind = options_.picture.kind;
    if (kind.empty() || !inFolder_) {
        return std::string();
    }
    if (isMatte({}, kind.substr(kind.starts_with('.') ? 1 : 0))) {
        return (kind.starts_with('.') ? "" : ".") + kind;
    }
    const auto driver = drivers().byKind(kind, kMatteToo);
    if (!driver) {
        return driver.failure();
    }
    const bool isName = drivers().name(**driver) == kind;
    return isName ? drivers().extension(**driver) : (kind.starts_with('.') ? "" : ".") + kind;
}

Outcome<std::vector<Job>> Planner::match(const FoundInputs& found) {
    auto ending = this->ending();
    if (!ending) {
        return ending.failure();
    }
    OutputRule rule{output_, inFolder_, std::move(*ending), {}, options_.step};
    if (options_.start >= 0) {
        rule.start = options_.start;
    }
    const auto pattern = FramePattern::parse(output_);
    rule.joins = !inFolder_ && found.inputs.size() > 1 && pattern && !*pattern &&
                 isMatte(output_, options_.picture.kind);
    if (options_.picture.channel == 0) {
        rule.mattesIn = mattesIn;
    }
    if (rule.joins && found.inputs.size() > base::kMaxTagChannels) {
        return Problem{ExitCode::Failed,
                       formatted("{}: a matte has at most {} channels, not {}", output_,
                                 base::kMaxTagChannels, found.inputs.size())};
    }
    return planJobs(found.inputs, rule);
}

/// Streams and outside commands have rules of their own.
Outcome<void> Planner::checkWays(const std::vector<Job>& jobs) {
    const ConversionOptions& picture = options_.picture;
    const bool commands = !picture.preRead.empty() || !picture.postWrite.empty();
    const bool reads = std::ranges::any_of(jobs, [](const Job& job) {
        return job.input.path == "-" || std::ranges::count(job.more, "-") > 0;
    });
    const bool writes = std::ranges::any_of(jobs, [](const Job& job) { return job.output == "-"; });
    const bool matte = picture.postWrite.empty() && std::ranges::any_of(jobs, [&](const Job& job) {
                           return isMatte(job.output, picture.kind);
                       });
    const auto pattern = FramePattern::parse(output_);
    const bool numbers = !inFolder_ && (!pattern || *pattern);
    const std::pair<bool, const char*> conflicts[] = {
        {commands && (picture.verify || picture.preserveTime || reads || writes),
         "--pre-read and --post-write do not go together with --verify, --preserve-time or -"},
        {!picture.preRead.empty() && picture.channel > 0,
         "--pre-read and --channel do not go together"},
        {!picture.postWrite.empty() && options_.skipExisting,
         "--skip-existing does not know whether a file of --post-write is whole"},
        {picture.verify && writes, "--verify cannot read standard output"},
        {writes && options_.run.report == "-", "standard output takes pictures or the report"},
        {reads && (inFolder_ || jobs.size() > 1 || !jobs.front().more.empty()),
         "- for input goes alone, to a file, a pattern or -"},
        {reads && (picture.channel > 0 || !picture.from.empty() || picture.preserveTime),
         "--channel, --from and --preserve-time need a file to read"},
        {!numbers && (options_.start >= 0 || options_.step != 1),
         "--start and --step number the files of a pattern"},
        {!matte && options_.threshold >= 0, "--threshold needs a matte to write"},
    };
    for (const auto& [isThere, what] : conflicts) {
        if (isThere) {
            return usage(what);
        }
    }
    for (const Job& job : jobs) {
        const NamedFile in{job.input.path, picture.from, picture.preRead};
        const NamedFile out{job.output, picture.kind, picture.postWrite};
        for (const NamedFile& file : {in, out}) {
            const auto driver =
                file.command.empty() ? Outcome<std::size_t>(0) : driverFor(drivers(), file);
            if (!driver) {
                return driver.failure();
            }
        }
    }
    return {};
}

Outcome<ConvertPlan> Planner::plan() {
    if (auto split = splitWords(); !split) {
        return split.failure();
    }
    auto found = find();
    if (!found) {
        return found.failure();
    }
    if (!found->problems.empty()) {
        std::vector<std::string> problems;
        std::ranges::transform(found->problems, std::back_inserter(problems), &InputProblem::text);
        return refusal(std::move(problems));
    }
    auto jobs = match(*found);
    if (!jobs) {
        return jobs.failure();
    }
    if (const auto good = checkWays(*jobs); !good) {
        return good.failure();
    }
    // A command's driver writes the file under its name: before it has read the whole input.
    const PlanRule rule{options_.run.existing, options_.picture.postWrite.empty(),
                        options_.run.report == "-" ? "" : options_.run.report,
                        options_.list == "-" ? "" : options_.list,
                        !options_.picture.preRead.empty()};
    auto problems = checkJobs(*jobs, rule, lookUpFile);
    if (!problems.empty()) {
        return refusal(std::move(problems));
    }
    for (const std::string& note : found->notes) {
        if (!options_.run.quiet) {
            warn(note);
        }
    }
    const bool isBatch = found->patterns || options_.recursive || !options_.output.empty();
    return ConvertPlan{std::move(*jobs), inFolder_, isBatch};
}

} // namespace

Outcome<ConvertPlan> planConversions(const DriverOptions& drivers, const ConvertOptions& options) {
    return Planner(drivers, options).plan();
}
