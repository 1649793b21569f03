// SPDX-License-Identifier: MIT
// Runs the command as users do, and checks for leaks.
#pragma once

#include "support/leakCounters.h"
#include "support/processState.h"
#include "support/program.h"
#include "support/tempDir.h"

#include <grp.h>
#include <memory>

namespace commandTesting {

namespace fs = std::filesystem;

/// The environment of a run.
struct Around {
    int stdoutFd = -1;                  ///< instead of capturing stdout
    rlim_t largestFile = RLIM_INFINITY; ///< RLIMIT_FSIZE
    rlim_t memory = RLIM_INFINITY;      ///< RLIMIT_AS
    bool ignoreSizeSignal = false;      ///< SIGXFSZ ignored, so that writes fail with EFBIG
    bool otherUser = false;             ///< as nobody; only possible for root
    void (*prepare)() = nullptr;        ///< called in the child before the program
};

struct Ended {
    int exit = -1;  ///< exit status, or -1
    int signal = 0; ///< the signal that killed it, or 0
    std::string out;
    std::string err;
};

using Names = std::set<std::string>;

inline Names namesIn(const fs::path& folder) {
    Names names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

/// True when `part` is in `text`; else shows both.
inline testing::AssertionResult contains(const std::string& text, const std::string& part) {
    if (text.find(part) != std::string::npos) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "\"" << part << "\" is not in:\n" << text;
}

using support::childrenOf;
using support::contentOf;
using support::stateOf;

/// One run of the command, from its start to its end.
class Running : public support::Program {
  public:
    Running(std::vector<std::string> command, const Around& around)
        : Program(std::move(command), [&around] { become(around); }) {}

    Ended wait() {
        const int status = exitStatus(kLongest);
        return {status < 256 ? status : -1, status < 256 ? 0 : status - 256, out(), err()};
    }

    /// Waits until a child of the command has stopped; returns its pid, or -1 if the command ends
    /// first.
    [[nodiscard]] pid_t awaitStoppedChild() const {
        while (stateOf(pid()) != 'Z') {
            for (const pid_t child : childrenOf(pid())) {
                if (stateOf(child) == 'T') {
                    return child;
                }
            }
            usleep(1000);
        }
        return -1;
    }

  private:
    static constexpr std::chrono::seconds kLongest{250}; // the tests have their own limits

    static void become(const Around& around) {
        if (around.stdoutFd >= 0) {
            dup2(around.stdoutFd, STDOUT_FILENO);
        }
        const rlimit size{around.largestFile, around.largestFile};
        const rlimit memory{around.memory, around.memory};
        setrlimit(RLIMIT_FSIZE, &size);
        setrlimit(RLIMIT_AS, &memory);
        if (around.ignoreSizeSignal) {
            std::signal(SIGXFSZ, SIG_IGN);
        }
        if (around.prepare != nullptr) {
            around.prepare();
        }
        if (around.otherUser &&
            (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0)) {
            _exit(125);
        }
    }
};

/// A folder for the files of a test, which starts with one picture, and another for all other
/// files. After every test no segment or child may be left.
class CommandTest : public ::testing::Test {
  protected:
    /// The drivers that a developer has set up for himself stay out of sight.
    CommandTest() {
        unsetenv("TDR_DRIVER_PATH");
        setenv("HOME", scratch_.path().c_str(), 1);
    }

    void TearDown() override {
        for (const pid_t pid : pids_) {
            EXPECT_TRUE(support::segmentsOf(pid).empty());
        }
        EXPECT_FALSE(support::hasChildren());
    }

    Ended run(std::vector<std::string> arguments, const Around& around = {}) {
        return startRun(std::move(arguments), around)->wait();
    }

    /// Runs the command, which must end well and without a word on stderr.
    Ended expectDone(std::vector<std::string> arguments, const Around& around = {}) {
        return expectEnd(0, std::move(arguments), "", around);
    }
    /// Runs the command, which must say this on stderr and end with this status.
    Ended expectFailed(std::vector<std::string> arguments, const std::string& says, int exit = 1,
                       const Around& around = {}) {
        return expectEnd(exit, std::move(arguments), says, around);
    }
    /// Both; it says nothing when `says` is empty.
    Ended expectEnd(int exit, std::vector<std::string> arguments, const std::string& says,
                    const Around& around = {}) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        Ended ended = run(std::move(arguments), around);
        EXPECT_EQ(ended.exit, exit) << ended.err;
        EXPECT_TRUE(contains(ended.err, says));
        EXPECT_EQ(ended.err.empty(), says.empty()) << ended.err;
        return ended;
    }

    std::unique_ptr<Running> startRun(std::vector<std::string> arguments,
                                      const Around& around = {}) {
        arguments.insert(arguments.begin(), around.otherUser ? commandForAll() : TDR_COMMAND);
        auto running = std::make_unique<Running>(std::move(arguments), around);
        pids_.insert(running->pid());
        return running;
    }

    /// A copy of the command and its drivers where every user can execute them: the folder that
    /// they were built in may be in a closed home.
    std::string commandForAll() {
        const fs::path bin = scratch_.path() / "bin";
        if (fs::create_directory(bin)) {
            fs::permissions(scratch_.path(), fs::perms(0755));
            for (const auto& entry : fs::directory_iterator(fs::path(TDR_COMMAND).parent_path())) {
                const std::string name = entry.path().filename().string();
                if (name == "tdr" || name.ends_with("Filter")) {
                    fs::copy_file(entry.path(), bin / name);
                }
            }
        }
        return (bin / "tdr").string();
    }

    /// Path of a file in the test's folder.
    [[nodiscard]] std::string in(const std::string& name) const { return files_ / name; }
    [[nodiscard]] const support::TempDir& files() const { return files_; }

    /// A folder with scripted drivers of these behaviours ("dies" becomes diesFilter).
    std::string driverFolder(const std::vector<std::string>& behaviours) {
        const fs::path folder = scratch_.path() / "drivers";
        fs::create_directory(folder);
        for (const std::string& behaviour : behaviours) {
            fs::create_symlink(TDR_SCRIPTED_DRIVER, folder / (behaviour + "Filter"));
        }
        return folder.string();
    }

    static std::string sample(const std::string& name) {
        return std::string(TDR_SOURCE_DIR) + "/samples/" + name;
    }

  private:
    support::TempDir files_;
    support::TempDir scratch_;
    std::set<pid_t> pids_;
};

} // namespace commandTesting
