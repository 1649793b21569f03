// SPDX-License-Identifier: MIT
// The queries of the host: one row and one reply packet each.
#include "TDR_Driver.h"

#include "IPC_LinkIrix.h"
#include "base/diagnostics.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <iterator>

struct TDR_Driver::Queries {
    struct Row {
        std::int16_t code;
        int (*send)(TDR_Driver&);
    };

    template <int (TDR_Driver::*Operation)()>
    static int call(TDR_Driver& driver) {
        return (driver.*Operation)();
    }

    // The query's long count is ignored: the packet was cleared before it was received, so a query
    // without longs means record 0.
    static int callIthFormat(TDR_Driver& driver) {
        return driver.sendIthFormat(driver.data.longdata[0]);
    }

    static constexpr Row kRows[] = {
        {ipc::kQueryAccessModes, call<&TDR_Driver::sendAccessModes>},
        {ipc::kQueryVendorName, call<&TDR_Driver::sendVendorName>},
        {ipc::kQueryFormatCount, call<&TDR_Driver::sendFormatCount>},
        {ipc::kQueryCurrentFormat, call<&TDR_Driver::sendCurrentFormat>},
        {ipc::kQueryIthFormat, callIthFormat},
        {ipc::kQueryBounds, call<&TDR_Driver::sendBounds>},
        {ipc::kQueryTiling, call<&TDR_Driver::sendTiling>},
        {ipc::kQueryStampBounds, call<&TDR_Driver::sendStampBounds>},
        {ipc::kQueryCurrentCell, call<&TDR_Driver::sendCurrentCell>},
        {ipc::kQueryFormatName, call<&TDR_Driver::sendFormatName>},
        {ipc::kQueryStartCell, call<&TDR_Driver::sendStartCell>},
        {ipc::kQueryEndCell, call<&TDR_Driver::sendEndCell>},
        {ipc::kQueryDefaultPreReadCommand, call<&TDR_Driver::sendDefaultPreReadCommand>},
        {ipc::kQueryDefaultPostWriteCommand, call<&TDR_Driver::sendDefaultPostWriteCommand>},
        {ipc::kQueryWriteDirection, call<&TDR_Driver::sendWriteDirection>},
        {ipc::kQueryFileNamingConvention, call<&TDR_Driver::sendFileNamingConvention>},
    };
    static_assert(std::ranges::adjacent_find(kRows, std::ranges::greater_equal{}, &Row::code) ==
                  std::end(kRows));
};

int TDR_Driver::doInfoMessage() {
    if (data.numof_cmds < ipc::kCommandWords) {
        base::say("%s: doInfoMessage() data.numof_cmds < 6 !\n", me);
        return -1;
    }
    const auto* row =
        std::ranges::find(Queries::kRows, data.datacmd[ipc::kWordCode], &Queries::Row::code);
    return sendSafely(row == std::end(Queries::kRows)
                          ? Queries::call<&TDR_Driver::otherClass0Response>
                          : row->send);
}

int TDR_Driver::otherClass0Response() {
    return sendError();
}

// --- Replies -------------------------------------------------------------------------------------

namespace {

constexpr short replyCode(std::int16_t query) {
    return static_cast<short>(query + ipc::kReplyOffset);
}

} // namespace

int TDR_Driver::sendLong(short code, std::int32_t value) {
    return link ? link->transmit_long(ipc::kClassStatus, code, value) : -1;
}

int TDR_Driver::sendLongs(short code, const std::int32_t* values, int count) {
    beginReply(code);
    data.numof_longs = count;
    std::copy_n(values, count, data.longdata);
    return sendReply();
}

/// A text that does not fit a packet gives an error reply: every query gets exactly one packet.
int TDR_Driver::sendText(short code, const char* text) {
    if (std::strlen(text) >= static_cast<std::size_t>(ipc::kMaxChars)) {
        return sendError();
    }
    return link ? link->transmit_string(ipc::kClassStatus, code, text) : -1;
}

int TDR_Driver::sendAccessModes() {
    return sendLong(replyCode(ipc::kQueryAccessModes), accessModes);
}
int TDR_Driver::sendWriteDirection() {
    return sendLong(replyCode(ipc::kQueryWriteDirection), writeDirection);
}
int TDR_Driver::sendVendorName() {
    return sendText(replyCode(ipc::kQueryVendorName), vendorName);
}
int TDR_Driver::sendFormatName() {
    return sendText(replyCode(ipc::kQueryFormatName), formatName);
}
int TDR_Driver::sendFormatCount() {
    return sendLong(replyCode(ipc::kQueryFormatCount), formatCount);
}
int TDR_Driver::sendCurrentFormat() {
    return sendLong(replyCode(ipc::kQueryCurrentFormat), currentFormat);
}
int TDR_Driver::sendBounds() {
    return sendLongs(replyCode(ipc::kQueryBounds), bounds, 4);
}
int TDR_Driver::sendTiling() {
    return sendLongs(replyCode(ipc::kQueryTiling), tiling, 2);
}
int TDR_Driver::sendStampBounds() {
    return sendLongs(replyCode(ipc::kQueryStampBounds), stampBounds, 2);
}
int TDR_Driver::sendCurrentCell() {
    return sendLong(replyCode(ipc::kQueryCurrentCell), currentCell);
}
int TDR_Driver::sendStartCell() {
    return sendLong(replyCode(ipc::kQueryStartCell), startCell);
}
int TDR_Driver::sendEndCell() {
    return sendLong(replyCode(ipc::kQueryEndCell), endCell);
}

int TDR_Driver::sendDefaultPreReadCommand() {
    return sendText(replyCode(ipc::kQueryDefaultPreReadCommand),
                    defaultPreReadCommand ? defaultPreReadCommand.get() : "");
}
int TDR_Driver::sendDefaultPostWriteCommand() {
    return sendText(replyCode(ipc::kQueryDefaultPostWriteCommand),
                    defaultPostWriteCommand ? defaultPostWriteCommand.get() : "");
}

int TDR_Driver::sendIthFormat(int i) {
    beginReply(replyCode(ipc::kQueryIthFormat));
    if (i < 0 || i >= formatCount || formats == nullptr) {
        // Kept: A format that does not exist leaves 0, 8, 8 in slots that are not counted.
        // A reader would expect an error reply or unchanged slots. The reply carries no longs,
        // which marks the end of the format list.
        std::copy_n(std::initializer_list<std::int32_t>{0, 8, 8}.begin(), 3, data.longdata);
        return sendReply();
    }
    const TDR_PixelFormat& format = formats[i];
    const int channels = std::clamp(format.channelCount, 0, 32);
    data.numof_longs = channels + 3;
    data.longdata[0] = channels;
    data.longdata[1] = format.depth1;
    data.longdata[2] = format.depth2;
    std::copy_n(format.channels, channels, data.longdata + 3);
    return sendReply();
}

int TDR_Driver::sendFileNamingConvention() {
    const std::initializer_list<const char*> texts = {namingPrefix, namingExtension,
                                                      namingTemplate};
    std::size_t total = 0;
    for (const char* text : texts) {
        total += std::strlen(text) + 1;
    }
    if (total > sizeof data.chardata) {
        return sendError();
    }
    beginReply(replyCode(ipc::kQueryFileNamingConvention));
    data.numof_strings = static_cast<std::int32_t>(texts.size());
    data.numof_chars = static_cast<std::int32_t>(total);
    char* end = data.chardata;
    for (const char* text : texts) {
        end = std::copy_n(text, std::strlen(text) + 1, end);
    }
    data.numof_longs = 1;
    data.longdata[0] = namingFlag;
    return sendReply();
}
