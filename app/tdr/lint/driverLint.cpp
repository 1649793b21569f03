// SPDX-License-Identifier: MIT
#include "driverLint.h"

#include "files/readableFile.h"
#include "lintTrial.h"
#include "output/console.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <spawn.h>
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

bool LintTrial::expect(bool good, const std::string& text) {
    if (!good && driver().alive()) {
        fault(text);
    }
    return good;
}

void LintTrial::failed(const tdr::Failure& failure, const std::string& request) {
    run.interrupted = run.interrupted || failure.kind == tdr::FailureKind::Interrupted;
    fault(request + " failed: " + printable(failure.text()));
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
    } else if (answer.failure().kind != tdr::FailureKind::Refused &&
               answer.failure().kind != tdr::FailureKind::NotMyFormat) {
        failed(answer.failure(), request);
    }
}

// --- A run ---------------------------------------------------------------------------------------

namespace {

/// A new folder that is removed with everything in it.
class ScratchFolder {
  public:
    ScratchFolder() {
        std::error_code error;
        std::string path = (fs::temp_directory_path(error) / "tdr-lint-XXXXXX").native();
        path_ = !error && ::mkdtemp(path.data()) != nullptr ? path : "";
    }
    ~ScratchFolder() {
        std::error_code error;
        fs::remove_all(path_, error);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    [[nodiscard]] const fs::path& path() const { return path_; }

  private:
    fs::path path_;
};

/// In microseconds.
constexpr int kPredicateLimit = 10'000'000;
constexpr int kPredicateStep = 5'000;

/// Runs the driver with -predicate, which answers with its exit status alone.
void lintPredicate(LintRun& run) {
    LintTrial trial(run, "predicate");
    std::string program = run.program;
    std::string option = "-predicate";
    char* const arguments[] = {program.data(), option.data(), nullptr};
    pid_t pid = 0;
    int status = 0;
    if (::posix_spawn(&pid, program.c_str(), nullptr, nullptr, arguments, environ) != 0) {
        return; // its start will tell why
    }
    int waited = 0;
    for (pid_t ended = 0; ended == 0 && waited < kPredicateLimit; waited += kPredicateStep) {
        ended = ::waitpid(pid, &status, WNOHANG);
        ::usleep(ended == 0 ? kPredicateStep : 0);
    }
    if (waited >= kPredicateLimit) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, &status, 0);
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) > 1) {
        trial.fault("with -predicate it exits neither with 0, yes, nor with 1, no");
    } else if (WEXITSTATUS(status) == 1) {
        trial.note("it says that it cannot work on this machine (devicePredicate)");
    }
}

template <typename Check, typename... Path>
void runCheck(LintRun& run, const char* rule, Check check, const Path&... path) {
    LintTrial trial(run, rule);
    if (!run.interrupted && trial.start()) {
        check(trial, path...);
        trial.end();
    }
}

void lintFile(LintRun& run, const std::string& path) {
    runCheck(run, "reading", lintReading, path);
    runCheck(run, "whole pictures", lintWholePictures, path);
    runCheck(run, "end with an open file", lintEnd, path);
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
    const ScratchFolder scratch;
    if (scratch.path().empty()) {
        return problemWith("a new folder in TMPDIR", errno);
    }
    if (const auto first = startDriver(program, options); !first) {
        return problemWith(first.failure());
    }
    LintRun run{program, options, scratch.path(), {}, {}, {}, false};
    lintPredicate(run);
    runCheck(run, "identity", lintIdentity);
    runCheck(run, "settings", lintSettings);
    runCheck(run, "without a file", lintWithoutFile);
    runCheck(run, "other files", lintForeignFiles);
    runCheck(run, "writing", lintWriting);
    if (!run.writtenFile.empty()) {
        runCheck(run, "wrong puts", lintWrongPuts);
        lintFile(run, run.writtenFile);
    }
    if (!file.empty() && !run.interrupted) {
        if (const auto done = lintUsersFile(run, file); !done) {
            return done.failure();
        }
    }
    return run.interrupted ? Outcome<LintReport>(Problem{ExitCode::Failed, "interrupted"})
                           : std::move(run.report);
}
