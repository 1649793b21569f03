// SPDX-License-Identifier: MIT
// From the words of a command line to the files that they name: lists, folders and patterns.
#pragma once

#include "frameSet.h"
#include "plan.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Which files are meant.
struct InputRule {
    std::vector<std::string> names;    ///< files, folders and patterns
    std::vector<std::string> listed;   ///< file names without patterns
    bool searchFolders = false;        ///< also all folders in them
    std::optional<Frames> frames = {}; ///< of patterns; none: those that exist
    bool mayBeMissing = false;         ///< a command fetches them
    /// Whether a file in a folder is one to read.
    std::function<bool(const std::string& path)> isMeant = {};
    /// Whether a folder below them is passed over.
    std::function<bool(const std::string& folder)> isLeftOut = {};
};

/// What is missing: a frame, a file of a pattern, or what is in a folder.
struct InputProblem {
    std::string path; ///< a name as given, or the folder
    std::string text; ///< a line for the user
};

struct FoundInputs {
    std::vector<PlannedInput> inputs;
    std::vector<std::string> notes; ///< what is skipped
    std::vector<InputProblem> problems;
    bool patterns = false; ///< a name was a pattern
};

/// Finds the files. A name that exists is no pattern. Folders are read once, in the order of their
/// names; numbers are never tried out.
[[nodiscard]] FoundInputs findInputs(const InputRule& rule);

/// The file names in `file`, or in standard input if that is "-", one a line or, with `separator`
/// 0, each with a zero byte behind it. Empty names do not count.
[[nodiscard]] Outcome<std::vector<std::string>> readFileList(const std::string& file,
                                                             char separator);

/// What a path leads to, by asking the system.
[[nodiscard]] Standing lookUpFile(const std::string& path);
