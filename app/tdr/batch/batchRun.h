// SPDX-License-Identifier: MIT
// A run over the jobs of a plan: progress, messages, counts and the report.
#pragma once

#include "runner.h"

#include <functional>
#include <optional>
#include <string>

/// How a run is done and shown.
struct RunOptions {
    std::size_t workers = 1;
    bool counts = true;      ///< a closing line with the number of each fate
    bool quiet = false;      ///< no progress and no closing line
    bool verbose = false;    ///< a line a job
    std::string report = {}; ///< a file for programs; empty: none
    IfExisting existing = IfExisting::Refuse;
};

/// Does the jobs. A single job without counts ends with its own status; a run ends with `Failed` if
/// any job has failed or its input was damaged.
[[nodiscard]] ExitCode doJobs(const std::vector<Job>& jobs, const RunOptions& options,
                              const std::function<Worker()>& makeWorker);

/// The same for jobs that are known only as they come: `next` gives one, or none at the end.
[[nodiscard]] ExitCode doJobsAsTheyCome(const std::function<std::optional<Job>()>& next,
                                        const RunOptions& options, const Worker& worker);
