// SPDX-License-Identifier: MIT
// The process entry, with real driver programs.
#include "support/fakeHost.h"
#include "support/sharedBlock.h"
#include "support/tempDir.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

using support::action;
using support::query;

namespace {

constexpr const char* kNullFilter = TDR_BIN_DIR "/nullFilter";

/// A driver program with its stderr on a pipe; ended and reaped with the object.
class Program {
  public:
    explicit Program(std::vector<std::string> arguments, const char* path = kNullFilter) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        errors_.reset(ends[0]);
        base::UniqueFd writeEnd(ends[1]);
        std::vector<char*> argv = {const_cast<char*>(path)};
        for (std::string& a : arguments) {
            argv.push_back(a.data());
        }
        argv.push_back(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(ends[1], STDERR_FILENO);
            execv(path, argv.data());
            _exit(98);
        }
    }
    ~Program() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    /// What descriptor `fd` of the program stands for.
    [[nodiscard]] std::string descriptor(int fd) const {
        std::error_code none;
        return std::filesystem::read_symlink(
            "/proc/" + std::to_string(pid_) + "/fd/" + std::to_string(fd), none);
    }

    /// Waits for the end; the exit status, or minus the signal that ended it.
    int wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    /// All that the program wrote to stderr; waits until it has closed it.
    std::string errors() const {
        std::string text;
        std::array<char, 512> buffer;
        ssize_t got = 0;
        while ((got = read(errors_.get(), buffer.data(), buffer.size())) > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(got));
        }
        return text;
    }

  private:
    base::UniqueFd errors_;
    pid_t pid_ = -1;
};

TEST(Entry, BadCommandLinesAreUsageErrors) {
    const std::vector<std::string> cases[] = {
        {},
        {"-ipc_link_port"},
        {"-ipc_link_port", "abc"},
        {"-ipc_link_port", "0x1F"}, // reads as 0
        {"-ipc_link_port", "12", "more"},
        {"12"},
    };
    for (const auto& arguments : cases) {
        Program program(arguments);
        EXPECT_EQ(program.errors(), "usage: nullFilter [-ipc_link_port port#]\n");
        EXPECT_EQ(program.wait(), 255);
    }
}

TEST(Entry, PredicateAnswersByExitStatusAndToAHost) {
    const struct {
        const char* path;
        int status, code;
    } cases[] = {{kNullFilter, 0, 101}, {PLAIN_DRIVER, 1, 102}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(Program({"-predicate"}, c.path).wait(), c.status);
        support::FakeHost host;
        host.connectDriver();
        Program program({"-predicate", "-ipc_link_port", std::to_string(host.port())}, c.path);
        host.awaitDriver();
        EXPECT_EQ(host.receive().datacmd[5], c.code);
        EXPECT_EQ(program.wait(), c.status);
    }
}

TEST(Entry, HostThatIsNotThereIsADriverError) {
    unsigned short port = 0;
    close(createsocket(&port)); // a port that nobody listens on
    Program program({"-ipc_link_port", std::to_string(port)});
    EXPECT_NE(program.errors().find("Problem connecting to parent on port " + std::to_string(port)),
              std::string::npos);
    EXPECT_EQ(program.wait(), 254);
}

TEST(Entry, LastPortThatReadsAsANumberCounts) {
    support::FakeHost host;
    host.connectDriver();
    Program program({"-ipc_link_port", "1", "-ipc_link_port",
                     " +" + std::to_string(host.port()) + "x", "-ipc_link_port", "none"});
    host.awaitDriver();
    EXPECT_EQ(host.receive().datacmd[5], 101);
    host.send(action(200));
    EXPECT_EQ(program.wait(), 0);
}

TEST(Entry, VanishedHostEndsTheDriver) {
    support::FakeHost host;
    host.connectDriver();
    Program program({"-ipc_link_port", std::to_string(host.port())});
    host.awaitDriver();
    host.receive();
    host.hangUp();
    EXPECT_EQ(program.wait(), 0);
}

TEST(Entry, ClosedStandardDescriptorsAreNotReused) {
    support::FakeHost host;
    host.connectDriver();
    Program program({"-c", R"(exec "$0" "$@" <&- >&- 2>&-)", kNullFilter, "-ipc_link_port",
                     std::to_string(host.port())},
                    "/bin/sh");
    host.awaitDriver();
    host.receive();
    for (const int fd : {0, 1, 2}) {
        EXPECT_EQ(program.descriptor(fd), "/dev/null") << fd;
    }
    host.send(action(200));
    EXPECT_EQ(program.wait(), 0);
}

TEST(Entry, AFileThatIsOpenAtTheEndIsClosedAndItsCommandRun) {
    const support::TempDir folder;
    const std::string path = folder / "a.pic";
    const std::string marker = folder / "marker";
    const support::SharedBlock block(4);
    support::FakeHost host;
    host.connectDriver();
    Program program({"-ipc_link_port", std::to_string(host.port())},
                    TDR_BIN_DIR "/softimageFilter");
    host.awaitDriver();
    EXPECT_EQ(host.receive().datacmd[5], 101);
    const support::Message requests[] = {action(1424, {0}), action(1425, {0, 0, 1, 1}),
                                         action(1442, {}, {"cp '" + path + "' '" + marker + "' #"}),
                                         action(1439, {1, 0}, {path})};
    for (const support::Message& request : requests) {
        host.send(request);
        EXPECT_EQ(host.receive().datacmd[5], 101) << request.code;
    }
    host.send(action(1434, {4, block.key(), block.id(), 0, 0}));
    EXPECT_EQ(host.receive().datacmd[5], 1225);
    EXPECT_EQ(host.receive().datacmd[5], 101);
    host.send(action(200));
    EXPECT_EQ(program.wait(), 0);
    ASSERT_TRUE(std::filesystem::exists(marker)) << program.errors();
    EXPECT_EQ(std::filesystem::file_size(marker), 104U + 8 + 4 + 2) << "copied before it was whole";
}

// --- The null driver over the whole way ----------------------------------------------------------

class NullDriver : public ::testing::Test {
  protected:
    void SetUp() override {
        host.connectDriver();
        program = std::make_unique<Program>(
            std::vector<std::string>{"-ipc_link_port", std::to_string(host.port())});
        host.awaitDriver();
        ASSERT_EQ(host.receive().datacmd[5], 101);
    }
    void TearDown() override {
        host.send(action(200));
        EXPECT_EQ(program->wait(), 0);
    }
    int ask(const support::Message& message) {
        host.send(message);
        return host.receive().datacmd[5];
    }
    std::vector<std::int32_t> line(int y, int size) const {
        return {size, block.key(), block.id(), y, 0};
    }

    support::FakeHost host;
    std::unique_ptr<Program> program;
    support::SharedBlock block{7 * 4};
};

TEST_F(NullDriver, ConnectsOnlyOnceASizeIsSet) {
    EXPECT_EQ(ask(action(1439, {0, 0}, {"any"})), 102);
    EXPECT_EQ(ask(action(1425, {0, 0, 7, 40000})), 101);
    EXPECT_EQ(ask(action(1439, {0, 0}, {"any"})), 102);
    EXPECT_EQ(ask(action(1425, {0, 0, 7, 5})), 101);
    EXPECT_EQ(ask(action(1439, {0, 0}, {"any"})), 101);
}

TEST_F(NullDriver, ServesTheRampWithinPictureAndBlock) {
    ask(action(1425, {0, 0, 7, 5}));
    ask(action(1439, {0, 0}, {"any"}));
    ASSERT_EQ(ask(action(1430, line(4, 28))), 101);
    const std::uint8_t expected[] = {255, 10, 4, 6}; // alpha, blue, green, red at x 6, y 4
    EXPECT_TRUE(std::equal(expected, expected + 4, block.bytes() + 24));
    EXPECT_EQ(ask(action(1430, line(5, 28))), 102);
    EXPECT_EQ(ask(action(1430, line(-1, 28))), 102);
    EXPECT_EQ(ask(action(1429, {28, block.key(), block.id(), 0})), 102); // no room for five lines
    ask(action(1440));
    EXPECT_EQ(ask(action(1430, line(0, 28))), 102);
}

} // namespace
