// SPDX-License-Identifier: MIT
// The text form of curves and keys: docs/toolkit-formats.md.
#include "file/tinyNotice.h"
#include "file/tinyUtilsGrow.h"
#include "text/tinyTable.h"
#include "tinyCurveWords.h"
#include "tinyFcurve.h"
#include "tinyUtils.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace {

using table::Outcome;
using UniqueCurve = std::unique_ptr<Fcurve, FcurveDisposer>;

constexpr const char* kInterpolations[] = {"CONSTANT", "LINEAR", "SPLINE"};
constexpr const char* kKeyTypes[] = {"FREEFORM", "KEYFRAME", "KEYPATH", "RAWDATA"};

constexpr table::Choice kCurveInterpolation = {kInterpolations, "FcurveReadAsciiAnimation",
                                               "interp"};
constexpr table::Choice kKeyInterpolation = {kInterpolations, "FcvkeyReadAsciiAnimation", "interp"};
constexpr table::Choice kKeyType = {kKeyTypes, "FcvkeyReadAsciiAnimation", "keytype"};

// --- Keys ----------------------------------------------------------------------------------------

/// What a key that is read has without a word; keys that were allocated together have 0 instead.
constexpr std::int16_t kNoSplineIndex = -1;

using KeyRow = table::Row<FcvKey>;
using KeyRows = table::Rows<FcvKey>;

bool isOnPath(const FcvKey& key) {
    return key.keyType == kKeyKeypath;
}

/// Reports the index of a key that is not on a path: the key keeps it, but it is not written.
void reportIndex(const FcvKey& key) {
    if (key.splineIndex != kNoSplineIndex && !isOnPath(key)) {
        animNotify(AnimNoticeKind::Dropped, "SPLINE_INDEX", "of a key that is not of type KEYPATH");
    }
}

/// Ends the key after a value that has been read. Most keys begin with their time.
Outcome endKey(std::FILE* stream, const FcvKey& key, Outcome value) {
    text::Reader& in = text::Reader::on(stream);
    if (value != Outcome::EndOfFile) {
        reportIndex(key);
        static_cast<void>(in.nextIs("TIME") || in.next());
        value = Outcome::Done;
    }
    return value;
}

/// Keys of old files end here.
Outcome readFlag(std::FILE* stream, FcvKey& key) {
    const Outcome value = table::readNumber(stream, key.flag);
    return fcurveKeysHaveNoType(animFileVersion) ? endKey(stream, key, value) : value;
}

Outcome readKeyType(std::FILE* stream, FcvKey& key) {
    const Outcome value = table::readChoice(stream, kKeyType, key.keyType);
    return endKey(stream, key, value);
}

/// In the order in which a key is written.
constexpr KeyRow kKeyRows[] = {
    KeyRows::number<&FcvKey::time>("TIME"),
    KeyRows::onTheSameLine(KeyRows::number<&FcvKey::value>("VALUE")),
    KeyRows::number<&FcvKey::leftSlope>("LEFT_SLOPE"),
    KeyRows::onTheSameLine(KeyRows::number<&FcvKey::rightSlope>("RIGHT_SLOPE")),
    KeyRows::choice<kKeyInterpolation, &FcvKey::interpolation>("INTERPOLATION"),
    KeyRows::onTheSameLine(KeyRows::readBy(readFlag, KeyRows::number<&FcvKey::flag>("FLAG"))),
    KeyRows::onTheSameLine(KeyRows::number<&FcvKey::splineIndex>("SPLINE_INDEX", isOnPath)),
    KeyRows::readBy(readKeyType, KeyRows::choice<kKeyType, &FcvKey::keyType>("KEYTYPE")),
};

int fcvkeyWriteAsciiAnimation(std::FILE* stream, const FcvKey* key) {
    if (key == nullptr) {
        return 0;
    }
    if (key->splineIndex != 0 && key->splineIndex != kNoSplineIndex && !isOnPath(*key)) {
        notice::written(AnimNoticeKind::Dropped, "SPLINE_INDEX",
                        "%d, of a key that is not of type KEYPATH", key->splineIndex);
    }
    incIndent(1);
    animWriteNewLine(stream); // a line with only blanks before each key
    table::write(stream, kKeyRows, *key);
    incIndent(-1);
    return 1;
}

/// Reads the key that begins with the current token. Again: the token does not begin a key.
Outcome fcvkeyReadAsciiAnimation(std::FILE* stream, FcvKey& key) {
    key = {};
    key.interpolation = kInterpolateLinear;
    key.splineIndex = kNoSplineIndex;
    text::Reader& in = text::Reader::on(stream);
    const KeyRow* first = table::find(kKeyRows, in.word());
    if (first == nullptr) {
        return Outcome::Again;
    }
    const Outcome outcome = table::readFrom(in, kKeyRows, first, key);
    if (outcome != Outcome::Done) { // otherwise its last row has reported it
        reportIndex(key);
    }
    return outcome == Outcome::Again ? Outcome::Done : outcome;
}

// --- Curves --------------------------------------------------------------------------------------

/// A curve while it is read.
struct Draft {
    Fcurve* record;
    bool hasKeys = false; ///< the text has reached its keys, even if there are none
};
using Row = table::Row<Draft>;
using Rows = table::Rows<Draft>;

Outcome readChannel(std::FILE* stream, Draft& draft);

void writeChannel(std::FILE* stream, const Fcurve& curve) {
    const bool kept = curve.type == 0 && curve.unknownChannel != nullptr;
    const std::string_view name = kept ? curve.unknownChannel : table::nameAt(fcv_name, curve.type);
    if (name.empty() && curve.type != 0) {
        notice::written(AnimNoticeKind::Dropped, "CURVE_TYPE", "%d, which has no word", curve.type);
    }
    text::putWord(stream, name);
}

Outcome readKeys(std::FILE* stream, Draft& draft) {
    GrowingArray<FcvKey> keys;
    const Outcome outcome = table::readCounted(stream, "keys", fcvkeyReadAsciiAnimation, keys);
    draft.hasKeys = true;
    Fcurve& curve = *draft.record;
    curve.keyCount = static_cast<std::int16_t>(keys.size());
    curve.keys = keys.release(kFcvKeyStep);
    fcurveCheckOrder(&curve);
    return outcome;
}

/// In the order in which they are written.
constexpr Row kCurveRows[] = {
    {"CURVE_TYPE", readChannel, writeChannel},
    Rows::number<&Fcurve::preExtrapolation>("PRE_EXTRAPOLATION"),
    Rows::onTheSameLine(Rows::number<&Fcurve::postExtrapolation>("POST_EXTRAPOLATION")),
    Rows::number<&Fcurve::flags>("FLAGS"),
    Rows::choice<kCurveInterpolation, &Fcurve::interpolation>("INTERPOLATION"),
    {"KEYS", readKeys,
     [](std::FILE* stream, const Fcurve& c) {
         text::putInt(stream, c.keys != nullptr ? c.keyCount : 0);
     }},
};

/// Reads a channel name. A curve without a channel is written without a name: the word after
/// CURVE_TYPE is then the curve's next keyword.
Outcome readChannel(std::FILE* stream, Draft& draft) {
    text::Reader& in = text::Reader::on(stream);
    if (!in.value()) {
        return Outcome::EndOfFile;
    }
    Fcurve& curve = *draft.record;
    const int type = table::indexOf(fcv_name, in.word());
    curve.type = static_cast<std::int16_t>(type < 0 ? 0 : type);
    std::free(std::exchange(curve.unknownChannel, nullptr));
    if (type >= 0) {
        return Outcome::Next;
    }
    if (table::find(kCurveRows, in.word()) != nullptr) {
        return Outcome::Again;
    }
    animNotify(AnimNoticeKind::Kept, animToken);
    curve.unknownChannel = strdup(animToken);
    if (curve.unknownChannel == nullptr) {
        notice::Call::failForMemory();
    }
    return Outcome::Next;
}

/// Reads the curve whose first word is the current token; null in `curve` if it has no keys.
int readCurve(std::FILE* stream, UniqueCurve& curve) {
    Draft draft = {curve.get()};
    Outcome outcome = Outcome::Again;
    const Row* first = table::find(kCurveRows, text::Reader::on(stream).word());
    if (first == nullptr) {
        // Kept: A curve that begins with an unknown word consumes that word.
        // A reader would expect the word to stay for the caller. It is dropped and the next one
        // becomes the look-ahead.
        animNotify(AnimNoticeKind::UnknownWord, animToken);
        in_animToken(stream);
    } else {
        outcome = table::readFrom(text::Reader::on(stream), kCurveRows, first, draft);
        if (!draft.hasKeys) {
            animNotify(AnimNoticeKind::Missing, "KEYS", "the curve is dropped");
        }
    }
    if (!draft.hasKeys) {
        curve.reset();
    }
    return outcome != Outcome::EndOfFile ? 1 : 0;
}

} // namespace

void fcurveListWords(const table::WordTaker& taker) {
    table::listWords(kCurveRows, taker);
    table::listWords(kKeyRows, taker);
    for (const char* channel : fcv_name) {
        taker.take(taker.context, channel);
    }
}

bool fcurveKeysHaveNoType(float version) {
    constexpr double kLastVersionWithoutKeyType = 2.02;
    return double{version} <= kLastVersionWithoutKeyType;
}

int fcurveWriteAsciiAnimation(std::FILE* stream, const Fcurve* curve) {
    if (curve == nullptr) {
        return 0;
    }
    incIndent(1);
    table::write(stream, kCurveRows, *curve);
    for (int i = 0; curve->keys != nullptr && i < curve->keyCount; ++i) {
        fcvkeyWriteAsciiAnimation(stream, &curve->keys[i]);
    }
    incIndent(-1);
    return 1;
}

int fcurveReadAsciiAnimation(std::FILE* stream, Fcurve** curve) {
    const notice::Call call;
    if (curve != nullptr) {
        fcurveDispose(curve);
    }
    UniqueCurve read(fcurveAllocate());
    if (read == nullptr) {
        return 0;
    }
    const int result = readCurve(stream, read);
    if (curve != nullptr) {
        *curve = read.release();
    }
    return notice::Call::good(stream) ? result : 0;
}
