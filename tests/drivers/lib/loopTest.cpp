// SPDX-License-Identifier: MIT
// One event at a time: which packets are handled, which are ignored, what ends the loop.
#include "recordingDriver.h"
#include "support/captureStderr.h"

using support::action;
using support::Message;
using support::query;

namespace {

class Loop : public ConnectedDriver<> {
  protected:
    /// Handles `p` and returns what went to stderr.
    std::string handleCapturing(IPC_DataPacket p) {
        host.send(p);
        const support::CaptureStderr said;
        driver->handleEvent();
        return said.text();
    }
};

TEST_F(Loop, HearsOnlyPacketsForThisDriver) {
    struct {
        const char* name;
        int commands, id, subId;
        const char* replies;
    } const cases[] = {
        {"right", 6, 102, 39, "1/1124"},        {"other first id", 6, 101, 39, ""},
        {"other second id", 6, 102, 38, ""},    {"unknown ids", 6, -1, -1, ""},
        {"four command words", 4, 102, 39, ""},
    };
    for (const auto& c : cases) {
        IPC_DataPacket p = query(1024).packet();
        p.numof_cmds = c.commands;
        p.datacmd[2] = static_cast<std::int16_t>(c.id);
        p.datacmd[3] = static_cast<std::int16_t>(c.subId);
        host.send(p);
        driver->handleEvent();
        EXPECT_EQ(host.replies(), c.replies) << c.name;
    }
}

TEST_F(Loop, ShortPacketsAreReportedByClassAndNotAnswered) {
    const struct {
        int messageClass;
        const char* message;
    } cases[] = {
        {0, "IPC Driver (Base Class): doInfoMessage() data.numof_cmds < 6 !\n"},
        {2, "IPC Driver (Base Class): doEventNotification() data.numof_cmds < 6 !\n"},
        {4, ""},
    };
    for (const auto& c : cases) {
        IPC_DataPacket p = Message{c.messageClass, 1024}.packet();
        p.numof_cmds = 5;
        EXPECT_EQ(handleCapturing(p), c.message);
        EXPECT_EQ(host.replies(), "");
    }
}

TEST_F(Loop, ClassesWithoutWorkAreSilentAndUnknownOnesReported) {
    for (const int silent : {1, 3, 5, 6}) {
        EXPECT_EQ(handleCapturing(Message{silent, 101}.packet()), "") << silent;
    }
    for (const int unknown : {7, 300, -1}) {
        EXPECT_EQ(handleCapturing(Message{unknown, 101}.packet()),
                  "IPC Driver (Base Class): Ignoring IPC message of unknown class...\n")
            << unknown;
    }
    EXPECT_EQ(host.replies(), "");
    EXPECT_EQ(gExitFlag, 0);
}

TEST_F(Loop, EndCodesEndWithoutReplyAndOtherEventsAreErrors) {
    for (const Message& end : {action(200), action(203), action(400), Message{2, 202}}) {
        gExitFlag = 0;
        EXPECT_EQ(handle(end), "");
        EXPECT_EQ(gExitFlag, 1) << end.code;
    }
    gExitFlag = 0;
    EXPECT_EQ(handle(Message{2, 201}), "1/102");
    EXPECT_EQ(gExitFlag, 0);
}

TEST_F(Loop, AStreamThatIsOutOfStepEndsTheLoopUnread) {
    ASSERT_EQ(send(host.fd(), "GET / HTTP/1.1", 14, 0), 14);
    host.send(action(1439, {1, 0}, {"/victim"}));
    host.send(query(1024));
    const support::CaptureStderr said;
    driver->handleEvent();
    EXPECT_EQ(gExitFlag, 0);
    driver->handleEvent();
    EXPECT_EQ(gExitFlag, 1);
    EXPECT_EQ(said.lines(), 2);
    EXPECT_NE(said.text().find("IPC Driver (Base Class): Error reading socket data (-1)\n"),
              std::string::npos);
    EXPECT_EQ(driver->calls, "");
}

} // namespace
