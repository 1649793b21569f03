// SPDX-License-Identifier: MIT
// One check of a driver: a session of its own, and what is wrong with the answers.
#pragma once

#include "driverLint.h"
#include "tdr/picture.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// The lines of a picture as the driver transfers them, the bottom line first.
using Lines = std::vector<std::vector<std::uint8_t>>;

/// What the checks of one run share.
struct LintRun {
    std::filesystem::path program;
    DriverOptions options;
    std::filesystem::path folder; ///< for new files
    LintReport report;
    std::string ending;             ///< of the driver's files
    std::string writtenFile;        ///< a picture that the driver has written, or empty
    std::optional<Problem> problem; ///< not the driver's: a signal, out of memory; ends the run
};

class LintTrial {
  public:
    LintTrial(LintRun& shared, std::string rule) : run(shared), rule_(std::move(rule)) {}
    /// Starts the driver; false with a fault if that fails.
    [[nodiscard]] bool start();
    /// Ends the driver, which has to exit with 0.
    void end();

    [[nodiscard]] tdr::Session& driver() { return running_->session; }

    void fault(const std::string& text) { run.report.faults.push_back(rule_ + ": " + text); }
    void note(const std::string& text) { run.report.notes.push_back(rule_ + ": " + text); }
    /// A fault unless `good`; returns it.
    bool expect(bool good, const std::string& text);
    /// The query has to be answered. None after a fault.
    template <typename Value>
    std::optional<Value> answered(const tdr::Result<Value>& answer, const std::string& query) {
        if (!answer) {
            failed(answer.failure(), query);
        }
        return answer ? std::optional(*answer) : std::nullopt;
    }
    /// The request has to be done.
    bool done(const tdr::Status& answer, const std::string& request);
    /// The request has to be refused, with an error reply.
    void refused(const tdr::Status& answer, const std::string& request);
    /// Shared memory; without it the run has a problem.
    std::optional<tdr::SharedBlock> block(std::size_t bytes);

    LintRun& run;

  private:
    void failed(const tdr::Failure& failure, const std::string& request);

    std::string rule_;
    bool ended_ = false; ///< the driver has, and that is reported
    std::optional<RunningDriver> running_;
};

/// The driver has answered with an error reply.
[[nodiscard]] bool isRefusal(const tdr::Status& answer);

/// The checks, in the order in which they run; `path` is a file for the driver.
void lintIdentity(LintTrial& trial);
void lintSettings(LintTrial& trial);
void lintWithoutFile(LintTrial& trial);
void lintForeignFiles(LintTrial& trial);
void lintWriting(LintTrial& trial);
void lintWrongPuts(LintTrial& trial);
void lintPostWrite(LintTrial& trial);
void lintReading(LintTrial& trial, const std::string& path);
void lintDamage(LintTrial& trial, const std::string& path);
void lintWholePictures(LintTrial& trial, const std::string& path);
void lintEnd(LintTrial& trial, const std::string& path);
