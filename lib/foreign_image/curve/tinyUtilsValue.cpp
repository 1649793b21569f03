// SPDX-License-Identifier: MIT
// Vectors, and scalars and triples of numbers or curves.
#include "text/tinyReader.h"
#include "text/tinyUtilsText.h"
#include "tinyFcurve.h"
#include "tinyUtils.h"

#include <initializer_list>
#include <string_view>

namespace {

int writeOnDeeperLine(std::FILE* stream, std::initializer_list<float> values) {
    incIndent(1);
    animWriteNewLine(stream);
    for (const float value : values) {
        text::putFloat(stream, value);
    }
    incIndent(-1);
    return 1;
}

/// Reads numbers up to the first missing one; 0 if one is missing.
int readFloats(std::FILE* stream, std::initializer_list<float*> values) {
    for (float* value : values) {
        if (in_animFValue(stream, value) == 0) {
            return 0;
        }
    }
    return 1;
}

void store(float* place, float value) {
    if (place != nullptr) {
        *place = value;
    }
}

} // namespace

int vectorWriteAsciiAnimation(std::FILE* stream, const Vector* vector) {
    return vector == nullptr ? 0 : writeOnDeeperLine(stream, {vector->x, vector->y, vector->z});
}

int hvectorWriteAsciiAnimation(std::FILE* stream, const HVector* vector) {
    return vector == nullptr
               ? 0
               : writeOnDeeperLine(stream, {vector->x, vector->y, vector->z, vector->w});
}

int vectorReadAsciiAnimation(std::FILE* stream, Vector* vector) {
    Vector read{};
    const int whole = readFloats(stream, {&read.x, &read.y, &read.z});
    if (vector == nullptr) {
        return 0;
    }
    *vector = read;
    return whole;
}

int hvectorReadAsciiAnimation(std::FILE* stream, HVector* vector) {
    HVector read{};
    const int whole = readFloats(stream, {&read.x, &read.y, &read.z, &read.w});
    if (vector == nullptr) {
        return 0;
    }
    *vector = read;
    return whole;
}

int valueWriteAsciiAnimation(std::FILE* stream, float value, const Fcurve* curve) {
    if (curve != nullptr) {
        fcurveWriteAsciiAnimation(stream, curve);
    } else {
        text::putFloat(stream, value);
    }
    return 1;
}

int valueReadAsciiAnimation(std::FILE* stream, float* value, Fcurve** curve, int readFirst) {
    if (readFirst != 0 && !text::Reader::on(stream).value()) {
        return 0;
    }
    const std::string_view word = text::Reader::on(stream).word();
    if (word == "CURVE_TYPE") {
        return fcurveReadAsciiAnimation(stream, curve);
    }
    store(value, text::toFloat(word));
    in_animToken(stream);
    return 1;
}

int value3WriteAsciiAnimation(std::FILE* stream, float x, float y, float z, const Fcurve* xCurve,
                              const Fcurve* yCurve, const Fcurve* zCurve) {
    // Kept: The first curve decides how a triple is written.
    // A reader would expect each component to be written as its curve or its number. With a first
    // curve all three are written as curves, a missing one as nothing; without it all three are
    // written as numbers, even if there are other curves.
    if (xCurve == nullptr) {
        for (const float value : {x, y, z}) {
            text::putFloat(stream, value);
        }
        return 1;
    }
    for (const Fcurve* curve : {xCurve, yCurve, zCurve}) {
        fcurveWriteAsciiAnimation(stream, curve);
    }
    return 1;
}

int value3ReadAsciiAnimation(std::FILE* stream, float* x, float* y, float* z, Fcurve** xCurve,
                             Fcurve** yCurve, Fcurve** zCurve) {
    if (!text::Reader::on(stream).value()) {
        return 0;
    }
    const std::string_view word = text::Reader::on(stream).word();
    if (word == "CURVE_TYPE") {
        int anyRead = 0;
        for (Fcurve** curve : {xCurve, yCurve, zCurve}) {
            anyRead |= fcurveReadAsciiAnimation(stream, curve);
        }
        return anyRead;
    }
    store(x, text::toFloat(word));
    for (float* place : {y, z}) {
        float value = 0.0F;
        if (in_animFValue(stream, &value) == 0) {
            return 1;
        }
        store(place, value);
    }
    in_animToken(stream);
    return 1;
}
