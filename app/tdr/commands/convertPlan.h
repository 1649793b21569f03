// SPDX-License-Identifier: MIT
// The options of tdr convert, and the plan that follows from them.
#pragma once

#include "batch/batchRun.h"
#include "pictures/conversion.h"

#include <cstdint>
#include <string>
#include <vector>

struct ConvertOptions {
    std::vector<std::string> files; ///< to read; without `output` the last one is the output
    std::string output;
    std::string list;        ///< a file with the names of more files to read
    std::string frames;      ///< of patterns
    std::int32_t start = -1; ///< negative: not given
    std::int32_t step = 1;
    std::int32_t threshold = -1; ///< negative: not given
    std::int32_t jobs = 0;       ///< 0: as many as processors
    std::int32_t megabytes = 0;  ///< 0: no limit
    bool zeros = false;          ///< stand behind the names in the list
    bool recursive = false;
    bool dryRun = false;
    bool force = false;
    bool skipExisting = false;
    ConversionOptions picture;
    RunOptions run;
};

struct ConvertPlan {
    std::vector<Job> jobs;
    bool inFolder = false; ///< outputs are in a folder, which may not exist yet
    bool isBatch = false;  ///< more than a file to read and a file to write
};

/// Understands the words, finds the files and checks the plan. A problem of several lines shows all
/// but the last itself.
[[nodiscard]] Outcome<ConvertPlan> planConversions(const DriverOptions& drivers,
                                                   const ConvertOptions& options);
