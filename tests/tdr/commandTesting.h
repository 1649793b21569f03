// SPDX-License-Identifier: MIT
// Runs the command as users do, and looks at what it leaves.
#pragma once

#include "base/uniqueFd.h"
#include "support/leakCounters.h"
#include "support/processState.h"
#include "support/tempDir.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <gtest/gtest.h>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace commandTesting {

namespace fs = std::filesystem;

/// What surrounds a run.
struct Around {
    int stdoutFd = -1;                      ///< in place of capturing stdout
    std::optional<rlim_t> largestFile = {}; ///< RLIMIT_FSIZE
    bool ignoreSizeSignal = false;          ///< SIGXFSZ ignored, so that writes fail with EFBIG
    bool otherUser = false;                 ///< as nobody; only possible for root
};

struct Ended {
    int exit = -1;  ///< exit status, or -1
    int signal = 0; ///< what killed it, or 0
    std::string out;
    std::string err;
    pid_t pid = -1;
};

inline std::string contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream all;
    all << file.rdbuf();
    return all.str();
}

inline std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
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
using support::stateOf;

/// One run of the command, from its start to its end.
class Running {
  public:
    Running(const fs::path& scratch, std::vector<std::string> arguments, const Around& around = {})
        : out_(scratch / "stdout"), err_(scratch / "stderr") {
        arguments.insert(arguments.begin(), TDR_COMMAND);
        std::vector<char*> argv;
        argv.reserve(arguments.size() + 1);
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            become(around);
            execv(argv[0], argv.data());
            _exit(126);
        }
    }

    [[nodiscard]] pid_t pid() const { return pid_; }

    Ended wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                WIFSIGNALED(status) ? WTERMSIG(status) : 0, contentOf(out_), contentOf(err_), pid_};
    }

    /// Waits until a child of the command has stopped; its pid, or -1 when the command ends first.
    [[nodiscard]] pid_t awaitStoppedChild() const {
        while (stateOf(pid_) != 'Z') {
            for (const pid_t child : childrenOf(pid_)) {
                if (stateOf(child) == 'T') {
                    return child;
                }
            }
            usleep(1000);
        }
        return -1;
    }

  private:
    void become(const Around& around) const {
        const int out = around.stdoutFd >= 0
                            ? around.stdoutFd
                            : open(out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        dup2(out, STDOUT_FILENO);
        dup2(open(err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666), STDERR_FILENO);
        if (around.largestFile) {
            const rlimit limit{*around.largestFile, *around.largestFile};
            setrlimit(RLIMIT_FSIZE, &limit);
        }
        if (around.ignoreSizeSignal) {
            std::signal(SIGXFSZ, SIG_IGN);
        }
        if (around.otherUser &&
            (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0)) {
            _exit(125);
        }
    }

    fs::path out_;
    fs::path err_;
    pid_t pid_ = -1;
};

/// A folder for the files of a test, which starts with one picture, and another for the rest. After
/// every test no segment or child may be left.
class CommandTest : public ::testing::Test {
  protected:
    void TearDown() override {
        for (const pid_t pid : pids_) {
            EXPECT_TRUE(support::segmentsOf(pid).empty());
        }
        EXPECT_FALSE(support::hasChildren());
    }

    Ended run(std::vector<std::string> arguments, const Around& around = {}) {
        Running running(scratch_.path(), std::move(arguments), around);
        pids_.insert(running.pid());
        return running.wait();
    }

    Running startRun(std::vector<std::string> arguments) {
        Running running(scratch_.path(), std::move(arguments));
        pids_.insert(running.pid());
        return running;
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
