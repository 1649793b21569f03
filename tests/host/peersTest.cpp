// SPDX-License-Identifier: MIT
// Misbehaving peers, each with the failure that the other end reports: drivers against this
// library, hosts against a real driver. None of them leaves anything behind.
#include "hostTesting.h"
#include "support/captureStderr.h"
#include "support/denyCall.h"
#include "tdr/picture.h"
#include "tdr/sharedBlock.h"

#include <sys/syscall.h>

namespace {

using namespace testing_host;

using PeersTest = HostTest;

struct BadStart {
    const char* behaviour;
    const char* says;
    std::chrono::milliseconds limit = 20s;
};
constexpr BadStart kBadStarts[] = {
    {"dies", "before it was ready (exit status 7): no licence found"},
    {"leaves", "before it was ready (exit status 5)"},
    {"bequeaths", "before it was ready (exit status 5)"},
    {"diesLate", "the driver died (exit status 4): changed my mind"},
    {"mute", "was not ready in time", 300ms},
    {"sendsAnOrphan", "was not ready in time", 1s},
    {"unheard", "was not ready in time", 300ms},
    {"halfInit", "was not ready in time", 300ms},
    {"silent", "no answer within 1 s", 1s},
    {"garbage", "sent something that is not a packet"},
    {"kill", "the program refused"},
    {"unknown", "first packet was not an init request"},
    {"killOfData", "first packet was not an init request"},
    {"requestOfData", "first packet was not an init request"},
    {"errorAtStart", "answered with an error: this machine is too old"},
    {"otherAtStart", "answered with neither OK nor an error"},
};

TEST_F(PeersTest, aStartThatFailsSaysWhy) {
    const support::CaptureStderr ours;
    for (const BadStart& bad : kBadStarts) {
        SCOPED_TRACE(bad.behaviour);
        StartOptions options;
        options.limits.start = bad.limit;
        const auto driver = Session::start(scripted(bad.behaviour), options);
        ASSERT_FALSE(driver);
        EXPECT_EQ(driver.failure().kind, FailureKind::CouldNotStart);
        EXPECT_NE(driver.failure().text().find(bad.says), std::string::npos)
            << driver.failure().text();
        EXPECT_FALSE(support::hasChildren());
    }
    EXPECT_EQ(ours.text(), "") << "nothing but the failure tells of it";
}

template <auto query, auto... arguments>
Status ask(Session& driver) {
    const auto answer = (driver.*query)(arguments...);
    return answer ? Status() : Status(answer.failure());
}
constexpr auto askVendor = ask<&Session::vendorName>;
constexpr auto askCount = ask<&Session::formatCount>;
constexpr auto askFormat = ask<&Session::format, 0>;

Status askTwice(Session& driver) {
    EXPECT_TRUE(driver.vendorName()) << "the first answer is right";
    return askVendor(driver);
}
Status put(Session& driver) {
    auto block = SharedBlock::create(16);
    EXPECT_TRUE(driver.getLine(*block, 0)) << "gets are not announced";
    return driver.putLine(*block, 0);
}
Status writeOne(Session& driver) {
    return writePicture(driver, "a.pic", {1, 1, {1, 2, 3, 4}});
}

struct BadAnswer {
    const char* behaviour;
    FailureKind kind;
    const char* says;
    Status (*request)(Session&) = askVendor;
};
constexpr const char* kBroken = "breaks the protocol";
constexpr BadAnswer kBadAnswers[] = {
    {"exits", FailureKind::Died, "exits: vendor name: the driver died (exit status 9): out of"},
    {"killsItself", FailureKind::Died, "died (signal 9 (Killed)): about to die"},
    {"hangsUp", FailureKind::Died, "hung up"},
    {"leavesAnHeir", FailureKind::Died, "died (exit status 9)"},
    {"halfThenDies", FailureKind::Died, "died (exit status 9)"},
    {"diesIdle", FailureKind::Died, "died (exit status 9)", askTwice},
    {"diesAfterNotice", FailureKind::Died, "put line: the driver died (exit status 9)", put},
    {"freezes", FailureKind::TimedOut, "freezes: vendor name: no answer within 2 s"},
    {"wrongCode", FailureKind::ProtocolBroken, kBroken},
    {"tooMany", FailureKind::ProtocolBroken, kBroken},
    {"claimsStrings", FailureKind::ProtocolBroken, kBroken},
    {"unterminated", FailureKind::ProtocolBroken, kBroken},
    {"surplusText", FailureKind::ProtocolBroken, kBroken},
    {"half", FailureKind::ProtocolBroken, kBroken},
    {"hugeCount", FailureKind::ProtocolBroken, kBroken},
    {"negativeCount", FailureKind::ProtocolBroken, kBroken},
    {"babbles", FailureKind::ProtocolBroken, kBroken},
    {"oneNegative", FailureKind::ProtocolBroken, kBroken, askCount},
    {"twoNegatives", FailureKind::ProtocolBroken, kBroken, askFormat},
    {"noNotice", FailureKind::ProtocolBroken, kBroken, put},
    {"twoNotices", FailureKind::ProtocolBroken, kBroken, put},
    {"twice", FailureKind::ProtocolBroken, "answered before it was asked", askTwice},
    {"twice", FailureKind::ProtocolBroken, "answered before it was asked", writeOne},
};

TEST_F(PeersTest, aDriverThatFailsInARequestEndsTheSession) {
    for (const BadAnswer& bad : kBadAnswers) {
        SCOPED_TRACE(bad.behaviour);
        StartOptions options;
        options.limits.request = 2s; // only the late ones reach it
        auto driver = start(bad.behaviour, options);
        const pid_t pid = driver->pid();
        const Status done = bad.request(*driver);
        ASSERT_FALSE(done);
        EXPECT_EQ(done.failure().kind, bad.kind) << done.failure().text();
        EXPECT_NE(done.failure().text().find(bad.says), std::string::npos) << done.failure().text();
        EXPECT_FALSE(driver->alive());
        EXPECT_FALSE(isRunning(pid));
        EXPECT_FALSE(support::hasChildren()) << "waited for before the failure is told";
        const auto again = driver->setCurrentCell(1);
        ASSERT_FALSE(again);
        EXPECT_EQ(again.failure().kind, FailureKind::Died);
    }
}

TEST_F(PeersTest, aSystemWithoutDescriptorsOfProcessesSeesDeathsToo) {
    const auto good = scripted("echo");
    const auto bad = scripted("leavesAnHeir");
    const int allHeld = support::exitStatusInChild([&] {
        bool held = support::denyCall(SYS_pidfd_open, ENOSYS);
        auto lasting = Session::start(good);
        held = held && lasting && lasting->vendorName() && lasting->end();
        auto dying = Session::start(bad);
        const Status asked = dying ? askVendor(*dying) : Status(dying.failure());
        held = held && !asked && asked.failure().kind == FailureKind::Died && asked.failure().end &&
               asked.failure().end->exitStatus == 9;
        return held && !support::hasChildren() ? 1 : 0;
    });
    EXPECT_EQ(allHeld, 1);
}

/// Every answer of this driver comes one request late, which shows only at the end.
TEST_F(PeersTest, anErrorThatComesARequestLateIsNotMissed) {
    auto driver = start("oneBehind");
    EXPECT_FALSE(writeOne(*driver)) << "its disconnect failed";
}

} // namespace
