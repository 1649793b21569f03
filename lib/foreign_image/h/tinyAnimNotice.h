// SPDX-License-Identifier: MIT
// Notices of the readers and writers of scenes, splines and hierarchies.
//
// The result of a reader or writer does not show that unknown words were skipped, long ones cut, or
// values dropped for which a format has no place. Set an observer to be told of each such event as
// it happens. Readers and writers report every loss: if reading reports neither a loss nor a
// failure, the file was read in full; if writing reports neither, nothing was left out. There is no
// observer by default.
#pragma once

#include <cstdint>

enum class AnimNoticeKind : std::uint8_t {
    // Losses: something in the file or record is not in the result.
    UnknownWord, ///< an unexpected word; skipped or read as a default
    Cut,         ///< a token, string or block longer than its room, or more entries than there is
                 ///< room for; `detail`: the limit
    Missing, ///< fewer entries than announced, or end of file inside a block or a value; `detail`:
             ///< how many
             ///< of what were announced and found ("5 keys announced, 3 found")
    BadNumber, ///< `word` is not the expected number, or does not fit; `detail`:
               ///< what was expected ("whole number from -32768 to 32767" or "number")
    Dropped,   ///< a value that the record or the form has no place for; `word`: which one
               ///< ("PREVIOUS"), `detail`: whose ("of point 3 of spline 'flight', ...")
    Surplus,   ///< text or bytes after the end, for example a second model; `word`: the first of
               ///< them, "" for bytes
    LineEnds,  ///< the file has line ends of another system; `word`: "DOS line ends" or "old Mac
               ///< line ends"; reported once, and no loss of reading or Kept after it
    // The call returns its failure value (0 or null).
    Failed, ///< `detail`: why ("Input/output error"); also printed on the message stream
    // Notes: properties of the format; nothing has gone wrong.
    Kept,     ///< an unknown word, kept unchanged and written back
    Version,  ///< the version that the header gave, where it decides how keys are read; `word`: the
              ///< version, `detail`: the text that it stood in and what follows from it
    ByFormat, ///< dropped by the format as docs/toolkit.md lists; `word`: what
    Rounded,  ///< a number written with fewer digits than it has; `word`: as it was written
};

/// How many kinds there are.
inline constexpr int kAnimNoticeKinds = static_cast<int>(AnimNoticeKind::Rounded) + 1;

enum class AnimSeverity : std::uint8_t { Loss, Failure, Note };

/// What a notice of that kind means for the file.
[[nodiscard]] constexpr AnimSeverity animSeverity(AnimNoticeKind kind) {
    return kind < AnimNoticeKind::Failed    ? AnimSeverity::Loss
           : kind == AnimNoticeKind::Failed ? AnimSeverity::Failure
                                            : AnimSeverity::Note;
}

/// One notice. `word` and `detail` are valid only during the call; both are unchanged bytes of the
/// file, or "".
struct AnimNotice {
    AnimNoticeKind kind;
    const char* word;        ///< the word concerned, cut to its limit
    std::int64_t line = 0;   ///< text that is read: line on which the word begins, from 1; else 0
    std::int64_t byte = -1;  ///< binary file that is read: offset, from 0; else -1
    const char* detail = ""; ///< by kind, see there; a phrase without capital and full stop
    bool follows = false; ///< an unknown word after another without a known one between: same cause
};

/// Called for each notice with the pointer passed to `animSetObserver`. Must not read or write
/// animation text.
using AnimObserver = void (*)(void* context, const AnimNotice& notice);

/// Sets the observer, or none with null. The caller keeps `context`.
void animSetObserver(AnimObserver observer, void* context);

/// Tells the observer, if there is one, about `word` on the line of the last token. An empty
/// unknown word means that the file ended there, and the notice is Missing.
void animNotify(AnimNoticeKind kind, const char* word, const char* detail = "");

/// Calls `take` with `context` for every word that the readers of scenes, splines and hierarchies
/// know, some of them several times: for guesses at what an unknown word was meant to be.
void animWords(void (*take)(void* context, const char* word), void* context);
