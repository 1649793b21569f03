// SPDX-License-Identifier: MIT
// State, defaults and the event loop. Queries, actions and files are in other sources.
#include "TDR_Driver.h"

#include "IPC_LinkIrix.h"
#include "attempt.h"
#include "base/diagnostics.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>

int gExitFlag = 0;
char gInvocationName[256] = "";

namespace {

constexpr const char* gMe = "IPC Driver (Base Class)";
constexpr const char* gVersion = "TDR " TDR_VERSION;
constexpr const char* gVendorName = "Tarvo Works";
constexpr const char* gFormatName = "(none)";

} // namespace

TDR_Driver::TDR_Driver(int port) {
    initialize();
    if (port == 0) {
        return;
    }
    link.reset(new (std::nothrow) IPC_LinkIrix(ipc::kDriverId, ipc::kDriverSubId, port));
    if (!link || link->linkStatus != 0) {
        base::say("%s: Problem connecting to parent on port %d\n", me, port);
        link.reset();
        status = 1;
    }
}

TDR_Driver::~TDR_Driver() {
    cleanup();
}

void TDR_Driver::initialize() {
    status = 0;
    me = gMe;
    version = gVersion;
    vendorName = gVendorName;
    formatName = gFormatName;
    namingPrefix = "";
    namingExtension = "";
    namingFlag = 0;
    namingTemplate = "";
    ipcProcessType = ipc::kDriverId;
    ipcProcessId = ipc::kDriverSubId;
    accessModes = 0;
    writeDirection = 0;
    currentFormat = -1;
    formatCount = 0;
    formats = nullptr;
    bounds[0] = bounds[1] = 0;
    bounds[2] = bounds[3] = -1;
    stampBounds[0] = stampBounds[1] = 0;
    tiling[0] = tiling[1] = 1;
    currentCell = std::numeric_limits<std::int32_t>::max();
    std::snprintf(fileName, sizeof fileName, "unused");
    cellChanged = 0;
    startCell = std::numeric_limits<std::int32_t>::min();
    endCell = std::numeric_limits<std::int32_t>::max();
    data = IPC_DataPacket{};
    blockBytes = 0;
}

void TDR_Driver::cleanup() {
    link.reset();
    // A driver with files calls this from its own destructor, so nothing is open when ours runs.
    // NOLINTBEGIN(clang-analyzer-optin.cplusplus.VirtualCall)
    if (attempt(me, [this] { return disconnectFromFile(); }) == 1) {
        runAround(&TDR_Driver::executePostWriteCommand);
    }
    // NOLINTEND(clang-analyzer-optin.cplusplus.VirtualCall)
    preReadCommand.reset();
    postWriteCommand.reset();
    defaultPreReadCommand.reset();
    defaultPostWriteCommand.reset();
}

int TDR_Driver::handleEvent() {
    return waitForIPCMessage();
}

int TDR_Driver::waitForIPCMessage() {
    using Handler = int (TDR_Driver::*)();
    static constexpr std::array<Handler, std::size(ipc::kClassNames)> kHandlers = {
        &TDR_Driver::doInfoMessage,       // ipc::kClassInfo
        &TDR_Driver::doStatusMessage,     // ipc::kClassStatus
        &TDR_Driver::doEventNotification, // ipc::kClassEvent
        &TDR_Driver::doInitMessage,       // ipc::kClassInit
        &TDR_Driver::doActionMessage,     // ipc::kClassAction
        &TDR_Driver::doDataMessage,       // ipc::kClassData
        &TDR_Driver::doMiscMessage,       // ipc::kClassMisc
    };

    // A driver without a link is treated like one whose link has broken.
    const int result =
        link ? link->receive(IPC_QUEUE_SOCKETS, IPC_BLOCKING_FOREVER, 0, 0, &data) : -2;
    if (result == -2) {
        // Kept: After a broken link the last packet is examined once more.
        // A reader would expect the event to end here. Instead the buffer goes through the checks
        // below like a new packet: a reply is addressed to the host and dropped, an unanswered
        // request is carried out again. The loop ends after this event.
        gExitFlag = 1;
    } else if (result == -1 || result == 0) {
        base::say("%s: Error reading socket data (%d)\n", me, result);
        return result;
    }
    constexpr int kWordsUpToClass = ipc::kWordClass + 1;
    if (data.numof_cmds < kWordsUpToClass || data.datacmd[ipc::kWordReceiverId] != ipcProcessType ||
        data.datacmd[ipc::kWordReceiverSubId] != ipcProcessId) {
        return result;
    }
    const auto messageClass = static_cast<std::uint16_t>(data.datacmd[ipc::kWordClass]);
    if (messageClass >= kHandlers.size()) {
        base::say("%s: Ignoring IPC message of unknown class...\n", me);
        return result;
    }
    (this->*kHandlers[messageClass])();
    return result;
}

int TDR_Driver::doStatusMessage() {
    return 0;
}
int TDR_Driver::doInitMessage() {
    return 0;
}
int TDR_Driver::doDataMessage() {
    return 0;
}
int TDR_Driver::doMiscMessage() {
    return 0;
}

int TDR_Driver::doEventNotification() {
    if (data.numof_cmds < ipc::kCommandWords) {
        base::say("%s: doEventNotification() data.numof_cmds < 6 !\n", me);
        return -1;
    }
    if (data.datacmd[ipc::kWordCode] == ipc::kEventParentDied) {
        parentDied();
        return 0;
    }
    return sendSafely([](TDR_Driver& driver) { return driver.otherClass2Response(); });
}

void TDR_Driver::parentDied() {
    gExitFlag = 1;
}
int TDR_Driver::otherClass2Response() {
    return sendError();
}
int TDR_Driver::devicePredicate() {
    return 0;
}

void TDR_Driver::beginReply(short code) {
    if (link) {
        link->clearData(ipc::kClassStatus, code, &data);
    }
}

int TDR_Driver::sendReply() {
    return link ? link->transmit(&data, 0) : -1;
}

int TDR_Driver::sendOK() {
    beginReply(ipc::kStatusOk);
    return sendReply();
}

int TDR_Driver::sendError() {
    beginReply(ipc::kStatusError);
    return sendReply();
}

int TDR_Driver::reply(int result) {
    return result == -1 ? sendError() : sendOK();
}

/// Calls an operation that sends its own reply; answers with an error if it throws.
int TDR_Driver::sendSafely(int (*send)(TDR_Driver& driver)) {
    constexpr int kThrown = std::numeric_limits<int>::min(); // no result of a transmit
    const int result = attempt(
        me, [&] { return send(*this); }, kThrown);
    return result == kThrown ? sendError() : result;
}

bool TDR_Driver::closeOpenFile() {
    const int result = disconnectFromFile();
    if (result == 1) {
        runAround(&TDR_Driver::executePostWriteCommand);
    }
    return result != -1;
}

/// Runs an outside command before or after a request, whose answer does not depend on it.
void TDR_Driver::runAround(int (TDR_Driver::*command)()) {
    attempt(me, [&] { return (this->*command)(); });
}
