// SPDX-License-Identifier: MIT
#include "plan.h"

#include "output/formatted.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <unordered_map>
#include <utility>

namespace fs = std::filesystem;

namespace {

/// The stream of pictures, which any number of jobs may use.
constexpr std::string_view kStream = "-";

/// The name with another ending. Digits behind the last dot are a number and no ending.
std::string withEnding(const fs::path& name, const std::string& ending) {
    const std::string old = name.extension().string();
    const bool isNumber = old.size() > 1 && std::all_of(old.begin() + 1, old.end(), [](char c) {
                              return std::isdigit(static_cast<unsigned char>(c)) != 0;
                          });
    return (isNumber ? name.string() : name.stem().string()) + ending;
}

std::string inFolder(const PlannedInput& input, const OutputRule& rule) {
    const fs::path name = fs::path(input.path).filename();
    return (fs::path(rule.target) / input.folder /
            (rule.ending.empty() ? name.string() : withEnding(name, rule.ending)))
        .string();
}

/// The number of the job `index` in a pattern; none if it does not fit.
std::optional<std::int32_t> numberOf(const PlannedInput& input, std::int32_t first,
                                     std::size_t index, const OutputRule& rule) {
    if (input.frame && !rule.start && rule.step == 1) {
        return input.frame;
    }
    const std::int64_t number = first + static_cast<std::int64_t>(index) * rule.step;
    const bool fits = number >= 0 && number <= std::numeric_limits<std::int32_t>::max();
    return fits ? std::optional(static_cast<std::int32_t>(number)) : std::nullopt;
}

std::vector<Job> joined(const std::vector<PlannedInput>& inputs, const OutputRule& rule) {
    Job job{inputs.front(), rule.target};
    for (std::size_t i = 1; i < inputs.size(); ++i) {
        job.more.push_back(inputs[i].path);
    }
    return {std::move(job)};
}

/// A job for each matte of a single file, if it has several and the target is a pattern.
Outcome<std::vector<Job>> planMattes(const std::vector<PlannedInput>& inputs,
                                     const OutputRule& rule) {
    std::vector<Job> jobs;
    const auto pattern = FramePattern::parse(rule.target);
    const bool may = inputs.size() == 1 && !inputs.front().frame && !rule.isFolder &&
                     rule.mattesIn && pattern && *pattern;
    const auto mattes = may ? rule.mattesIn(inputs.front().path) : Outcome<std::int32_t>(0);
    if (!mattes) {
        return mattes.failure();
    }
    for (std::int32_t matte = 1; *mattes > 1 && matte <= *mattes; ++matte) {
        const std::int32_t number = rule.start.value_or(1) + (matte - 1) * rule.step;
        jobs.push_back({inputs.front(), (*pattern)->path(number), false, {}, matte});
    }
    return jobs;
}

} // namespace

Outcome<std::vector<Job>> planJobs(const std::vector<PlannedInput>& inputs,
                                   const OutputRule& rule) {
    std::vector<Job> jobs;
    if (inputs.size() == 1 && inputs.front().path == kStream) {
        jobs.push_back({inputs.front(), rule.target}); // its pictures are numbered as they come
        return jobs;
    }
    if (rule.joins && !inputs.empty()) {
        return joined(inputs, rule);
    }
    if (auto mattes = planMattes(inputs, rule); !mattes || !mattes->empty()) {
        return mattes;
    }
    const bool counts = !rule.isFolder && (inputs.size() > 1 || rule.start || rule.step != 1 ||
                                           (inputs.size() == 1 && inputs.front().frame));
    const std::int32_t first =
        rule.start.value_or(inputs.empty() ? 1 : inputs.front().frame.value_or(1));
    std::optional<FramePattern> pattern;
    if (counts) {
        auto parsed = FramePattern::parse(rule.target);
        if (!parsed) {
            return parsed.failure();
        }
        pattern = std::move(*parsed);
    }
    if (counts && !pattern && inputs.size() > 1 && rule.target != kStream) {
        return Problem{ExitCode::Failed,
                       formatted("{}: one file for {} pictures; a folder ends in / and a pattern "
                                 "has a number, as in %04d",
                                 rule.target, inputs.size())};
    }
    for (const PlannedInput& input : inputs) {
        std::string output = rule.target;
        if (rule.isFolder) {
            output = inFolder(input, rule);
        } else if (pattern) {
            const auto number = numberOf(input, first, jobs.size(), rule);
            if (!number) {
                return Problem{ExitCode::Failed,
                               input.path + ": the number of its new file is out of range"};
            }
            output = pattern->path(*number);
        }
        jobs.push_back({input, std::move(output)});
    }
    return jobs;
}

std::vector<std::string> checkJobs(std::vector<Job>& jobs, const PlanRule& rule,
                                   const LookUp& lookUp) {
    std::vector<std::string> problems;
    std::unordered_map<std::string, const Job*> readers;
    const auto addReader = [&](const std::string& path, const Job& job) {
        const Standing there = lookUp(path);
        if (there.isFolder && path != kStream && !rule.fetches) {
            problems.push_back(path + ": is a folder (see -r)");
        }
        const auto [reader, first] = readers.emplace(there.identity, &job);
        reader->second = first ? &job : nullptr; // null: several
    };
    for (const Job& job : jobs) {
        addReader(job.input.path, job);
        for (const std::string& path : job.more) {
            addReader(path, job);
        }
    }
    if (!rule.list.empty()) {
        readers.emplace(lookUp(rule.list).identity, nullptr);
    }
    std::unordered_map<std::string, const Job*> writers;
    if (!rule.report.empty()) {
        const Standing there = lookUp(rule.report);
        writers.emplace(there.identity, nullptr);
        if (readers.contains(there.identity)) {
            problems.push_back(rule.report + ": is also to be read");
        }
    }
    for (Job& job : jobs) {
        if (job.output == kStream) {
            continue;
        }
        const Standing there = lookUp(job.output);
        const auto [writer, first] = writers.emplace(there.identity, &job);
        const auto reader = readers.find(there.identity);
        job.skipped = rule.existing == IfExisting::Skip && there.isFile;
        const bool isRead =
            reader != readers.end() && (reader->second != &job || !rule.inPlace) && !job.skipped;
        if (!first) {
            problems.push_back(writer->second == nullptr
                                   ? job.output + ": would also be written by --report"
                                   : formatted("{}: would be written from {} and from {}",
                                               job.output, writer->second->input.path,
                                               job.input.path));
        } else if (isRead) {
            problems.push_back(formatted("{}: would be written from {}, and is also to be read",
                                         job.output, job.input.path));
        } else if (there.isFolder) {
            problems.push_back(job.output + ": names a folder; name the file to write in it");
        } else if (rule.existing == IfExisting::Refuse && there.isFile) {
            problems.push_back(job.output + ": exists already (see --force)");
        }
    }
    return problems;
}
