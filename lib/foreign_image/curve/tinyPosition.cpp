// SPDX-License-Identifier: MIT
// Animated positions: a table of the five forms.
#include "tinyPosition.h"

#include "text/tinyTable.h"
#include "tinyFcurve.h"
#include "tinySplineInner.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

/// The values to write.
struct Source {
    const Vector* fixed;
    const Fcurve* timing;
    const Spline* path;
    const char* constraintName;
    std::int16_t constraintType;
    const Fcurve* curves[3];
    const char* pathModelName;
};

/// The destinations of a reader; any may be null.
struct Target {
    Vector* fixed;
    Fcurve** timing;
    Spline** path;
    char** constraintName;
    std::int16_t* constraintType;
    Fcurve** curves[3];
    char** pathModelName;
};

/// Stores a malloc'ed string in its owner, or frees it if there is none.
void storeString(char** place, char* string) {
    std::free(place != nullptr ? std::exchange(*place, string) : string);
}

/// Reads the timing curve of a path, unless the current token shows that there is none.
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
    // Kept: The word before the name of a path's model need not be NAME.
    // A reader would expect another word to be refused, or to begin the name. It is reported, and
    // the name begins behind it.
    if (!text::Reader::on(stream).atEnd() && std::strcmp(animToken, "NAME") != 0) {
        animNotify(AnimNoticeKind::UnknownWord, animToken, "in place of NAME");
    }
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
    void (*read)(std::FILE*, const Target&);
    void (*write)(std::FILE*, const Source&);
    bool (*present)(const Source&);
};

/// In the order in which a writer tries them; the last one always applies.
constexpr Form kForms[] = {
    {"CONSTRAINT", readConstraint, writeConstraint,
     [](const Source& s) { return s.constraintName != nullptr; }},
    {"PATH_MODEL", readPathModel, writePathModel,
     [](const Source& s) { return s.pathModelName != nullptr; }},
    {"PATH", readPath, writePath, [](const Source& s) { return s.path != nullptr; }},
    {"EXPLICIT", readExplicit, writeExplicit,
     [](const Source& s) { return s.curves[0] != nullptr; }},
    {"STATIC", readStatic, writeStatic, [](const Source&) { return true; }},
};

int read(std::FILE* stream, const Target& target) {
    if (!text::Reader::on(stream).value()) {
        return 0;
    }
    if (const Form* form = table::find(kForms, animToken); form != nullptr) {
        form->read(stream, target);
        return 1;
    }
    table::complain({.names = {}, .reader = "PositionReadAsciiAnimation", .what = ""});
    in_animToken(stream);
    return 1;
}

const Form& formOf(const Source& source) {
    return *std::ranges::find_if(kForms, [&](const Form& form) { return form.present(source); });
}

/// Reports the values of the source that its form does not write.
void reportUnwritten(const Source& source, const Form& used) {
    for (const Form* form = &used + 1; form < std::end(kForms) - 1; ++form) {
        if (form->present(source)) {
            notice::written(AnimNoticeKind::ByFormat, form->word.data(),
                            "of a position that has another form");
        }
    }
    if (source.timing != nullptr && source.path == nullptr && source.pathModelName == nullptr) {
        notice::written(AnimNoticeKind::Dropped, "CURVE_TYPE", "of a position without a path");
    }
    if (source.constraintType != 0 && source.constraintName == nullptr) {
        notice::written(AnimNoticeKind::Dropped, "CONSTRAINT", "%d, which has no name",
                        source.constraintType);
    }
    reportHiddenCurves(source.curves);
}

int write(std::FILE* stream, const Source& source) {
    const Form& form = formOf(source);
    reportUnwritten(source, form);
    text::putWord(stream, form.word);
    form.write(stream, source);
    return 1;
}

/// A curve with one key; null when out of memory.
Fcurve* constantCurve(int type, float time, float value) {
    Fcurve* curve = fcurveAllocate();
    if (curve == nullptr || (curve->keys = fcvkeyAllocate(1)) == nullptr) {
        fcurveDispose(&curve);
        return nullptr;
    }
    curve->type = static_cast<std::int16_t>(type < kFcurveChannels ? type : 0);
    curve->keyCount = 1;
    curve->keys[0].time = time;
    curve->keys[0].value = value;
    fcurveCheckOrder(curve);
    return curve;
}

/// Replaces a missing second or third curve of three by one with a single key.
void completeCurves(Fcurve** curves, const float* values) {
    const Fcurve* first = curves[0];
    for (int i = 1; i < 3 && first != nullptr; ++i) {
        if (curves[i] == nullptr) {
            const float time = first->keyCount > 0 ? first->keys[0].time : 1.0F;
            curves[i] = constantCurve(first->type == 0 ? 0 : first->type + i, time, values[i]);
            animNotify(AnimNoticeKind::Missing, "CURVE_TYPE", "three curves expected");
        }
    }
}

} // namespace

void positionClear(AnimatedPosition* position) {
    if (position != nullptr) {
        splineDispose(&position->path);
        std::free(position->constraintName);
        std::free(position->pathModelName);
        *position = {};
    }
}

int tripleRead(std::FILE* stream, float* values, Fcurve** curves) {
    const int result = value3ReadAsciiAnimation(stream, &values[0], &values[1], &values[2],
                                                &curves[0], &curves[1], &curves[2]);
    completeCurves(curves, values);
    return result;
}

void reportHiddenCurves(const Fcurve* const* curves) {
    if (curves[0] == nullptr && (curves[1] != nullptr || curves[2] != nullptr)) {
        notice::written(AnimNoticeKind::ByFormat, "CURVE_TYPE", "the first of three is missing");
    }
}

void tripleWrite(std::FILE* stream, const float* values, const Fcurve* const* curves) {
    reportHiddenCurves(curves);
    value3WriteAsciiAnimation(stream, values[0], values[1], values[2], curves[0], curves[1],
                              curves[2]);
}

int positionRead(std::FILE* stream, AnimatedPosition& position, Fcurve** timing, Fcurve** curves) {
    const int result = read(stream, {&position.fixed,
                                     timing,
                                     &position.path,
                                     &position.constraintName,
                                     &position.constraintType,
                                     {&curves[0], &curves[1], &curves[2]},
                                     &position.pathModelName});
    const float fixed[] = {position.fixed.x, position.fixed.y, position.fixed.z};
    completeCurves(curves, fixed);
    return result;
}

void positionWrite(std::FILE* stream, const AnimatedPosition& position, const Fcurve* timing,
                   const Fcurve* const* curves) {
    write(stream, {&position.fixed,
                   timing,
                   position.path,
                   position.constraintName,
                   position.constraintType,
                   {curves[0], curves[1], curves[2]},
                   position.pathModelName});
}

int positionWriteAsciiAnimation(std::FILE* stream, const Vector* fixed, const Fcurve* timing,
                                const Spline* path, const char* constraintName,
                                std::int16_t constraintType, const Fcurve* xCurve,
                                const Fcurve* yCurve, const Fcurve* zCurve,
                                const char* pathModelName) {
    return write(stream, {fixed,
                          timing,
                          path,
                          constraintName,
                          constraintType,
                          {xCurve, yCurve, zCurve},
                          pathModelName});
}

int positionReadAsciiAnimation(std::FILE* stream, Vector* fixed, Fcurve** timing, Spline** path,
                               char** constraintName, std::int16_t* constraintType, Fcurve** xCurve,
                               Fcurve** yCurve, Fcurve** zCurve, char** pathModelName) {
    return read(stream, {fixed,
                         timing,
                         path,
                         constraintName,
                         constraintType,
                         {xCurve, yCurve, zCurve},
                         pathModelName});
}
