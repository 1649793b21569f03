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

#include "tinyAnimNotice.h"
#include "tinyVector.h"

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

// --- Number format -------------------------------------------------------------------------------

/// Field width and digits after the point of every number in spline and hierarchy texts: by default
/// 5 and 3.
extern int FM;
extern int FD;

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

// --- Place and state -----------------------------------------------------------------------------

/// Line of the file on which the last token or quoted string begins.
[[nodiscard]] std::int64_t animTokenLineNumber();

/// Sets the line of the next character to be read: 1 for a file just opened, 3 after an ASCII
/// header of two lines.
void animSetLineNumber(std::int64_t line);

/// Resets token buffer, values, version, indentation, line number and observer. For tests, which
/// share a process.
void animReset();
