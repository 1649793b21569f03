// SPDX-License-Identifier: MIT
#include "batchRun.h"

#include "output/console.h"
#include "output/formatted.h"
#include "output/progressLine.h"
#include "runReport.h"

#include <array>
#include <optional>

namespace {

/// What is shown of a run while it goes on and at its end.
class Reporter {
  public:
    Reporter(const RunOptions& options, std::size_t total, RunReport* report)
        : options_(options), progress_(total, total > 0 && options.counts && !options.quiet),
          report_(report) {}

    void add(const Job& job, const JobResult& result) {
        ++counts_.at(static_cast<std::size_t>(result.fate));
        worst_ = worse(worst_, result.code);
        if (!result.messages.empty()) {
            showMessages(result.messages);
        }
        if (options_.verbose) {
            warn(formatted("{} -> {}: {}", job.input.path, job.output, wordFor(result)));
        }
        if (report_ != nullptr) {
            report_->add(job, result);
        }
        progress_.show(counts_[0] + counts_[1] + counts_[2] + counts_[3], job.input.path);
    }

    ExitCode end() {
        ProgressLine::hide();
        if (!options_.counts) {
            return worst_;
        }
        const auto [done, skipped, damaged, failed] = counts_;
        if (!options_.quiet) {
            warn(formatted("{} done, {} skipped, {} damaged, {} failed", done, skipped, damaged,
                           failed));
        }
        return damaged + failed > 0 ? ExitCode::Failed : ExitCode::Done;
    }

  private:
    static std::string wordFor(const JobResult& result) {
        switch (result.fate) {
        case Fate::Done:
            return formatted("done in {:.3f} s", result.seconds);
        case Fate::Skipped:
            return "skipped, " + result.problem;
        case Fate::Damaged:
            return "damaged";
        case Fate::Failed:
            break;
        }
        return "failed";
    }

    const RunOptions& options_;
    ProgressLine progress_;
    RunReport* report_;
    std::array<std::size_t, 4> counts_{};
    ExitCode worst_ = ExitCode::Done;
};

/// Shows and reports what `work` adds.
ExitCode run(std::size_t total, const RunOptions& options,
             const std::function<void(Reporter&)>& work) {
    std::optional<RunReport> report;
    if (!options.report.empty()) {
        auto begun = RunReport::begin(options.report, options.existing);
        if (!begun) {
            return fail(begun.failure());
        }
        report.emplace(std::move(*begun));
    }
    Reporter reporter(options, total, report ? &*report : nullptr);
    work(reporter);
    const ExitCode exit = reporter.end();
    const auto written = report ? report->end() : Outcome<void>();
    return written ? exit : worse(exit, fail(written.failure()));
}

} // namespace

ExitCode doJobs(const std::vector<Job>& jobs, const RunOptions& options,
                const std::function<Worker()>& makeWorker) {
    return run(jobs.size(), options, [&](Reporter& reporter) {
        runJobs(jobs, options.workers, makeWorker,
                [&](const Job& job, const JobResult& result) { reporter.add(job, result); });
    });
}

ExitCode doJobsAsTheyCome(const std::function<std::optional<Job>()>& next,
                          const RunOptions& options, const Worker& worker) {
    return run(0, options, [&](Reporter& reporter) {
        while (const auto job = next()) {
            reporter.add(*job, runOne(*job, worker));
        }
    });
}
