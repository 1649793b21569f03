// SPDX-License-Identifier: MIT
#include "tinyNotice.h"

#include "tinySoftType.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace {

AnimObserver theObserver = nullptr;
void* theContext = nullptr;
bool lineEndsReported = false;
std::int64_t unknownWord = -1; ///< the last word that was reported as unknown

constexpr std::size_t kDetailSize = 400;

int callsUnderWay = 0;
char failureReason[kDetailSize] = "";
bool failureSaid = false; ///< a separate message has reported it

/// True for notices that result from line ends of another system.
bool followsFromLineEnds(const AnimNotice& notice) {
    const bool ofReading = notice.line > 0;
    return ofReading &&
           (animSeverity(notice.kind) == AnimSeverity::Loss || notice.kind == AnimNoticeKind::Kept);
}

void send(const AnimNotice& notice) {
    if (theObserver != nullptr && !(lineEndsReported && followsFromLineEnds(notice))) {
        theObserver(theContext, notice);
    }
}

/// Records an unknown word; true if it directly follows another one.
bool followsUnknown() {
    const std::int64_t before = std::exchange(unknownWord, notice::place.words);
    return before >= 0 && notice::place.words - before <= 1;
}

void sendFormatted(AnimNotice notice, const char* format, std::va_list arguments) {
    if (theObserver == nullptr) {
        return;
    }
    char detail[kDetailSize];
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller has started them
    std::vsnprintf(detail, sizeof detail, format, arguments);
    notice.detail = detail;
    send(notice);
}

} // namespace

void animSetObserver(AnimObserver observer, void* context) {
    theObserver = observer;
    theContext = context;
}

void animNotify(AnimNoticeKind kind, const char* word, const char* detail) {
    const bool unknown = kind == AnimNoticeKind::UnknownWord;
    const bool ended = unknown && word[0] == '\0';
    send({.kind = ended ? AnimNoticeKind::Missing : kind,
          .word = word,
          .line = notice::place.line,
          .detail = detail,
          .follows = unknown && !ended && followsUnknown()});
}

namespace notice {

Place place;

bool wanted() {
    return theObserver != nullptr;
}

void atLine(AnimNoticeKind kind, const char* word, std::int64_t line, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    sendFormatted({.kind = kind, .word = word, .line = line}, format, arguments);
    va_end(arguments);
}

void atByte(AnimNoticeKind kind, const char* word, std::int64_t byte, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    sendFormatted({.kind = kind, .word = word, .byte = byte}, format, arguments);
    va_end(arguments);
}

void written(AnimNoticeKind kind, const char* word, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    sendFormatted({.kind = kind, .word = word}, format, arguments);
    va_end(arguments);
}

void lineEnds(const char* which) {
    if (!lineEndsReported) {
        animNotify(AnimNoticeKind::LineEnds, which);
        lineEndsReported = true;
    }
}

void newFile() {
    lineEndsReported = false;
    unknownWord = -1;
}

void UnknownRun::add(const char* word) {
    if (!told_) {
        send({.kind = AnimNoticeKind::UnknownWord,
              .word = word,
              .line = notice::place.line,
              .follows = std::exchange(begun_, true)});
    }
}

const char* reasonOf(int error) {
    return error == ENOMEM ? "out of memory" : std::strerror(error != 0 ? error : EIO);
}

Call::Call(const char* doing, const char* fileName) : doing_(doing), fileName_(fileName) {
    if (callsUnderWay++ == 0) {
        failureReason[0] = '\0';
        failureSaid = false;
        errno = 0;
    }
}

Call::~Call() {
    if (--callsUnderWay != 0 || failureReason[0] == '\0') {
        return;
    }
    const int error = errno;
    if (fileName_ != nullptr && !failureSaid) {
        optionPrint("Unable to %s file '%s': %s.\n", doing_, fileName_, failureReason);
    }
    const bool writing = doing_ != nullptr && std::strcmp(doing_, "write") == 0;
    send({.kind = AnimNoticeKind::Failed,
          .word = "",
          .line = writing ? 0 : notice::place.line,
          .detail = failureReason});
    errno = error;
}

void Call::fail(const char* format, ...) {
    if (failureReason[0] != '\0') {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start above is not understood
    std::vsnprintf(failureReason, sizeof failureReason, format, arguments);
    va_end(arguments);
}

void Call::failAsSaid(const char* reason) {
    failureSaid = failureReason[0] == '\0';
    fail("%s", reason);
}

bool Call::good(std::FILE* stream) {
    if (std::ferror(stream) != 0) {
        failForSystem(errno);
    }
    return !failed();
}

bool Call::failed() {
    return failureReason[0] != '\0';
}

} // namespace notice
