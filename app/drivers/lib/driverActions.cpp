// SPDX-License-Identifier: MIT
// The action requests of the host, one row each.
#include "driverRequest.h"

#include "base/diagnostics.h"

#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

/// The first string of a request, copied from the packet like its longs, and terminated.
struct RequestText {
    char text[ipc::kMaxChars + 1];

    explicit RequestText(const IPC_DataPacket& packet) {
        const auto used =
            static_cast<std::size_t>(std::clamp(packet.numof_chars, 0, ipc::kMaxChars));
        const std::size_t length = strnlen(packet.chardata, used);
        *std::copy_n(packet.chardata, length, text) = '\0';
    }
};

} // namespace

struct TDR_Driver::Actions {
    /// The answer to a request with wrong counts.
    enum class BadCount : std::uint8_t {
        Error,        ///< the error reply
        Silent,       ///< nothing
        ErrorThenRun, ///< the error reply, but the request is still carried out
    };

    /// The strings that a request must have.
    enum class Text : std::uint8_t {
        Any,
        One,           ///< exactly one string
        OneNotEmpty,   ///< exactly one string, and a string area of at least one byte
        OneOrNotEmpty, ///< either of the two
    };

    static constexpr std::int16_t kAnyLongs = -1;

    // NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): a row reads best from its code on
    struct Row {
        std::int16_t code;
        int (*run)(TDR_Driver&, const Request&);
        std::int16_t longs = kAnyLongs; ///< exact long count
        Text text = Text::Any;
        BadCount badCount = BadCount::Error;
    };

    static bool textFits(Text wanted, const IPC_DataPacket& packet) {
        const bool one = packet.numof_strings == 1;
        const bool notEmpty = packet.numof_chars >= 1;
        switch (wanted) {
        case Text::Any:
            return true;
        case Text::One:
            return one;
        case Text::OneNotEmpty:
            return one && notEmpty;
        case Text::OneOrNotEmpty:
            return one || notEmpty;
        }
        return false;
    }

    static bool countsFit(const Row& row, const IPC_DataPacket& packet) {
        return (row.longs == kAnyLongs || packet.numof_longs == row.longs) &&
               textFits(row.text, packet);
    }

    /// Calls an operation with as many of the request's longs as it takes.
    template <auto kOperation>
    static int call(TDR_Driver& d, const Request& r) {
        return callWith(d, r, kOperation);
    }
    template <class... Longs>
    static int callWith(TDR_Driver& d, const Request& r, int (TDR_Driver::*operation)(Longs...)) {
        return [&]<std::size_t... kAt>(std::index_sequence<kAt...>) {
            return d.answer([&] { return (d.*operation)(r.longs[kAt]...); });
        }
        (std::index_sequence_for<Longs...>());
    }

    /// Calls an operation with the request's text.
    template <int (TDR_Driver::*kOperation)(const char*)>
    static int callWithText(TDR_Driver& d, const Request&) {
        const RequestText text(d.data);
        return d.answer([&] { return (d.*kOperation)(text.text); });
    }

    static int connectToFile(TDR_Driver& d, const Request& r) {
        const int length =
            std::snprintf(d.fileName, sizeof d.fileName, "%s", RequestText(d.data).text);
        if (static_cast<std::size_t>(length) >= sizeof d.fileName) {
            base::say("%s: File name is longer than %zu bytes and was cut: '%s'\n", d.me,
                      sizeof d.fileName - 1, d.fileName);
        }
        const std::int32_t mode = r.longs[0];
        d.currentCell = r.longs[1];
        if (mode == ipc::kConnectForReading) {
            d.runAround(&TDR_Driver::executePreReadCommand);
        }
        return d.answer([&] { return d.connectToFile(d.fileName, mode); });
    }
    static int disconnectFromFile(TDR_Driver& d, const Request&) {
        const int result = attempt(d.me, [&] { return d.disconnectFromFile(); });
        if (result == 1) {
            d.runAround(&TDR_Driver::executePostWriteCommand);
        }
        return d.reply(result);
    }

    static int end(TDR_Driver&, const Request&) {
        gExitFlag = 1;
        return 0;
    }

    /// The row of a request; null for an unknown one.
    static const Row* find(std::int16_t code);
};

const TDR_Driver::Actions::Row* TDR_Driver::Actions::find(std::int16_t wanted) {
    static constexpr Row kRows[] = {
        {ipc::kActionEnd, end},
        {ipc::kActionEndAlso, end},
        {ipc::kActionKill, end},
        {ipc::kActionSetPixelFormat, call<&TDR_Driver::setPixelFormat>, 1},
        {ipc::kActionSetBounds, call<&TDR_Driver::setBounds>, 4},
        {ipc::kActionSetTiling, call<&TDR_Driver::setTiling>, 2},
        {ipc::kActionSetStampBounds, call<&TDR_Driver::setStampBounds>, 2},
        {ipc::kActionSetCurrentCell, call<&TDR_Driver::setCurrentCell>, 1},
        {ipc::kActionGetCache, BlockRequests::getCache, 4},
        {ipc::kActionGetLine, BlockRequests::getLine, 5},
        // Kept: Tile requests need 999 longs.
        // A reader would expect the counts of the other transfers. A packet holds 256 longs, so
        // tiles cannot be used, and every request is dropped without a reply.
        {ipc::kActionGetTile, call<&TDR_Driver::getTile>, 999, Text::Any, BadCount::Silent},
        {ipc::kActionGetStamp, BlockRequests::getStamp, 4},
        // Kept: Put cache runs after the error reply.
        // A reader would expect a request with a bad count to end there. It is carried out with the
        // contents of the long slots and answered a second time.
        {ipc::kActionPutCache, BlockRequests::putCache, 4, Text::Any, BadCount::ErrorThenRun},
        {ipc::kActionPutLine, BlockRequests::putLine, 5},
        {ipc::kActionPutTile, call<&TDR_Driver::putTile>, 999, Text::Any, BadCount::Silent},
        {ipc::kActionPutStamp, BlockRequests::putStamp, 4},
        {ipc::kActionSetStartCell, call<&TDR_Driver::setStartCell>, 1},
        // Kept: Set end cell does not answer a bad count.
        // A reader would expect the error reply that set start cell gives.
        {ipc::kActionSetEndCell, call<&TDR_Driver::setEndCell>, 1, Text::Any, BadCount::Silent},
        {ipc::kActionConnectToFile, connectToFile, 2, Text::One},
        {ipc::kActionDisconnectFromFile, disconnectFromFile},
        {ipc::kActionSetPreReadCommand, callWithText<&TDR_Driver::setPreReadCommand>, kAnyLongs,
         Text::OneNotEmpty},
        // Kept: Set post-write command accepts one string or a string area.
        // A reader would expect both conditions, as for the pre-read command. Either is enough
        // here.
        {ipc::kActionSetPostWriteCommand, callWithText<&TDR_Driver::setPostWriteCommand>, kAnyLongs,
         Text::OneOrNotEmpty},
    };
    static_assert(std::ranges::adjacent_find(kRows, std::ranges::greater_equal{}, &Row::code) ==
                  std::end(kRows));
    const Row* const row = std::ranges::find(kRows, wanted, &Row::code);
    return row == std::end(kRows) ? nullptr : row;
}

int TDR_Driver::doActionMessage() {
    using BadCount = Actions::BadCount;
    if (data.numof_cmds < ipc::kCommandWords) {
        return -1;
    }
    const Actions::Row* const row = Actions::find(data.datacmd[ipc::kWordCode]);
    if (row == nullptr) {
        return answer([this] { return otherClass4Response(); });
    }
    const Request request(data);
    if (!Actions::countsFit(*row, data)) {
        if (row->badCount != BadCount::Silent) {
            sendError();
        }
        if (row->badCount != BadCount::ErrorThenRun) {
            return -1;
        }
    }
    return row->run(*this, request);
}
