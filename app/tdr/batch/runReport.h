// SPDX-License-Identifier: MIT
// The report of a run for programs: one JSON object a line and a job.
#pragma once

#include "base/uniqueFd.h"
#include "runner.h"

#include <string>

class RunReport {
  public:
    /// Begins the file, or standard output for "-". One that exists is emptied if it may be
    /// replaced, and continued by a run that leaves out what exists.
    static Outcome<RunReport> begin(const std::string& path, IfExisting existing);

    /// Adds a line. After a failure nothing more is written.
    void add(const Job& job, const JobResult& result);

    /// The first failure of a line.
    [[nodiscard]] Outcome<void> end() const;

  private:
    RunReport(std::string path, base::UniqueFd file)
        : path_(std::move(path)), file_(std::move(file)) {}

    std::string path_;
    base::UniqueFd file_;
    int error_ = 0;
};
