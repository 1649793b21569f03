// SPDX-License-Identifier: MIT
// The process entry, with real driver programs.
#include "support/fakeHost.h"
#include "support/program.h"
#include "support/sharedBlock.h"
#include "support/tempDir.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>

using support::action;

namespace {

constexpr const char* kNullFilter = TDR_BIN_DIR "/nullFilter";

/// A driver program with these arguments.
class Driver : public support::Program {
  public:
    explicit Driver(std::vector<std::string> arguments, const char* path = kNullFilter)
        : Program(withPath(std::move(arguments), path)) {}
    Driver(const support::FakeHost& host, const char* path = kNullFilter)
        : Driver({"-ipc_link_port", std::to_string(host.port())}, path) {}

  private:
    static std::vector<std::string> withPath(std::vector<std::string> arguments, const char* path) {
        arguments.insert(arguments.begin(), path);
        return arguments;
    }
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
        Driver program(arguments);
        EXPECT_EQ(program.exitStatus(), 255);
        EXPECT_EQ(program.err(), "usage: nullFilter [-ipc_link_port port#]\n");
    }
}

TEST(Entry, PredicateAnswersByExitStatusAndToAHost) {
    const struct {
        const char* path;
        int status, code;
    } cases[] = {{kNullFilter, 0, 101}, {PLAIN_DRIVER, 1, 102}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(Driver({"-predicate"}, c.path).exitStatus(), c.status);
        support::FakeHost host;
        host.connectDriver();
        Driver program({"-predicate", "-ipc_link_port", std::to_string(host.port())}, c.path);
        host.awaitDriver();
        EXPECT_EQ(host.receive().datacmd[5], c.code);
        EXPECT_EQ(program.exitStatus(), c.status);
    }
}

TEST(Entry, HostThatIsNotThereIsADriverError) {
    unsigned short port = 0;
    close(createsocket(&port)); // a port without a listener
    Driver program({"-ipc_link_port", std::to_string(port)});
    EXPECT_EQ(program.exitStatus(), 254);
    EXPECT_NE(program.err().find("Problem connecting to parent on port " + std::to_string(port)),
              std::string::npos);
}

TEST(Entry, LastPortThatReadsAsANumberCounts) {
    support::FakeHost host;
    host.connectDriver();
    Driver program({"-ipc_link_port", "1", "-ipc_link_port",
                    " +" + std::to_string(host.port()) + "x", "-ipc_link_port", "none"});
    host.awaitDriver();
    EXPECT_EQ(host.receive().datacmd[5], 101);
    host.send(action(200));
    EXPECT_EQ(program.exitStatus(), 0);
}

TEST(Entry, ClosedStandardDescriptorsAreNotReused) {
    support::FakeHost host;
    host.connectDriver();
    Driver program({"-c", R"(exec "$0" "$@" <&- >&- 2>&-)", kNullFilter, "-ipc_link_port",
                    std::to_string(host.port())},
                   "/bin/sh");
    host.awaitDriver();
    host.receive();
    const std::string fds = "/proc/" + std::to_string(program.pid()) + "/fd/";
    for (const int fd : {0, 1, 2}) {
        EXPECT_EQ(std::filesystem::read_symlink(fds + std::to_string(fd)), "/dev/null") << fd;
    }
    host.send(action(200));
    EXPECT_EQ(program.exitStatus(), 0);
}

/// Tests of a file that is open at the driver's end, for each driver of files.
class OpenFile : public ::testing::TestWithParam<std::pair<const char*, const char*>> {
  protected:
    void SetUp() override {
        path = folder / GetParam().second;
        copy = folder / "copy";
        host.connectDriver();
        program = std::make_unique<Driver>(host, GetParam().first);
        host.awaitDriver();
        EXPECT_EQ(host.receive().datacmd[5], 101);
        for (const support::Message& request :
             {action(1424, {0}), action(1425, {0, 0, 1, 2}),
              action(1442, {}, {"cp '" + path + "' '" + copy + "' #"}),
              action(1439, {1, 0}, {path})}) {
            host.send(request);
            EXPECT_EQ(host.receive().datacmd[5], 101) << request.code;
        }
    }
    void putLine(int y) { host.send(action(1434, {4, block->key(), block->id(), y, 0})); }
    void expectAWholeFile() {
        EXPECT_EQ(program->exitStatus(), 0);
        EXPECT_NE(support::contentOf(copy), "");
        EXPECT_EQ(support::contentOf(copy), support::contentOf(path)) << "copied too early";
    }

    support::TempDir folder;
    std::string path;
    std::string copy;
    support::FakeHost host;
    std::unique_ptr<Driver> program;
    std::optional<support::SharedBlock> block{4};
};

INSTANTIATE_TEST_SUITE_P(Entry, OpenFile,
                         ::testing::Values(std::pair{TDR_BIN_DIR "/softimageFilter", "a.pic"},
                                           std::pair{TDR_BIN_DIR "/pngFilter", "a.png"}));

TEST_P(OpenFile, IsClosedAndItsCommandRunAtTheEnd) {
    host.send(action(200));
    expectAWholeFile();
}

TEST_P(OpenFile, SurvivesTheHostAndAllThatItWouldHaveRead) {
    std::memcpy(block->bytes(), "abcd", 4);
    putLine(0); // held back until the top line arrives
    EXPECT_EQ(host.receive().datacmd[5], 1225);
    EXPECT_EQ(host.receive().datacmd[5], 101);
    program->kill(SIGSTOP); // it sees everything at once when it continues
    putLine(1);
    const int id = block->id();
    host.hangUp();
    program->dropErr();
    block->abandon();
    program->kill(SIGCONT);
    expectAWholeFile();
    shmid_ds state{};
    EXPECT_EQ(shmctl(id, IPC_STAT, &state), -1) << "the block that nobody uses any more stays";

    support::FakeHost next;
    next.connectDriver();
    Driver reader(next, GetParam().first);
    next.awaitDriver();
    next.receive();
    support::SharedBlock line(4);
    for (const support::Message& request :
         {action(1439, {0, 0}, {path}), action(1430, {4, line.key(), line.id(), 0, 0})}) {
        next.send(request);
        EXPECT_EQ(next.receive().datacmd[5], 101) << request.code;
    }
    EXPECT_EQ(std::string(reinterpret_cast<char*>(line.bytes()), 4), "abcd")
        << "the line that was held back is lost";
    next.send(action(200));
    EXPECT_EQ(reader.exitStatus(), 0);
}

TEST(NullDriver, ServesARampOfTheSizeThatWasSet) {
    support::FakeHost host;
    host.connectDriver();
    Driver program(host);
    host.awaitDriver();
    host.receive();
    const support::SharedBlock block(7 * 4);
    const auto line = [&](int y) { return action(1430, {28, block.key(), block.id(), y, 0}); };
    const support::Message connect = action(1439, {0, 0}, {"any"});
    const struct {
        const char* name;
        support::Message request;
        int answer;
    } steps[] = {
        {"no size", connect, 102},
        {"too large a size", action(1425, {0, 0, 7, 40000}), 101},
        {"no picture of that size", connect, 102},
        {"a size", action(1425, {0, 0, 7, 5}), 101},
        {"connected", connect, 101},
        {"another size", action(1425, {0, 0, 7, 6}), 102},
        {"above", line(5), 102},
        {"below", line(-1), 102},
        {"no room for five lines", action(1429, {28, block.key(), block.id(), 0}), 102},
        {"the top line", line(4), 101},
        {"disconnected", action(1440), 101},
        {"no line after that", line(0), 102},
    };
    for (const auto& step : steps) {
        host.send(step.request);
        EXPECT_EQ(host.receive().datacmd[5], step.answer) << step.name;
    }
    const std::uint8_t expected[] = {255, 10, 4, 6}; // alpha, blue, green, red at x 6, y 4
    EXPECT_TRUE(std::equal(expected, expected + 4, block.bytes() + 24));
    host.send(action(200));
    EXPECT_EQ(program.exitStatus(), 0);
}

} // namespace
