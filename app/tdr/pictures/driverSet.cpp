// SPDX-License-Identifier: MIT
#include "driverSet.h"

#include "base/extension.h"
#include "output/console.h"
#include "tdr/driverSearch.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ranges>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kExample = "nullFilter";

/// Maximum number of kept lines of one driver, which may report every line of a picture.
constexpr std::size_t kMostLines = 100;

void addEach(std::vector<fs::path>& all, std::string_view listed) {
    for (const auto part : std::views::split(listed, ':')) {
        if (!part.empty()) { // not the current folder, as in a PATH
            all.emplace_back(std::string_view(part.begin(), part.end()));
        }
    }
}

/// The first that has a driver of some name wins. A program that runs set-user-id must not execute
/// what its caller's environment names.
std::vector<fs::path> directoriesOf(const DriverOptions& options) {
    std::vector<fs::path> all(options.directories.begin(), options.directories.end());
    if (const char* listed = ::secure_getenv("TDR_DRIVER_PATH"); listed != nullptr) {
        addEach(all, listed);
    }
    std::ranges::move(tdr::driverFolders(), std::back_inserter(all));
    return all;
}

std::string_view withoutDot(std::string_view ending) {
    return ending.substr(ending.starts_with('.') ? 1 : 0);
}

} // namespace

// --- Looking for drivers -------------------------------------------------------------------------

fs::path ownDirectory() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).parent_path();
}

std::vector<fs::path> findDrivers(const DriverOptions& options) {
    return tdr::findDrivers(directoriesOf(options));
}

std::vector<Problem> driverlessDirectories(const DriverOptions& options) {
    std::vector<Problem> problems;
    for (const std::string& directory : options.directories) {
        std::error_code error;
        if (!tdr::driversIn(directory, error).empty()) {
            continue;
        }
        problems.push_back(error ? problemWith(directory, error.value())
                                 : Problem{ExitCode::Failed, directory +
                                                                 ": no drivers in this folder "
                                                                 "(executables named *Filter)"});
    }
    return problems;
}

Outcome<fs::path> findDriver(const DriverOptions& options, const std::string& driver) {
    if (driver.find('/') != std::string::npos) {
        return fs::path(driver);
    }
    for (const fs::path& program : findDrivers(options)) {
        if (program.filename() == driver) {
            return program;
        }
    }
    return Problem{ExitCode::DriverFailed, driver + ": no such driver; 'tdr drivers' lists them"};
}

tdr::Result<RunningDriver> startDriver(const fs::path& program, const DriverOptions& options) {
    static const int removed = tdr::SharedBlock::removeLeftOvers();
    static_cast<void>(removed); // once a run is enough
    auto lines = std::make_shared<std::vector<std::string>>();
    tdr::StartOptions startOptions;
    startOptions.ownGroup = options.ownGroups;
    if (options.timeout > 0) {
        const std::chrono::duration<double> timeout(options.timeout);
        const auto limit = std::chrono::ceil<std::chrono::milliseconds>(timeout);
        startOptions.limits = {limit, limit, limit};
    }
    startOptions.onDriverLine = [lines](std::string_view line) {
        const bool isNew = std::find(lines->begin(), lines->end(), line) == lines->end();
        if (isNew && lines->size() < kMostLines) { // two connections to a file may report the same
            lines->emplace_back(line);
        }
    };
    auto session = tdr::Session::start(program, std::move(startOptions));
    if (!session) {
        return session.failure();
    }
    return RunningDriver{std::move(*session), std::move(lines), {}};
}

void RunningDriver::passOnLines(std::string_view shown) {
    for (const std::string& line : *lines) {
        if (line != shown) {
            passOn(names.in(line));
        }
    }
    lines->clear();
}

Problem RunningDriver::problem(std::string_view file, const tdr::Failure& failure) const {
    tdr::Failure named = failure;
    named.what = names.in(failure.what);
    named.lastLine = names.in(failure.lastLine);
    return problemWith(file, named);
}

// --- Choosing one --------------------------------------------------------------------------------

DriverSet::DriverSet(DriverOptions options, Drivers use) : options_(std::move(options)), use_(use) {
    for (fs::path& program : findDrivers(options_)) {
        entries_.push_back({std::move(program), false, {}, {}, {}});
    }
    if (use == Drivers::ForMany) {
        if (auto folder = tdr::PrivateFolder::open()) { // otherwise each picture tells why
            folder_.emplace(std::move(*folder));
        }
    }
}

std::string DriverSet::name(std::size_t driver) const {
    return entries_[driver].program.filename().string();
}

const std::string& DriverSet::extension(std::size_t driver) const {
    return entries_[driver].extension;
}

void DriverSet::ask(Entry& entry) {
    if (std::exchange(entry.asked, true)) {
        return;
    }
    auto running = startDriver(entry.program, options_);
    if (!running) {
        entry.failure = running.failure();
        return;
    }
    if (auto ending = tdr::endingOf(running->session)) {
        entry.extension = std::move(*ending);
        entry.idle.push_back(std::move(*running));
    } else {
        entry.failure = ending.failure();
    }
}

std::vector<std::size_t> DriverSet::readersFor(const fs::path& path) {
    const auto endingOf = [&](std::size_t i) {
        ask(entries_[i]);
        return entries_[i].failure ? std::nullopt : std::optional(entries_[i].extension);
    };
    auto order = tdr::readingOrder(path, entries_.size(), endingOf);
    // The null driver is an example: it is not tried on files of other kinds.
    std::erase_if(order, [&](std::size_t i) {
        return name(i) == kExample && !base::hasExtension(path, entries_[i].extension);
    });
    return order;
}

template <typename Matches>
Outcome<std::optional<std::size_t>> DriverSet::find(const std::string& wanted, Matches matches) {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        ask(entries_[i]);
        if (matches(entries_[i].extension)) {
            return std::optional(i);
        }
    }
    for (const Entry& entry : entries_) {
        if (entry.failure) { // it might have been the right one
            return problemWith(wanted, *entry.failure);
        }
    }
    return std::optional<std::size_t>();
}

Outcome<std::optional<std::size_t>> DriverSet::byEnding(const fs::path& path) {
    return find(path.string(),
                [&](const std::string& extension) { return base::hasExtension(path, extension); });
}

Outcome<std::optional<std::size_t>> DriverSet::byKind(const std::string& kind,
                                                      std::string_view others) {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (name(i) == kind) {
            ask(entries_[i]); // every caller needs its ending
            return std::optional(i);
        }
    }
    auto found = find(kind, [&](const std::string& extension) {
        return !extension.empty() && base::sameLetters(withoutDot(kind), withoutDot(extension));
    });
    if (found && !*found) {
        return Problem{ExitCode::Failed,
                       kind + ": no driver has this name or writes files with this ending" +
                           knownEndings(others)};
    }
    return found;
}

std::string DriverSet::knownEndings(std::string_view others) {
    std::string known;
    for (const Entry& entry : entries_) {
        if (!entry.extension.empty()) {
            known += (known.empty() ? " (known: " : ", ") + entry.extension;
        }
    }
    return known.empty() ? known : known + std::string(others) + ")";
}

tdr::Result<LentDriver> DriverSet::take(std::size_t driver) {
    Entry& entry = entries_[driver];
    ask(entry); // every caller needs its ending
    if (entry.idle.empty() && entry.failure) {
        return *entry.failure;
    }
    if (entry.idle.empty()) {
        auto started = startDriver(entry.program, options_);
        if (!started) {
            return started.failure();
        }
        entry.idle.push_back(std::move(*started));
    }
    lent_.splice(lent_.begin(), entry.idle, entry.idle.begin());
    lent_.front().session.setDeadline(deadline_);
    return LentDriver(&lent_.front(), GiveBack{this, driver, lent_.begin()});
}

void GiveBack::operator()(RunningDriver* /*running*/) const noexcept {
    set->giveBack(driver, place);
}

/// One that has failed ends. So does one that a failure elsewhere has left with an open file: at an
/// end request it would complete a file that is discarded.
void DriverSet::giveBack(std::size_t driver, List::iterator place) noexcept {
    if (place->session.alive() && !place->session.isConnected()) {
        place->lines->clear();
        place->names = {};
        place->session.setDeadline({});
        List& idle = entries_[driver].idle;
        idle.splice(idle.begin(), lent_, place);
    } else {
        place->session.kill();
        lent_.erase(place);
    }
}

void DriverSet::dismissIdle() {
    for (Entry& entry : entries_) {
        for (RunningDriver& running : entry.idle) {
            running.session.dismiss();
        }
        dismissed_.splice(dismissed_.end(), entry.idle);
    }
}

void DriverSet::spareIdle() {
    if (use_ == Drivers::ForOne) {
        dismissIdle();
    }
}

void DriverSet::spare(LentDriver& driver) {
    if (use_ == Drivers::ForOne) {
        driver.reset();
        dismissIdle();
    }
}
