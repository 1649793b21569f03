// SPDX-License-Identifier: MIT
// How the readers and writers of text and scene files report: notices to the observer, and the
// reason why a call fails.
#pragma once

#include "tinyAnimNotice.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace notice {

/// The position of the text reader, which sets it with every word.
struct Place {
    std::int64_t line = 1;  ///< on which the last word began
    std::int64_t words = 0; ///< begun so far
};
extern Place place;

/// True while there is an observer; only then are expensive checks made.
[[nodiscard]] bool wanted();

/// Sends one notice with its position. `format` and its arguments make the detail.
[[gnu::format(printf, 4, 5)]] void atLine(AnimNoticeKind kind, const char* word, std::int64_t line,
                                          const char* format, ...);
[[gnu::format(printf, 4, 5)]] void atByte(AnimNoticeKind kind, const char* word, std::int64_t byte,
                                          const char* format, ...);

/// Sends one notice of a writer, without a position.
[[gnu::format(printf, 3, 4)]] void written(AnimNoticeKind kind, const char* word,
                                           const char* format, ...);

/// What ends the noun behind a number.
[[nodiscard]] constexpr const char* plural(std::int64_t count) {
    return count == 1 ? "" : "s";
}

/// Reports line ends of another system once, and suppresses the notices that result from them until
/// the line number is set again.
void lineEnds(const char* which);

/// Starts a new file, for which line ends have not been reported.
void newFile();

/// Unknown words without a known one between them have one cause: those after the first are
/// reported as following it.
class UnknownRun {
  public:
    /// Reports an unknown word on the line of the last token.
    void add(const char* word);

    /// Records that a cause has been reported: unknown words directly after it follow from it.
    void reported() { told_ = true; }

    /// A known word follows.
    void end() { begun_ = told_ = false; }

  private:
    bool begun_ = false;
    bool told_ = false;
};

/// The system's reason for a failed request: `error` is an errno, or 0 if there is none.
[[nodiscard]] const char* reasonOf(int error);

/// One public call that reads or writes. Calls nest: the outermost begins without a failure and, at
/// its end, reports the first one that was set, to the observer and on the message stream.
class Call {
  public:
    /// `doing` and `fileName` ("read", "x.scn") make the message; without them there is none.
    explicit Call(const char* doing = nullptr, const char* fileName = nullptr);
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// Sets the reason why the current call fails, unless one is set.
    [[gnu::format(printf, 1, 2)]] static void fail(const char* format, ...);
    static void failForMemory() { fail("out of memory"); }

    /// As `fail`, after a separate message has reported the reason.
    static void failAsSaid(const char* reason);

    /// As `fail`, with the system's reason for a failed request.
    static void failForSystem(int error) { fail("%s", reasonOf(error)); }

    /// True when nothing has failed so far, the stream included.
    [[nodiscard]] static bool good(std::FILE* stream);
    [[nodiscard]] static bool failed();

  private:
    const char* doing_;
    const char* fileName_;
};

} // namespace notice
