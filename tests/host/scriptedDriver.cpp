// SPDX-License-Identifier: MIT
// A driver that behaves as its program's name says: tests link to this program under the name of
// the behaviour they want. "echo" is the good one: it answers every request, and writes what it
// was asked to stderr ("4/1430: 1 2 3 'abc'").
#include "IPC_Codes.h"
#include "IPC_Link.h"
#include "ipc_socket.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int socketFd = -1;
IPC_DataPacket asked;  // the request
IPC_DataPacket answer; // the reply

[[noreturn]] void waitForEver() {
    for (;;) {
        pause();
    }
}

/// Writes a line as one piece.
void remark(const std::string& line) {
    const std::string whole = line + "\n";
    (void)!write(STDERR_FILENO, whole.data(), whole.size());
}

void begin(int messageClass, int code) {
    answer = {};
    answer.numof_cmds = ipc::kCommandWords;
    const int words[] = {ipc::kDriverId,   ipc::kDriverSubId, asked.datacmd[0],
                         asked.datacmd[1], messageClass,      code};
    for (int i = 0; i < ipc::kCommandWords; ++i) {
        answer.datacmd[i] = static_cast<short>(words[i]);
    }
}

void addString(std::string_view text) {
    std::memcpy(answer.chardata + answer.numof_chars, text.data(), text.size());
    answer.numof_chars += static_cast<int>(text.size()) + 1;
    ++answer.numof_strings;
}

void send() {
    sendsockdata(socketFd, &answer);
}

void sendStatus(int code) {
    begin(ipc::kClassStatus, code);
    send();
}

void sendRaw(const void* bytes, std::size_t size) {
    (void)!::send(socketFd, bytes, size, MSG_NOSIGNAL);
}

int code() {
    return asked.datacmd[ipc::kWordCode];
}

// --- The good driver -----------------------------------------------------------------------------

struct QueryShape {
    int longs;
    int strings;
};

QueryShape shapeOfQuery(int query) {
    switch (query) {
    case ipc::kQueryIthFormat:
        return {asked.longdata[0] < 2 ? 5 : 0, 0};
    case ipc::kQueryBounds:
        return {4, 0};
    case ipc::kQueryTiling:
    case ipc::kQueryStampBounds:
        return {2, 0};
    case ipc::kQueryVendorName:
    case ipc::kQueryFormatName:
    case ipc::kQueryDefaultPreReadCommand:
    case ipc::kQueryDefaultPostWriteCommand:
        return {0, 1};
    case ipc::kQueryFileNamingConvention:
        return {1, 3};
    default:
        return {1, 0};
    }
}

/// Longs 10 * code, 10 * code + 1 ...; strings "code-0", "code-1" ...
void answerQuery() {
    const QueryShape shape = shapeOfQuery(code());
    begin(ipc::kClassStatus, code() + ipc::kReplyOffset);
    answer.numof_longs = shape.longs;
    for (int i = 0; i < shape.longs; ++i) {
        answer.longdata[i] = 10 * code() + i;
    }
    if (code() == ipc::kQueryIthFormat) {
        answer.longdata[0] = 2; // the number of channels
    }
    for (int i = 0; i < shape.strings; ++i) {
        addString(std::to_string(code()) + "-" + std::to_string(i));
    }
    send();
}

void echoRequest() {
    std::string line = std::to_string(asked.datacmd[4]) + "/" + std::to_string(code()) + ":";
    for (int i = 0; i < asked.numof_longs; ++i) {
        line += " " + std::to_string(asked.longdata[i]);
    }
    if (asked.numof_strings != 0) {
        line += " '" + std::string(asked.chardata) + "'";
    }
    remark(line);
}

bool isPut(int action) {
    return action >= ipc::kActionPutCache && action <= ipc::kActionPutStamp;
}

void answerWell() {
    echoRequest();
    if (asked.datacmd[ipc::kWordClass] == ipc::kClassInfo) {
        answerQuery();
        return;
    }
    if (isPut(code())) {
        begin(ipc::kClassEvent, ipc::kEventBlockTaken);
        send();
    }
    sendStatus(ipc::kStatusOk);
}

// --- The others ----------------------------------------------------------------------------------

void refuse() {
    remark("cannot do that");
    sendStatus(ipc::kStatusError);
}

void exitNow() {
    remark("out of ideas");
    _exit(9);
}

void killItself() {
    remark("about to die");
    raise(SIGKILL);
}

void hangUp() {
    close(socketFd);
    waitForEver();
}

void freeze() {
    raise(SIGSTOP);
}

void freezeAtPut() {
    if (code() == ipc::kActionPutLine) {
        raise(SIGSTOP);
    } else {
        answerWell();
    }
}

void answerWrongCode() {
    sendStatus(1999);
}

void answerTooMany() {
    begin(ipc::kClassStatus, code() + ipc::kReplyOffset);
    answer.numof_longs = 7;
    send();
}

void claimStrings() {
    begin(ipc::kClassStatus, code() + ipc::kReplyOffset);
    answer.numof_strings = 2000;
    answer.numof_chars = 3;
    std::memcpy(answer.chardata, "abc", 3); // and no zero byte
    send();
}

void sendHalf() {
    const unsigned char half[] = {0, 0, 0, 6, 0, 102, 0, 39, 0, 1};
    sendRaw(half, sizeof half);
    waitForEver();
}

void sendHugeCount() {
    const unsigned char huge[] = {0x7f, 0xff, 0xff, 0xff};
    sendRaw(huge, sizeof huge);
    waitForEver();
}

void sendNegativeCount() {
    const unsigned char negative[] = {0xff, 0xff, 0xff, 0xff};
    sendRaw(negative, sizeof negative);
    waitForEver();
}

void babble() {
    const char text[] = "GET / HTTP/1.1\r\n\r\n";
    sendRaw(text, sizeof text - 1);
    waitForEver();
}

void flood() {
    for (int i = 0; i < 20000; ++i) {
        remark("still talking, and nobody can stop me from talking on, line " + std::to_string(i));
    }
    answerWell();
}

/// Puts answered without the notice.
void forgetNotice() {
    sendStatus(ipc::kStatusOk);
}

struct Behaviour {
    const char* name;
    void (*request)();     ///< what it does with a request
    bool stubborn = false; ///< does not end when told to
};

constexpr Behaviour kBehaviours[] = {
    {"echo", answerWell},
    {"stubborn", answerWell, true},
    {"refuses", refuse},
    {"exits", exitNow},
    {"killsItself", killItself},
    {"hangsUp", hangUp},
    {"freezes", freeze},
    {"freezesAtPut", freezeAtPut},
    {"wrongCode", answerWrongCode},
    {"tooMany", answerTooMany},
    {"claimsStrings", claimStrings},
    {"half", sendHalf},
    {"hugeCount", sendHugeCount},
    {"negativeCount", sendNegativeCount},
    {"babbles", babble},
    {"floods", flood},
    {"noNotice", forgetNotice},
};

void serve(const Behaviour& behaviour) {
    for (;;) {
        readsockdata(socketFd, &asked);
        const bool end =
            asked.numof_cmds == 0 ||
            (asked.datacmd[ipc::kWordClass] == ipc::kClassAction && code() == ipc::kActionKill);
        if (end && !behaviour.stubborn) {
            return;
        }
        if (end) {
            waitForEver();
        }
        behaviour.request();
    }
}

/// Behaviours before the start-up OK, by name.
void misbehaveBeforeConnecting(std::string_view name) {
    if (name == "dies") {
        remark("first line");
        remark("no licence found");
        _exit(7);
    }
    if (name == "mute") {
        waitForEver();
    }
}

void misbehaveInsteadOfOk(std::string_view name) {
    if (name == "silent") {
        waitForEver();
    }
    if (name == "errorAtStart") {
        remark("this machine is too old");
        sendStatus(ipc::kStatusError);
        waitForEver();
    }
    if (name == "diesLate") {
        remark("changed my mind");
        _exit(4);
    }
}

} // namespace

int main(int, char** argv) {
    std::string name = argv[0];
    name = name.substr(name.rfind('/') + 1);
    if (name.ends_with("Filter")) {
        name.resize(name.size() - std::strlen("Filter"));
    }
    misbehaveBeforeConnecting(name);
    socketFd = getservsock(std::stoi(argv[2]));
    if (name == "garbage") {
        babble();
    }
    if (name == "halfInit") {
        sendHalf();
    }
    sendinitrequest(ipc::kDriverId, ipc::kDriverSubId, socketFd, &answer);
    if (getinitdata(ipc::kDriverId, ipc::kDriverSubId, socketFd, &asked) != 1) {
        return 1;
    }
    misbehaveInsteadOfOk(name);
    sendStatus(ipc::kStatusOk);
    for (const Behaviour& behaviour : kBehaviours) {
        if (name == behaviour.name) {
            serve(behaviour);
            return 0;
        }
    }
    return 2;
}
