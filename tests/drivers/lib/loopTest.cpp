// SPDX-License-Identifier: MIT
// One event at a time: which packets are handled, which are ignored, what ends the loop.
#include "recordingDriver.h"
#include "support/captureStderr.h"

using support::action;
using support::Message;
using support::query;

namespace {

using Loop = ConnectedDriver<>;

TEST_F(Loop, AnswersOnlyWhatIsForThisDriverAndReportsWhatIsMalformed) {
    const std::string unknown = "Ignoring IPC message of unknown class...\n";
    const struct {
        const char* name;
        std::vector<std::int16_t> words; ///< sender, receiver, class, code
        const char* replies;
        std::string said = "";
    } cases[] = {
        {"right", {7, 8, 102, 39, 0, 1024}, "1/1124"},
        {"other first id", {7, 8, 101, 39, 0, 1024}, ""},
        {"other second id", {7, 8, 102, 38, 0, 1024}, ""},
        {"unknown ids", {7, 8, -1, -1, 0, 1024}, ""},
        {"four command words", {7, 8, 102, 39}, ""},
        {"query", {7, 8, 102, 39, 0}, "", "doInfoMessage() data.numof_cmds < 6 !\n"},
        {"event", {7, 8, 102, 39, 2}, "", "doEventNotification() data.numof_cmds < 6 !\n"},
        {"action", {7, 8, 102, 39, 4}, ""},
        {"status", {7, 8, 102, 39, 1, 101}, ""},
        {"init", {7, 8, 102, 39, 3, 101}, ""},
        {"data", {7, 8, 102, 39, 5, 101}, ""},
        {"misc", {7, 8, 102, 39, 6, 101}, ""},
        {"first unknown class", {7, 8, 102, 39, 7, 101}, "", unknown},
        {"large class", {7, 8, 102, 39, 300, 101}, "", unknown},
        {"negative class", {7, 8, 102, 39, -1, 101}, "", unknown},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        IPC_DataPacket p{};
        p.numof_cmds = static_cast<std::int32_t>(c.words.size());
        std::ranges::copy(c.words, p.datacmd);
        host.send(p);
        const support::CaptureStderr said;
        driver->handleEvent();
        EXPECT_EQ(said.text(), c.said.empty() ? "" : "IPC Driver (Base Class): " + c.said);
        EXPECT_EQ(host.replies(), c.replies);
        EXPECT_EQ(gExitFlag, 0);
    }
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
