// SPDX-License-Identifier: MIT
#include "windowProgram.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr std::chrono::seconds kDeadline{20};
constexpr std::chrono::seconds kDeadlineAfterFailure{1}; // one fault does not take minutes
constexpr std::chrono::milliseconds kBetweenLooks{5};

std::array<int, 2> openPipe() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0) << std::strerror(errno);
    return ends;
}

void setEnvironment(const std::vector<std::string>& environment) {
    for (const std::string& entry : environment) {
        const std::size_t equals = entry.find('=');
        if (equals == std::string::npos) {
            ::unsetenv(entry.c_str());
        } else {
            ::setenv(entry.substr(0, equals).c_str(), entry.c_str() + equals + 1, 1);
        }
    }
}

} // namespace

bool eventually(const char* what, const std::function<bool()>& condition) {
    const auto limit = ::testing::Test::HasFailure() ? kDeadlineAfterFailure : kDeadline;
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            ADD_FAILURE() << "waited in vain: " << what;
            return false;
        }
        std::this_thread::sleep_for(kBetweenLooks);
    }
    return true;
}

Program::Program(std::vector<std::string> command, const std::vector<std::string>& environment) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    const auto in = openPipe();
    const auto out = openPipe();
    const auto err = openPipe();
    pid_ = ::fork();
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(in[0], STDIN_FILENO);
        ::dup2(out[1], STDOUT_FILENO);
        ::dup2(err[1], STDERR_FILENO);
        setEnvironment(environment);
        ::execvp(arguments[0], arguments.data());
        std::perror(arguments[0]);
        ::_exit(127);
    }
    for (const int end : {in[0], out[1], err[1]}) {
        ::close(end);
    }
    input_ = in[1];
    out_.fd = out[0];
    err_.fd = err[0];
    for (const Stream* stream : {&out_, &err_}) {
        ::fcntl(stream->fd, F_SETFL, O_NONBLOCK);
    }
}

Program::~Program() {
    if (status_ < 0) {
        kill(SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    for (const int end : {input_, out_.fd, err_.fd}) {
        ::close(end);
    }
}

void Program::write(const std::string& text) const {
    EXPECT_EQ(::write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void Program::kill(int signal) const {
    ::kill(pid_, signal);
}

void Program::readMore() {
    std::array<char, 65536> bytes{};
    for (Stream* stream : {&out_, &err_}) {
        ssize_t count = 0;
        while ((count = ::read(stream->fd, bytes.data(), bytes.size())) > 0) {
            stream->text.append(bytes.data(), static_cast<std::size_t>(count));
        }
    }
}

const std::string& Program::out() {
    readMore();
    return out_.text;
}

const std::string& Program::err() {
    readMore();
    return err_.text;
}

bool Program::tryReap() {
    readMore(); // or a program with much to say could not end
    int status = 0;
    if (status_ < 0 && ::waitpid(pid_, &status, WNOHANG) == pid_) {
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
        readMore();
    }
    return status_ >= 0;
}

int Program::exitStatus() {
    eventually("the end of the program", [this] { return tryReap(); });
    return status_;
}
