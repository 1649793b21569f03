// SPDX-License-Identifier: MIT
#include "inputs.h"

#include "base/uniqueFd.h"
#include "output/formatted.h"
#include "output/wholeWrite.h"
#include "tdr/interruptGuard.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <map>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace {

std::vector<fs::directory_entry> entriesOf(const fs::path& folder, std::error_code& error) {
    std::vector<fs::directory_entry> entries;
    for (fs::directory_iterator at(folder, error); !error && at != fs::directory_iterator();
         at.increment(error)) {
        entries.push_back(*at);
    }
    return entries;
}

std::string withReason(const fs::path& path, const std::error_code& error) {
    return path.string() + ": " + error.message();
}

class Finder {
  public:
    explicit Finder(const InputRule& rule) : rule_(rule) {}

    void addName(const std::string& name);
    void addListed(const std::string& name);
    FoundInputs take() { return std::move(found_); }

  private:
    bool addFolder(const std::string& name);
    void search(const fs::path& folder, const fs::path& below);
    void addPattern(const std::string& name, const FramePattern& pattern);
    void addFrames(const FramePattern& pattern, const Frames& frames);

    const InputRule& rule_;
    FoundInputs found_;
};

void Finder::addName(const std::string& name) {
    std::error_code error;
    if (addFolder(name)) {
        return;
    }
    auto pattern = FramePattern::parse(name);
    const bool literal = name == "-" || fs::exists(fs::symlink_status(name, error));
    if (!literal && !pattern) {
        found_.problems.push_back({name, pattern.failure().text});
    } else if (!literal && *pattern) {
        addPattern(name, **pattern);
    } else {
        found_.inputs.push_back({name});
    }
}

void Finder::addListed(const std::string& name) {
    if (!addFolder(name)) {
        found_.inputs.push_back({name == "-" ? "./-" : name}); // no stream
    }
}

// --- Patterns ------------------------------------------------------------------------------------

void Finder::addPattern(const std::string& name, const FramePattern& pattern) {
    found_.patterns = true;
    std::error_code error;
    Frames frames;
    bool complete = true;
    for (const auto& entry : entriesOf(pattern.folder(), error)) {
        const fs::path file = entry.path().filename();
        if (const auto frame = pattern.frameOf(file.string())) {
            frames.push_back(*frame);
        } else if (!rule_.frames && pattern.isTooLarge(file.string())) {
            complete = false;
            const std::string path = (fs::path(name).parent_path() / file).string();
            found_.problems.push_back(
                {path, path + ": the number of its frame is above 2147483647"});
        }
    }
    if (error) {
        found_.problems.push_back({pattern.folder(), withReason(pattern.folder(), error)});
        return;
    }
    std::ranges::sort(frames);
    if (rule_.frames) {
        Frames missing;
        std::ranges::set_difference(*rule_.frames, frames, std::back_inserter(missing));
        if (!missing.empty() && !rule_.mayBeMissing) {
            found_.problems.push_back({name, formatted("{}: no frame {}", name, textOf(missing))});
        }
        addFrames(pattern, *rule_.frames);
    } else if (frames.empty() && complete) {
        found_.problems.push_back({name, name + ": no file has a name of this pattern"});
    } else {
        if (const std::string gaps = gapsIn(frames); !gaps.empty()) {
            found_.notes.push_back(formatted("{}: no frame {}; skipped", name, gaps));
        }
        addFrames(pattern, frames);
    }
}

void Finder::addFrames(const FramePattern& pattern, const Frames& frames) {
    for (const std::int32_t frame : frames) {
        found_.inputs.push_back({pattern.path(frame), {}, frame});
    }
}

// --- Folders -------------------------------------------------------------------------------------

bool Finder::addFolder(const std::string& name) {
    std::error_code error;
    if (!rule_.searchFolders || !fs::is_directory(name, error)) {
        return false;
    }
    search(name, {});
    return true;
}

/// True for a regular file, and for what may be one: a link that leads to none, and a name in a
/// folder whose names may be listed only. Opening it gives the reason.
bool isFile(const fs::directory_entry& entry) {
    std::error_code error;
    const fs::file_status behind = entry.status(error);
    return fs::status_known(behind) && fs::exists(behind) ? fs::is_regular_file(behind)
                                                          : !entry.is_directory(error);
}

/// Adds the files of a folder and then those of the folders in it. Hidden names, and folders behind
/// links, do not count.
void Finder::search(const fs::path& folder, const fs::path& below) {
    std::error_code error;
    std::vector<std::string> files;
    std::vector<std::string> folders;
    for (const auto& entry : entriesOf(folder, error)) {
        std::error_code ignored;
        const std::string name = entry.path().filename().string();
        if (name.starts_with('.')) {
            continue;
        }
        if (isFile(entry)) {
            files.push_back(name);
        } else if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) {
            folders.push_back(name);
        }
    }
    if (error) {
        found_.problems.push_back({folder.string(), withReason(folder, error)});
        return;
    }
    std::ranges::sort(files);
    std::ranges::sort(folders);
    for (const std::string& name : files) {
        const std::string path = (folder / name).string();
        if (!rule_.isMeant || rule_.isMeant(path)) {
            found_.inputs.push_back({path, below.string(), {}, true});
        }
    }
    for (const std::string& name : folders) {
        if (!rule_.isLeftOut || !rule_.isLeftOut((folder / name).string())) {
            search(folder / name, below / name);
        }
    }
}

/// Where a link that leads to no file leads: writing would make that file.
fs::path behindLinks(fs::path path) {
    constexpr int kMostLinks = 40; // as the system's own limit
    std::error_code error;
    for (int links = 0; links < kMostLinks; ++links) {
        const fs::path target = fs::read_symlink(path, error);
        if (error) {
            break;
        }
        path = path.parent_path() / target;
    }
    return path;
}

} // namespace

FoundInputs findInputs(const InputRule& rule) {
    Finder finder(rule);
    for (const std::string& name : rule.names) {
        finder.addName(name);
    }
    for (const std::string& name : rule.listed) {
        finder.addListed(name);
    }
    return finder.take();
}

Outcome<std::vector<std::string>> readFileList(const std::string& file, char separator) {
    const bool isInput = file == "-";
    const tdr::InterruptGuard::Pause nothingToCleanUp; // a pipe may wait for its writer
    const base::UniqueFd opened(isInput ? -1 : ::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    const int fd = isInput ? STDIN_FILENO : opened.get();
    std::string text;
    std::array<char, 1 << 16> bytes{};
    ssize_t got = fd < 0 ? -1 : 1;
    while (got > 0) {
        got = readSome(fd, bytes.data(), bytes.size());
        text.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    if (got < 0) {
        return problemWith(isInput ? "standard input" : file, errno);
    }
    if (separator != '\0' && text.find('\0') != std::string::npos) {
        return Problem{ExitCode::Failed, (isInput ? "standard input" : file) +
                                             ": names with zero bytes behind them need -0"};
    }
    std::vector<std::string> names;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(separator, at), text.size());
        if (end > at) {
            names.push_back(text.substr(at, end - at));
        }
        at = end + 1;
    }
    return names;
}

Standing lookUpFile(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) {
        return {S_ISREG(status.st_mode), formatted("{}:{}", status.st_dev, status.st_ino),
                S_ISDIR(status.st_mode)};
    }
    const fs::path file = behindLinks(path);
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    if (::stat(folder.c_str(), &status) == 0) {
        return {false,
                formatted("{}:{}/{}", status.st_dev, status.st_ino, file.filename().string())};
    }
    std::error_code error;
    const fs::path whole = fs::weakly_canonical(fs::absolute(file, error), error);
    return {false, error ? path : whole.string()};
}
