// SPDX-License-Identifier: MIT
// tdr convert: pictures in, pictures out, one or many.
#include "base/limits.h"
#include "batch/frameSet.h"
#include "convertPlan.h"
#include "output/console.h"
#include "output/formatted.h"
#include "streamJobs.h"
#include "subcommands.h"
#include "talkOptions.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr std::int32_t kMostJobs = 256;
constexpr std::int32_t kMostMegabytes = 1 << 20;

std::string checkFrames(const std::string& text) {
    const auto frames = parseFrames(text);
    return frames ? "" : frames.failure().text;
}

Outcome<void> makeFolderOf(const std::string& file) {
    std::error_code error;
    const fs::path folder = fs::path(file).parent_path();
    fs::create_directories(folder, error);
    return error ? problemWith(folder.string(), error.value()) : Outcome<void>();
}

Converted convertJob(DriverSet& drivers, const ConvertOptions& options, const Job& job) {
    Conversion conversion{{job.input.path}, job.output, job.channel, job.input.frame.value_or(0)};
    conversion.inputs.insert(conversion.inputs.end(), job.more.begin(), job.more.end());
    return convertPicture(drivers, options.picture, conversion);
}

JobResult convertOne(DriverSet& drivers, const ConvertOptions& options, bool inFolder,
                     const Job& job) {
    const auto made = inFolder ? makeFolderOf(job.output) : Outcome<void>();
    return resultOf(made ? convertJob(drivers, options, job) : Converted{made.failure()}, options);
}

ExitCode showPlan(const std::vector<Job>& jobs) {
    std::string text;
    for (const Job& job : jobs) {
        text += formatted("{} -> {}{}\n", printable(job.input.path), printable(job.output),
                          job.skipped ? " (skipped, it exists)" : "");
    }
    return say(text);
}

ExitCode convert(const DriverOptions& drivers, ConvertOptions& options) {
    options.run.existing = options.force          ? IfExisting::Replace
                           : options.skipExisting ? IfExisting::Skip
                                                  : IfExisting::Refuse;
    options.picture.existing = options.force ? Existing::Replaced : Existing::Kept;
    options.picture.quiet = options.run.quiet;
    if (options.threshold >= 0) {
        options.picture.threshold = options.threshold;
    }
    const auto plan = planConversions(drivers, options);
    if (!plan) {
        return fail(plan.failure());
    }
    if (options.dryRun) {
        return showPlan(plan->jobs);
    }
    const auto makeDrivers = [&] {
        const auto use = plan->isBatch ? Drivers::ForMany : Drivers::ForOne;
        DriverOptions grouped = drivers;
        grouped.ownGroups = options.picture.timeout > 0;
        return std::make_shared<DriverSet>(std::move(grouped), use);
    };
    const std::size_t processors = std::max(1U, std::thread::hardware_concurrency());
    const std::size_t wanted =
        options.jobs > 0 ? static_cast<std::size_t>(options.jobs) : processors;
    const bool toStream = plan->jobs.front().output == "-"; // its pictures have an order
    options.run.counts = plan->isBatch;
    options.run.workers = toStream ? 1 : std::clamp<std::size_t>(wanted, 1, plan->jobs.size());
    if (options.megabytes > 0) {
        const std::size_t each =
            (static_cast<std::size_t>(options.megabytes) << 20) / options.run.workers;
        options.picture.mostBytes = std::min(options.picture.mostBytes, each);
    }
    if (plan->jobs.front().input.path == "-") {
        StreamJobs stream(options, plan->jobs.front().output);
        const auto own = makeDrivers();
        return doJobsAsTheyCome([&] { return stream.next(); }, options.run,
                                [&](const Job& /*job*/) { return stream.convert(*own); });
    }
    return doJobs(plan->jobs, options.run, [&]() -> Worker {
        return [&, own = makeDrivers()](const Job& job) {
            return convertOne(*own, options, plan->inFolder, job);
        };
    });
}

void addInputs(Arguments& arguments, ConvertOptions& options) {
    arguments.value("files", "IN... OUT", options.files,
                    "Pictures to read, or patterns (shot.%04d.pic, shot.####.pic, shot.@.pic), and "
                    "the picture to write, whose ending chooses the format");
    arguments.flag("-r,--recursive", options.recursive, "Convert the pictures in folders too");
    const Argument list =
        arguments.value("--files-from", "FILE", options.list,
                        "Read the names of more pictures from FILE, or - for standard input");
    arguments
        .flag("-0,--null", options.zeros,
              "Names of --files-from end with a zero byte instead of a line end")
        .need(list);
    arguments.value("--from", "KIND", options.picture.from,
                    "Read this kind of file, whatever its name: an ending or a driver's name");
    arguments.value("--pre-read", "CMD", options.picture.preRead,
                    "Command that the reading driver runs before each file");
    arguments
        .value("--frames", "LIST", options.frames,
               "Frames of the patterns, all of which have to exist: 1-100x2,120")
        .check(checkFrames);
}

void addOutputs(Arguments& arguments, ConvertOptions& options) {
    arguments.value("-o,--output", "OUT", options.output,
                    "Picture or pattern to write, or a folder (DIR/)");
    arguments.value("--to", "KIND", options.picture.kind,
                    "Write this kind of file, whatever its name: an ending or a driver's name");
    arguments.value("--start", "N", options.start, "Number the new frames from N")
        .range(0, 999'999'999);
    arguments.value("--step", "N", options.step, "Number them N apart").range(1, 999'999);
    arguments
        .value("--threshold", "N", options.threshold,
               "In a matte, set what is above N of 255 (default: 127)")
        .range(0, 254);
    arguments.value("--post-write", "CMD", options.picture.postWrite,
                    "Command that the writing driver runs with each new file");
    auto force = arguments.flag("--force", options.force, "Replace existing files");
    force.exclude(arguments.flag("--skip-existing", options.skipExisting,
                                 "Leave out pictures whose new file exists"));
    arguments.flag("--preserve-time", options.picture.preserveTime,
                   "Give new files the time of change of the old ones");
}

void addPictures(Arguments& arguments, ConvertOptions& options) {
    arguments
        .value("--channel", "N", options.picture.channel, "Which of several mattes, counted from 1")
        .range(1, base::kMaxTagChannels);
    addAlphaOptions(arguments, options.picture.alpha);
    arguments.flag("--keep-damaged", options.picture.keepDamaged,
                   "Write what can be read of a damaged picture; the exit status is still 1");
    arguments.flag("--verify", options.picture.verify,
                   "Read each new file back and compare its pixels before it gets its name");
}

void addRun(Arguments& arguments, ConvertOptions& options) {
    arguments.flag("-n,--dry-run", options.dryRun, "Only show what would be written");
    arguments
        .value("-j,--jobs", "N", options.jobs,
               "Pictures to convert at a time (default: the number of processors)")
        .range(1, kMostJobs);
    arguments
        .value("--picture-timeout", "SECONDS", options.picture.timeout,
               "Give up a picture, and end its drivers with all they have started, after this time")
        .range(0.001, 1e6);
    arguments
        .value("--max-memory", "MB", options.megabytes,
               "Memory for pixels of all jobs together; larger pictures go line by line")
        .range(1, kMostMegabytes);
    arguments.value("--report", "FILE", options.run.report,
                    "Write a line of JSON for each picture to FILE");
    addTalkOptions(arguments, options.run.quiet, options.run.verbose,
                   {"Report only failures", "Report each file, with its result and time"});
}

} // namespace

void addConvert(Arguments& arguments, Command& command) {
    auto options = std::make_shared<ConvertOptions>();
    addInputs(arguments, *options);
    addOutputs(arguments, *options);
    addPictures(arguments, *options);
    addRun(arguments, *options);
    arguments.run([&command, options] { command.exit = convert(command.drivers, *options); });
}
