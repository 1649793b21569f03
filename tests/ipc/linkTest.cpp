// SPDX-License-Identifier: MIT
// The link's base class and the socket link, from a connected socket on.
#include "IPC_LinkIrix.h"
#include "ipcTesting.h"
#include "support/leakCounters.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <fcntl.h>

using namespace testing_ipc;

namespace {

/// A link that stores the packets to send, and receives the packets that the test prepares.
class LooseEnd : public IPC_Link {
  public:
    LooseEnd() : IPC_Link(1, 2, IPC_EXEC_IF_NOT_RUNNING, IPC_SIGNAL_OFF) {}
    int transmit(IPC_DataPacket* p, int stampSender) override {
        stamped = stampSender;
        sent = *p;
        ++transmitted;
        return 5;
    }
    int receive(IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode, long seconds,
                long microseconds, IPC_DataPacket* p) override {
        EXPECT_EQ(queueMode, IPC_QUEUE_SOCKETS);
        EXPECT_EQ(blockingMode, IPC_BLOCKING_TIMED);
        EXPECT_EQ(seconds, waitSeconds);
        EXPECT_EQ(microseconds, 0);
        *p = incoming;
        return result;
    }

    int stamped = -1;
    int transmitted = 0;
    int result = 1;
    IPC_DataPacket sent{};
    IPC_DataPacket incoming{};
};

TEST(Link, ClearDataKeepsFurtherCommandWords) {
    LooseEnd link;
    link.peerId = 3;
    link.peerSubId = 4;
    IPC_DataPacket packet = noise();
    IPC_DataPacket expected = packetOf({1, 2, 3, 4}, 4, 1424);
    std::fill(expected.datacmd + 6, std::end(expected.datacmd), short{0x5a5a});
    link.clearData(4, 1424, &packet);
    EXPECT_TRUE(same(packet, expected));
}

TEST(Link, TheBaseStampsAndSendsNothing) {
    IPC_Link link(1, 2, IPC_EXEC_ALWAYS, IPC_SIGNAL_ON);
    link.peerId = 3;
    link.peerSubId = 4;
    for (const int stamp : {0, 1}) {
        IPC_DataPacket packet = packetOf({90, 91, 92, 93}, 4, 1424);
        EXPECT_EQ(link.transmit(&packet, stamp), 0);
        const auto sender = static_cast<short>(stamp != 0 ? 1 : 90);
        EXPECT_TRUE(same(packet, packetOf({sender, 2, 3, 4}, 4, 1424)));
    }
    IPC_DataPacket packet = noise();
    EXPECT_EQ(link.receive(IPC_QUEUE_SOCKETS, IPC_BLOCKING_FOREVER, 0, 0, &packet), 0);
    EXPECT_TRUE(same(packet, IPC_DataPacket{}));
}

TEST(Link, SendsOneValueAPacket) {
    LooseEnd link;
    const IPC_DataPacket none = packetOf({1, 2, -1, -1}, 1, 1124);
    IPC_DataPacket expected = none;
    expected.numof_longs = 1;
    expected.longdata[0] = -7;
    EXPECT_EQ(link.transmit_long(1, 1124, -7), 5);
    EXPECT_TRUE(same(link.sent, expected));
    EXPECT_EQ(link.stamped, 0);
    expected = none;
    expected.numof_floats = 1;
    expected.floatdata[0] = 2.5F;
    EXPECT_EQ(link.transmit_float(1, 1124, 2.5F), 5);
    EXPECT_TRUE(same(link.sent, expected));
    for (const int length : {0, 1, 2046, 2047}) {
        expected = none;
        expected.numof_strings = 1;
        expected.numof_chars = length + 1;
        std::fill_n(expected.chardata, length, 'x');
        EXPECT_EQ(link.transmit_string(1, 1124, expected.chardata), 5) << length;
        EXPECT_TRUE(same(link.sent, expected)) << length;
    }
}

TEST(Link, AStringThatDoesNotFitIsNotSent) {
    LooseEnd link;
    for (const std::size_t length : {2048U, 2049U, 100000U}) {
        EXPECT_EQ(link.transmit_string(1, 1124, std::string(length, 'x').c_str()), -1) << length;
    }
    EXPECT_EQ(link.transmit_string(1, 1124, nullptr), -1);
    EXPECT_EQ(link.transmitted, 0);
}

/// A packet that carries one of each, which every receive helper accepts.
IPC_DataPacket oneOfEach() {
    IPC_DataPacket packet = packetOf({}, 1, 1124);
    packet.numof_longs = packet.numof_floats = packet.numof_strings = 1;
    packet.numof_chars = 3;
    packet.longdata[0] = -7;
    packet.floatdata[0] = 2.5F;
    std::memcpy(packet.chardata, "ab", 3);
    return packet;
}

/// Results of the three receive helpers for the link's next packet.
std::array<int, 3> receiveAll(LooseEnd& link, const std::string& text = "ab") {
    long number = 0;
    float fraction = 0;
    char out[2048] = "before";
    const std::array<int, 3> results = {link.receive_long(1, 1124, &number),
                                        link.receive_float(1, 1124, &fraction),
                                        link.receive_string(1, 1124, out)};
    EXPECT_EQ(number, results[0] == 1 ? -7 : 0);
    EXPECT_EQ(fraction, results[1] == 1 ? 2.5F : 0);
    EXPECT_EQ(std::string(out, strnlen(out, sizeof out)), results[2] == 1 ? text : "before");
    return results;
}

TEST(Link, TakesOneValueFromTheRightPacketOnly) {
    using Change = void (*)(LooseEnd&);
    const struct {
        const char* name;
        Change change;
        std::array<int, 3> results;
    } cases[] = {
        {"as expected", [](LooseEnd&) {}, {1, 1, 1}},
        {"time ran out", [](LooseEnd& l) { l.result = 0; }, {-1, -1, -1}},
        {"error", [](LooseEnd& l) { l.result = -1; }, {-1, -1, -1}},
        {"not connected", [](LooseEnd& l) { l.result = -2; }, {-1, -1, -1}},
        {"five command words", [](LooseEnd& l) { l.incoming.numof_cmds = 5; }, {-1, -1, -1}},
        {"seven command words", [](LooseEnd& l) { l.incoming.numof_cmds = 7; }, {-1, -1, -1}},
        {"other class", [](LooseEnd& l) { l.incoming.datacmd[4] = 2; }, {-1, -1, -1}},
        {"other code", [](LooseEnd& l) { l.incoming.datacmd[5] = 1125; }, {-1, -1, -1}},
        {"no long", [](LooseEnd& l) { l.incoming.numof_longs = 0; }, {-1, 1, 1}},
        {"two longs", [](LooseEnd& l) { l.incoming.numof_longs = 2; }, {-1, 1, 1}},
        {"two floats", [](LooseEnd& l) { l.incoming.numof_floats = 2; }, {1, -1, 1}},
        {"two strings", [](LooseEnd& l) { l.incoming.numof_strings = 2; }, {1, 1, -1}},
        {"no characters", [](LooseEnd& l) { l.incoming.numof_chars = 0; }, {1, 1, -1}},
    };
    for (const auto& c : cases) {
        LooseEnd link;
        link.incoming = oneOfEach();
        c.change(link);
        EXPECT_EQ(receiveAll(link), c.results) << c.name;
        EXPECT_TRUE(same(link.packet, link.incoming)) << c.name;
    }
}

TEST(Link, AReceivedStringIsAlwaysTerminated) {
    LooseEnd link;
    link.incoming = oneOfEach();
    link.incoming.numof_chars = 2048;
    std::memset(link.incoming.chardata, 'x', sizeof link.incoming.chardata);
    EXPECT_EQ(receiveAll(link, std::string(2047, 'x'))[2], 1);
}

/// A link after its handshake, and the other end of its connection, which is then a pair of local
/// sockets.
struct Connected {
    ScriptedParent parent{replies(packetOf({3, 4, 1, 2}, 1, 101), 0)};
    base::UniqueFd far;
    IPC_LinkIrix link{1, 2, parent.port()};

    Connected() {
        SocketPair pair;
        dup3(pair.near.get(), link.sockfd, O_CLOEXEC);
        far = std::move(pair.far);
    }
    int poll(IPC_DataPacket* p) {
        return link.receive(IPC_QUEUE_SOCKETS, IPC_BLOCKING_TIMED, 0, 0, p);
    }
};

class SocketLink : public support::NothingLeft {
  private:
    const KeepAction pipe_{SIGPIPE};
    const KeepAction child_{SIGCHLD};
};

TEST_F(SocketLink, LearnsItsParentsIdsAndCountsItself) {
    const std::int32_t before = IPC_Link::population;
    {
        const Connected c;
        EXPECT_EQ(c.link.linkStatus, 0);
        EXPECT_EQ(c.link.childPid, -1);
        EXPECT_EQ(c.link.peerId, 3);
        EXPECT_EQ(c.link.peerSubId, 4);
        EXPECT_EQ(c.link.parentPid, 0);
        EXPECT_TRUE(same(c.parent.request, packetOf({1, 2, -1, -1}, 3, 300)));
        EXPECT_EQ(IPC_Link::population, before + 1);
    }
    EXPECT_EQ(IPC_Link::population, before - 1) << "a socket link lowers it twice";
    IPC_Link::population = before;
}

TEST_F(SocketLink, StampsAndSendsAndReceives) {
    Connected c;
    c.link.connect(1); // a connected link keeps its connection
    IPC_DataPacket packet = packetOf({90, 91, 92, 93}, 4, 1424);
    EXPECT_EQ(c.link.transmit(&packet, 0), 0);
    EXPECT_EQ(c.link.transmit(&packet, 1), 0);
    expectNext(c.far.get(), packetOf({90, 2, 3, 4}, 4, 1424));
    expectNext(c.far.get(), packetOf({1, 2, 3, 4}, 4, 1424));
    IPC_DataPacket received{};
    EXPECT_EQ(c.poll(&received), 0);
    sendTo(c.far.get(), packet);
    EXPECT_EQ(c.link.get_next_socket(IPC_QUEUE_SOCKETS, IPC_BLOCKING_TIMED, 0, 0), c.link.sockfd);
    EXPECT_EQ(c.poll(&received), 1);
    EXPECT_TRUE(same(received, packet));
}

TEST_F(SocketLink, AClosedLinkSaysSoQuietly) {
    Connected c;
    c.link.close();
    EXPECT_TRUE(hasGone(c.far.get()));
    const CaptureStderr said;
    IPC_DataPacket packet = packetOf({}, 4, 1424);
    EXPECT_EQ(c.link.transmit(&packet, 0), -1);
    EXPECT_EQ(c.poll(&packet), -2);
    c.link.close();
    EXPECT_EQ(said.text(), "");
}

TEST_F(SocketLink, ABrokenPipeClosesAndGivesKillOnDestroy) {
    for (const int kill : {0, 1}) {
        Connected c;
        c.link.setKillOnDestroy(kill);
        c.far.reset();
        const CaptureStderr said;
        IPC_DataPacket packet = packetOf({}, 4, 1424);
        EXPECT_EQ(c.link.transmit(&packet, 0), kill);
        EXPECT_EQ(c.link.sockfd, -1);
        EXPECT_EQ(c.link.getKillOnDestroy(), kill);
        const std::string line = "IPC_LinkIrix: Broken pipe detected - closing link.\n";
        EXPECT_EQ(said.text().find(line), said.text().size() - line.size());
    }
}

TEST_F(SocketLink, APacketThatCannotBeSentLeavesTheLinkOpen) {
    Connected c;
    IPC_DataPacket packet = packetOf({}, 4, 1424);
    packet.numof_longs = 257;
    const CaptureStderr said;
    EXPECT_EQ(c.link.transmit(&packet, 0), -1);
    EXPECT_NE(c.link.sockfd, -1);
    EXPECT_NE(said.text().find("IPC_LinkIrix: Error while sending data.\n"), std::string::npos);
}

TEST_F(SocketLink, ClosingKillsOnceWhenAsked) {
    Connected c;
    c.link.setKillOnDestroy(1);
    c.link.close();
    c.link.close();
    expectNext(c.far.get(), packetOf({1, 2, 3, 4}, 4, 400));
    EXPECT_TRUE(hasGone(c.far.get()));
}

TEST_F(SocketLink, FortyEmptyReadsFromAForeignParentMeanDeath) {
    Connected c;
    IPC_DataPacket packet = packetOf({}, 4, 1424);
    put(c.far.get(), {"\0\0\0\6\0\1", 6}); // a packet that the end cuts counts as empty
    c.far.reset();
    c.link.parentPid = getppid();
    const auto start = std::chrono::steady_clock::now();
    for (int i = 1; i <= 45; ++i) {
        ASSERT_EQ(c.poll(&packet), 1) << i;
        EXPECT_TRUE(same(packet, IPC_DataPacket{})) << i << ": the parent still lives";
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500))
        << "a dead stream keeps the processor busy";
    c.link.emptyReads = 0;
    c.link.parentPid = 0;
    for (int i = 1; i <= 42; ++i) {
        ASSERT_EQ(c.poll(&packet), 1) << i;
        const IPC_DataPacket expected = i < 40 ? IPC_DataPacket{} : packetOf({3, 4, 1, 2}, 2, 202);
        EXPECT_TRUE(same(packet, expected)) << i;
    }
}

TEST_F(SocketLink, APacketEndsTheCountOfEmptyReads) {
    Connected c;
    const IPC_DataPacket empty{};
    IPC_DataPacket packet{};
    for (const IPC_DataPacket& sent : {empty, empty, packetOf({}, 4, 1424)}) {
        sendTo(c.far.get(), sent);
    }
    for (const int count : {1, 2, 0}) {
        EXPECT_EQ(c.poll(&packet), 1);
        EXPECT_EQ(c.link.emptyReads, count);
    }
    sendTo(c.far.get(), empty);
    EXPECT_EQ(c.poll(&packet), 1);
    EXPECT_EQ(c.poll(&packet), 0);
    EXPECT_EQ(c.link.emptyReads, 1) << "a wait that ran out changes nothing";
}

TEST_F(SocketLink, WhatIsOutOfStepClosesTheLinkThatItCameOver) {
    for (const bool shared : {false, true}) {
        for (const bool garbage : {true, false}) {
            SCOPED_TRACE(testing::Message() << shared << garbage);
            Connected babbling;
            Connected quiet;
            Connected& reading = shared ? quiet : babbling;
            reading.link.shareSocketSet = shared ? 1 : 0;
            babbling.link.setKillOnDestroy(1);
            const CaptureStderr said;
            IPC_DataPacket packet = packetOf({}, 4, 1424);
            if (garbage) {
                put(babbling.far.get(), "\x7f\xff\xff\xff");
                sendTo(babbling.far.get(), packet);
            } else {
                put(babbling.far.get(), {"\0\0\0\6\0\1", 6}); // and then a reset
                IPC_DataPacket unread = packet;
                ASSERT_EQ(babbling.link.transmit(&unread, 0), 0);
                babbling.far.reset();
            }
            EXPECT_EQ(reading.poll(&packet), -1);
            EXPECT_TRUE(same(packet, IPC_DataPacket{}));
            EXPECT_EQ(said.lines(), garbage ? 1 : 2) << said.text();
            EXPECT_EQ(babbling.link.sockfd, -1);
            EXPECT_EQ(babbling.poll(&packet), -2);
            EXPECT_NE(takeAll(babbling.far.get()).size(), 32U) << "told to end as if in step";
            EXPECT_TRUE(!garbage || hasGone(babbling.far.get()));

            sendTo(quiet.far.get(), packet);
            EXPECT_EQ(quiet.poll(&packet), 1);
            quiet.link.close();
            EXPECT_EQ(quiet.poll(&packet), -2) << "waits although there is nothing to wait for";
        }
    }
}

TEST_F(SocketLink, LinksThatShareTheSetHearEachOther) {
    Connected a;
    Connected b;
    const IPC_DataPacket sent = packetOf({}, 4, 1424);
    sendTo(b.far.get(), sent);
    IPC_DataPacket packet{};
    EXPECT_EQ(a.poll(&packet), 0);
    a.link.shareSocketSet = 1;
    EXPECT_EQ(a.poll(&packet), 1);
    EXPECT_TRUE(same(packet, sent));
}

} // namespace
