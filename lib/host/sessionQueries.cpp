// SPDX-License-Identifier: MIT
// The sixteen queries. Each is one packet and one reply: class 1, the query's code plus 100, or the
// error reply. A reply that does not hold exactly the values of its query breaks the protocol,
// because it may belong to another query.
#include "tdr/session.h"

#include "IPC_Codes.h"
#include "driverProcess.h"

#include <array>
#include <cstddef>
#include <utility>

namespace tdr {

namespace {

/// Sends a query and receives its reply into the process's packet.
Status ask(DriverProcess& process, std::int16_t code, std::span<const std::int32_t> longs = {}) {
    Status sent = process.send({ipc::kClassInfo, code, longs, {}});
    if (!sent) {
        return sent;
    }
    Status received = process.receive();
    if (!received) {
        return received;
    }
    if (process.packetIsBare(ipc::kClassStatus, ipc::kStatusError)) {
        return process.refused();
    }
    const auto replyCode = static_cast<std::int16_t>(code + ipc::kReplyOffset);
    return process.packetIs(ipc::kClassStatus, replyCode) ? Status() : Status(process.broken());
}

std::span<const std::int32_t> longsOf(const IPC_DataPacket& packet) {
    return {packet.longdata, static_cast<std::size_t>(packet.numof_longs)};
}

/// The strings of a packet whose count has been checked.
std::vector<std::string> stringsOf(const IPC_DataPacket& packet) {
    std::vector<std::string> strings;
    const char* at = packet.chardata;
    for (std::int32_t i = 0; i < packet.numof_strings; ++i) {
        strings.emplace_back(at);
        at += strings.back().size() + 1;
    }
    return strings;
}

/// Queries a record of this many longs and strings, and converts the packet to a value.
template <typename Make>
auto askRecord(DriverProcess& process, std::int16_t code, std::int32_t longs, std::int32_t strings,
               Make make) -> Result<decltype(make(process.packet()))> {
    using Answer = Result<decltype(make(process.packet()))>;
    return process.attempt([&]() -> Answer {
        Status asked = ask(process, code);
        if (!asked) {
            return asked.failure();
        }
        return process.packetHolds(longs, strings) ? Answer(make(process.packet()))
                                                   : Answer(process.broken());
    });
}

Result<std::int32_t> askLong(DriverProcess& process, std::int16_t code) {
    return askRecord(process, code, 1, 0, [](const auto& reply) { return reply.longdata[0]; });
}

Result<Pair> askPair(DriverProcess& process, std::int16_t code) {
    return askRecord(process, code, 2, 0, [](const auto& reply) {
        return Pair{reply.longdata[0], reply.longdata[1]};
    });
}

Result<std::string> askString(DriverProcess& process, std::int16_t code) {
    return askRecord(process, code, 0, 1,
                     [](const auto& reply) { return std::string(reply.chardata); });
}

} // namespace

Result<std::int32_t> Session::accessModes() {
    return askLong(*process_, ipc::kQueryAccessModes);
}

Result<std::string> Session::vendorName() {
    return askString(*process_, ipc::kQueryVendorName);
}

Result<std::int32_t> Session::formatCount() {
    return process_->attempt([this]() -> Result<std::int32_t> {
        auto count = askLong(*process_, ipc::kQueryFormatCount);
        return count && *count < 0 ? Result<std::int32_t>(process_->broken()) : std::move(count);
    });
}

Result<std::int32_t> Session::currentFormat() {
    return askLong(*process_, ipc::kQueryCurrentFormat);
}

Result<std::optional<PixelFormat>> Session::format(std::int32_t index) {
    using Answer = Result<std::optional<PixelFormat>>;
    return process_->attempt([&]() -> Answer {
        Status asked = ask(*process_, ipc::kQueryIthFormat, std::array{index});
        if (!asked) {
            return asked.failure();
        }
        const auto reply = longsOf(process_->packet());
        if (process_->packetHolds(0, 0)) {
            return std::optional<PixelFormat>();
        }
        if (reply.size() < 3 || reply[0] < 0 ||
            static_cast<std::size_t>(reply[0]) != reply.size() - 3 ||
            !process_->packetHolds(reply[0] + 3, 0)) {
            return process_->broken();
        }
        return std::optional(PixelFormat{reply[1], reply[2], {reply.begin() + 3, reply.end()}});
    });
}

Result<Bounds> Session::bounds() {
    return askRecord(*process_, ipc::kQueryBounds, 4, 0, [](const auto& reply) {
        return Bounds{reply.longdata[0], reply.longdata[1], reply.longdata[2], reply.longdata[3]};
    });
}

Result<Pair> Session::tiling() {
    return askPair(*process_, ipc::kQueryTiling);
}

Result<Pair> Session::stampBounds() {
    return askPair(*process_, ipc::kQueryStampBounds);
}

Result<std::int32_t> Session::currentCell() {
    return askLong(*process_, ipc::kQueryCurrentCell);
}

Result<std::string> Session::formatName() {
    return askString(*process_, ipc::kQueryFormatName);
}

Result<std::int32_t> Session::startCell() {
    return askLong(*process_, ipc::kQueryStartCell);
}

Result<std::int32_t> Session::endCell() {
    return askLong(*process_, ipc::kQueryEndCell);
}

Result<std::string> Session::defaultPreReadCommand() {
    return askString(*process_, ipc::kQueryDefaultPreReadCommand);
}

Result<std::string> Session::defaultPostWriteCommand() {
    return askString(*process_, ipc::kQueryDefaultPostWriteCommand);
}

Result<std::int32_t> Session::writeDirection() {
    return askLong(*process_, ipc::kQueryWriteDirection);
}

Result<FileNaming> Session::fileNaming() {
    return askRecord(*process_, ipc::kQueryFileNamingConvention, 1, 3, [](const auto& reply) {
        const auto strings = stringsOf(reply);
        return FileNaming{strings[0], strings[1], reply.longdata[0], strings[2]};
    });
}

Result<std::vector<std::int32_t>> Session::queryLongs(std::int16_t code,
                                                      std::span<const std::int32_t> longs) {
    using Answer = Result<std::vector<std::int32_t>>;
    return process_->attempt([&]() -> Answer {
        Status asked = ask(*process_, code, longs);
        if (!asked) {
            return asked.failure();
        }
        const auto reply = longsOf(process_->packet());
        return std::vector<std::int32_t>(reply.begin(), reply.end());
    });
}

} // namespace tdr
