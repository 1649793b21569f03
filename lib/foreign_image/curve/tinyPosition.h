// SPDX-License-Identifier: MIT
// Triples of curves, and the animated positions of cameras, lights and models: the record, and its
// four curves in the owner's curve array.
#pragma once

#include "tinyUtils.h"

#include <cstdio>

/// Reads three numbers or three curves and leaves the look-ahead, as `value3ReadAsciiAnimation`,
/// and completes the curves: if the file has the first but not all (it was cut, or one had no
/// keys), the others become curves with one key at the plain number. The written form has all three
/// or none, and could not be read back otherwise.
int tripleRead(std::FILE* stream, float* values, Fcurve** curves);

/// Writes three numbers or three curves; the first curve decides.
void tripleWrite(std::FILE* stream, const float* values, const Fcurve* const* curves);

/// Reports curves that are not written because the first of the three is missing.
void reportHiddenCurves(const Fcurve* const* curves);

/// Reads a position into `position`, its timing curve and its three curves, and completes these as
/// above. Results and look-ahead are those of `positionReadAsciiAnimation`.
int positionRead(std::FILE* stream, AnimatedPosition& position, Fcurve** timing, Fcurve** curves);

/// Writes the position in the first form that applies, and reports set forms that do not.
void positionWrite(std::FILE* stream, const AnimatedPosition& position, const Fcurve* timing,
                   const Fcurve* const* curves);
