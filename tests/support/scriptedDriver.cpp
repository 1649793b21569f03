// SPDX-License-Identifier: MIT
// A driver whose program name selects its behaviour: tests make a link to this program with the
// name of the behaviour. "echo" is the correct driver: it answers every request, and writes the
// request to stderr ("4/1430: 1 2 3 'abc'").
#include "IPC_Codes.h"
#include "IPC_Link.h"
#include "ipc_socket.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int socketFd = -1;
ipc::Ends me{ipc::kDriverId, ipc::kDriverSubId};
IPC_DataPacket asked;  // the request
IPC_DataPacket answer; // the reply

[[noreturn]] void waitForEver() {
    for (;;) {
        pause();
    }
}

/// Waits until the host has closed the connection.
void awaitEnd() {
    while (readsockdata(socketFd, &asked) == 0 && asked.numof_cmds != 0) {
    }
}

/// Writes a line in one write.
void remark(const std::string& line) {
    const std::string whole = line + "\n";
    (void)!write(STDERR_FILENO, whole.data(), whole.size());
}

void begin(int messageClass, int code) {
    answer = {};
    ipc::fillHeader(answer, {me.localId, me.localSubId, asked.datacmd[0], asked.datacmd[1]},
                    static_cast<short>(messageClass), static_cast<short>(code));
}

void addString(std::string_view text) {
    std::memcpy(answer.chardata + answer.numof_chars, text.data(), text.size());
    answer.numof_chars += static_cast<int>(text.size()) + 1;
    ++answer.numof_strings;
}

void send() {
    sendsockdata(socketFd, &answer);
}

void sendEmpty(int messageClass, int code) {
    begin(messageClass, code);
    send();
}
void sendStatus(int code) {
    sendEmpty(ipc::kClassStatus, code);
}

/// Sends only these bytes.
void sendOnly(std::string_view bytes) {
    (void)!::send(socketFd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    awaitEnd();
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

void answerQuietly() {
    if (asked.datacmd[ipc::kWordClass] == ipc::kClassInfo) {
        answerQuery();
        return;
    }
    if (isPut(code())) {
        sendEmpty(ipc::kClassEvent, ipc::kEventBlockTaken);
    }
    sendStatus(ipc::kStatusOk);
}

void answerWell() {
    echoRequest();
    answerQuietly();
}

// --- The others: before they have connected ------------------------------------------------------

/// Reports by its ids what it has inherited: signals with a wrong action, and sockets.
void introduceHeritage() {
    const auto isIgnored = [](int number) {
        struct sigaction now {};
        sigaction(number, nullptr, &now);
        return now.sa_handler == SIG_IGN;
    };
    sigset_t mask;
    sigprocmask(SIG_BLOCK, nullptr, &mask);
    me.localId = static_cast<short>((isIgnored(SIGCHLD) ? 1 : 0) | (isIgnored(SIGPIPE) ? 2 : 0) |
                                    (sigisemptyset(&mask) == 0 ? 4 : 0));
    me.localSubId = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const auto target = std::filesystem::read_symlink(entry.path(), gone).string();
        me.localSubId = static_cast<short>(me.localSubId + (target.starts_with("socket:") ? 1 : 0));
    }
}

/// Waits for ever, while an orphan process, which the host did not start, continues in its place.
void sendAnOrphan() {
    if (fork() != 0) {
        waitForEver();
    }
    const pid_t between = getpid();
    if (fork() != 0) {
        _exit(0);
    }
    while (getppid() == between) {
        usleep(1000);
    }
}

void dieEarly() {
    remark("first line");
    remark("no licence found");
    _exit(7);
}

// --- Instead of the init request -----------------------------------------------------------------

/// A packet in place of the init request.
template <int messageClass, int code>
void introduceAs() {
    asked.datacmd[0] = asked.datacmd[1] = -1;
    sendEmpty(messageClass, code);
    awaitEnd();
}

void babble() {
    sendOnly("GET / HTTP/1.1\r\n\r\n");
}
void sendHalf() {
    sendOnly({"\0\0\0\6\0\x66\0\x27\0\1", 10});
}

/// Closes its side of the connection and runs until the host has closed the other.
void closeOneSide() {
    shutdown(socketFd, SHUT_WR);
    awaitEnd();
}

/// Ends, while a child process keeps the connection open.
void bequeath() {
    if (fork() == 0) {
        awaitEnd();
        _exit(0);
    }
    _exit(5);
}

// --- Instead of the start-up OK ------------------------------------------------------------------

void answerErrorAtStart() {
    remark("this machine is too old");
    sendStatus(ipc::kStatusError);
    waitForEver();
}

void answerOtherAtStart() {
    sendStatus(ipc::kInitDataReady + 10);
    waitForEver();
}

void dieLate() {
    remark("changed my mind");
    _exit(4);
}

// --- At a request --------------------------------------------------------------------------------

void refuse() {
    remark("cannot do that");
    sendStatus(ipc::kStatusError);
}

/// Writes the path to open, without a newline, and accepts files whose name ends in "opens".
void readFile() {
    if (code() != ipc::kActionConnectToFile) {
        answerWell();
        return;
    }
    const std::string_view path(asked.chardata);
    (void)!write(STDERR_FILENO, path.data(), path.size());
    sendStatus(path.ends_with("opens") ? ipc::kStatusOk : ipc::kStatusError);
}

void answerLongs(std::initializer_list<int> longs) {
    begin(ipc::kClassStatus, code() + ipc::kReplyOffset);
    std::ranges::copy(longs, answer.longdata);
    answer.numof_longs = static_cast<int>(longs.size());
    send();
}

/// Has a picture of 3 x 2 in every file, and reports damage at the action `when`.
template <int when>
void findDamage() {
    if (code() == ipc::kQueryBounds) {
        answerLongs({0, 0, 3, 2});
        return;
    }
    if (code() == ipc::kQueryIthFormat) {
        answerLongs({4, 8, 8, 1, 2, 3, 4});
        return;
    }
    if (code() == when) {
        const std::string path = asked.numof_strings != 0 ? asked.chardata : "the picture";
        remark("'" + path + "' is cut short or damaged");
    }
    answerQuietly();
}

void exitNow() {
    remark("out of ideas");
    _exit(9);
}

/// Ends, while a child process keeps the connection open.
void leaveAnHeir() {
    if (fork() == 0) {
        awaitEnd();
        _exit(0);
    }
    _exit(9);
}

void sendHalfAndDie() {
    (void)!write(socketFd, "\0\0\0\6\0\x66", 6);
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

/// Replies with one string of these bytes.
void answerText(std::string_view bytes) {
    begin(ipc::kClassStatus, code() + ipc::kReplyOffset);
    addString(bytes);
    answer.numof_chars = static_cast<int>(bytes.size());
    send();
}

void answerNegatives() {
    begin(ipc::kClassStatus, code() + ipc::kReplyOffset);
    answer.numof_longs = code() == ipc::kQueryFormatCount ? 1 : 2;
    std::fill_n(answer.longdata, 2, -1);
    send();
}

/// Sends both answers in one write, so that they arrive together.
void answerTwice() {
    const auto cork = [](int on) { setsockopt(socketFd, IPPROTO_TCP, TCP_CORK, &on, sizeof on); };
    cork(1);
    answerWell();
    answerWell();
    cork(0);
}

/// Answers each request with the answer to the previous one; a disconnect fails.
void answerOneBehind() {
    static int held = ipc::kStatusOk;
    if (isPut(code())) {
        sendEmpty(ipc::kClassEvent, ipc::kEventBlockTaken);
    }
    sendStatus(held);
    held = code() == ipc::kActionDisconnectFromFile ? ipc::kStatusError : ipc::kStatusOk;
}

void sendHugeCount() {
    sendOnly("\x7f\xff\xff\xff");
}
void sendNegativeCount() {
    sendOnly("\xff\xff\xff\xff");
}

void flood() {
    for (int i = 0; i < 20000; ++i) {
        remark("still talking, and nobody can stop me from talking on, line " + std::to_string(i));
    }
    answerWell();
}

/// Answers a put after this many notices; with a negative number it dies instead of answering.
template <int notices>
void announce() {
    for (int i = 0; isPut(code()) && i < std::abs(notices); ++i) {
        sendEmpty(ipc::kClassEvent, ipc::kEventBlockTaken);
    }
    if (isPut(code()) && notices < 0) {
        _exit(9);
    }
    sendStatus(ipc::kStatusOk);
}

enum class Stage { BeforeConnecting, InsteadOfInit, InsteadOfOk, AtRequest };

struct Behaviour {
    const char* name;
    Stage stage; ///< until then it behaves correctly
    void (*run)();
};

constexpr const char* kStubborn = "stubborn"; // ignores the end request

constexpr Behaviour kBehaviours[] = {
    {"inherited", Stage::BeforeConnecting, introduceHeritage},
    {"dies", Stage::BeforeConnecting, dieEarly},
    {"sendsAnOrphan", Stage::BeforeConnecting, sendAnOrphan},
    {"mute", Stage::BeforeConnecting, waitForEver},
    {"unheard", Stage::InsteadOfInit, waitForEver},
    {"garbage", Stage::InsteadOfInit, babble},
    {"halfInit", Stage::InsteadOfInit, sendHalf},
    {"kill", Stage::InsteadOfInit, introduceAs<ipc::kClassEvent, ipc::kEventKill>},
    {"unknown", Stage::InsteadOfInit, introduceAs<ipc::kClassData, 77>},
    {"killOfData", Stage::InsteadOfInit, introduceAs<ipc::kClassData, ipc::kEventKill>},
    {"requestOfData", Stage::InsteadOfInit, introduceAs<ipc::kClassData, ipc::kInitRequest>},
    {"leaves", Stage::InsteadOfInit, [] { _exit(5); }},
    {"closesOneSide", Stage::InsteadOfInit, closeOneSide},
    {"bequeaths", Stage::InsteadOfInit, bequeath},
    {"greeted", Stage::InsteadOfOk, [] {}}, // it only waits
    {"silent", Stage::InsteadOfOk, waitForEver},
    {"errorAtStart", Stage::InsteadOfOk, answerErrorAtStart},
    {"otherAtStart", Stage::InsteadOfOk, answerOtherAtStart},
    {"diesLate", Stage::InsteadOfOk, dieLate},
    {"echo", Stage::AtRequest, answerWell},
    {kStubborn, Stage::AtRequest, answerWell},
    {"refuses", Stage::AtRequest, refuse},
    {"reader", Stage::AtRequest, readFile},
    {"earlyDamage", Stage::AtRequest, findDamage<ipc::kActionConnectToFile>},
    {"lateDamage", Stage::AtRequest, findDamage<ipc::kActionDisconnectFromFile>},
    {"exits", Stage::AtRequest, exitNow},
    {"killsItself", Stage::AtRequest, killItself},
    {"hangsUp", Stage::AtRequest, hangUp},
    {"freezes", Stage::AtRequest, freeze},
    {"freezesAtPut", Stage::AtRequest, freezeAtPut},
    {"wrongCode", Stage::AtRequest, answerWrongCode},
    {"tooMany", Stage::AtRequest, answerTooMany},
    {"claimsStrings", Stage::AtRequest, claimStrings},
    {"half", Stage::AtRequest, sendHalf},
    {"hugeCount", Stage::AtRequest, sendHugeCount},
    {"negativeCount", Stage::AtRequest, sendNegativeCount},
    {"babbles", Stage::AtRequest, babble},
    {"floods", Stage::AtRequest, flood},
    {"noNotice", Stage::AtRequest, announce<0>},
    {"twoNotices", Stage::AtRequest, announce<2>},
    {"diesAfterNotice", Stage::AtRequest, announce<-1>},
    {"diesIdle", Stage::AtRequest,
     [] {
         answerWell();
         _exit(9);
     }},
    {"leavesAnHeir", Stage::AtRequest, leaveAnHeir},
    {"halfThenDies", Stage::AtRequest, sendHalfAndDie},
    {"unterminated", Stage::AtRequest, [] { answerText("abc"); }},
    {"surplusText", Stage::AtRequest, [] { answerText(std::string_view("abc\0def\0", 8)); }},
    {"negatives", Stage::AtRequest, answerNegatives},
    {"twice", Stage::AtRequest, answerTwice},
    {"oneBehind", Stage::AtRequest, answerOneBehind},
};

/// Sends the init request; true if the answer is that for a started driver.
bool shakeHands() {
    return sendinitrequest(me.localId, me.localSubId, socketFd, &answer) == 0 &&
           getinitdata(me.localId, me.localSubId, socketFd, &asked) == 1 &&
           asked.datacmd[ipc::kWordReceiverId] == me.localId &&
           asked.datacmd[ipc::kWordReceiverSubId] == me.localSubId &&
           asked.datacmd[ipc::kWordClass] == ipc::kClassStatus && asked.numof_longs == 0;
}

void serve(const Behaviour& behaviour) {
    for (;;) {
        readsockdata(socketFd, &asked);
        const bool end =
            asked.numof_cmds == 0 ||
            (asked.datacmd[ipc::kWordClass] == ipc::kClassAction && code() == ipc::kActionKill);
        if (end && behaviour.name != kStubborn) {
            return;
        }
        if (end) {
            waitForEver();
        }
        behaviour.run();
    }
}

} // namespace

int main(int argc, char** argv) {
    std::string name = std::filesystem::path(argv[0]).filename();
    if (name.ends_with("Filter")) {
        name.resize(name.size() - std::strlen("Filter"));
    }
    const auto* behaviour = std::ranges::find(kBehaviours, name, &Behaviour::name);
    if (behaviour == std::end(kBehaviours) || argc != 3 ||
        std::strcmp(argv[1], "-ipc_link_port") != 0) {
        return 64;
    }
    const auto runAt = [behaviour](Stage stage) {
        if (behaviour->stage == stage) {
            behaviour->run();
        }
        return behaviour->stage == stage;
    };
    runAt(Stage::BeforeConnecting);
    socketFd = getservsock(std::stoi(argv[2]));
    if (runAt(Stage::InsteadOfInit)) {
        return 0;
    }
    if (!shakeHands()) {
        return 1;
    }
    if (behaviour->stage == Stage::AtRequest) {
        sendStatus(ipc::kStatusOk);
        serve(*behaviour);
    } else {
        runAt(Stage::InsteadOfOk);
        awaitEnd();
    }
    return 0;
}
