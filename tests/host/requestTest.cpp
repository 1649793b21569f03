// SPDX-License-Identifier: MIT
// What every typed call sends, and how it interprets the answer.
#include "hostTesting.h"
#include "support/denyCall.h"
#include "tdr/sharedBlock.h"

#include <algorithm>
#include <array>
#include <sys/shm.h>
#include <sys/syscall.h>

namespace {

using namespace testing_host;

using RequestTest = HostTest;

/// The scripted driver answers a query with longs 10 * code + i and strings "code-i".
TEST_F(RequestTest, everyQueryUnderstandsItsAnswer) {
    auto driver = start("echo");
    EXPECT_EQ(*driver->accessModes(), 10240);
    EXPECT_EQ(*driver->vendorName(), "1025-0");
    EXPECT_EQ(*driver->formatCount(), 10260);
    EXPECT_EQ(*driver->currentFormat(), 10270);
    EXPECT_EQ(**driver->format(1), (PixelFormat{10281, 10282, {10283, 10284}}));
    EXPECT_EQ(driver->lastLine(), "0/1028: 1");
    EXPECT_EQ(*driver->format(2), std::nullopt);
    EXPECT_EQ(*driver->bounds(), (Bounds{10290, 10291, 10292, 10293}));
    EXPECT_EQ(*driver->tiling(), (Pair{10300, 10301}));
    EXPECT_EQ(*driver->stampBounds(), (Pair{10310, 10311}));
    EXPECT_EQ(*driver->currentCell(), 10320);
    EXPECT_EQ(*driver->formatName(), "1033-0");
    EXPECT_EQ(*driver->startCell(), 10340);
    EXPECT_EQ(*driver->endCell(), 10350);
    EXPECT_EQ(*driver->defaultPreReadCommand(), "1036-0");
    EXPECT_EQ(*driver->defaultPostWriteCommand(), "1037-0");
    EXPECT_EQ(*driver->writeDirection(), 10380);
    EXPECT_EQ(*driver->fileNaming(), (FileNaming{"1039-0", "1039-1", 10390, "1039-2"}));
    EXPECT_EQ(*driver->queryLongs(1029), (std::vector<std::int32_t>{10290, 10291, 10292, 10293}));
}

TEST_F(RequestTest, everyActionSendsItsCodeAndArguments) {
    std::vector<std::string> echoes;
    StartOptions options;
    options.onDriverLine = [&echoes](std::string_view line) { echoes.emplace_back(line); };
    auto driver = start("echo", options);
    auto block = SharedBlock::create(100);
    ASSERT_TRUE(block);
    const auto expectSent = [&](const Status& done, const std::string& onWire) {
        ASSERT_TRUE(done) << onWire << ": " << done.failure().text();
        const auto isAction = [](const std::string& line) { return line.starts_with("4/"); };
        const auto last = std::find_if(echoes.rbegin(), echoes.rend(), isAction);
        ASSERT_NE(last, echoes.rend());
        EXPECT_EQ(*last, onWire);
    };
    const std::string b =
        " 100 " + std::to_string(block->key()) + " " + std::to_string(block->id());
    expectSent(driver->setPixelFormat(1), "4/1424: 1");
    expectSent(driver->setBounds({1, -2, 3, 4}), "4/1425: 1 -2 3 4");
    expectSent(driver->setTiling({5, 6}), "4/1426: 5 6");
    expectSent(driver->setStampBounds({7, 8}), "4/1427: 7 8");
    expectSent(driver->setCurrentCell(9), "4/1428: 9");
    expectSent(driver->getCache(*block, 3), "4/1429:" + b + " 3");
    expectSent(driver->getLine(*block, 7, 3), "4/1430:" + b + " 7 3");
    expectSent(driver->getStamp(*block, 3), "4/1432:" + b + " 3");
    expectSent(driver->putCache(*block, 3), "4/1433:" + b + " 3");
    expectSent(driver->putLine(*block, 7, 3), "4/1434:" + b + " 7 3");
    expectSent(driver->putStamp(*block, 3), "4/1436:" + b + " 3");
    expectSent(driver->setStartCell(-1), "4/1437: -1");
    expectSent(driver->setEndCell(99), "4/1438: 99");
    expectSent(driver->connectToFile("a/b", Access::Read, 4), "4/1439: 0 4 'a/b'");
    expectSent(driver->connectToFile("a/b", Access::Write), "4/1439: 1 0 'a/b'");
    expectSent(driver->disconnectFromFile(), "4/1440:");
    expectSent(driver->setPreReadCommand("gunzip"), "4/1441: 'gunzip'");
    expectSent(driver->setPostWriteCommand(""), "4/1442: ''");
    expectSent(driver->order(1500, std::array{1, 2}, "x"), "4/1500: 1 2 'x'");
}

TEST_F(RequestTest, whatDoesNotFitIsNotSent) {
    auto driver = start("echo");
    const std::string text(2048, 't');
    const std::vector<std::int32_t> longs(257);
    EXPECT_TRUE(driver->connectToFile(text.substr(0, 1023), Access::Read));
    EXPECT_TRUE(driver->setPreReadCommand(text.substr(0, 2047)));
    EXPECT_TRUE(driver->order(1500, std::span(longs).first(256)));
    const Status refused[] = {
        driver->connectToFile(text.substr(0, 1024), Access::Read),
        driver->setPreReadCommand(text),
        driver->setPostWriteCommand(std::string_view("a\0b", 3)),
        driver->order(1500, longs),
        driver->getTile(),
        driver->putTile(),
    };
    for (const Status& status : refused) {
        ASSERT_FALSE(status);
        EXPECT_EQ(status.failure().kind, FailureKind::BadArgument) << status.failure().text();
    }
    EXPECT_TRUE(driver->alive());
    EXPECT_TRUE(driver->vendorName()) << "the session goes on";
}

TEST_F(RequestTest, anErrorReplyIsAFailureWithTheDriversReason) {
    auto driver = start("refuses");
    auto block = SharedBlock::create(4);
    const auto vendor = driver->vendorName();
    ASSERT_FALSE(vendor);
    EXPECT_EQ(vendor.failure().kind, FailureKind::Refused);
    EXPECT_EQ(vendor.failure().text(), "refuses: vendor name: refused: cannot do that");
    const auto put = driver->putLine(*block, 0);
    ASSERT_FALSE(put) << "an error in place of the notice";
    EXPECT_EQ(put.failure().kind, FailureKind::Refused);
    EXPECT_TRUE(driver->alive());
}

/// The scripted driver writes the path to open, unless it is empty, and refuses it unless it ends
/// in "opens".
TEST_F(RequestTest, aConnectTellsAForeignFileFromADamagedOne) {
    auto driver = start("reader");
    const struct {
        const char* path;
        std::optional<FailureKind> kind;
        const char* damage;
    } cases[] = {
        {"", FailureKind::NotMyFormat, ""},
        {"cannot open", FailureKind::Refused, ""},
        {"is cut short or damaged", FailureKind::Refused, "is cut short or damaged"},
        {"", FailureKind::NotMyFormat, ""},
        {"is cut short or damaged; opens", {}, "is cut short or damaged; opens"},
        {"opens", {}, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        const auto done = driver->connectToFile(c.path, Access::Read);
        EXPECT_EQ(done ? std::nullopt : std::optional(done.failure().kind), c.kind);
        EXPECT_EQ(driver->damage(), c.damage);
        EXPECT_TRUE(driver->vendorName());
        EXPECT_EQ(driver->damage(), c.damage) << "until the next connect";
    }
}

TEST_F(RequestTest, aBlockThatCannotBeHadSaysWhyAndWhatHelps) {
    const struct {
        long call;
        int error;
        const char* says;
    } cases[] = {
        {SYS_shmget, ENOSPC, "8 bytes: shmget: No space left on device .shared memory is used up"},
        {SYS_shmget, EINVAL, "shmget: Invalid argument .a block may be as large as kernel.shmmax"},
        {SYS_shmget, EACCES, "8 bytes: shmget: Permission denied$"},
        {SYS_shmat, ENOMEM, "shmat: Cannot allocate memory .*see 'ulimit -v'"},
        {SYS_shmat, EACCES, "8 bytes: shmat: Permission denied$"},
    };
    const auto tell = [](long call, int error) {
        const bool denied = support::denyCall(call, error);
        const auto block = SharedBlock::create(8);
        std::fputs(denied && !block ? block.failure().text().c_str() : "there is one", stderr);
        _exit(0);
    };
    for (const auto& c : cases) {
        EXPECT_EXIT(tell(c.call, c.error), testing::ExitedWithCode(0), c.says);
    }
}

TEST_F(RequestTest, aBlockIsPrivateAndFresh) {
    constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
    EXPECT_FALSE(SharedBlock::create(0));
    EXPECT_FALSE(SharedBlock::create(kMost + 1));
    auto one = SharedBlock::create(10);
    auto two = SharedBlock::create(10);
    ASSERT_TRUE(one && two);
    EXPECT_NE(one->key(), two->key());
    EXPECT_GT(one->key(), 10041);
    EXPECT_EQ(support::segmentsOf().size(), 2U);
    struct shmid_ds status {};
    ASSERT_EQ(shmctl(one->id(), IPC_STAT, &status), 0);
    EXPECT_EQ(status.shm_perm.mode & 0777, 0700U);
    EXPECT_EQ(status.shm_segsz, 10U);
    SharedBlock moved = std::move(*one);
    moved = std::move(*two);
    EXPECT_EQ(support::segmentsOf().size(), 1U) << "assigning over a block removes it";
}

} // namespace
