// SPDX-License-Identifier: MIT
// A position with all of its members, for tests.
#pragma once

#include "foreign_image/animText.h"

namespace animtext {

struct Position {
    Fcurve* curves[4] = {}; ///< x, y, z and the timing of a path
    AnimatedPosition more{};

    Position() = default;
    ~Position() {
        fcurveArrayDispose(curves, 4);
        positionClear(&more);
    }
    Position(const Position&) = delete;
    Position& operator=(const Position&) = delete;

    int read(std::FILE* in) {
        return positionReadAsciiAnimation(in, &more.fixed, &curves[3], &more.path,
                                          &more.constraintName, &more.constraintType, &curves[0],
                                          &curves[1], &curves[2], &more.pathModelName);
    }
    [[nodiscard]] std::string write() const {
        return written([this](std::FILE* f) {
            EXPECT_EQ(positionWriteAsciiAnimation(
                          f, &more.fixed, curves[3], more.path, more.constraintName,
                          more.constraintType, curves[0], curves[1], curves[2], more.pathModelName),
                      1);
        });
    }
};

} // namespace animtext
