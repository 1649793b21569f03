// SPDX-License-Identifier: MIT
// The process entry, with real driver programs.
#include "support/fakeHost.h"
#include "support/program.h"
#include "support/sharedBlock.h"
#include "support/tempDir.h"

#include <cstring>

using support::action;
using support::Program;

namespace {

constexpr const char* kNullFilter = TDR_BIN_DIR "/nullFilter";
constexpr const char* kSoftimageFilter = TDR_BIN_DIR "/softimageFilter";
constexpr const char* kPngFilter = TDR_BIN_DIR "/pngFilter";

/// A program that has connected to a host of its own. Its last argument is the port.
struct Driver {
    explicit Driver(std::vector<std::string> command) : program(connect(std::move(command))) {
        host.awaitDriver();
        greeting = host.receive().datacmd[ipc::kWordCode];
    }
    explicit Driver(const char* path) : Driver({path, "-ipc_link_port"}) {}

    /// Sends a request and returns the code of the reply.
    int ask(const support::Message& request) {
        host.send(request);
        return host.receive().datacmd[ipc::kWordCode];
    }
    int end() {
        host.send(action(200));
        return program.exitStatus();
    }

    std::vector<std::string> connect(std::vector<std::string> command) {
        command.push_back(std::to_string(host.port()));
        host.connectDriver();
        return command;
    }

    support::FakeHost host;
    Program program;
    int greeting; ///< its first code
};

TEST(Entry, BadCommandLinesAreUsageErrors) {
    const std::vector<std::string> cases[] = {
        {kNullFilter},
        {kNullFilter, "-ipc_link_port"},
        {kNullFilter, "-ipc_link_port", "abc"},
        {kNullFilter, "-ipc_link_port", "0x1F"}, // reads as 0
        {kNullFilter, "-ipc_link_port", "12", "more"},
        {kNullFilter, "12"},
    };
    for (const auto& command : cases) {
        Program program(command);
        EXPECT_EQ(program.exitStatus(), 255);
        EXPECT_EQ(program.err(), "usage: nullFilter [-ipc_link_port port#]\n");
    }
}

TEST(Entry, PredicateAnswersByExitStatusAndToAHost) {
    const struct {
        const char* path;
        int status, code;
    } cases[] = {{kNullFilter, 0, 101},
                 {kPngFilter, 0, 101},
                 {kSoftimageFilter, 1, 102},
                 {PLAIN_DRIVER, 1, 102}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(Program({c.path, "-predicate"}).exitStatus(), c.status);
        Driver driver({c.path, "-predicate", "-ipc_link_port"});
        EXPECT_EQ(driver.greeting, c.code);
        EXPECT_EQ(driver.program.exitStatus(), c.status);
    }
}

TEST(Entry, HostThatIsNotThereIsADriverError) {
    unsigned short port = 0;
    close(createsocket(&port)); // a port without a listener
    Program program({kNullFilter, "-ipc_link_port", std::to_string(port)});
    EXPECT_EQ(program.exitStatus(), 254);
    EXPECT_NE(program.err().find("Problem connecting to parent on port " + std::to_string(port)),
              std::string::npos);
}

TEST(Entry, LastPortThatReadsAsANumberCounts) {
    Driver driver({"/bin/sh", "-c",
                   R"(exec "$0" -ipc_link_port 1 -ipc_link_port " +$1x" -ipc_link_port none)",
                   kNullFilter});
    EXPECT_EQ(driver.greeting, 101);
    EXPECT_EQ(driver.end(), 0);
}

TEST(Entry, ClosedStandardDescriptorsAreNotReused) {
    Driver driver(
        {"/bin/sh", "-c", R"(exec "$0" "$@" <&- >&- 2>&-)", kNullFilter, "-ipc_link_port"});
    const std::string fds = "/proc/" + std::to_string(driver.program.pid()) + "/fd/";
    for (const int fd : {0, 1, 2}) {
        EXPECT_EQ(std::filesystem::read_symlink(fds + std::to_string(fd)), "/dev/null") << fd;
    }
    EXPECT_EQ(driver.end(), 0);
}

/// Tests of a file that is open at the driver's end, for each driver of files.
class OpenFile : public ::testing::TestWithParam<std::pair<const char*, const char*>> {
  protected:
    void SetUp() override {
        for (const support::Message& request :
             {action(1424, {0}), action(1425, {0, 0, 1, 2}),
              action(1442, {}, {"cp '" + path + "' '" + copy + "' #"}),
              action(1439, {1, 0}, {path})}) {
            EXPECT_EQ(driver.ask(request), 101) << request.code;
        }
    }
    void expectAWholeFile() {
        EXPECT_EQ(driver.program.exitStatus(), 0);
        EXPECT_NE(support::contentOf(copy), "");
        EXPECT_EQ(support::contentOf(copy), support::contentOf(path)) << "copied too early";
    }

    support::TempDir folder;
    const std::string path = folder / GetParam().second;
    const std::string copy = folder / "copy";
    Driver driver{GetParam().first};
};

INSTANTIATE_TEST_SUITE_P(Entry, OpenFile,
                         ::testing::Values(std::pair{kSoftimageFilter, "a.pic"},
                                           std::pair{kPngFilter, "a.png"}));

TEST_P(OpenFile, IsClosedAndItsCommandRunAtTheEnd) {
    driver.host.send(action(200));
    expectAWholeFile();
}

TEST_P(OpenFile, SurvivesTheHostAndAllThatItWouldHaveRead) {
    support::SharedBlock block(4);
    const auto putLine = [&](int y) { return action(1434, {4, block.key(), block.id(), y, 0}); };
    std::memcpy(block.bytes(), "abcd", 4);
    EXPECT_EQ(driver.ask(putLine(0)), 1225); // held back until the top line arrives
    EXPECT_EQ(driver.host.receive().datacmd[ipc::kWordCode], 101);
    driver.program.kill(SIGSTOP); // it sees everything at once when it continues
    driver.host.send(putLine(1));
    driver.host.hangUp();
    driver.program.dropErr();
    block.abandon();
    driver.program.kill(SIGCONT);
    expectAWholeFile();
    shmid_ds state{};
    EXPECT_EQ(shmctl(block.id(), IPC_STAT, &state), -1)
        << "the block that nobody uses any more stays";

    Driver reader(GetParam().first);
    const support::SharedBlock line(4);
    EXPECT_EQ(reader.ask(action(1439, {0, 0}, {path})), 101);
    EXPECT_EQ(reader.ask(action(1430, {4, line.key(), line.id(), 0, 0})), 101);
    EXPECT_EQ(std::memcmp(line.bytes(), "abcd", 4), 0) << "the line that was held back is lost";
    EXPECT_EQ(reader.end(), 0);
}

TEST(NullDriver, ServesARampOfTheSizeThatWasSet) {
    Driver driver(kNullFilter);
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
        EXPECT_EQ(driver.ask(step.request), step.answer) << step.name;
    }
    // Alpha, blue, green, red at x 6, y 4.
    EXPECT_EQ(std::memcmp(block.bytes() + 24, "\xFF\x0A\x04\x06", 4), 0);
    EXPECT_EQ(driver.end(), 0);
}

} // namespace
