// SPDX-License-Identifier: MIT
#include "runReport.h"

#include "output/jsonWriter.h"
#include "output/wholeWrite.h"
#include "tdr/interruptGuard.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Json = JsonWriter::Json;

constexpr mode_t kNewFile = 0666; // less the umask
constexpr std::array kFates = {"done", "skipped", "damaged", "failed"};

std::string lineOf(const Job& job, const JobResult& result) {
    Json line = {{"input", job.input.path}, {"output", job.output}};
    if (job.input.frame) {
        line["frame"] = *job.input.frame;
    }
    line["result"] = kFates.at(static_cast<std::size_t>(result.fate));
    if (!result.problem.empty()) {
        line["problem"] = result.problem;
    }
    if (result.fate == Fate::Damaged || result.fate == Fate::Failed) {
        line["code"] = wordOf(result.cause);
    }
    if (!result.messages.empty()) {
        line["messages"] = result.messages;
    }
    line["seconds"] = std::round(result.seconds * 1e6) / 1e6;
    return JsonWriter::expressible(line).dump() + "\n";
}

} // namespace

Outcome<RunReport> RunReport::begin(const std::string& path, IfExisting existing) {
    if (path == "-") {
        base::UniqueFd output(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
        return output.valid() ? Outcome<RunReport>(RunReport("standard output", std::move(output)))
                              : problemWith("standard output", errno);
    }
    const int ifThere = existing == IfExisting::Replace ? O_TRUNC
                        : existing == IfExisting::Skip  ? O_APPEND
                                                        : O_EXCL;
    const tdr::InterruptGuard::Pause nothingToCleanUp; // a pipe may wait for its reader
    base::UniqueFd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | ifThere, kNewFile));
    if (!file.valid()) { // a device or a pipe: nothing to replace
        const int error = errno;
        struct stat there {};
        const bool isStream = ::stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode);
        file.reset(isStream ? ::open(path.c_str(), O_WRONLY | O_CLOEXEC) : -1);
        if (!file.valid()) {
            return error == EEXIST
                       ? Problem{ExitCode::Failed, path + ": exists already (see --force)"}
                       : problemWith(path, error);
        }
    }
    return RunReport(path, std::move(file));
}

void RunReport::add(const Job& job, const JobResult& result) {
    if (error_ == 0) {
        error_ = writeWhole(file_.get(), lineOf(job, result));
    }
}

/// A reader that stops early is no failure.
Outcome<void> RunReport::end() const {
    return error_ == 0 || error_ == EPIPE ? Outcome<void>() : problemWith(path_, error_);
}
