// SPDX-License-Identifier: MIT
// Diagnostics with a reader, and after the reader has gone.
#include "base/diagnostics.h"
#include "base/uniqueFd.h"
#include "support/captureStderr.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>

namespace {

bool isPending(int signal) {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, signal) == 1;
}

TEST(Diagnostics, EachLineIsOneWriteAndAVeryLongOneIsCut) {
    const support::CaptureStderr restored;
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_DIRECT), 0); // keeps the boundaries of writes
    const base::UniqueFd reader(ends[0]);
    const base::UniqueFd writer(ends[1]);
    dup2(writer.get(), STDERR_FILENO);
    std::array<char, 16384> got{};
    errno = EDOM;
    base::say("%s: %d of '%s'\n", "who", 3, "file");
    base::sayError("where", ENOENT);
    EXPECT_EQ(errno, EDOM);
    for (const std::string& line : {std::string("who: 3 of 'file'\n"),
                                    "where: " + std::string(std::strerror(ENOENT)) + "\n"}) {
        const ssize_t count = read(reader.get(), got.data(), got.size());
        EXPECT_EQ(std::string(got.data(), static_cast<std::size_t>(count)), line);
    }
    const support::CaptureStderr said;
    base::say("%s\n", std::string(20000, 'x').c_str());
    EXPECT_EQ(said.text(), std::string(8187, 'x') + "...\n");
}

TEST(Diagnostics, AReaderThatHasGoneIsNoEvent) {
    const support::CaptureStderr restored;
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    close(ends[0]);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    base::say("for nobody\n"); // the signal's default action would end the test here
    EXPECT_FALSE(isPending(SIGPIPE));

    sigset_t pipe;
    sigset_t before;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, &before);
    raise(SIGPIPE);
    base::say("for nobody\n");
    EXPECT_TRUE(isPending(SIGPIPE)) << "a signal from before is not ours to forget";
    int number = 0;
    sigwait(&pipe, &number);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace
