// SPDX-License-Identifier: MIT
// The pictures on standard input of tdr convert, each a job of its own.
#pragma once

#include "convertPlan.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unistd.h>
#include <utility>

/// The result of a job, with its message.
[[nodiscard]] JobResult resultOf(const Converted& converted, const ConvertOptions& options);

class StreamJobs {
  public:
    StreamJobs(const ConvertOptions& options, std::string output)
        : options_(options), output_(std::move(output)) {}

    /// The next one; none at the end of the stream, or behind damage.
    std::optional<Job> next();
    /// Converts the picture of the last job.
    JobResult convert(DriverSet& drivers);

  private:
    Outcome<std::string> nameOf(std::int64_t picture) const;

    const ConvertOptions& options_;
    std::string output_;
    PamReader reader_{STDIN_FILENO, "standard input"};
    Outcome<void> begun_;
    std::string name_;
    std::int64_t pictures_ = 0;
    bool ended_ = false;
    bool damaged_ = false; ///< what follows a picture is none
};
