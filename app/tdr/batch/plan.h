// SPDX-License-Identifier: MIT
// What a run reads and writes, decided before the first file is written. Nothing here reads or
// writes a file or knows a driver.
#pragma once

#include "framePattern.h"
#include "output/outcome.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// A file to read.
struct PlannedInput {
    std::string path;
    std::string folder = {};                ///< below the folder that was searched for it
    std::optional<std::int32_t> frame = {}; ///< if a pattern has found it
    bool inFolder = false;                  ///< found in a folder that was searched
};

/// A file to read and the file to write.
struct Job {
    PlannedInput input;
    std::string output;
    bool skipped = false;               ///< the output exists already
    std::vector<std::string> more = {}; ///< further inputs for the same output
    std::int32_t channel = 0;           ///< the matte to read of several, from 1; 0: any
};

/// Where the files of a run are written.
struct OutputRule {
    std::string target;                     ///< the file, the pattern or the folder
    bool isFolder = false;                  ///< where each file keeps its name ...
    std::string ending = {};                ///< ... with this ending (".png"), or its own if empty
    std::optional<std::int32_t> start = {}; ///< the first number in a pattern instead of its own
    std::int32_t step = 1;                  ///< then the distance of the next one
    bool joins = false;                     ///< all inputs go to one file
    /// The number of mattes in a file, each of which gets a file of its own if the target is a
    /// pattern.
    std::function<Outcome<std::int32_t>(const std::string& path)> mattesIn = {};
};

/// The jobs, in the order of the inputs. Fails if a name cannot be formed.
[[nodiscard]] Outcome<std::vector<Job>> planJobs(const std::vector<PlannedInput>& inputs,
                                                 const OutputRule& rule);

/// What a path leads to.
struct Standing {
    bool isFile = false;  ///< an existing regular file
    std::string identity; ///< the same for all names of one file, existing or not
    bool isFolder = false;
};
using LookUp = std::function<Standing(const std::string& path)>;

/// What becomes of existing outputs.
enum class IfExisting : std::uint8_t { Refuse, Skip, Replace };

/// What a plan is checked by.
struct PlanRule {
    IfExisting existing = IfExisting::Refuse;
    bool inPlace = true;     ///< a job may write the file that it reads
    std::string report = {}; ///< a file that the run also writes; empty: none
    std::string list = {};   ///< a file that it also reads
    bool fetches = false;    ///< a command makes the inputs, whatever their names lead to
};

/// Marks the jobs to skip. Returns why the plan would lose or overwrite something: two inputs for
/// one output, an output that another job reads, an existing output, a folder for a file;
/// nothing if it is good.
[[nodiscard]] std::vector<std::string> checkJobs(std::vector<Job>& jobs, const PlanRule& rule,
                                                 const LookUp& lookUp);
