// SPDX-License-Identifier: MIT
#include "IPC_Link.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

static_assert(std::ranges::adjacent_find(ipc::kMessages, std::ranges::greater_equal{},
                                         [](const ipc::Message& m) {
                                             return std::pair(m.messageClass, m.code);
                                         }) == std::end(ipc::kMessages),
              "messages ascend, none twice");

std::int32_t IPC_Link::population = 0;

void ipc::fillHeader(IPC_DataPacket& p, Ends ends, short messageClass, short command) {
    p.numof_cmds = kCommandWords;
    p.datacmd[kWordSenderId] = ends.localId;
    p.datacmd[kWordSenderSubId] = ends.localSubId;
    p.datacmd[kWordReceiverId] = ends.peerId;
    p.datacmd[kWordReceiverSubId] = ends.peerSubId;
    p.datacmd[kWordClass] = messageClass;
    p.datacmd[kWordCode] = command;
    p.numof_strings = 0;
    p.numof_chars = 0;
    p.numof_longs = 0;
    p.numof_floats = 0;
}

IPC_Link::IPC_Link(short localIdGiven, short localSubIdGiven, IPC_EXEC_MODE execModeGiven,
                   IPC_SIGNAL_MODE signalModeGiven) {
    initialize();
    ++population;
    localId = localIdGiven;
    localSubId = localSubIdGiven;
    execMode = execModeGiven;
    signalMode = signalModeGiven;
}

IPC_Link::~IPC_Link() {
    --population;
}

void IPC_Link::initialize() {
    linkStatus = 0;
    killOnDestroy = 0;
    waitSeconds = 5;
    execMode = IPC_EXEC_ALWAYS;
    signalMode = IPC_SIGNAL_ON;
    shareSocketSet = 0;
    localId = localSubId = ipc::kUnknownId;
    peerId = peerSubId = ipc::kUnknownId;
    packet = {};
}

void IPC_Link::setKillOnDestroy(int kill) {
    killOnDestroy = kill;
}

int IPC_Link::getKillOnDestroy() {
    return killOnDestroy;
}

void IPC_Link::clearData(short messageClass, short command, IPC_DataPacket* p) {
    ipc::fillHeader(*p, {localId, localSubId, peerId, peerSubId}, messageClass, command);
    std::memset(p->chardata, 0, sizeof p->chardata);
    std::memset(p->longdata, 0, sizeof p->longdata);
    std::memset(p->floatdata, 0, sizeof p->floatdata);
}

int IPC_Link::transmit(IPC_DataPacket* p, int stampSender) {
    // Kept: Only the sender's first id is stamped on request.
    // A reader would expect the four identity words to be treated alike. The other three are always
    // written.
    if (stampSender != 0) {
        p->datacmd[ipc::kWordSenderId] = localId;
    }
    p->datacmd[ipc::kWordSenderSubId] = localSubId;
    p->datacmd[ipc::kWordReceiverId] = peerId;
    p->datacmd[ipc::kWordReceiverSubId] = peerSubId;
    return 0;
}

int IPC_Link::receive(IPC_QUEUE_MODE /*queueMode*/, IPC_BLOCKING_MODE /*blockingMode*/,
                      long /*seconds*/, long /*microseconds*/, IPC_DataPacket* p) {
    *p = {};
    return 0;
}

int IPC_Link::transmit_long(short messageClass, short command, long value) {
    clearData(messageClass, command, &packet);
    packet.numof_longs = 1;
    packet.longdata[0] = static_cast<std::int32_t>(value);
    return transmit(&packet, 0);
}

int IPC_Link::transmit_float(short messageClass, short command, float value) {
    clearData(messageClass, command, &packet);
    packet.numof_floats = 1;
    packet.floatdata[0] = value;
    return transmit(&packet, 0);
}

int IPC_Link::transmit_string(short messageClass, short command, const char* s) {
    const std::size_t length = s == nullptr ? ipc::kMaxChars : strnlen(s, ipc::kMaxChars);
    if (length == ipc::kMaxChars) {
        return -1;
    }
    clearData(messageClass, command, &packet);
    packet.numof_strings = 1;
    packet.numof_chars = static_cast<std::int32_t>(length + 1);
    std::memcpy(packet.chardata, s, length);
    return transmit(&packet, 0);
}

bool IPC_Link::receiveExpected(short messageClass, short command) {
    return receive(IPC_QUEUE_SOCKETS, IPC_BLOCKING_TIMED, waitSeconds, 0, &packet) == 1 &&
           packet.numof_cmds == ipc::kCommandWords &&
           packet.datacmd[ipc::kWordClass] == messageClass &&
           packet.datacmd[ipc::kWordCode] == command;
}

int IPC_Link::receive_long(short messageClass, short command, long* out) {
    if (!receiveExpected(messageClass, command) || packet.numof_longs != 1) {
        return -1;
    }
    *out = packet.longdata[0];
    return 1;
}

int IPC_Link::receive_float(short messageClass, short command, float* out) {
    if (!receiveExpected(messageClass, command) || packet.numof_floats != 1) {
        return -1;
    }
    *out = packet.floatdata[0];
    return 1;
}

int IPC_Link::receive_string(short messageClass, short command, char* out) {
    if (!receiveExpected(messageClass, command) || packet.numof_strings != 1 ||
        packet.numof_chars < 1) {
        return -1;
    }
    const std::size_t length = strnlen(packet.chardata, ipc::kMaxChars - 1);
    std::memcpy(out, packet.chardata, length);
    out[length] = '\0';
    return 1;
}
