// SPDX-License-Identifier: MIT
#include "recordingDriver.h"

#include "IPC_LinkIrix.h"
#include "support/captureStderr.h"
#include "support/sharedBlock.h"

#include <new>
#include <stdexcept>

using support::action;

namespace {

class Actions : public ConnectedDriver<> {
  protected:
    support::SharedBlock block{4096};

    /// Size, key and id of the block, followed by `rest`: the longs of a transfer.
    std::vector<std::int32_t> withBlock(std::vector<std::int32_t> rest) const {
        std::vector<std::int32_t> longs = {1000, block.key(), block.id()};
        longs.insert(longs.end(), rest.begin(), rest.end());
        return longs;
    }
    /// Calls recorded since the last call of this function.
    std::string calls() { return std::exchange(driver->calls, ""); }
};

/// A driver whose operations throw `failure`.
struct ThrowingDriver : RecordingDriver {
    using RecordingDriver::RecordingDriver;
    int setTiling(long, long) override { throw std::bad_alloc(); }
    int connectToFile(char*, int) override { throw std::runtime_error("no such colour"); }
    int disconnectFromFile() override { return closes ? 1 : throw 7; }
    int sendVendorName() override { throw std::runtime_error("no vendor"); }
    int otherClass2Response() override { throw std::runtime_error("no event"); }
    int executePreReadCommand() override { throw std::runtime_error("no shell"); }
    int executePostWriteCommand() override { throw std::runtime_error("no shell again"); }
    bool closes = false;
};

class Throwing : public ConnectedDriver<ThrowingDriver> {};

TEST_F(Throwing, AnOperationThatThrowsHasFailed) {
    const support::CaptureStderr said;
    EXPECT_EQ(handle(action(1426, {1, 1})), "1/102");
    EXPECT_EQ(handle(action(1439, {0, 0}, {"file"})), "1/102");
    EXPECT_EQ(handle(action(1440)), "1/102");
    driver->closes = true;
    EXPECT_EQ(handle(action(1440)), "1/101") << "commands do not change the answer";
    EXPECT_EQ(handle(support::query(ipc::kQueryVendorName)), "1/102");
    EXPECT_EQ(handle(support::Message{ipc::kClassEvent, 201}), "1/102");
    EXPECT_EQ(handle(action(1424, {0})), "1/101");
    driver.reset(); // closes its file once more
    EXPECT_EQ(said.text(), "IPC Driver (Base Class): Out of memory.\n"
                           "IPC Driver (Base Class): no shell.\n"
                           "IPC Driver (Base Class): no such colour.\n"
                           "IPC Driver (Base Class): An operation failed without a reason.\n"
                           "IPC Driver (Base Class): no shell again.\n"
                           "IPC Driver (Base Class): no vendor.\n"
                           "IPC Driver (Base Class): no event.\n");
}

TEST_F(Actions, BadCountsAreAnsweredAsEachRequestHasIt) {
    const struct {
        const char* name;
        int code;
        int longs; // the right count
        const char* badReply;
    } cases[] = {
        {"set pixel format", 1424, 1, "1/102"},
        {"set bounds", 1425, 4, "1/102"},
        {"set tiling", 1426, 2, "1/102"},
        {"set stamp bounds", 1427, 2, "1/102"},
        {"set current cell", 1428, 1, "1/102"},
        {"get cache", 1429, 4, "1/102"},
        {"get line", 1430, 5, "1/102"},
        {"get tile", 1431, 999, ""},
        {"get stamp", 1432, 4, "1/102"},
        {"put line", 1434, 5, "1/102"},
        {"put tile", 1435, 999, ""},
        {"put stamp", 1436, 4, "1/102"},
        {"set start cell", 1437, 1, "1/102"},
        {"set end cell", 1438, 1, ""},
    };
    for (const auto& c : cases) {
        for (const int count : {0, c.longs - 1, c.longs + 1}) {
            const std::vector<std::int32_t> longs(static_cast<std::size_t>(count), 1);
            if (count <= ipc::kMaxLongs) {
                EXPECT_EQ(handle(action(c.code, longs)), c.badReply) << c.name << " " << count;
            }
        }
    }
    EXPECT_EQ(calls(), "");
}

TEST_F(Actions, SettingsAreStoredByTheBase) {
    const auto expectStored = [&](int code, const std::vector<std::int32_t>& longs, int query,
                                  const std::vector<std::int32_t>& stored) {
        EXPECT_EQ(handle(action(code, longs)), "1/101") << code;
        const IPC_DataPacket p = ask(support::query(query));
        EXPECT_EQ(std::vector(p.longdata, p.longdata + p.numof_longs), stored) << code;
    };
    expectStored(1424, {3}, 1027, {3});
    expectStored(1425, {1, 2, 30, 40}, 1029, {1, 2, 30, 40});
    expectStored(1426, {5, 6}, 1030, {5, 6});
    expectStored(1427, {70, 80}, 1031, {80, 0}); // the second value, in the first slot
    expectStored(1437, {-9}, 1034, {-9});
    expectStored(1438, {9}, 1035, {9});
}

TEST_F(Actions, ThePictureThatIsOpenKeepsItsSize) {
    EXPECT_EQ(handle(action(1425, {0, 0, 3, 2})), "1/101");
    driver->open = true;
    const support::CaptureStderr said;
    EXPECT_EQ(handle(action(1425, {9, 9, 3, 4})), "1/102");
    EXPECT_EQ(handle(action(1425, {9, 9, 4, 2})), "1/102");
    EXPECT_EQ(std::vector(driver->bounds, driver->bounds + 4), (std::vector{0, 0, 3, 2}));
    EXPECT_EQ(handle(action(1425, {1, 1, 3, 2})), "1/101");
    driver->open = false;
    EXPECT_EQ(handle(action(1425, {1, 1, 4, 4})), "1/101");
    EXPECT_EQ(said.lines(), 2) << said.text();
}

TEST_F(Actions, SettingTheSameCellIsNoChange) {
    driver->currentCell = 4;
    EXPECT_EQ(handle(action(1428, {4})), "1/101");
    EXPECT_EQ(driver->cellChanged, 0);
    EXPECT_EQ(handle(action(1428, {5})), "1/101");
    EXPECT_EQ(driver->cellChanged, 1);
    EXPECT_EQ(driver->currentCell, 5);
}

/// Records what it sends, and how many attachments the block then has.
class NotingLink : public IPC_LinkIrix {
  public:
    NotingLink(std::unique_ptr<IPC_LinkIrix> link, RecordingDriver& driver,
               const support::SharedBlock& block)
        : IPC_LinkIrix(link->localId, link->localSubId, 0), link_(std::move(link)), driver_(driver),
          block_(block) {}
    int transmit(IPC_DataPacket* p, int stampSender) override {
        driver_.note("send", p->datacmd[5], block_.attachments());
        return link_->transmit(p, stampSender);
    }
    int receive(IPC_QUEUE_MODE queue, IPC_BLOCKING_MODE blocking, long seconds, long microseconds,
                IPC_DataPacket* p) override {
        return link_->receive(queue, blocking, seconds, microseconds, p);
    }

  private:
    std::unique_ptr<IPC_LinkIrix> link_;
    RecordingDriver& driver_;
    const support::SharedBlock& block_;
};

TEST_F(Actions, TransfersGoTheirWay) {
    // Every packet is recorded with the block's number of attachments when it is sent.
    driver->link = std::make_unique<NotingLink>(std::move(driver->link), *driver, block);
    driver->bounds[3] = 10;
    constexpr int kNone = ipc::kAccessNoCommands;
    const struct {
        const char* name;
        int code;
        std::vector<std::int32_t> rest; // (line,) cell
        int modes, result;
        const char* events; // the previous cell is 3
    } cases[] = {
        {"get cache", 1429, {5}, 0, 0, "preRead() getCache(1000,5) send(101,2)"},
        {"get line", 1430, {9, 3}, 0, 0, "getLine(1000,3,9) send(101,2)"},
        {"of a new cell", 1430, {9, 4}, 0, 0, "preRead() getLine(1000,4,9) send(101,2)"},
        {"no commands", 1430, {9, 4}, kNone, 0, "getLine(1000,4,9) send(101,2)"},
        {"modes of drivers", 1430, {9, 4}, 0x4033, 0, "getLine(1000,4,9) send(101,2)"},
        {"failing get", 1430, {9, 3}, 0, -1, "getLine(1000,3,9) send(102,2)"},
        {"get stamp", 1432, {3}, 0, 0, "getStamp(1000,3) send(101,2)"},
        {"put cache", 1433, {5}, 0, 0, "send(1225,2) putCache(1000,5) send(101,2) postWrite()"},
        {"put, no commands", 1433, {5}, kNone, 0, "send(1225,2) putCache(1000,5) send(101,2)"},
        {"put line", 1434, {8, 4}, 0, 0, "send(1225,2) putLine(1000,4,8) send(101,2)"},
        {"last line", 1434, {9, 4}, 0, 0, "send(1225,2) putLine(1000,4,9) send(101,2) postWrite()"},
        {"last, no commands", 1434, {9, 4}, kNone, 0, "send(1225,2) putLine(1000,4,9) send(101,2)"},
        {"far", 1434, {INT32_MAX, 3}, 0, 0, "send(1225,2) putLine(1000,3,2147483647) send(101,2)"},
        {"failing put", 1434, {8, 3}, 0, -1, "send(1225,2) putLine(1000,3,8) send(102,2)"},
        {"put stamp", 1436, {3}, 0, 0, "send(1225,2) putStamp(1000,3) send(101,2)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        driver->currentCell = 3;
        driver->accessModes = c.modes;
        driver->result = c.result;
        block.bytes()[0] = 'h';
        handle(action(c.code, withBlock(c.rest)));
        EXPECT_EQ(calls(), c.events);
        EXPECT_EQ(driver->currentCell, c.rest.back());
        EXPECT_EQ(driver->seenByte, 'h');
        EXPECT_EQ(block.bytes()[0], 'd');
        EXPECT_EQ(driver->seenBlockBytes, 4096U);
        EXPECT_EQ(driver->blockBytes, 0U);
        EXPECT_EQ(block.attachments(), 1U);
    }
    driver->result = 1;
    handle(action(1440));
    EXPECT_EQ(calls(), "disconnect() postWrite() send(101,1)");
}

TEST_F(Actions, DeclaredLinesAreCheckedBeforeTheOperation) {
    driver->bounds[3] = 10;
    const struct {
        const char* name;
        std::int32_t line;
        std::size_t lineBytes; // in a block of 4096
        bool open, takesLine, takesCache;
    } cases[] = {
        {"lowest line", 0, 409, true, true, true},
        {"topmost line", 9, 409, true, true, true},
        {"below", -1, 409, true, false, true},
        {"above", 10, 409, true, false, true},
        {"a picture does not fit", 0, 410, true, true, false},
        {"a line just fits", 0, 4096, true, true, false},
        {"a line does not fit", 0, 4097, true, false, false},
        {"a picture of any size", 0, SIZE_MAX / 4, true, false, false},
        {"no file", 0, 1, false, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        driver->lineBytes = c.lineBytes;
        driver->open = c.open;
        for (const bool put : {false, true}) {
            const std::string notice = put ? "2/1225 " : "";
            EXPECT_EQ(handle(action(put ? 1434 : 1430, withBlock({c.line, 3}))),
                      notice + (c.takesLine ? "1/101" : "1/102"));
            EXPECT_EQ(calls().find(put ? "putLine" : "getLine") != std::string::npos, c.takesLine);
            EXPECT_EQ(handle(action(put ? 1433 : 1429, withBlock({3}))),
                      notice + (c.takesCache ? "1/101" : "1/102"));
            EXPECT_EQ(calls().find(put ? "putCache" : "getCache") != std::string::npos,
                      c.takesCache);
        }
    }
}

/// Inherits the transfer of whole pictures, whose lines may have another size.
struct InheritingDriver : RecordingDriver {
    using RecordingDriver::RecordingDriver;
    std::optional<std::size_t> cacheLineBytes;
    std::optional<std::size_t> declaredLineBytes(Transfer t) const override {
        return t == Transfer::GetLine || t == Transfer::PutLine ? lineBytes : cacheLineBytes;
    }
    int getCache(char* b, int s, long c) override { return TDR_Driver::getCache(b, s, c); }
    int putCache(char* b, int s, long c) override { return TDR_Driver::putCache(b, s, c); }
};

class Inheriting : public ConnectedDriver<InheritingDriver> {};

TEST_F(Inheriting, WholePicturesOnlyAsTheirDeclaredLines) {
    const support::SharedBlock block{4096};
    driver->bounds[3] = 2;
    const struct {
        const char* name;
        std::optional<bool> open;
        std::optional<std::size_t> lineBytes, cacheLineBytes;
        bool ok, transfers;
    } cases[] = {
        {"a driver of its own", {}, {}, {}, true, false},
        {"files, but no sizes", true, {}, {}, false, false},
        {"lines of any size", true, 5000, {}, false, false},
        {"the same without files", {}, 5000, {}, true, false},
        {"lines that overlap", true, 2048, 1024, false, false},
        {"all declared", true, 2048, 2048, true, true},
        {"no file", false, 2048, 2048, false, false},
    };
    for (const auto& c : cases) {
        for (const bool put : {false, true}) {
            SCOPED_TRACE(c.name);
            driver->open = c.open;
            driver->lineBytes = c.lineBytes;
            driver->cacheLineBytes = c.cacheLineBytes;
            driver->accessModes = ipc::kAccessNoCommands;
            const std::string answer = c.ok ? "1/101" : "1/102";
            EXPECT_EQ(handle(action(put ? 1433 : 1429, {4096, block.key(), block.id(), 3})),
                      (put ? "2/1225 " : "") + answer);
            const std::string name = put ? "putLine" : "getLine";
            EXPECT_EQ(std::exchange(driver->calls, ""),
                      c.transfers ? name + "(2048,3,1) " + name + "(2048,3,0)" : "");
        }
    }
}

TEST_F(Actions, ACellThatWasSetCountsAsNewForGood) {
    EXPECT_EQ(handle(action(1428, {7})), "1/101");
    for (int request = 0; request < 2; ++request) {
        handle(action(1430, withBlock({2, 7})));
        EXPECT_EQ(calls(), "preRead() getLine(1000,7,2)");
    }
}

TEST_F(Actions, BlockThatCannotBeAttachedStopsTheRequest) {
    for (const int size : {1 << 20, -1}) {
        const support::CaptureStderr said;
        const std::vector<std::int32_t> longs = {size, block.key(), block.id(), 1, 1};
        EXPECT_EQ(handle(action(1430, longs)), "1/102");
        EXPECT_EQ(handle(action(1434, longs)), "1/102"); // and no notice
        EXPECT_NE(said.text(), "");
    }
    EXPECT_EQ(calls(), "");
}

TEST_F(Actions, PutCacheWithThreeLongsIsRefusedAndCarriedOut) {
    driver->accessModes = ipc::kAccessNoCommands;
    EXPECT_EQ(handle(action(1433, withBlock({}))), "1/102 2/1225 1/101");
    EXPECT_EQ(calls(), "putCache(1000,0)");
    EXPECT_EQ(driver->currentCell, 0);
}

TEST_F(Actions, TilesRunOnlyWithTheirOwnCount) {
    for (const int code : {1431, 1435}) {
        driver->data = action(code).packet();
        driver->data.numof_longs = 999; // cannot arrive in a packet
        driver->doActionMessage();
        EXPECT_EQ(host.replies(), "1/101");
    }
    EXPECT_EQ(calls(), "getTile() putTile()");
}

TEST_F(Actions, ConnectHandsOverNameAndMode) {
    driver->accessModes = 0x4033; // not asked here
    EXPECT_EQ(handle(action(1439, {0, 12}, {"a/b.pic"})), "1/101");
    EXPECT_EQ(calls(), "preRead() connect:a/b.pic(0)");
    EXPECT_EQ(driver->currentCell, 12);
    EXPECT_EQ(handle(action(1439, {1, 12}, {"a/c.pic"})), "1/101");
    EXPECT_EQ(calls(), "connect:a/c.pic(1)");
    EXPECT_STREQ(driver->fileName, "a/c.pic");

    EXPECT_EQ(handle(action(1439, {1}, {"x"})), "1/102");
    EXPECT_EQ(handle(action(1439, {1, 1})), "1/102");
    EXPECT_EQ(handle(action(1439, {1, 1}, {"x", "y"})), "1/102");
    EXPECT_EQ(calls(), "");
}

TEST_F(Actions, LongFileNameIsCutAndReported) {
    const support::CaptureStderr said;
    EXPECT_EQ(handle(action(1439, {1, 1}, {std::string(1024, 'n')})), "1/101");
    EXPECT_EQ(std::string(driver->fileName), std::string(1023, 'n'));
    EXPECT_EQ(calls(), "connect:" + std::string(1023, 'n') + "(1)");
    EXPECT_NE(said.text().find("was cut"), std::string::npos);
}

TEST_F(Actions, DisconnectRunsThePostWriteCommandWhenAFileWasClosed) {
    driver->accessModes = 0x4033; // not asked here
    EXPECT_EQ(handle(action(1440)), "1/101");
    EXPECT_EQ(calls(), "disconnect()");
    driver->result = 1;
    EXPECT_EQ(handle(action(1440)), "1/101");
    EXPECT_EQ(calls(), "disconnect() postWrite()");
    driver->result = -1;
    EXPECT_EQ(handle(action(1440)), "1/102");
    EXPECT_EQ(calls(), "disconnect()");
}

TEST_F(Actions, CommandsAreSetByTheirOwnRules) {
    EXPECT_EQ(handle(action(1441, {}, {"fetch"})), "1/101");
    EXPECT_STREQ(driver->preReadCommand.get(), "fetch");
    EXPECT_EQ(handle(action(1441)), "1/102");
    EXPECT_EQ(handle(action(1441, {}, {"a", "b"})), "1/102");
    EXPECT_STREQ(driver->preReadCommand.get(), "fetch");

    EXPECT_EQ(handle(action(1442, {}, {"store", "more"})), "1/101"); // an area is enough
    EXPECT_STREQ(driver->postWriteCommand.get(), "store");
    IPC_DataPacket oneWithoutArea = action(1442).packet();
    oneWithoutArea.numof_strings = 1;
    host.send(oneWithoutArea);
    driver->handleEvent();
    EXPECT_EQ(host.replies(), "1/101"); // one string is enough too: the empty one
    EXPECT_EQ(driver->postWriteCommand, nullptr);
    EXPECT_EQ(handle(action(1442)), "1/102");
}

TEST_F(Actions, UnknownCodesAreErrors) {
    for (const int code : {0, 101, 1423, 1443, -1}) {
        EXPECT_EQ(handle(action(code)), "1/102") << code;
    }
}

/// The destructor of a driver that keeps a file open calls cleanup while it is whole.
struct ClosingDriver : RecordingDriver {
    using RecordingDriver::RecordingDriver;
    ~ClosingDriver() override { cleanup(); }
    int disconnectFromFile() override {
        EXPECT_EQ(link, nullptr);
        return 1;
    }
    int executePostWriteCommand() override {
        EXPECT_STREQ(postWriteCommand.get(), "store");
        ++commands;
        return 0;
    }
    static inline int commands = 0;
};

class Closing : public ConnectedDriver<ClosingDriver> {};

TEST_F(Closing, ReleasesTheLinkBeforeTheFile) {
    driver->set_post_write_cmd("store");
    driver.reset();
    EXPECT_EQ(ClosingDriver::commands, 1);
}

} // namespace
