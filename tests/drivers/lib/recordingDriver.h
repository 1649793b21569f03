// SPDX-License-Identifier: MIT
// A driver whose operations record their arguments, and a fixture that connects it to a fake host
// inside one process.
#pragma once

#include "TDR_Driver.h"
#include "support/fakeHost.h"

#include <memory>

/// Records every operation as "name(arguments)" in `calls`; the operations return `result`.
class RecordingDriver : public TDR_Driver {
  public:
    using TDR_Driver::checkFilePermissions;
    using TDR_Driver::set_default_post_write_cmd;
    using TDR_Driver::set_default_pre_read_cmd;
    using TDR_Driver::set_post_write_cmd;
    using TDR_Driver::set_pre_read_cmd;
    using TDR_Driver::TDR_Driver;

    using TDR_Driver::accessModes;
    using TDR_Driver::blockBytes;
    using TDR_Driver::bounds;
    using TDR_Driver::cellChanged;
    using TDR_Driver::currentCell;
    using TDR_Driver::data;
    using TDR_Driver::fileName;
    using TDR_Driver::formatCount;
    using TDR_Driver::formats;
    using TDR_Driver::link;
    using TDR_Driver::namingTemplate;
    using TDR_Driver::postWriteCommand;
    using TDR_Driver::preReadCommand;
    using TDR_Driver::startCell;

    std::string calls;
    int result = 0;

    template <class... Arguments>
    int note(const char* name, Arguments... arguments) {
        std::string text;
        ((text += (text.empty() ? "" : ",") + std::to_string(arguments)), ...);
        calls += (calls.empty() ? "" : " ") + std::string(name) + "(" + text + ")";
        return result;
    }

    std::optional<std::size_t> lineBytes; ///< what it declares
    std::optional<bool> open;             ///< what it says about a file
    std::optional<std::size_t> declaredLineBytes(Transfer) const override { return lineBytes; }
    bool isOpenFor(Transfer t) const override { return open ? *open : TDR_Driver::isOpenFor(t); }

    int getStamp(char* b, int s, long c) override { return noteBlock("getStamp", b, s, c); }
    int putStamp(char* b, int s, long c) override { return noteBlock("putStamp", b, s, c); }
    int getCache(char* b, int s, long c) override { return noteBlock("getCache", b, s, c); }
    int putCache(char* b, int s, long c) override { return noteBlock("putCache", b, s, c); }
    int getLine(char* b, int s, long c, long y) override {
        return noteBlock("getLine", b, s, c, y);
    }
    int putLine(char* b, int s, long c, long y) override {
        return noteBlock("putLine", b, s, c, y);
    }
    int getTile() override { return note("getTile"); }
    int putTile() override { return note("putTile"); }
    int connectToFile(char* name, int mode) override {
        return note((std::string("connect:") + name).c_str(), mode);
    }
    int disconnectFromFile() override { return note("disconnect"); }
    int executePreReadCommand() override { return note("preRead"); }
    int executePostWriteCommand() override { return note("postWrite"); }

  private:
    /// Reads the block's first byte and writes it, so that a block that is not attached crashes.
    template <class... Arguments>
    int noteBlock(const char* name, char* block, int size, Arguments... arguments) {
        seenByte = *block;
        *block = 'd';
        seenBlockBytes = blockBytes;
        return note(name, size, arguments...);
    }

  public:
    char seenByte = 0;
    std::size_t seenBlockBytes = 0;
};

/// A RecordingDriver (or `Driver`) connected to a fake host.
template <class Driver = RecordingDriver>
class ConnectedDriver : public ::testing::Test {
  protected:
    void SetUp() override {
        gExitFlag = 0;
        host.connectDriver();
        driver = std::make_unique<Driver>(host.port());
        host.awaitDriver();
        ASSERT_EQ(driver->status, 0);
    }

    /// Lets the driver handle one message and returns the replies as "class/code ...".
    std::string handle(const support::Message& message) {
        host.send(message);
        driver->handleEvent();
        return host.replies();
    }

    /// As `handle`, for messages with exactly one reply, which it returns.
    IPC_DataPacket ask(const support::Message& message) {
        host.send(message);
        driver->handleEvent();
        return host.receive();
    }

    support::FakeHost host;
    std::unique_ptr<Driver> driver;
};
