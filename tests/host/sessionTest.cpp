// SPDX-License-Identifier: MIT
// How sessions start, continue and end, and what they do not change in the host's process.
#include "base/uniqueFd.h"
#include "hostTesting.h"
#include "tdr/interruptGuard.h"

#include <atomic>
#include <csignal>
#include <poll.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <thread>

namespace {

using namespace testing_host;

using SessionTest = HostTest;

// --- Start ---------------------------------------------------------------------------------------

TEST_F(SessionTest, aProgramThatIsNoneSaysWhy) {
    folder().write("notExecutable", "#!/bin/sh\n", 0644);
    folder().write("noProgram", "\x01\x02\x03", 0755);
    const std::pair<std::string, const char*> cases[] = {
        {folder() / "missing", "No such file or directory"},
        {folder() / "notExecutable", "Permission denied"},
        {folder() / "noProgram", "exit status 127"}, // the shell is tried on it
        {folder().path().string(), "Permission denied"},
        {"sh", "does not exist"}, // a name alone is not searched along PATH
    };
    for (const auto& [program, says] : cases) {
        const auto driver = Session::start(program);
        ASSERT_FALSE(driver) << program;
        EXPECT_EQ(driver.failure().kind, FailureKind::CouldNotStart);
        EXPECT_NE(driver.failure().text().find(program), std::string::npos);
        EXPECT_NE(driver.failure().text().find(says), std::string::npos) << driver.failure().text();
    }
}

// --- Requests ------------------------------------------------------------------------------------

TEST_F(SessionTest, aFloodOnStderrBlocksNobody) {
    std::size_t lines = 0;
    StartOptions options;
    options.onDriverLine = [&lines](std::string_view) { ++lines; };
    auto driver = start("floods", options);
    const auto vendor = driver->vendorName();
    ASSERT_TRUE(vendor) << vendor.failure().text();
    EXPECT_TRUE(driver->end());
    EXPECT_EQ(lines, 20001U);
    EXPECT_EQ(driver->lastLine(), "0/1025:");
}

// --- The end -------------------------------------------------------------------------------------

TEST_F(SessionTest, aDriverEndsWhenToldToAndIsWaitedForOnce) {
    for (const bool dismissed : {false, true}) {
        auto driver = mustStart(real("nullFilter"));
        for (int i = 0; dismissed && i < 2; ++i) {
            driver->dismiss();
        }
        const auto end = driver->end();
        ASSERT_TRUE(end) << end.failure().text();
        EXPECT_EQ(end->text(), "exit status 0");
        EXPECT_FALSE(driver->alive());
        EXPECT_FALSE(driver->end()) << "the session is over";
    }
}

TEST_F(SessionTest, aDriverThatDoesNotEndIsKilled) {
    StartOptions impatient;
    impatient.limits.end = 300ms;
    auto driver = start("stubborn", impatient);
    const pid_t pid = driver->pid();
    const auto end = driver->end();
    ASSERT_FALSE(end);
    EXPECT_EQ(end.failure().kind, FailureKind::TimedOut);
    EXPECT_FALSE(isRunning(pid));

    auto forgotten = start("stubborn", impatient);
    ASSERT_TRUE(forgotten);
    const pid_t other = forgotten->pid();
    *forgotten = std::move(*driver); // drops the session
    EXPECT_FALSE(isRunning(other));
}

// --- The host's process --------------------------------------------------------------------------

void doNothing(int) {}

TEST_F(SessionTest, signalActionsAreTheHostsOwn) {
    for (const auto handler : {SIG_DFL, SIG_IGN, static_cast<sighandler_t>(doNothing)}) {
        const auto pipeBefore = std::signal(SIGPIPE, handler);
        const auto childBefore = std::signal(SIGCHLD, handler);
        {
            auto driver = start("echo");
            ASSERT_TRUE(driver) << driver.failure().text();
            EXPECT_TRUE(driver->vendorName());
            const auto end = driver->end();
            ASSERT_TRUE(end);
            EXPECT_EQ(end->known, handler != SIG_IGN) << "then the kernel has waited for it";
        }
        EXPECT_EQ(std::signal(SIGPIPE, pipeBefore), handler);
        EXPECT_EQ(std::signal(SIGCHLD, childBefore), handler);
    }
}

/// At no moment, because another thread of the host may rely on them.
TEST_F(SessionTest, signalActionsAreTheHostsOwnAllTheTime) {
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    std::atomic<int> changes = 0;
    std::jthread watch([&](const std::stop_token& done) {
        while (!done.stop_requested()) {
            struct sigaction now {};
            sigaction(SIGPIPE, nullptr, &now);
            changes += now.sa_handler != SIG_IGN ? 1 : 0;
        }
    });
    auto driver = start("echo");
    for (int i = 0; i < 3000; ++i) {
        EXPECT_TRUE(driver->vendorName());
    }
    watch = {};
    EXPECT_EQ(changes, 0);
    std::signal(SIGPIPE, before);
}

TEST_F(SessionTest, otherChildrenAreNotWaitedFor) {
    const pid_t own = support::startChild([] { return 5; });
    EXPECT_FALSE(start("exits")->vendorName());
    EXPECT_EQ(support::exitStatusOf(own), 5);
}

using Request = Status (*)(Session&);

Status askForALine(Session& driver) {
    auto block = SharedBlock::create(4096);
    return driver.getLine(*block, 0);
}
Status endIt(Session& driver) {
    const auto ended = driver.end();
    return ended ? Status() : Status(ended.failure());
}

/// Starts a host in a process of its own, which hangs in a request. Returns its pid and its
/// driver's.
std::pair<pid_t, pid_t> forkHost(const std::filesystem::path& program, bool guarded,
                                 Request request = askForALine) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    const base::UniqueFd fromHost(ends[0]);
    base::UniqueFd toTest(ends[1]);
    const pid_t host = support::startChild([&] {
        std::optional<InterruptGuard> guard;
        if (guarded) {
            guard.emplace();
        }
        bool interrupted = false;
        {
            auto driver = Session::start(program);
            const pid_t pid = driver->pid();
            (void)!write(toTest.get(), &pid, sizeof pid);
            const Status done = request(*driver);
            interrupted = !done && done.failure().kind == FailureKind::Interrupted;
        }
        if (interrupted) {
            InterruptGuard::endBySignal(InterruptGuard::signal());
        }
        return 1;
    });
    toTest.reset();
    pid_t driver = -1;
    EXPECT_EQ(read(fromHost.get(), &driver, sizeof driver), ssize_t{sizeof driver});
    return {host, driver};
}

TEST_F(SessionTest, aSignalUnwindsAGuardedHost) {
    using Case = std::tuple<int, const char*, Request>;
    for (const auto& [signal, driver, request] :
         {Case{SIGINT, "freezes", askForALine}, Case{SIGTERM, "freezes", askForALine},
          Case{SIGHUP, "freezes", askForALine}, Case{SIGINT, "stubborn", endIt}}) {
        SCOPED_TRACE(driver);
        const auto [host, itsDriver] = forkHost(scripted(driver), true, request);
        ASSERT_GT(itsDriver, 0);
        kill(host, signal);
        EXPECT_EQ(support::exitStatusOf(host), 256 + signal);
        EXPECT_FALSE(isRunning(itsDriver));
        EXPECT_TRUE(support::segmentsOf(host).empty());
    }
}

TEST_F(SessionTest, aPauseGivesSignalsTheActionFromBeforeTheGuard) {
    for (const bool handled : {false, true}) {
        const pid_t child = support::startChild([handled] {
            if (handled) {
                std::signal(SIGTERM, [](int) {});
                std::signal(SIGUSR1, [](int) {});
            }
            const InterruptGuard guard;
            {
                const InterruptGuard::Pause outer;
                { const InterruptGuard::Pause inner; }
                raise(SIGTERM);
            }
            {
                const InterruptGuard::Pause again; // each signal has its own action still
                raise(SIGUSR1);
                raise(SIGTERM);
            }
            const int inPause = InterruptGuard::signal();
            raise(SIGTERM);
            return inPause == 0 && InterruptGuard::signal() == SIGTERM ? 5 : 1;
        });
        EXPECT_EQ(support::exitStatusOf(child), handled ? 5 : 256 + SIGTERM);
    }
}

TEST_F(SessionTest, anIgnoredSignalStaysIgnored) {
    const auto before = std::signal(SIGHUP, SIG_IGN);
    {
        const InterruptGuard guard;
        raise(SIGHUP);
        EXPECT_EQ(InterruptGuard::signal(), 0);
    }
    EXPECT_EQ(std::signal(SIGHUP, before), SIG_IGN);
}

TEST_F(SessionTest, aDriverEndsWhenItsHostVanishes) {
    const auto [host, pid] = forkHost(real("nullFilter"), false);
    ASSERT_GT(pid, 0);
    const base::UniqueFd driver(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    kill(host, SIGKILL);
    (void)support::exitStatusOf(host); // it may have ended by itself
    if (driver.valid()) {              // otherwise it has already ended
        pollfd ended{driver.get(), POLLIN, 0};
        EXPECT_EQ(poll(&ended, 1, 20'000), 1) << "the driver outlives its host";
    }
    for (const int id : support::segmentsOf(host)) {
        shmctl(id, IPC_RMID, nullptr); // no cleanup is possible after SIGKILL
    }
}

} // namespace
