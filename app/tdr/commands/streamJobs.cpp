// SPDX-License-Identifier: MIT
#include "streamJobs.h"

#include "batch/inputs.h"
#include "output/console.h"

#include <limits>

JobResult resultOf(const Converted& converted, const ConvertOptions& options) {
    if (converted.unwanted) {
        return {Fate::Skipped, ExitCode::Done, "nobody reads standard output any more"};
    }
    if (converted.outcome) {
        return {};
    }
    const Problem& problem = converted.outcome.failure();
    if (options.skipExisting && problem.cause == Cause::Exists) { // since the plan was made
        return {Fate::Skipped, ExitCode::Done, "it exists"};
    }
    return {converted.damaged ? Fate::Damaged : Fate::Failed, fail(problem), problem.text,
            converted.damaged ? Cause::Damaged : problem.cause};
}

std::optional<Job> StreamJobs::next() {
    const auto header = ended_ ? Outcome<std::optional<PamHeader>>(std::nullopt) : reader_.next();
    if (header && !*header && pictures_ > 0) {
        return std::nullopt;
    }
    const auto name = nameOf(pictures_++);
    begun_ = !header    ? header.failure()
             : !*header ? Problem{ExitCode::Failed, reader_.name() + ": has no picture"}
             : !name    ? name.failure()
                        : Outcome<void>();
    ended_ = !begun_;
    damaged_ = !header && pictures_ > 1;
    name_ = name ? *name : output_;
    const bool skipped = options_.skipExisting && !ended_ && lookUpFile(name_).isFile;
    Job job;
    job.input.path = "-";
    job.output = name_;
    job.skipped = skipped;
    return job;
}

JobResult StreamJobs::convert(DriverSet& drivers) {
    if (!begun_) {
        return resultOf({begun_, damaged_}, options_);
    }
    const Converted converted = convertFromStream(drivers, options_.picture, reader_, name_);
    ended_ = converted.damaged || converted.unwanted;
    return resultOf(converted, options_);
}

/// One file takes one picture, a pattern all.
Outcome<std::string> StreamJobs::nameOf(std::int64_t picture) const {
    const auto pattern = FramePattern::parse(output_);
    if (!pattern) {
        return pattern.failure();
    }
    if (output_ != "-" && !*pattern && picture > 0) {
        return Problem{ExitCode::Failed, output_ + ": written, but standard input has more "
                                                   "pictures; a pattern takes them all"};
    }
    const std::int64_t number = (options_.start < 0 ? 1 : options_.start) + picture * options_.step;
    if (number > std::numeric_limits<std::int32_t>::max()) {
        return Problem{ExitCode::Failed, output_ + ": the number of a picture is out of range"};
    }
    return *pattern ? (*pattern)->path(static_cast<std::int32_t>(number)) : output_;
}
