// SPDX-License-Identifier: MIT
#include "driverLint.h"

#include "files/readableFile.h"
#include "lintTrial.h"
#include "output/console.h"
#include "tdr/interruptGuard.h"
#include "tdr/privateFolder.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

// --- A trial -------------------------------------------------------------------------------------

bool LintTrial::start() {
    auto started = startDriver(run.program, run.options);
    if (!started) {
        failed(started.failure(), "start");
        return false;
    }
    running_.emplace(std::move(*started));
    return true;
}

void LintTrial::end() {
    if (!driver().alive()) {
        return; // reported already
    }
    const auto end = driver().end();
    if (!end) {
        failed(end.failure(), "end");
    } else if (end->known && (end->signal != 0 || end->exitStatus != 0)) {
        fault("ends with " + end->text() + ", instead of exit status 0");
    }
}

bool isRefusal(const tdr::Status& answer) {
    return !answer && (answer.failure().kind == tdr::FailureKind::Refused ||
                       answer.failure().kind == tdr::FailureKind::NotMyFormat);
}

bool LintTrial::expect(bool good, const std::string& text) {
    if (!good) {
        fault(text);
    }
    return good;
}

void LintTrial::failed(const tdr::Failure& failure, const std::string& request) {
    if (failure.kind == tdr::FailureKind::Interrupted ||
        failure.kind == tdr::FailureKind::NoMemory) {
        run.problem = problemWith(failure);
    } else if (!std::exchange(ended_, running_ && !driver().alive())) {
        fault(request + " failed: " + printable(failure.text()));
    }
}

bool LintTrial::done(const tdr::Status& answer, const std::string& request) {
    if (!answer) {
        failed(answer.failure(), request);
    }
    return answer.ok();
}

void LintTrial::refused(const tdr::Status& answer, const std::string& request) {
    if (answer) {
        fault(request + " is not refused");
    } else if (!isRefusal(answer)) {
        failed(answer.failure(), request);
    }
}

std::optional<tdr::SharedBlock> LintTrial::block(std::size_t bytes) {
    auto made = tdr::SharedBlock::create(bytes);
    if (!made) {
        run.problem = problemWith(made.failure());
    }
    return made ? std::optional(std::move(*made)) : std::nullopt;
}

// --- A run ---------------------------------------------------------------------------------------

namespace {

/// A new folder in our private one, which is removed with everything in it; after a kill, by a
/// later run.
class ScratchFolder {
  public:
    static Outcome<ScratchFolder> make() {
        auto parent = tdr::PrivateFolder::open();
        if (!parent) {
            return problemWith(parent.failure());
        }
        if (::mkdirat(parent->fd(), parent->mark().c_str(), kOursOnly) != 0) {
            return problemWith("a new folder", errno);
        }
        return ScratchFolder(std::move(*parent));
    }
    ScratchFolder(ScratchFolder&&) noexcept = default;
    ScratchFolder& operator=(ScratchFolder&&) = delete;
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() {
        if (parent_.fd() >= 0) { // not moved from
            std::error_code error;
            fs::remove_all(path(), error);
        }
    }

    [[nodiscard]] fs::path path() const { return parent_.pathOf(parent_.mark()); }

  private:
    static constexpr mode_t kOursOnly = 0700;

    explicit ScratchFolder(tdr::PrivateFolder parent) : parent_(std::move(parent)) {}

    tdr::PrivateFolder parent_;
};

constexpr double kPredicateLimit = 10; // seconds, unless the user has another limit
constexpr int kPredicateStep = 5'000;  // microseconds

/// Starts `program -predicate` in a process group of its own; 0 if that fails.
pid_t startPredicate(std::string program) {
    std::string option = "-predicate";
    char* const arguments[] = {program.data(), option.data(), nullptr};
    posix_spawnattr_t ownGroup;
    ::posix_spawnattr_init(&ownGroup);
    ::posix_spawnattr_setflags(&ownGroup, POSIX_SPAWN_SETPGROUP);
    pid_t pid = 0;
    const int error = ::posix_spawn(&pid, program.c_str(), nullptr, &ownGroup, arguments, environ);
    ::posix_spawnattr_destroy(&ownGroup);
    return error == 0 ? pid : 0;
}

/// Waits for the end of a process group's leader; kills the group after `seconds` or a signal.
int statusWithin(pid_t pid, double seconds) {
    int status = 0;
    pid_t ended = 0;
    const auto steps = static_cast<long>(seconds * 1e6 / kPredicateStep);
    for (long i = 0; ended == 0 && i <= steps && tdr::InterruptGuard::signal() == 0; ++i) {
        ended = ::waitpid(pid, &status, WNOHANG);
        ::usleep(ended == 0 ? kPredicateStep : 0);
    }
    if (ended == 0) {
        ::kill(-pid, SIGKILL);
        ::waitpid(pid, &status, 0);
    }
    return status;
}

/// Runs the driver with -predicate, which answers with its exit status alone.
void lintPredicate(LintRun& run) {
    LintTrial trial(run, "predicate");
    const pid_t pid = startPredicate(run.program);
    if (pid == 0) {
        return; // its start will tell why
    }
    const double limit = run.options.timeout > 0 ? run.options.timeout : kPredicateLimit;
    const int status = statusWithin(pid, limit);
    if (tdr::InterruptGuard::signal() != 0) {
        run.problem = Problem{ExitCode::Failed, "interrupted"};
    } else if (!WIFEXITED(status) || WEXITSTATUS(status) > 1) {
        trial.fault("with -predicate it exits neither with 0, yes, nor with 1, no");
    } else if (WEXITSTATUS(status) == 1) {
        trial.note("it says that it cannot work on this machine (devicePredicate)");
    }
}

template <typename Check, typename... Path>
void runCheck(LintRun& run, const char* rule, Check check, const Path&... path) {
    LintTrial trial(run, rule);
    if (!run.problem && trial.start()) {
        check(trial, path...);
        trial.end();
    }
}

void lintFile(LintRun& run, const std::string& path) {
    runCheck(run, "reading", lintReading, path);
    runCheck(run, "whole pictures", lintWholePictures, path);
    runCheck(run, "end with an open file", lintEnd, path);
}

/// By their names alone: the folder is gone when the report is read.
void nameFilesShortly(LintRun& run) {
    tdr::FileNames names;
    names.add(run.folder.native() + "/", "");
    for (std::vector<std::string>* texts : {&run.report.faults, &run.report.notes}) {
        std::ranges::transform(*texts, texts->begin(),
                               [&](const std::string& text) { return names.in(text); });
    }
}

/// Through a link, as every file that tdr reads.
Outcome<void> lintUsersFile(LintRun& run, const std::string& file) {
    const auto opened = openReadable(file);
    if (!opened) {
        return opened.failure();
    }
    auto link = tdr::DriverLink::make(opened->get(), file);
    const auto path = link ? link->path(run.ending) : link.failure();
    if (!path) {
        return problemWith(file, path.failure());
    }
    lintFile(run, *path);
    for (std::string& fault : run.report.faults) {
        fault = link->names().in(fault);
    }
    return {};
}

} // namespace

Outcome<LintReport> lintDriver(const fs::path& program, const DriverOptions& options,
                               const std::string& file) {
    const auto scratch = ScratchFolder::make();
    if (!scratch) {
        return scratch.failure();
    }
    LintRun run{program, options, scratch->path(), {}, {}, {}, {}};
    run.options.ownGroups = true; // one that hangs may have started others
    if (const auto first = startDriver(program, run.options); !first) {
        return problemWith(first.failure());
    }
    lintPredicate(run);
    runCheck(run, "identity", lintIdentity);
    runCheck(run, "settings", lintSettings);
    runCheck(run, "without a file", lintWithoutFile);
    runCheck(run, "other files", lintForeignFiles);
    runCheck(run, "writing", lintWriting);
    if (!run.writtenFile.empty()) {
        runCheck(run, "wrong puts", lintWrongPuts);
        runCheck(run, "post-write command", lintPostWrite);
        lintFile(run, run.writtenFile);
        runCheck(run, "damage", lintDamage, run.writtenFile);
    }
    if (!file.empty() && !run.problem) {
        if (const auto done = lintUsersFile(run, file); !done) {
            return done.failure();
        }
    }
    nameFilesShortly(run);
    return run.problem ? Outcome<LintReport>(*run.problem) : std::move(run.report);
}
