// SPDX-License-Identifier: MIT
// The animated position as cameras, lights and models hold it: the record, and its four curves in
// the owner's curve array. Plain passing on to the readers and writers of tinyUtils.h.
#pragma once

#include "tinyUtils.h"

#include <cstdio>

/// Writes the position in the first form that applies; `curves` is the owner's array, `path` the
/// index of the timing curve and `x` that of the x curve, behind which y and z stand.
inline void positionWrite(std::FILE* stream, const AnimatedPosition& position,
                          const Fcurve* const* curves, int path, int x) {
    positionWriteAsciiAnimation(stream, &position.fixed, curves[path], position.path,
                                position.constraintName, position.constraintType, curves[x],
                                curves[x + 1], curves[x + 2], position.pathModelName);
}

/// Reads a position; with null it is read and discarded. Results and look-ahead are those of
/// `positionReadAsciiAnimation`.
inline int positionRead(std::FILE* stream, AnimatedPosition* position, Fcurve** curves, int path,
                        int x) {
    if (position == nullptr) {
        return positionReadAsciiAnimation(stream, nullptr, nullptr, nullptr, nullptr, nullptr,
                                          nullptr, nullptr, nullptr, nullptr);
    }
    return positionReadAsciiAnimation(stream, &position->fixed, &curves[path], &position->path,
                                      &position->constraintName, &position->constraintType,
                                      &curves[x], &curves[x + 1], &curves[x + 2],
                                      &position->pathModelName);
}
