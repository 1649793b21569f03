// SPDX-License-Identifier: MIT
// The actions. Each is answered with OK or error; before the answer to a put request the driver
// sends a notice that it has attached the block.
#include "tdr/session.h"

#include "IPC_Codes.h"
#include "base/limits.h"
#include "driverProcess.h"

#include <array>

namespace tdr {

namespace {

/// Whether a put request's notice comes before the answer.
enum class Notice { None, Expected, Possible };

/// Receives the answer to an action.
Status takeAnswer(DriverProcess& process, Notice notice) {
    Status received = process.receive();
    if (!received) {
        return received;
    }
    if (process.packetIsBare(ipc::kClassStatus, ipc::kStatusError)) {
        return process.refused();
    }
    if (notice != Notice::None && process.packetIsBare(ipc::kClassEvent, ipc::kEventBlockTaken)) {
        return takeAnswer(process, Notice::None);
    }
    const bool done =
        notice != Notice::Expected && process.packetIsBare(ipc::kClassStatus, ipc::kStatusOk);
    return done ? Status() : Status(process.broken());
}

Status act(DriverProcess& process, std::int16_t code, std::span<const std::int32_t> longs,
           std::optional<std::string_view> text = {}, Notice notice = Notice::None) {
    return process.attempt([&] {
        Status sent = process.send({ipc::kClassAction, code, longs, text});
        return sent ? takeAnswer(process, notice) : sent;
    });
}

/// `isSet` is what is known of the command afterwards. After a failure it may be the old one.
Status setCommand(DriverProcess& process, std::int16_t code, std::string_view command,
                  bool& isSet) {
    Status done = act(process, code, {}, command);
    isSet = !command.empty() || (isSet && !done);
    return done;
}

/// A transfer of the whole picture or of the stamp.
Status transfer(DriverProcess& process, std::int16_t code, const SharedBlock& block,
                std::int32_t cell, Notice notice) {
    const std::array longs = {block.size(), block.key(), block.id(), cell};
    return act(process, code, longs, {}, notice);
}

Status transferLine(DriverProcess& process, std::int16_t code, const SharedBlock& block,
                    std::int32_t line, std::int32_t cell, Notice notice) {
    const std::array longs = {block.size(), block.key(), block.id(), line, cell};
    return act(process, code, longs, {}, notice);
}

Status tilesDoNotFit(const char* request) {
    return withoutThrowing([&]() -> Status {
        return Failure{FailureKind::BadArgument,
                       std::string(request) + ": takes 999 longs, and a packet holds 256"};
    });
}

/// The answer to a connect. A driver that knows the format reports what is wrong with the file; one
/// that does not writes nothing.
Status tellForeign(Status connected) {
    if (connected || connected.failure().kind != FailureKind::Refused ||
        !connected.failure().lastLine.empty()) {
        return connected;
    }
    Failure silent = connected.failure();
    silent.kind = FailureKind::NotMyFormat;
    return silent;
}

} // namespace

Status Session::order(std::int16_t code, std::span<const std::int32_t> longs,
                      std::optional<std::string_view> text) {
    return act(*process_, code, longs, text);
}

Status Session::setPixelFormat(std::int32_t index) {
    return act(*process_, ipc::kActionSetPixelFormat, std::array{index});
}

Status Session::setBounds(const Bounds& bounds) {
    return act(*process_, ipc::kActionSetBounds,
               std::array{bounds.x, bounds.y, bounds.width, bounds.height});
}

Status Session::setTiling(const Pair& tiling) {
    return act(*process_, ipc::kActionSetTiling, std::array{tiling.first, tiling.second});
}

Status Session::setStampBounds(const Pair& size) {
    return act(*process_, ipc::kActionSetStampBounds, std::array{size.first, size.second});
}

Status Session::setCurrentCell(std::int32_t cell) {
    return act(*process_, ipc::kActionSetCurrentCell, std::array{cell});
}

Status Session::setStartCell(std::int32_t cell) {
    return act(*process_, ipc::kActionSetStartCell, std::array{cell});
}

Status Session::setEndCell(std::int32_t cell) {
    return act(*process_, ipc::kActionSetEndCell, std::array{cell});
}

Status Session::setPreReadCommand(std::string_view command) {
    return setCommand(*process_, ipc::kActionSetPreReadCommand, command, process_->known.preRead);
}

Status Session::setPostWriteCommand(std::string_view command) {
    return setCommand(*process_, ipc::kActionSetPostWriteCommand, command,
                      process_->known.postWrite);
}

Status Session::connectToFile(std::string_view path, Access access, std::int32_t cell) {
    return process_->attempt([&]() -> Status {
        if (path.size() >= base::kPathCapacity) {
            return Failure{FailureKind::BadArgument,
                           "connect to file: a path of more than 1023 bytes: " + std::string(path)};
        }
        process_->known.connected = true; // even after a failure: the old file may still be open
        process_->forgetDamage();
        return tellForeign(act(*process_, ipc::kActionConnectToFile,
                               std::array{static_cast<std::int32_t>(access), cell}, path));
    });
}

Status Session::disconnectFromFile() {
    process_->known.connected = false;
    return act(*process_, ipc::kActionDisconnectFromFile, {});
}

Status Session::getCache(SharedBlock& block, std::int32_t cell) {
    return transfer(*process_, ipc::kActionGetCache, block, cell, Notice::None);
}

Status Session::getLine(SharedBlock& block, std::int32_t line, std::int32_t cell) {
    return transferLine(*process_, ipc::kActionGetLine, block, line, cell, Notice::None);
}

Status Session::getStamp(SharedBlock& block, std::int32_t cell) {
    return transfer(*process_, ipc::kActionGetStamp, block, cell, Notice::None);
}

Status Session::putCache(const SharedBlock& block, std::int32_t cell) {
    return transfer(*process_, ipc::kActionPutCache, block, cell, Notice::Expected);
}

Status Session::putLine(const SharedBlock& block, std::int32_t line, std::int32_t cell) {
    return transferLine(*process_, ipc::kActionPutLine, block, line, cell, Notice::Expected);
}

Status Session::putStamp(const SharedBlock& block, std::int32_t cell) {
    return transfer(*process_, ipc::kActionPutStamp, block, cell, Notice::Expected);
}

Result<bool> Session::transfersCaches(Access access) {
    if (hasOutsideCommands()) {
        return false;
    }
    auto& known = process_->known.caches[static_cast<std::size_t>(access)];
    if (known || isConnected()) {
        return known.value_or(false);
    }
    return process_->attempt([&]() -> Result<bool> {
        auto block = SharedBlock::create(1);
        if (!block) {
            return block.failure();
        }
        // A driver without whole pictures need not announce that it takes the block.
        const Status asked = access == Access::Read ? getCache(*block)
                                                    : transfer(*process_, ipc::kActionPutCache,
                                                               *block, 0, Notice::Possible);
        if (!asked && asked.failure().kind != FailureKind::Refused) {
            return asked.failure();
        }
        known = !asked;
        return *known;
    });
}

bool Session::isConnected() const {
    return process_->known.connected;
}

bool Session::hasOutsideCommands() const {
    return process_->known.preRead || process_->known.postWrite;
}

Status Session::getTile() {
    return tilesDoNotFit("get tile");
}

Status Session::putTile() {
    return tilesDoNotFit("put tile");
}

} // namespace tdr
