// SPDX-License-Identifier: MIT
// A driver whose program name selects its behaviour: tests make a link to this program with the
// name of the behaviour. "echo" is the correct driver: it answers every request, and writes the
// request to stderr ("4/1430: 1 2 3 'abc'").
#include "IPC_Codes.h"
#include "IPC_Link.h"
#include "ipc_socket.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::string_view_literals;
using Act = std::function<void()>;

int socketFd = -1;
ipc::Ends me{ipc::kDriverId, ipc::kDriverSubId};
IPC_DataPacket asked;  // the request
IPC_DataPacket answer; // the reply

int code() {
    return asked.datacmd[ipc::kWordCode];
}
bool isPut() {
    return code() >= ipc::kActionPutCache && code() <= ipc::kActionPutStamp;
}

// --- Packets -------------------------------------------------------------------------------------

void begin(int messageClass, int code) {
    answer = {};
    ipc::fillHeader(answer, {me.localId, me.localSubId, asked.datacmd[0], asked.datacmd[1]},
                    static_cast<short>(messageClass), static_cast<short>(code));
}

void sendLongs(int messageClass, int code, const std::vector<int>& longs = {}) {
    begin(messageClass, code);
    std::ranges::copy(longs, answer.longdata);
    answer.numof_longs = static_cast<int>(longs.size());
    sendsockdata(socketFd, &answer);
}

void sendStatus(int code) {
    sendLongs(ipc::kClassStatus, code);
}
void sendNotice() {
    sendLongs(ipc::kClassEvent, ipc::kEventBlockTaken);
}
void replyLongs(const std::vector<int>& longs) {
    sendLongs(ipc::kClassStatus, code() + ipc::kReplyOffset, longs);
}

/// Writes text to stderr in one write.
void say(std::string_view text) {
    (void)!write(STDERR_FILENO, text.data(), text.size());
}

// --- The good driver -----------------------------------------------------------------------------

/// The longs and strings in the answer to a query: one long unless there is a row.
struct Shape {
    int query;
    int longs;
    int strings;
};
constexpr Shape kShapes[] = {
    {ipc::kQueryIthFormat, 5, 0},
    {ipc::kQueryBounds, 4, 0},
    {ipc::kQueryTiling, 2, 0},
    {ipc::kQueryStampBounds, 2, 0},
    {ipc::kQueryVendorName, 0, 1},
    {ipc::kQueryFormatName, 0, 1},
    {ipc::kQueryDefaultPreReadCommand, 0, 1},
    {ipc::kQueryDefaultPostWriteCommand, 0, 1},
    {ipc::kQueryFileNamingConvention, 1, 3},
};

/// Longs 10 * code, 10 * code + 1 ...; strings "code-0", "code-1" ... There are two formats, of two
/// channels.
void answerQuery() {
    const auto* row = std::ranges::find(kShapes, code(), &Shape::query);
    const Shape shape = row != std::end(kShapes) ? *row : Shape{code(), 1, 0};
    const bool isFormat = code() == ipc::kQueryIthFormat;
    begin(ipc::kClassStatus, code() + ipc::kReplyOffset);
    answer.numof_longs = isFormat && asked.longdata[0] >= 2 ? 0 : shape.longs;
    for (int i = 0; i < answer.numof_longs; ++i) {
        answer.longdata[i] = isFormat && i == 0 ? 2 : 10 * code() + i;
    }
    for (; answer.numof_strings < shape.strings; ++answer.numof_strings) {
        const std::string text =
            std::to_string(code()) + "-" + std::to_string(answer.numof_strings);
        std::memcpy(answer.chardata + answer.numof_chars, text.c_str(), text.size() + 1);
        answer.numof_chars += static_cast<int>(text.size()) + 1;
    }
    sendsockdata(socketFd, &answer);
}

void answerQuietly() {
    if (asked.datacmd[ipc::kWordClass] == ipc::kClassInfo) {
        answerQuery();
        return;
    }
    if (isPut()) {
        sendNotice();
    }
    sendStatus(ipc::kStatusOk);
}

void answerWell() {
    std::string line = std::to_string(asked.datacmd[4]) + "/" + std::to_string(code()) + ":";
    for (int i = 0; i < asked.numof_longs; ++i) {
        line += " " + std::to_string(asked.longdata[i]);
    }
    say(line + (asked.numof_strings != 0 ? " '" + std::string(asked.chardata) + "'\n" : "\n"));
    answerQuietly();
}

// --- The acts of the others ----------------------------------------------------------------------

void waitForEver() {
    for (;;) {
        pause();
    }
}

/// Waits until the host has closed the connection.
void awaitEnd() {
    while (readsockdata(socketFd, &asked) == 0 && asked.numof_cmds != 0) {
    }
}

Act remark(const char* line) {
    return [=] { say(std::string(line) + "\n"); };
}
Act leave(int exitStatus) {
    return [=] { _exit(exitStatus); };
}
Act signalItself(int number) {
    return [=] { raise(number); };
}
Act packet(int messageClass, int code) {
    return [=] { sendLongs(messageClass, code); };
}
Act status(int code) {
    return packet(ipc::kClassStatus, code);
}
Act longs(const std::vector<int>& values) {
    return [=] { replyLongs(values); };
}
Act bytes(std::string_view some) {
    return [=] { (void)!send(socketFd, some.data(), some.size(), MSG_NOSIGNAL); };
}

/// A reply that claims so many strings in these bytes.
Act text(std::string_view some, int strings = 1) {
    return [=] {
        begin(ipc::kClassStatus, code() + ipc::kReplyOffset);
        std::ranges::copy(some, answer.chardata);
        answer.numof_chars = static_cast<int>(some.size());
        answer.numof_strings = strings;
        sendsockdata(socketFd, &answer);
    };
}

/// Bytes arrive together until it is taken off.
Act cork(int on) {
    return [=] { setsockopt(socketFd, IPPROTO_TCP, TCP_CORK, &on, sizeof on); };
}

Act atPutLine(const Act& act) {
    return [=] { code() == ipc::kActionPutLine ? act() : void(); };
}

/// A child process that keeps the connection open.
void leaveAnHeir() {
    if (fork() == 0) {
        awaitEnd();
        _exit(0);
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

/// Writes the path to open, without a newline, and accepts files whose name ends in "opens".
void readFile() {
    if (code() != ipc::kActionConnectToFile) {
        answerWell();
        return;
    }
    const std::string_view path(asked.chardata);
    say(path);
    sendStatus(path.ends_with("opens") ? ipc::kStatusOk : ipc::kStatusError);
}

/// Has a black picture of 3 x 2 in every file, also in one that it has written, and reports damage
/// at the action `when`.
Act damageAt(int when) {
    return [=] {
        if (code() == ipc::kQueryBounds) {
            replyLongs({0, 0, 3, 2});
        } else if (code() == ipc::kQueryIthFormat) {
            replyLongs({4, 8, 8, 1, 2, 3, 4});
        } else {
            if (code() == ipc::kActionConnectToFile && asked.longdata[0] == 1) { // for writing
                std::ofstream(asked.chardata) << "written";
            }
            const std::string path = asked.numof_strings != 0 ? asked.chardata : "the picture";
            say(code() == when ? "'" + path + "' is cut short or damaged\n" : "");
            answerQuietly();
        }
    };
}

/// Answers each request with the answer to the previous one; a disconnect fails.
void answerOneBehind() {
    static int held = ipc::kStatusOk;
    if (isPut()) {
        sendNotice();
    }
    sendStatus(held);
    held = code() == ipc::kActionDisconnectFromFile ? ipc::kStatusError : ipc::kStatusOk;
}

void flood() {
    for (int i = 0; i < 20000; ++i) {
        say("still talking, and nobody can stop me from talking on, line " + std::to_string(i) +
            "\n");
    }
}

// --- Behaviours ----------------------------------------------------------------------------------

enum class Stage { BeforeConnecting, InsteadOfInit, InsteadOfOk, AtRequest };

struct Behaviour {
    std::string_view name;
    Stage stage; ///< until then it behaves correctly
    std::vector<Act> acts;
};

constexpr std::string_view kStubborn = "stubborn"; // ignores the end request
constexpr std::string_view kBabble = "GET / HTTP/1.1\r\n\r\n";
constexpr std::string_view kHalf = "\0\0\0\6\0\x66\0\x27\0\1"sv;

const Behaviour kBehaviours[] = {
    {"inherited", Stage::BeforeConnecting, {introduceHeritage}},
    {"dies", Stage::BeforeConnecting, {remark("first line"), remark("no licence found"), leave(7)}},
    {"sendsAnOrphan", Stage::BeforeConnecting, {sendAnOrphan}},
    {"mute", Stage::BeforeConnecting, {waitForEver}},

    {"unheard", Stage::InsteadOfInit, {waitForEver}},
    {"garbage", Stage::InsteadOfInit, {bytes(kBabble)}},
    {"halfInit", Stage::InsteadOfInit, {bytes(kHalf)}},
    {"kill", Stage::InsteadOfInit, {packet(ipc::kClassEvent, ipc::kEventKill)}},
    {"unknown", Stage::InsteadOfInit, {packet(ipc::kClassData, 77)}},
    {"killOfData", Stage::InsteadOfInit, {packet(ipc::kClassData, ipc::kEventKill)}},
    {"requestOfData", Stage::InsteadOfInit, {packet(ipc::kClassData, ipc::kInitRequest)}},
    {"leaves", Stage::InsteadOfInit, {leave(5)}},
    {"closesOneSide", Stage::InsteadOfInit, {[] { shutdown(socketFd, SHUT_WR); }}},
    {"bequeaths", Stage::InsteadOfInit, {leaveAnHeir, leave(5)}},

    {"greeted", Stage::InsteadOfOk, {}}, // it only waits for the end
    {"silent", Stage::InsteadOfOk, {waitForEver}},
    {"errorAtStart",
     Stage::InsteadOfOk,
     {remark("this machine is too old"), status(ipc::kStatusError), waitForEver}},
    {"otherAtStart", Stage::InsteadOfOk, {status(ipc::kInitDataReady + 10), waitForEver}},
    {"diesLate", Stage::InsteadOfOk, {remark("changed my mind"), leave(4)}},

    {"echo", Stage::AtRequest, {answerWell}},
    {kStubborn, Stage::AtRequest, {answerWell}},
    {"refuses", Stage::AtRequest, {remark("cannot do that"), status(ipc::kStatusError)}},
    {"reader", Stage::AtRequest, {readFile}},
    {"black", Stage::AtRequest, {damageAt(0)}},
    {"earlyDamage", Stage::AtRequest, {damageAt(ipc::kActionConnectToFile)}},
    {"lateDamage", Stage::AtRequest, {damageAt(ipc::kActionDisconnectFromFile)}},
    {"exits", Stage::AtRequest, {remark("out of ideas"), leave(9)}},
    {"killsItself", Stage::AtRequest, {remark("about to die"), signalItself(SIGKILL)}},
    {"hangsUp", Stage::AtRequest, {[] { close(socketFd); }, waitForEver}},
    {"freezes", Stage::AtRequest, {signalItself(SIGSTOP)}},
    {"freezesAtPut", Stage::AtRequest, {atPutLine(signalItself(SIGSTOP)), answerWell}},
    {"wrongCode", Stage::AtRequest, {status(1999)}},
    {"tooMany", Stage::AtRequest, {longs({0, 0, 0, 0, 0, 0, 0})}},
    {"oneNegative", Stage::AtRequest, {longs({-1})}},
    {"twoNegatives", Stage::AtRequest, {longs({-1, -1})}},
    {"claimsStrings", Stage::AtRequest, {text("abc", 2000)}},
    {"unterminated", Stage::AtRequest, {text("abc")}},
    {"surplusText", Stage::AtRequest, {text("abc\0def\0"sv)}},
    {"half", Stage::AtRequest, {bytes(kHalf)}},
    {"hugeCount", Stage::AtRequest, {bytes("\x7f\xff\xff\xff")}},
    {"negativeCount", Stage::AtRequest, {bytes("\xff\xff\xff\xff")}},
    {"babbles", Stage::AtRequest, {bytes(kBabble)}},
    {"floods", Stage::AtRequest, {flood, answerWell}},
    {"noNotice", Stage::AtRequest, {status(ipc::kStatusOk)}},
    {"twoNotices",
     Stage::AtRequest,
     {atPutLine(sendNotice), atPutLine(sendNotice), status(ipc::kStatusOk)}},
    {"diesAfterNotice",
     Stage::AtRequest,
     {atPutLine(sendNotice), atPutLine(leave(9)), status(ipc::kStatusOk)}},
    {"diesIdle", Stage::AtRequest, {answerWell, leave(9)}},
    {"leavesAnHeir", Stage::AtRequest, {leaveAnHeir, leave(9)}},
    {"halfThenDies", Stage::AtRequest, {bytes(kHalf), leave(9)}},
    {"twice", Stage::AtRequest, {cork(1), answerWell, answerWell, cork(0)}},
    {"oneBehind", Stage::AtRequest, {answerOneBehind}},
};

/// Sends the init request; true if the answer is that for a started driver.
bool shakeHands() {
    return sendinitrequest(me.localId, me.localSubId, socketFd, &answer) == 0 &&
           getinitdata(me.localId, me.localSubId, socketFd, &asked) == 1 &&
           asked.datacmd[ipc::kWordReceiverId] == me.localId &&
           asked.datacmd[ipc::kWordReceiverSubId] == me.localSubId &&
           asked.datacmd[ipc::kWordClass] == ipc::kClassStatus && asked.numof_longs == 0;
}

/// The next request; false at the end.
bool awaitRequest(const Behaviour& behaviour) {
    readsockdata(socketFd, &asked);
    const bool end =
        asked.numof_cmds == 0 ||
        (asked.datacmd[ipc::kWordClass] == ipc::kClassAction && code() == ipc::kActionKill);
    if (end && behaviour.name == kStubborn) {
        waitForEver();
    }
    return !end;
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
    const auto actsAt = [behaviour](Stage stage) {
        if (behaviour->stage == stage) {
            std::ranges::for_each(behaviour->acts, [](const Act& act) { act(); });
        }
    };
    actsAt(Stage::BeforeConnecting);
    socketFd = getservsock(std::stoi(argv[2]));
    actsAt(Stage::InsteadOfInit);
    if (behaviour->stage != Stage::InsteadOfInit && !shakeHands()) {
        return 1;
    }
    actsAt(Stage::InsteadOfOk);
    if (behaviour->stage != Stage::AtRequest) {
        awaitEnd();
        return 0;
    }
    sendStatus(ipc::kStatusOk);
    while (awaitRequest(*behaviour)) {
        actsAt(Stage::AtRequest);
    }
    return 0;
}
