// SPDX-License-Identifier: MIT
#include "runReport.h"

#include "output/utf8Text.h"
#include "output/wholeWrite.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <nettle/base64.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Json = nlohmann::ordered_json;

constexpr mode_t kNewFile = 0666; // less the umask
constexpr std::array kFates = {"done", "skipped", "damaged", "failed"};

std::string base64(const std::string& bytes) {
    std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
    base64_encode_raw(text.data(), bytes.size(),
                      reinterpret_cast<const std::uint8_t*>(bytes.data()));
    return text;
}

/// Adds a text from outside. Bytes that are not UTF-8 are escaped in it, and then given whole
/// beside it.
void addText(Json& object, const std::string& key, const std::string& bytes) {
    object[key] = validUtf8(bytes);
    if (object[key] != bytes) {
        object[key + "Base64"] = base64(bytes);
    }
}

std::string lineOf(const Job& job, const JobResult& result) {
    Json line;
    addText(line, "input", job.input.path);
    addText(line, "output", job.output);
    if (job.input.frame) {
        line["frame"] = *job.input.frame;
    }
    line["result"] = kFates.at(static_cast<std::size_t>(result.fate));
    if (!result.problem.empty()) {
        addText(line, "problem", result.problem);
    }
    if (!result.messages.empty()) {
        addText(line, "messages", result.messages);
    }
    line["seconds"] = std::round(result.seconds * 1e6) / 1e6;
    return line.dump() + "\n";
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

Outcome<void> RunReport::end() const {
    return error_ == 0 ? Outcome<void>() : problemWith(path_, error_);
}
