// SPDX-License-Identifier: MIT
// Animated positions: a table of the five forms.
#include "text/tinyUtilsTable.h"
#include "text/tinyUtilsText.h"
#include "tinyFcurve.h"
#include "tinySoftType.h"
#include "tinySplineInner.h"
#include "tinyUtils.h"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

/// What is to be written.
struct Source {
    const Vector* fixed;
    const Fcurve* timing;
    const Spline* path;
    const char* constraintName;
    std::int16_t constraintType;
    const Fcurve* curves[3];
    const char* pathModelName;
};

/// Where what is read goes; any place may be null.
struct Target {
    Vector* fixed;
    Fcurve** timing;
    Spline** path;
    char** constraintName;
    std::int16_t* constraintType;
    Fcurve** curves[3];
    char** pathModelName;
};

/// Stores a malloc'ed string in a place that owns one, or frees it when there is no place.
void storeString(char** place, char* string) {
    std::free(place != nullptr ? std::exchange(*place, string) : string);
}

/// Reads the timing curve of a path, unless the current token shows that it was written without.
void readTiming(std::FILE* stream, const Target& target, const char* wordAfter) {
    in_animToken(stream);
    if (std::strcmp(animToken, wordAfter) != 0) {
        fcurveReadAsciiAnimation(stream, target.timing);
    } else if (target.timing != nullptr) {
        fcurveDispose(target.timing);
    }
}

void writeConstraint(std::FILE* stream, const Source& source) {
    text::putInt(stream, source.constraintType);
    text::putQuoted(stream, source.constraintName);
}

void readConstraint(std::FILE* stream, const Target& target) {
    if (in_animSValue_na(stream) != 0 && target.constraintType != nullptr) {
        *target.constraintType = animSValue;
    }
    storeString(target.constraintName, stringReadAsciiAnimation(stream));
    in_animToken(stream);
}

void writePathModel(std::FILE* stream, const Source& source) {
    fcurveWriteAsciiAnimation(stream, source.timing);
    incIndent(1);
    animWriteNewLine(stream);
    text::putWord(stream, "NAME");
    text::putQuoted(stream, source.pathModelName);
    incIndent(-1);
}

void readPathModel(std::FILE* stream, const Target& target) {
    readTiming(stream, target, "NAME");
    storeString(target.pathModelName, stringReadAsciiAnimation(stream));
    in_animToken(stream);
}

void writePath(std::FILE* stream, const Source& source) {
    fcurveWriteAsciiAnimation(stream, source.timing);
    splineWriteAsciiAnimation(stream, source.path);
}

void readPath(std::FILE* stream, const Target& target) {
    readTiming(stream, target, "SPLINE");
    if (target.path == nullptr) {
        splineReadPath(stream, nullptr);
        return;
    }
    splineDispose(target.path);
    *target.path = splineAllocate();
    splineReadPath(stream, *target.path);
}

void writeExplicit(std::FILE* stream, const Source& source) {
    for (const Fcurve* curve : source.curves) {
        fcurveWriteAsciiAnimation(stream, curve);
    }
}

void readExplicit(std::FILE* stream, const Target& target) {
    in_animToken(stream);
    for (Fcurve** curve : target.curves) {
        fcurveReadAsciiAnimation(stream, curve);
    }
}

void writeStatic(std::FILE* stream, const Source& source) {
    vectorWriteAsciiAnimation(stream, source.fixed);
}

void readStatic(std::FILE* stream, const Target& target) {
    vectorReadAsciiAnimation(stream, target.fixed);
    in_animToken(stream);
}

struct Form {
    std::string_view word;
    bool (*applies)(const Source&);
    void (*write)(std::FILE*, const Source&);
    void (*read)(std::FILE*, const Target&);
};

/// In the order in which a writer tries them; the last one always applies.
constexpr Form kForms[] = {
    {"CONSTRAINT", [](const Source& s) { return s.constraintName != nullptr; }, writeConstraint,
     readConstraint},
    {"PATH_MODEL", [](const Source& s) { return s.pathModelName != nullptr; }, writePathModel,
     readPathModel},
    {"PATH", [](const Source& s) { return s.path != nullptr; }, writePath, readPath},
    {"EXPLICIT", [](const Source& s) { return s.curves[0] != nullptr; }, writeExplicit,
     readExplicit},
    {"STATIC", [](const Source&) { return true; }, writeStatic, readStatic},
};

} // namespace

void positionClear(AnimatedPosition* position) {
    if (position != nullptr) {
        splineDispose(&position->path);
        std::free(position->constraintName);
        std::free(position->pathModelName);
        *position = {};
    }
}

int positionWriteAsciiAnimation(std::FILE* stream, const Vector* fixed, const Fcurve* timing,
                                const Spline* path, const char* constraintName,
                                std::int16_t constraintType, const Fcurve* xCurve,
                                const Fcurve* yCurve, const Fcurve* zCurve,
                                const char* pathModelName) {
    const Source source = {fixed,          timing,         path,
                           constraintName, constraintType, {xCurve, yCurve, zCurve},
                           pathModelName};
    const Form* form = std::begin(kForms);
    while (!form->applies(source)) {
        ++form;
    }
    text::putWord(stream, form->word);
    form->write(stream, source);
    return 1;
}

int positionReadAsciiAnimation(std::FILE* stream, Vector* fixed, Fcurve** timing, Spline** path,
                               char** constraintName, std::int16_t* constraintType, Fcurve** xCurve,
                               Fcurve** yCurve, Fcurve** zCurve, char** pathModelName) {
    if (in_animToken(stream) == 0) {
        return 0;
    }
    const Target target = {fixed,          timing,         path,
                           constraintName, constraintType, {xCurve, yCurve, zCurve},
                           pathModelName};
    if (const Form* form = table::find(kForms, animToken); form != nullptr) {
        form->read(stream, target);
        return 1;
    }
    optionPrint("PositionReadAsciiAnimation: error, unknown animToken '%s'.\n", animToken);
    animNotify(AnimNoticeKind::UnknownWord, animToken);
    in_animToken(stream);
    return 1;
}
