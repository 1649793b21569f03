// SPDX-License-Identifier: MIT
// How the readers and writers of text and scene files report: notices to the observer, and the
// reason why a call fails.
#pragma once

#include "tinyUtils.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace notice {

/// Where in the file the readers stand, for notices; process-wide like the token buffer.
struct LineCount {
    std::int64_t next = 1;     ///< line of the next character
    std::int64_t token = 1;    ///< line on which the last token began
    std::int64_t tokens = 0;   ///< tokens and words begun
    std::int64_t unknown = -1; ///< the last of them that was reported as unknown
};
extern LineCount lines;

/// True while there is an observer: what costs time to find out is found out only then.
[[nodiscard]] bool wanted();

/// Sends one notice with its place. `format` and what follows make its detail.
[[gnu::format(printf, 4, 5)]] void atLine(AnimNoticeKind kind, const char* word, std::int64_t line,
                                          const char* format, ...);
[[gnu::format(printf, 4, 5)]] void atByte(AnimNoticeKind kind, const char* word, std::int64_t byte,
                                          const char* format, ...);

/// Sends one notice of a writer, which has no place.
[[gnu::format(printf, 3, 4)]] void written(AnimNoticeKind kind, const char* word,
                                           const char* format, ...);

/// Reports line ends of another system once, and silences what follows from them until the line
/// number is set anew.
void lineEnds(const char* which);

/// Forgets that line ends were reported: a new file begins.
void newFile();

/// Unknown words without a known one between them have one cause: those behind the first are
/// reported as following it.
class UnknownRun {
  public:
    /// Reports an unknown word, which stands on the line of the last token.
    void add(const char* word);

    /// Takes a cause that has been reported already: unknown words right behind it are its.
    void reported() { told_ = true; }

    /// A known word follows.
    void end() { begun_ = told_ = false; }

  private:
    bool begun_ = false;
    bool told_ = false;
};

/// One public call that reads or writes. Calls nest: the outermost begins without a failure and, at
/// its end, reports the first one that was set, to the observer and on the message stream.
class Call {
  public:
    /// `doing` and `fileName` ("read", "x.scn") make the message; without them there is none.
    explicit Call(const char* doing = nullptr, const char* fileName = nullptr);
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// Sets the reason why the call under way fails, unless there is one already.
    [[gnu::format(printf, 1, 2)]] static void fail(const char* format, ...);
    static void failForMemory() { fail("out of memory"); }

    /// As `fail`, where a message of its own has said so already.
    static void failAsSaid(const char* reason);

    /// Sets the reason that the system gives for a failed request: `error` is an errno, or 0 where
    /// it left none.
    static void failForSystem(int error);

    /// True when nothing has failed so far, the stream included.
    [[nodiscard]] static bool good(std::FILE* stream);
    [[nodiscard]] static bool failed();

  private:
    const char* doing_;
    const char* fileName_;
};

} // namespace notice
