// SPDX-License-Identifier: MIT
// Works through the jobs of a plan, several at a time.
#pragma once

#include "plan.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

enum class Fate : std::uint8_t { Done, Skipped, Damaged, Failed };

struct JobResult {
    Fate fate = Fate::Done;
    ExitCode code = ExitCode::Done;
    std::string problem = {}; ///< why it was not done
    Cause cause = Cause::Failed;
    std::string messages = {}; ///< the lines for stderr
    double seconds = 0;
};

/// What does the jobs of one worker, and keeps what the next one needs too.
using Worker = std::function<JobResult(const Job& job)>;

/// Does one job, unless it is to be skipped. Its messages are collected, so that they stay
/// together.
[[nodiscard]] JobResult runOne(const Job& job, const Worker& worker);

/// Runs the jobs with up to `workers` workers, each in a thread of its own if they are several, and
/// calls `report` for each job in order. Ends early after a signal: the rest is not reported.
void runJobs(const std::vector<Job>& jobs, std::size_t workers,
             const std::function<Worker()>& makeWorker,
             const std::function<void(const Job& job, const JobResult& result)>& report);
