// SPDX-License-Identifier: MIT
// The sixteen queries. Each is one packet there and one packet back: class 1, the query's code plus
// 100, or the error reply. A reply with another number of values than the query has is taken as a
// broken protocol, not as a value.
#include "tdr/driver.h"

#include "IPC_Codes.h"
#include "driverProcess.h"

#include <cstddef>
#include <string_view>

namespace tdr {

namespace {

/// Sends a query and takes its reply, which is in the process's packet afterwards.
Status ask(DriverProcess& process, std::int16_t code, std::span<const std::int32_t> longs = {}) {
    Status sent = process.send({ipc::kClassInfo, code, longs, {}});
    if (!sent) {
        return sent;
    }
    Status received = process.receive();
    if (!received) {
        return received;
    }
    if (process.packetIs(ipc::kClassStatus, ipc::kStatusError)) {
        return process.refused();
    }
    const auto replyCode = static_cast<std::int16_t>(code + ipc::kReplyOffset);
    return process.packetIs(ipc::kClassStatus, replyCode) ? Status() : Status(process.broken());
}

std::span<const std::int32_t> longsOf(const IPC_DataPacket& packet) {
    return {packet.longdata, static_cast<std::size_t>(packet.numof_longs)};
}

/// The terminated strings of a packet; fewer than it claims when it claims too much.
std::vector<std::string> stringsOf(const IPC_DataPacket& packet) {
    std::vector<std::string> strings;
    std::string_view rest(packet.chardata, static_cast<std::size_t>(packet.numof_chars));
    for (std::int32_t i = 0; i < packet.numof_strings; ++i) {
        const std::size_t end = rest.find('\0');
        if (end == std::string_view::npos) {
            break;
        }
        strings.emplace_back(rest.substr(0, end));
        rest.remove_prefix(end + 1);
    }
    return strings;
}

/// Asks for a record of exactly `Count` longs and makes `T` of them.
template <std::size_t Count, typename Make>
auto askLongs(DriverProcess& process, std::int16_t code, Make make)
    -> Result<decltype(make(std::span<const std::int32_t>()))> {
    Status asked = ask(process, code);
    if (!asked) {
        return asked.failure();
    }
    const auto longs = longsOf(process.packet());
    if (longs.size() != Count) {
        return process.broken();
    }
    return make(longs);
}

Result<std::int32_t> askLong(DriverProcess& process, std::int16_t code) {
    return askLongs<1>(process, code, [](auto longs) { return longs[0]; });
}

Result<Pair> askPair(DriverProcess& process, std::int16_t code) {
    return askLongs<2>(process, code, [](auto longs) { return Pair{longs[0], longs[1]}; });
}

Result<std::string> askString(DriverProcess& process, std::int16_t code) {
    Status asked = ask(process, code);
    if (!asked) {
        return asked.failure();
    }
    const auto strings = stringsOf(process.packet());
    if (strings.size() != 1) {
        return process.broken();
    }
    return strings[0];
}

} // namespace

Result<std::int32_t> Driver::accessModes() {
    return askLong(*process_, ipc::kQueryAccessModes);
}

Result<std::string> Driver::vendorName() {
    return askString(*process_, ipc::kQueryVendorName);
}

Result<std::int32_t> Driver::formatCount() {
    return askLong(*process_, ipc::kQueryFormatCount);
}

Result<std::int32_t> Driver::currentFormat() {
    return askLong(*process_, ipc::kQueryCurrentFormat);
}

Result<std::optional<PixelFormat>> Driver::format(std::int32_t index) {
    const std::int32_t longs[] = {index};
    Status asked = ask(*process_, ipc::kQueryIthFormat, longs);
    if (!asked) {
        return asked.failure();
    }
    const auto reply = longsOf(process_->packet());
    if (reply.empty()) {
        return std::optional<PixelFormat>();
    }
    if (reply.size() < 3 || reply[0] < 0 ||
        static_cast<std::size_t>(reply[0]) != reply.size() - 3) {
        return process_->broken();
    }
    return std::optional(PixelFormat{reply[1], reply[2], {reply.begin() + 3, reply.end()}});
}

Result<Bounds> Driver::bounds() {
    return askLongs<4>(*process_, ipc::kQueryBounds, [](auto longs) {
        return Bounds{longs[0], longs[1], longs[2], longs[3]};
    });
}

Result<Pair> Driver::tiling() {
    return askPair(*process_, ipc::kQueryTiling);
}

Result<Pair> Driver::stampBounds() {
    return askPair(*process_, ipc::kQueryStampBounds);
}

Result<std::int32_t> Driver::currentCell() {
    return askLong(*process_, ipc::kQueryCurrentCell);
}

Result<std::string> Driver::formatName() {
    return askString(*process_, ipc::kQueryFormatName);
}

Result<std::int32_t> Driver::startCell() {
    return askLong(*process_, ipc::kQueryStartCell);
}

Result<std::int32_t> Driver::endCell() {
    return askLong(*process_, ipc::kQueryEndCell);
}

Result<std::string> Driver::defaultPreReadCommand() {
    return askString(*process_, ipc::kQueryDefaultPreReadCommand);
}

Result<std::string> Driver::defaultPostWriteCommand() {
    return askString(*process_, ipc::kQueryDefaultPostWriteCommand);
}

Result<std::int32_t> Driver::writeDirection() {
    return askLong(*process_, ipc::kQueryWriteDirection);
}

Result<FileNaming> Driver::fileNaming() {
    Status asked = ask(*process_, ipc::kQueryFileNamingConvention);
    if (!asked) {
        return asked.failure();
    }
    const auto strings = stringsOf(process_->packet());
    const auto longs = longsOf(process_->packet());
    if (strings.size() != 3 || longs.size() != 1) {
        return process_->broken();
    }
    return FileNaming{strings[0], strings[1], longs[0], strings[2]};
}

Result<std::vector<std::int32_t>> Driver::queryLongs(std::int16_t code,
                                                     std::span<const std::int32_t> longs) {
    Status asked = ask(*process_, code, longs);
    if (!asked) {
        return asked.failure();
    }
    const auto reply = longsOf(process_->packet());
    return std::vector<std::int32_t>(reply.begin(), reply.end());
}

} // namespace tdr
