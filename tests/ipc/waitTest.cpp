// SPDX-License-Identifier: MIT
// Descriptor sets: which is ready first, what ends a wait, how sets are closed.
#include "ipcTesting.h"

#include <algorithm>
#include <fcntl.h>

using namespace testing_ipc;
using namespace std::string_literals;

namespace {

constexpr auto kOtherQueueMode = static_cast<IPC_QUEUE_MODE>(2);

int poll(fd_set* set, IPC_QUEUE_MODE queueMode = IPC_QUEUE_SOCKETS) {
    return getsockfd(set, queueMode, IPC_BLOCKING_TIMED, 0, 0);
}

TEST(Wait, TheLowestReadySocketWins) {
    const SocketPair a;
    const SocketPair b;
    const int low = std::min(a.near.get(), b.near.get());
    const int high = std::max(a.near.get(), b.near.get());
    Set set{low, high};
    EXPECT_EQ(poll(&set), -2);
    put(a.far.get(), "x");
    EXPECT_EQ(poll(&set), a.near.get());
    put(b.far.get(), "x");
    EXPECT_EQ(poll(&set), low);
    EXPECT_EQ(getsockfd(&set, IPC_QUEUE_SOCKETS, IPC_BLOCKING_FOREVER, 0, 0), low);
    EXPECT_TRUE(ipc::isInSet(low, &set) && ipc::isInSet(high, &set)) << "the set was changed";
}

TEST(Wait, ATimedWaitEndsAlsoUnderSignals) {
    const Alarms often(5000);
    const SocketPair pair;
    Set set{pair.near.get()};
    EXPECT_EQ(getsockfd(&set, IPC_QUEUE_SOCKETS, IPC_BLOCKING_TIMED, 0, 50000), -2);
}

TEST(Wait, AClosedDescriptorIsAnError) {
    SocketPair pair;
    Set set{pair.near.get()};
    const CaptureStderr said; // opened before, so that it does not take the number
    pair.near.reset();
    EXPECT_EQ(poll(&set), -1);
    const std::string line = "getsockfd: select: "s + std::strerror(EBADF) + "\n";
    EXPECT_EQ(said.text(), line);
    IPC_DataPacket packet{};
    EXPECT_EQ(waitforprocessresponse(&packet, &set, IPC_QUEUE_SOCKETS), -1);
    EXPECT_EQ(said.text(),
              line + line + "waitforprocessresponse: General error getting ready fd.\n");
}

TEST(Wait, SetsHoldDescriptors0To255) {
    Set set{};
    const Set empty{};
    for (const int fd : {-1, 256, 1023, 1024, 1000000}) {
        EXPECT_FALSE(ipc::addToSet(fd, &set)) << fd;
        EXPECT_FALSE(ipc::isInSet(fd, &set)) << fd;
        ipc::removeFromSet(fd, &set);
    }
    EXPECT_TRUE(ipc::addToSet(255, &set));
    EXPECT_TRUE(ipc::isInSet(255, &set));
    ipc::removeFromSet(255, &set);
    EXPECT_EQ(std::memcmp(&set, &empty, sizeof set), 0);
}

TEST(Wait, AReadyDescriptorBeyond255IsNotFound) {
    const SocketPair pair;
    const base::UniqueFd high(fcntl(pair.near.get(), F_DUPFD_CLOEXEC, 256));
    Set set{};
    FD_SET(high.get(), &set);
    put(pair.far.get(), "x");
    EXPECT_EQ(poll(&set), -2);
    const CaptureStderr said;
    EXPECT_EQ(getsockfd(&set, IPC_QUEUE_SOCKETS, IPC_BLOCKING_FOREVER, 0, 0), -1);
    EXPECT_EQ(said.text(), "getsockgd: False condition\n");
}

TEST(Wait, TheEventQueueEndsAWaitWhenAskedFor) {
    const SocketPair sockets;
    const SocketPair queue;
    Set set{sockets.near.get()};
    put(queue.far.get(), "event");
    EXPECT_EQ(poll(&set, kOtherQueueMode), -2) << "there is no event queue yet";
    setEventQueueFd(queue.near.get());
    EXPECT_EQ(poll(&set, IPC_QUEUE_SOCKETS), -2);
    EXPECT_EQ(poll(&set, kOtherQueueMode), 0);
    EXPECT_EQ(poll(&set, IPC_QUEUE_AND_SOCKETS), 0);
    {
        const CaptureStderr said;
        IPC_DataPacket packet{};
        EXPECT_EQ(waitforprocessresponse(&packet, &set, kOtherQueueMode), 0);
        EXPECT_EQ(said.text(), "waitforprocessresponse: Got a NULL (gl event pending)\n");
        sendTo(sockets.far.get(), packetOf({1, 2, 3, 4}, 1, 101));
        EXPECT_EQ(waitforprocessresponse(&packet, &set, kOtherQueueMode), sockets.near.get());
        EXPECT_TRUE(same(packet, packetOf({1, 2, 3, 4}, 1, 101))) << "sockets go before events";
    }
    setEventQueueFd(1024);
    {
        const CaptureStderr said;
        EXPECT_EQ(poll(&set, kOtherQueueMode), -1);
        EXPECT_EQ(said.text(), "getsockfd:  qgetfd failed: "s + std::strerror(EBADF) + "\n");
    }
    setEventQueueFd(-1);
}

TEST(Wait, KillsocksTellsAllAndEmptiesTheSet) {
    const KeepAction pipe(SIGPIPE);
    SocketPair pairs[3];
    Set set{pairs[0].near.get(), pairs[1].near.get(), pairs[2].near.get()};
    pairs[1].far.reset();
    const CaptureStderr said;
    killsocks(7, 8, &set);
    const std::string text = said.text();
    const auto at =
        text.find("Error while sending kill to " + std::to_string(pairs[1].near.get()) + "\n");
    EXPECT_NE(at, std::string::npos);
    EXPECT_EQ(text.find("Error while", at + 1), std::string::npos);
    for (SocketPair& pair : pairs) {
        EXPECT_FALSE(ipc::isInSet(pair.near.get(), &set));
        EXPECT_EQ(fcntl(pair.near.release(), F_GETFD), -1) << "not closed";
    }
    expectNext(pairs[0].far.get(), packetOf({7, 8, -1, -1}, 2, 400));
    expectNext(pairs[2].far.get(), packetOf({7, 8, -1, -1}, 2, 400));
}

TEST(Wait, ClosesockClosesOnlyWhatIsInTheSet) {
    SocketPair pair;
    Set set{pair.near.get()};
    for (int other : {-1, pair.far.get(), 70000}) {
        const CaptureStderr said;
        EXPECT_EQ(closesock(&other, &set), -1);
        EXPECT_EQ(said.text(), other == -1 ? "" : "closesock: fd not set\n");
    }
    EXPECT_NE(fcntl(pair.far.get(), F_GETFD), -1);
    int fd = pair.near.release();
    const int number = fd;
    EXPECT_EQ(closesock(&fd, &set), 0);
    EXPECT_EQ(fd, number);
    EXPECT_FALSE(ipc::isInSet(number, &set));
    EXPECT_TRUE(hasGone(pair.far.get()));
}

} // namespace
