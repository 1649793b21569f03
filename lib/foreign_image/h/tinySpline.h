// SPDX-License-Identifier: MIT
// Splines: named curves through control points, with their files (".spl", text and binary) and
// their form inside scene files. Layouts: docs/toolkit-formats.md.
#pragma once

#include "tinyUtils.h"

#include <cstdint>
#include <cstdio>

struct Prototype;

/// `Spline::type`, an index into `SplineTypeName`.
enum SplineType : std::int32_t {
    kSplineLinear = 0,
    kSplineBezier = 1,
    kSplineBspline = 2,
    kSplineCardinal = 3,
};

inline constexpr int kSplineTypes = 4;
inline constexpr int kBezierSegments = 3;
inline constexpr int kBezierConstraints = 6;

/// The names used in all text forms, by code.
extern const char* const SplineTypeName[kSplineTypes];
extern const char* const BezSegmentName[kBezierSegments];
extern const char* const BezConstraintName[kBezierConstraints];

/// Bit of `SplineKey::flags`: the point is selected.
inline constexpr std::uint32_t kSplineKeySelected = 0x10000;

/// One control point.
struct SplineKey {
    Vector previous;         ///< incoming Bezier handle
    Vector position;         ///< the point
    Vector next;             ///< outgoing Bezier handle
    std::int16_t constraint; ///< Bezier constraint here, index into `BezConstraintName`
    std::int16_t segment;    ///< kind of the segment that leaves here, index into `BezSegmentName`
    std::uint32_t flags;     ///< kSplineKeySelected; other bits are carried
};

/// Bits of `Spline::display`: which of the display fields are set and written.
enum SplineDisplay : std::uint16_t {
    kSplineHasWireColour = 1,
    kSplineHasLineType = 2,
    kSplineHasSelection = 4,
};

/// One spline. Zero-filled when allocated.
struct Spline {
    char* name;              ///< owned (malloc); may be null
    std::int16_t phantom;    ///< not 0: a phantom spline
    std::int16_t close;      ///< not 0: closed
    std::int32_t type;       ///< SplineType
    std::int16_t keyCount;   ///< control points
    SplineKey* keys;         ///< owned; null when there are none
    float tension;           ///< of cardinal splines
    std::int16_t step;       ///< subdivision
    std::int16_t constraint; ///< default Bezier constraint, index into `BezConstraintName`
    std::int16_t segment;    ///< default Bezier segment kind, index into `BezSegmentName`
    // Only in scene files.
    std::uint16_t display;   ///< which of the next three are set, SplineDisplay
    std::int16_t wireColour; ///< colour index of its wire
    std::int16_t lineType;   ///< line style of its wire
    std::int16_t selection;  ///< 0 unselected, 1 node, 2 branch, 3 inherit selected
    char* keyframe;          ///< the numbers after "KEYFRAME", as text; owned, may be null
    char* keyList;           ///< the numbers after "KEYLIST", as text; owned, may be null
};

/// A new zero-filled spline, or null when out of memory.
[[nodiscard]] Spline* splineAllocate();

/// Frees the spline with its name, points and texts and sets the pointer to null. Accepts null.
void splineDispose(Spline** spline);

struct SplineDisposer {
    void operator()(Spline* spline) const noexcept { splineDispose(&spline); }
};

/// A zero-filled array of `count` points, which the caller frees with `free` or passes to a spline;
/// null when `count` is below 1 or when out of memory.
[[nodiscard]] SplineKey* splineKeyAllocate(std::int16_t count);

/// The type whose `SplineTypeName` equals `name` exactly; 0 (linear) if there is none, or for null.
[[nodiscard]] std::int32_t splineGetTypeByName(const char* name);

/// Removes every point of a Bezier spline that repeats its predecessor's position and both handles.
/// Returns the number removed; for other types and for null returns 0 and changes nothing.
int splineShrinkBezier(Spline* spline);

// --- Files ---------------------------------------------------------------------------------------

/// Writes the file `baseName` + ".spl", as text (`flavour` 0) or binary (1). 1 when all of it
/// reached the file; 0 otherwise, also, with no file touched, for another flavour and for null.
[[nodiscard]] int splineWriteFile(const char* baseName, const Spline* spline, int flavour);

/// Reads the file `baseName` + ".spl" of either flavour. Returns a spline that the caller disposes
/// of; or null when the file cannot be opened, is neither of the two, has the older layout "BEZR",
/// or ends before the spline does.
[[nodiscard]] Spline* splineReadFile(const char* baseName);

/// Writes the body of the text flavour, with `prefix` before every line. 1, or 0 for null. A failed
/// write shows in `ferror(stream)`.
int splineWriteAscii(std::FILE* stream, const Spline* spline, const char* prefix);

/// Reads the body of the text flavour after its word "spline". The other two arguments are not
/// used. Returns a spline that the caller disposes of, or null when the file ends before its
/// closing brace or when out of memory. The number of points is the number that the text has.
[[nodiscard]] Spline* splineReadAscii(std::FILE* stream, const void* unused, const void* unusedToo);

/// Writes the binary body: the fields of the prototype's lists for splines (slot 8) and points
/// (slot 9), in their order; a null prototype means the one of `prototypeInitSpline`. An unknown
/// token is reported and writes nothing. 1, or 0 for a null spline.
int splineWriteBinary(std::FILE* stream, const Spline* spline, const Prototype* prototype);

/// Reads the binary body with the prototype (null as above). An unknown token is reported and
/// treated as a field without bytes. Returns a spline that the caller disposes of, or null when the
/// file ends inside the body or when out of memory.
[[nodiscard]] Spline* splineReadBinary(std::FILE* stream, const Prototype* prototype);

// --- Scene files ---------------------------------------------------------------------------------

/// Writes the spline's animation form: a line "SPLINE" at this level, the others one level deeper.
/// 1, or 0 for null.
int splineWriteAsciiAnimation(std::FILE* stream, const Spline* spline);

/// Reads the animation form into an allocated spline. The current token is its word "SPLINE" (or,
/// if that has been consumed, the word of its type). With null the same text is read and dropped.
/// The number of points is the number that the text has, at most the number that it announces. 1
/// with the look-ahead as the current token, or 0 at end of file.
int splineReadAsciiAnimation(std::FILE* stream, Spline* spline);
