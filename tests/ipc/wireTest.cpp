// SPDX-License-Identifier: MIT
// Packets as bytes: the layout by hand, every count, every truncation, the text of every failure.
#include "ipcTesting.h"
#include "ipc_wire.h"

#include <algorithm>
#include <climits>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/wait.h>

using namespace testing_ipc;
using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

/// Set pixel format, without payload.
constexpr std::string_view kEmptyWire = "\0\0\0\6" // command words
                                        "\0\x66\0\x27\xff\xff\xff\xfe\0\4\5\x90"
                                        "\0\0\0\0"    // strings
                                        "\0\0\0\0"    // characters
                                        "\0\0\0\0"    // longs
                                        "\0\0\0\0"sv; // floats

constexpr std::string_view kFullWire = "\0\0\0\6"
                                       "\0\x66\0\x27\xff\xff\xff\xfe\0\4\5\x90"
                                       "\0\0\0\1"
                                       "\0\0\0\3Hi\0"
                                       "\0\0\0\2\0\1\2\3\xff\xff\xff\xfe"
                                       "\0\0\0\1\x3f\xc0\0\0"sv;

IPC_DataPacket emptyPacket() {
    return packetOf({102, 39, -1, -2}, 4, 1424);
}

IPC_DataPacket fullPacket() {
    IPC_DataPacket packet = emptyPacket();
    packet.numof_strings = 1;
    packet.numof_chars = 3;
    std::memcpy(packet.chardata, "Hi", 3);
    packet.numof_longs = 2;
    packet.longdata[0] = 0x00010203;
    packet.longdata[1] = -2;
    packet.numof_floats = 1;
    packet.floatdata[0] = 1.5F;
    return packet;
}

/// The five counts: where the packet has them, where the wire form of a packet without payload has
/// them, and their maximum.
struct CountRow {
    const char* name;
    std::int32_t IPC_DataPacket::*member;
    std::size_t wireOffset;
    std::int32_t capacity;
};
constexpr CountRow kCounts[] = {
    {"numof_cmds", &IPC_DataPacket::numof_cmds, 0, 256},
    {"numof_strings", &IPC_DataPacket::numof_strings, 16, 2048},
    {"numof_chars", &IPC_DataPacket::numof_chars, 20, 2048},
    {"numof_longs", &IPC_DataPacket::numof_longs, 24, 256},
    {"numof_floats", &IPC_DataPacket::numof_floats, 28, 256},
};

TEST(Wire, PacketsHaveTheBytesOfTheLayout) {
    const std::pair<IPC_DataPacket, std::string_view> cases[] = {{emptyPacket(), kEmptyWire},
                                                                 {fullPacket(), kFullWire}};
    for (const auto& [packet, wire] : cases) {
        SCOPED_TRACE(wire.size());
        const SocketPair pair;
        sendTo(pair.near.get(), packet);
        EXPECT_EQ(takeAll(pair.far.get()), wire);
        put(pair.near.get(), std::string(wire) + std::string(kFullWire));
        expectNext(pair.far.get(), packet);
        expectNext(pair.far.get(), fullPacket());
    }
}

TEST(Wire, EveryCountUpToItsCapacityCrosses) {
    for (const CountRow& row : kCounts) {
        for (const std::int32_t count : {0, 1, row.capacity - 1, row.capacity}) {
            SCOPED_TRACE(row.name + (" " + std::to_string(count)));
            const SocketPair pair;
            IPC_DataPacket sent = fullPacket();
            for (int i = 0; i < 256; ++i) {
                sent.datacmd[i] = static_cast<short>(i * 251);
                sent.longdata[i] = i * 0x00723456;
                sent.floatdata[i] = static_cast<float>(i) / 3;
            }
            std::memset(sent.chardata, 'x', sizeof sent.chardata);
            sent.*row.member = count;
            sendTo(pair.near.get(), sent);
            std::fill(sent.datacmd + sent.numof_cmds, std::end(sent.datacmd), short{0});
            std::fill(sent.chardata + sent.numof_chars, std::end(sent.chardata), '\0');
            std::fill(sent.longdata + sent.numof_longs, std::end(sent.longdata), 0);
            std::fill(sent.floatdata + sent.numof_floats, std::end(sent.floatdata), 0.0F);
            expectNext(pair.far.get(), sent);
        }
    }
}

TEST(Wire, BadCountsAreNotSentAndEndTheConnectionThatTheyComeOver) {
    for (const CountRow& row : kCounts) {
        for (const std::int32_t count : {-1, row.capacity + 1, INT_MIN, INT_MAX, 0x00010000}) {
            const std::string nameAndCount = row.name + (" " + std::to_string(count));
            SCOPED_TRACE(nameAndCount);
            const SocketPair pair;
            IPC_DataPacket sent = emptyPacket();
            sent.*row.member = count;
            {
                const CaptureStderr said;
                EXPECT_EQ(sendsockdata(pair.near.get(), &sent), -1);
                EXPECT_EQ(takeAll(pair.far.get()), "");
                EXPECT_NE(said.text().find(nameAndCount), std::string::npos);
            }
            const CaptureStderr said;
            std::string wire(kEmptyWire.substr(0, row.wireOffset));
            for (const int shift : {24, 16, 8, 0}) {
                wire += static_cast<char>(static_cast<unsigned>(count) >> shift);
            }
            put(pair.near.get(), wire);
            const std::size_t sure = kEmptyWire.size() - wire.size();
            put(pair.near.get(), std::string(sure, '\0') + std::string(kFullWire));
            for (const int result : {-1, 0}) {
                IPC_DataPacket packet = noise();
                EXPECT_EQ(readsockdata(pair.far.get(), &packet), result);
                EXPECT_TRUE(same(packet, {})) << "something behind the bad count was read";
            }
            EXPECT_EQ(said.lines(), 1);
            EXPECT_NE(said.text().find(nameAndCount), std::string::npos);
            EXPECT_TRUE(hasGone(pair.near.get())) << "the connection is still open";
        }
    }
}

TEST(Wire, APacketCutAnywhereReadsAsIfZerosFollowed) {
    for (std::size_t length = 0; length < kFullWire.size(); ++length) {
        SCOPED_TRACE(length);
        const std::string begin(kFullWire.substr(0, length));
        const CaptureStderr said;
        IPC_DataPacket packets[2] = {noise(), noise()};
        for (const bool whole : {true, false}) {
            const SocketPair pair;
            put(pair.near.get(), whole ? begin + std::string(kFullWire.size(), '\0') : begin);
            shutdown(pair.near.get(), SHUT_WR);
            EXPECT_EQ(readsockdata(pair.far.get(), &packets[whole ? 0 : 1]), 0);
        }
        EXPECT_TRUE(same(packets[0], packets[1]));
        EXPECT_EQ(said.text(), "");
    }
}

/// The text of a failure at each field; cut: where the wire form of the full packet reaches it.
struct FieldRow {
    std::size_t cut;
    std::string name;
    const char* readEnd = "\n"; ///< of the text of a failed read
    bool pipeGoesUnmentioned = false;
};
const FieldRow kFields[] = {
    {0, "numof_cmds", ".\n"},     {4, "datacmd", ".\n"}, {16, "numof_strings", ".\n"},
    {20, "numof_chars", ".\n"},   {24, "chardata"},      {27, "numof_longs"},
    {31, "longdata", "\n", true}, {39, "numof_floats"},  {43, "floatdata", "\n", true},
};

TEST(Wire, AFailedReadNamesItsField) {
    for (const FieldRow& row : kFields) {
        SCOPED_TRACE(row.name);
        SocketPair pair;
        put(pair.near.get(), kFullWire.substr(0, row.cut));
        put(pair.far.get(), "!"); // left unread, so that closing resets the connection
        pair.near.reset();
        const CaptureStderr said;
        IPC_DataPacket packet{};
        EXPECT_EQ(readsockdata(pair.far.get(), &packet), -1);
        EXPECT_EQ(said.text(), "readbuf: read failure: "s + std::strerror(ECONNRESET) +
                                   "\nreadsockdata: Error reading " + row.name + row.readEnd);
    }
}

/// The write end of a pipe that accepts `room` more writes and then fails with EAGAIN.
class FullPipe {
  public:
    explicit FullPipe(std::size_t room) {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_DIRECT | O_NONBLOCK | O_CLOEXEC) != 0) {
            std::abort();
        }
        read_.reset(ends[0]);
        write_.reset(ends[1]);
        while (write(write_.get(), "x", 1) == 1) {
        }
        char drained = 0;
        while (room-- > 0 && read(read_.get(), &drained, 1) == 1) {
        }
    }
    [[nodiscard]] int fd() const { return write_.get(); }

  private:
    base::UniqueFd read_;
    base::UniqueFd write_;
};

TEST(Wire, AFailedWriteNamesItsFieldAndStopsThere) {
    const KeepAction pipe(SIGPIPE);
    for (std::size_t i = 0; i < std::size(kFields); ++i) {
        const std::string line =
            "sendsockdata: writing " + kFields[i].name + ": " + std::strerror(EAGAIN) + "\n";
        SCOPED_TRACE(line);
        IPC_DataPacket packet = fullPacket();
        {
            const FullPipe full(i);
            const CaptureStderr said;
            EXPECT_EQ(sendsockdata(full.fd(), &packet), -1);
            EXPECT_EQ(said.text(), line);
        }
        const FullPipe full(i);
        const CaptureStderr said;
        no_pipe_kills();
        raise(SIGPIPE); // pending, as if the pipe had broken
        EXPECT_EQ(sendsockdata(full.fd(), &packet), -2);
        EXPECT_EQ(said.text(), kFields[i].pipeGoesUnmentioned ? "" : line);
    }
}

TEST(Wire, AStderrThatNobodyReadsIsNoBrokenLink) {
    const KeepAction pipe(SIGPIPE);
    const FullPipe full(0);
    const CaptureStderr restored;
    SocketPair unread;
    unread.far.reset();
    dup2(unread.near.get(), STDERR_FILENO);
    IPC_DataPacket packet = fullPacket();
    EXPECT_EQ(sendsockdata(full.fd(), &packet), -1);
    EXPECT_EQ(KeepAction::current(SIGPIPE), SIG_DFL);
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST(Wire, APeerThatHasGoneGivesMinusTwoAndNoSignal) {
    const KeepAction pipe(SIGPIPE);
    for (auto* const before : {SIG_DFL, SIG_IGN, sighandler_t{clogged}}) {
        std::signal(SIGPIPE, before);
        SocketPair pair;
        pair.far.reset();
        const CaptureStderr said;
        IPC_DataPacket packet = emptyPacket();
        EXPECT_EQ(sendsockdata(pair.near.get(), &packet), -2);
        EXPECT_EQ(said.text(), "sendsockdata: writing numof_cmds: "s + std::strerror(EPIPE) + "\n");
        EXPECT_EQ(KeepAction::current(SIGPIPE), SIG_DFL);
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        EXPECT_EQ(sigismember(&mask, SIGPIPE), 0);
    }
}

/// Segments with data that a connection has sent.
std::uint32_t segmentsOf(int fd) {
    struct {
        tcp_info known; // as far as the C library knows it
        std::uint64_t ratesAndBytes[4];
        std::uint32_t segments[5];
        std::uint32_t dataSegmentsOut;
    } info{};
    socklen_t size = sizeof info;
    getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &size);
    return info.dataSegmentsOut;
}

TEST(Wire, APacketIsTwoSegmentsThatAreSentAtOnce) {
    const KeepAction pipe(SIGPIPE);
    const KeepAction child(SIGCHLD); // connecting ignores it
    unsigned short port = 0;
    const base::UniqueFd listener(createsocket(&port));
    base::UniqueFd near(getservsock(port));
    base::UniqueFd far(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    no_tcp_delay(near.get());
    std::uint32_t segments = 0;
    for (IPC_DataPacket packet : {emptyPacket(), fullPacket()}) {
        EXPECT_EQ(sendsockdata(near.get(), &packet), 0);
        EXPECT_EQ(takeAll(far.get()), packet.numof_chars == 0 ? kEmptyWire : kFullWire);
        segments += 2;
        EXPECT_EQ(segmentsOf(near.get()), segments);
    }
    far.reset();
    const CaptureStderr said;
    IPC_DataPacket packet = fullPacket();
    EXPECT_EQ(sendsockdata(near.get(), &packet), -2) << "only the next packet notices it";
    EXPECT_EQ(said.text(), "sendsockdata: writing datacmd: "s + std::strerror(EPIPE) + "\n");
}

TEST(Wire, ASignalDuringAPacketThatWentOutCountsToo) {
    const KeepAction pipe(SIGPIPE);
    const SocketPair pair;
    no_pipe_kills();
    raise(SIGPIPE);
    IPC_DataPacket packet = emptyPacket();
    EXPECT_EQ(sendsockdata(pair.near.get(), &packet), -2);
    EXPECT_EQ(takeAll(pair.far.get()), kEmptyWire);
    EXPECT_EQ(sendsockdata(pair.near.get(), &packet), 0) << "the flag outlived its packet";
}

TEST(Wire, APacketOfAHostTouchesNoActionAndLeavesNoSignal) {
    const KeepAction pipe(SIGPIPE);
    for (auto* const action : {SIG_DFL, SIG_IGN, sighandler_t{[](int) { FAIL(); }}}) {
        std::signal(SIGPIPE, action);
        SocketPair pair;
        IPC_DataPacket packet = emptyPacket();
        EXPECT_EQ(ipc::sendPacket(pair.near.get(), packet), ipc::SendEnd::Sent);
        packet.numof_floats = -1;
        EXPECT_EQ(ipc::sendPacket(pair.near.get(), packet), ipc::SendEnd::BadCount);
        EXPECT_EQ(takeAll(pair.far.get()), kEmptyWire);
        packet = emptyPacket();
        pair.far.reset();
        const CaptureStderr said;
        EXPECT_EQ(ipc::sendPacket(pair.near.get(), packet), ipc::SendEnd::Failed);
        EXPECT_EQ(said.text(), "");
        EXPECT_EQ(KeepAction::current(SIGPIPE), action);
    }
}

TEST(Wire, ReadbufReadsWhatThereIs) {
    SocketPair pair;
    char buf[8] = {};
    EXPECT_EQ(readbuf(pair.far.get(), buf, 0), 0);
    EXPECT_EQ(readbuf(pair.far.get(), buf, -3), 0);
    put(pair.near.get(), "abcde");
    EXPECT_EQ(readbuf(pair.far.get(), buf, 2), 2);
    pair.near.reset();
    EXPECT_EQ(readbuf(pair.far.get(), buf, 8), 3);
    EXPECT_STREQ(buf, "cde");
    const CaptureStderr said;
    EXPECT_EQ(readbuf(-1, buf, 1), -1);
    EXPECT_EQ(said.text(), "readbuf: read failure: "s + std::strerror(EBADF) + "\n");
}

TEST(Wire, APacketThatStopsHalfWayIsGivenUp) {
    using namespace std::chrono_literals;
    const base::UniqueFd cancel(eventfd(1, EFD_CLOEXEC));
    for (const std::size_t length : {std::size_t{0}, std::size_t{10}, kFullWire.size() - 1}) {
        const SocketPair pair;
        put(pair.near.get(), kFullWire.substr(0, length));
        IPC_DataPacket packet{};
        const ipc::PacketRead late =
            ipc::receivePacket(pair.far.get(), packet, ipc::deadlineAfter(20ms));
        EXPECT_EQ(late.end, ipc::ReadEnd::TimedOut);
        EXPECT_EQ(late.bytes, length);
        EXPECT_EQ(ipc::receivePacket(pair.far.get(), packet, {}, cancel.get()).end,
                  ipc::ReadEnd::Cancelled);
    }
}

TEST(Wire, AReaderThatNeverReadsIsGivenUp) {
    using namespace std::chrono_literals;
    const base::UniqueFd cancel(eventfd(0, EFD_CLOEXEC));
    const ipc::Child ended; // no process counts as an ended one
    struct Case {
        ipc::SendEnd end;
        ipc::Deadline deadline;
        eventfd_t cancelled;
        const ipc::Child* child;
    };
    for (const Case& c : {Case{ipc::SendEnd::TimedOut, ipc::deadlineAfter(20ms), 0, nullptr},
                          Case{ipc::SendEnd::Failed, {}, 0, &ended},
                          Case{ipc::SendEnd::Cancelled, {}, 1, nullptr}}) {
        const SocketPair pair;
        IPC_DataPacket packet = fullPacket();
        eventfd_write(cancel.get(), c.cancelled);
        ipc::SendEnd end = ipc::SendEnd::Sent;
        std::size_t sent = 0;
        for (; end == ipc::SendEnd::Sent; ++sent) {
            end = ipc::sendPacket(pair.near.get(), packet, c.deadline, cancel.get(), c.child);
        }
        EXPECT_EQ(end, c.end);
        const std::string whole = takeAll(pair.far.get());
        EXPECT_EQ(whole.size() / kFullWire.size(), sent - 1) << "said to be sent and lost";
    }
}

TEST(Wire, SignalsDoNotDisturbAPacket) {
    SocketPair pair;
    const pid_t child = fork();
    if (child == 0) {
        pair.far.reset();
        for (const char byte : kFullWire) {
            put(pair.near.get(), {&byte, 1});
            usleep(1000);
        }
        _exit(0);
    }
    {
        const Alarms often(300);
        expectNext(pair.far.get(), fullPacket());
    }
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

} // namespace
