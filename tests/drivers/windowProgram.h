// SPDX-License-Identifier: MIT
// Programs that the window tests start. Everything waits for something that can be observed, with
// a deadline; a wait that runs out fails the test and says for what.
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

/// Asks `condition` again and again; false, with a test failure that names `what`, when it has not
/// become true in time.
bool eventually(const char* what, const std::function<bool()>& condition);

/// A child process with pipes at its three standard streams. Killed and reaped at the end.
class Program {
  public:
    /// `environment` is added to the test's own; "NAME" without "=" takes that name out.
    Program(std::vector<std::string> command, const std::vector<std::string>& environment);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }

    void write(const std::string& text) const;
    void kill(int signal) const;

    /// What has been printed until now.
    const std::string& out();
    const std::string& err();

    /// Waits for the end: the exit status, 256 + the number of the signal that ended it, or -1 when
    /// it did not end in time.
    int exitStatus();

  private:
    void readMore();
    bool tryReap();
    struct Stream {
        int fd = -1;
        std::string text;
    };
    pid_t pid_ = -1;
    int input_ = -1;
    Stream out_;
    Stream err_;
    int status_ = -1;
};
