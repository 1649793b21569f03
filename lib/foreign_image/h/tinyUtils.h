// SPDX-License-Identifier: MIT
// The text primitives beneath every reader and writer of animation text: tokens, numbers, quoted
// strings, indentation, vectors, animated scalars, triples and positions.
//
// The look-ahead convention. When a reader returns, `animToken` holds the first token that it did
// not consume, and its caller examines that one before it reads another. Readers of quoted strings,
// vectors and single values (`in_anim...`) read no look-ahead.
//
// Readers return 1, or 0 at end of file. The state below is shared by the process and not locked:
// only one thread at a time may read or write animation text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

struct Fcurve;
struct Spline;

// --- Tokens --------------------------------------------------------------------------------------

/// Buffer size for a token with its terminating zero. Longer tokens are consumed and cut.
inline constexpr std::size_t kAnimTokenSize = 240;

/// The last token read, zero-terminated; empty after end of file.
extern char animTokenLine[kAnimTokenSize];

/// Always points at `animTokenLine`.
extern char* const animToken;

/// Results of `in_animSValue_na` and `in_animFValue_na`.
extern std::int16_t animSValue;
extern float animFValue;

/// Version of the file being read; `RELEASE_NUMBER` until a scene's header gives another one.
extern float animFileVersion;

/// Reads the next token into `animTokenLine`: characters up to a blank, a tab or a newline, which
/// is consumed. Nothing else separates tokens. 1, or 0 (and an empty token) at end of file.
int in_animToken(std::FILE* stream);

/// Read a token and convert it like `atoi` and `atof`, whatever the locale. A word that is not a
/// number gives 0, also "INF" and "NAN"; a number too large for a float gives the largest one. The
/// 16-bit forms keep the low 16 bits. At end of file nothing is stored and 0 is returned.
int in_animSValue(std::FILE* stream, std::int16_t* value);
int in_animSValue_na(std::FILE* stream);
int in_animFValue(std::FILE* stream, float* value);
int in_animFValue_na(std::FILE* stream);
int in_animLValue(std::FILE* stream, std::int32_t* value);

/// Reads a string in single quotes, which may hold blanks and line ends. Its first character counts
/// as the opening quote whatever it is; at most 237 characters are kept and the rest consumed.
/// Returns a string that the caller frees with `free`; or null for an empty one, at end of file, or
/// when out of memory. `animTokenLine` is empty only at end of file.
[[nodiscard]] char* stringReadAsciiAnimation(std::FILE* stream);

// --- Indentation ---------------------------------------------------------------------------------

/// Nesting depth of the text being written, and the string that begins a line there: a newline and
/// three blanks a level. The string is null until the first call of `incIndent`; `animWriteNewLine`
/// works before that too.
extern std::int32_t animIndentLength;
extern char* animIndentString;

/// Sets the depth.
void setIndentLength(std::int32_t depth);

/// Changes the depth by `delta` levels (not below 0, not above 1000) and rebuilds the string.
void incIndent(std::int32_t delta);

/// Begins a line: writes `animIndentString`, or only a newline while that is null.
void animWriteNewLine(std::FILE* stream);

// --- Vectors -------------------------------------------------------------------------------------

/// A point or direction.
struct Vector {
    float x, y, z;
};

/// A homogeneous point.
struct HVector {
    float x, y, z, w;
};

/// Write the vector on a separate line, one level deeper. 1, or 0 (nothing written) for null.
int vectorWriteAsciiAnimation(std::FILE* stream, const Vector* vector);
int hvectorWriteAsciiAnimation(std::FILE* stream, const HVector* vector);

/// Read three or four numbers. 1; 0 when `vector` is null, although the numbers are still consumed;
/// 0 at end of file, where missing numbers are stored as 0.
int vectorReadAsciiAnimation(std::FILE* stream, Vector* vector);
int hvectorReadAsciiAnimation(std::FILE* stream, HVector* vector);

// --- Animatable numbers --------------------------------------------------------------------------

/// Writes the curve, or, when it is null, the number. Always 1.
int valueWriteAsciiAnimation(std::FILE* stream, float value, const Fcurve* curve);

/// Reads a number into `*value` (which may be null) or a curve into `*curve` (see
/// `fcurveReadAsciiAnimation`; `curve` may be null). With `readFirst` other than 0 it reads the
/// first token itself, else the current token is the first. Leaves the look-ahead. 1, or 0 at end
/// of file before the number or inside the curve.
int valueReadAsciiAnimation(std::FILE* stream, float* value, Fcurve** curve, int readFirst);

/// Writes three curves or three numbers; the first curve decides which. Always 1.
int value3WriteAsciiAnimation(std::FILE* stream, float x, float y, float z, const Fcurve* xCurve,
                              const Fcurve* yCurve, const Fcurve* zCurve);

/// Reads three numbers or three curves; each pointer may be null. Always reads the first token
/// itself and leaves the look-ahead. 0 at end of file before the first token, or when none of the
/// three curves could be read; else 1.
int value3ReadAsciiAnimation(std::FILE* stream, float* x, float* y, float* z, Fcurve** xCurve,
                             Fcurve** yCurve, Fcurve** zCurve);

// --- Animated positions --------------------------------------------------------------------------

/// An animated position except for its curves, which are in the curve array of the camera or light
/// that has the position.
struct AnimatedPosition {
    Vector fixed;                ///< the static position
    Spline* path;                ///< path that is followed; owned, may be null
    char* constraintName;        ///< object that it is tied to; owned (malloc), may be null
    std::int16_t constraintType; ///< kind of the constraint
    char* pathModelName;         ///< model whose spline is followed; owned (malloc), may be null
};

/// Frees what the record owns and zeroes it; the caller keeps the record itself. Accepts null.
void positionClear(AnimatedPosition* position);

/// Writes one animated position in the first form that applies: "CONSTRAINT" with a constraint
/// name, "PATH_MODEL" with a path-model name, "PATH" with a path, "EXPLICIT" with an x curve, else
/// "STATIC" with the vector. Any pointer may be null. Always 1.
int positionWriteAsciiAnimation(std::FILE* stream, const Vector* fixed, const Fcurve* timing,
                                const Spline* path, const char* constraintName,
                                std::int16_t constraintType, const Fcurve* xCurve,
                                const Fcurve* yCurve, const Fcurve* zCurve,
                                const char* pathModelName);

/// Reads one animated position. Reads its first token itself and leaves the look-ahead. Any output
/// may be null: its part is then read and dropped. The old contents of an output are freed first. 0
/// at end of file before the first token, else 1, also for an unknown form, which is reported and
/// skipped.
int positionReadAsciiAnimation(std::FILE* stream, Vector* fixed, Fcurve** timing, Spline** path,
                               char** constraintName, std::int16_t* constraintType, Fcurve** xCurve,
                               Fcurve** yCurve, Fcurve** zCurve, char** pathModelName);

// --- Notices -------------------------------------------------------------------------------------
//
// The result of a reader or writer does not show that unknown words were skipped, long ones cut, or
// values dropped for which a format has no place. Set an observer to be told of each such event as
// it happens. Readers and writers report every loss: if reading reports neither a loss nor a
// failure, the file was read in full; if writing reports neither, nothing was left out. There is no
// observer by default.

enum class AnimNoticeKind : std::uint8_t {
    // Losses: something in the file or record is not in the result.
    UnknownWord, ///< an unexpected word; skipped or read as a default
    Cut,         ///< a token, string or block longer than its room, or more entries than there is
                 ///< room for; `detail`: the limit
    Missing,   ///< fewer entries than announced, or end of file inside a block; `detail`: how many
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

/// Line of the file on which the last token or quoted string begins.
[[nodiscard]] std::int64_t animTokenLineNumber();

/// Sets the line of the next character to be read: 1 for a file just opened, 3 after an ASCII
/// header of two lines.
void animSetLineNumber(std::int64_t line);

/// Resets token buffer, values, version, indentation, line number and observer. For tests, which
/// share a process.
void animReset();
