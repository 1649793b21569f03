// SPDX-License-Identifier: MIT
// Programs that tests start. Every wait is for an observable condition, with a deadline; a wait
// that times out fails the test and names the condition.
#pragma once

#include "base/uniqueFd.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace support {

inline constexpr std::chrono::seconds kPatience{50}; // reached only by a failing test

/// Polls `condition`; false, with a test failure that names `what`, if it does not become true in
/// time.
inline bool eventually(const std::string& what, const std::function<bool()>& condition,
                       std::chrono::seconds patience = kPatience) {
    constexpr std::chrono::seconds kAfterFailure{1}; // so that one failure does not take minutes
    const auto limit = ::testing::Test::HasFailure() ? kAfterFailure : patience;
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            ADD_FAILURE() << "waited in vain: " << what;
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// A child process with pipes at its three standard streams. Killed and reaped at the end.
class Program {
  public:
    /// `prepare` runs in the child just before the program.
    explicit Program(std::vector<std::string> command,
                     const std::function<void()>& prepare = nullptr) {
        std::vector<char*> arguments;
        arguments.reserve(command.size() + 1);
        for (std::string& argument : command) {
            arguments.push_back(argument.data());
        }
        arguments.push_back(nullptr);
        std::array<base::UniqueFd, 3> theirs;
        for (std::size_t i = 0; i < theirs.size(); ++i) {
            std::array<int, 2> ends{-1, -1};
            EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
            ours_[i].reset(ends[i == 0 ? 1 : 0]);
            theirs[i].reset(ends[i == 0 ? 0 : 1]);
            fcntl(ours_[i].get(), F_SETFL, i == 0 ? 0 : O_NONBLOCK);
        }
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (int i = 0; i < 3; ++i) {
                dup2(theirs[static_cast<std::size_t>(i)].get(), i);
            }
            if (prepare) {
                prepare();
            }
            execvp(arguments[0], arguments.data());
            std::perror(arguments[0]);
            _exit(127);
        }
    }
    ~Program() {
        if (status_ < 0) {
            kill(SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }

    /// Closes the read end of its stderr.
    void dropErr() { ours_[2].reset(); }
    void kill(int signal) const { ::kill(pid_, signal); }

    /// The output so far.
    const std::string& out() { return more(1); }
    const std::string& err() { return more(2); }

    /// Waits for the end: returns the exit status, 256 + the number of the signal that ended it, or
    /// -1 if it did not end in time.
    int exitStatus(std::chrono::seconds patience = kPatience) {
        eventually(
            "the end of the program", [this] { return tryReap(); }, patience);
        return status_;
    }

  private:
    const std::string& more(std::size_t stream) {
        std::array<char, 65536> bytes;
        ssize_t count = 0;
        while ((count = ::read(ours_[stream].get(), bytes.data(), bytes.size())) > 0) {
            said_[stream].append(bytes.data(), static_cast<std::size_t>(count));
        }
        return said_[stream];
    }
    bool tryReap() {
        const auto readAll = [this] { return more(1).size() + more(2).size(); };
        readAll(); // otherwise a program with much output could not end
        int status = 0;
        if (status_ < 0 && waitpid(pid_, &status, WNOHANG) == pid_) {
            status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
            readAll();
        }
        return status_ >= 0;
    }

    pid_t pid_ = -1;
    std::array<base::UniqueFd, 3> ours_;
    std::array<std::string, 3> said_;
    int status_ = -1;
};

} // namespace support
