// SPDX-License-Identifier: MIT
// The text form of curves and keys: docs/toolkit-formats.md.
#include "file/tinyUtilsGrow.h"
#include "text/tinyUtilsTable.h"
#include "text/tinyUtilsText.h"
#include "tinyFcurve.h"
#include "tinySoftType.h"
#include "tinyUtils.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace {

using table::Outcome;
using CurvePointer = std::unique_ptr<Fcurve, FcurveDisposer>;

constexpr const char* kInterpolations[] = {"CONSTANT", "LINEAR", "SPLINE"};
constexpr const char* kKeyTypes[] = {"FREEFORM", "KEYFRAME", "KEYPATH", "RAWDATA"};

constexpr std::string_view kSameLine = "    ";

constexpr char kUnknownCurveInterpolation[] =
    "FcurveReadAsciiAnimation: error, unknown interp animToken '%s'.\n";
constexpr char kUnknownKeyInterpolation[] =
    "FcvkeyReadAsciiAnimation: error, unknown interp animToken '%s'.\n";
constexpr char kUnknownKeyType[] =
    "FcvkeyReadAsciiAnimation: error, unknown keytype animToken '%s'.\n";

/// Reads a word of `names` into a member; another word is reported and leaves it alone.
template <auto Member, const auto& Names, const char* Complaint, typename Record>
Outcome readName(std::FILE* stream, Record& record) {
    if (in_animToken(stream) == 0) {
        return Outcome::EndOfFile;
    }
    const int code = table::indexOf(Names, animToken);
    if (code >= 0) {
        record.*Member = static_cast<std::int16_t>(code);
    } else {
        optionPrint(Complaint, animToken); // NOLINT(clang-diagnostic-format-nonliteral)
        animNotify(AnimNoticeKind::UnknownWord, animToken);
    }
    return Outcome::Next;
}

/// Begins a line, or goes on in it, with a keyword.
void putKeyword(std::FILE* stream, bool newLine, std::string_view word) {
    if (newLine) {
        animWriteNewLine(stream);
    } else {
        text::put(stream, kSameLine);
    }
    text::putWord(stream, word);
}

void putName(std::FILE* stream, std::span<const char* const> names, int index) {
    const std::string_view name = table::nameAt(names, index);
    if (!name.empty()) {
        text::putWord(stream, name);
    }
}

// ------------------------------------------------------------------------------------------ keys

Outcome readFlag(std::FILE* stream, FcvKey& key) {
    if (in_animSValue(stream, &key.flag) == 0) {
        return Outcome::EndOfFile;
    }
    if (!fcurveKeysHaveNoType(animFileVersion)) {
        return Outcome::Next;
    }
    in_animToken(stream);
    return Outcome::Done;
}

Outcome readKeyType(std::FILE* stream, FcvKey& key) {
    if (readName<&FcvKey::keyType, kKeyTypes, kUnknownKeyType>(stream, key) == Outcome::EndOfFile) {
        return Outcome::EndOfFile;
    }
    in_animToken(stream);
    return Outcome::Done;
}

template <auto Member>
void writeFloat(std::FILE* stream, const FcvKey& key) {
    text::putFloat(stream, key.*Member);
}

template <auto Member>
void writeShort(std::FILE* stream, const FcvKey& key) {
    text::putInt(stream, key.*Member);
}

template <auto Member, const auto& Names>
void writeName(std::FILE* stream, const FcvKey& key) {
    putName(stream, Names, key.*Member);
}

struct KeyRow {
    std::string_view word;
    bool newLine;     ///< begins a line
    bool keypathOnly; ///< written only for keys of a key path
    Outcome (*read)(std::FILE*, FcvKey&);
    void (*write)(std::FILE*, const FcvKey&);
};

/// In the order in which a key is written.
constexpr KeyRow kKeyRows[] = {
    {"TIME", true, false, table::readFloat<&FcvKey::time>, writeFloat<&FcvKey::time>},
    {"VALUE", false, false, table::readFloat<&FcvKey::value>, writeFloat<&FcvKey::value>},
    {"LEFT_SLOPE", true, false, table::readFloat<&FcvKey::leftSlope>,
     writeFloat<&FcvKey::leftSlope>},
    {"RIGHT_SLOPE", false, false, table::readFloat<&FcvKey::rightSlope>,
     writeFloat<&FcvKey::rightSlope>},
    {"INTERPOLATION", true, false,
     readName<&FcvKey::interpolation, kInterpolations, kUnknownKeyInterpolation>,
     writeName<&FcvKey::interpolation, kInterpolations>},
    {"FLAG", false, false, readFlag, writeShort<&FcvKey::flag>},
    {"SPLINE_INDEX", false, true, table::readShort<&FcvKey::splineIndex>,
     writeShort<&FcvKey::splineIndex>},
    {"KEYTYPE", true, false, readKeyType, writeName<&FcvKey::keyType, kKeyTypes>},
};

int fcvkeyWriteAsciiAnimation(std::FILE* stream, const FcvKey* key) {
    if (key == nullptr) {
        return 0;
    }
    incIndent(1);
    animWriteNewLine(stream); // an empty line, blanks included, before each key
    for (const KeyRow& row : kKeyRows) {
        if (!row.keypathOnly || key->keyType == kKeyKeypath) {
            putKeyword(stream, row.newLine, row.word);
            row.write(stream, *key);
        }
    }
    incIndent(-1);
    return 1;
}

/// Reads the key that begins with the current token. Again: the token begins none.
Outcome fcvkeyReadAsciiAnimation(std::FILE* stream, FcvKey& key) {
    key = {};
    key.interpolation = kInterpolateLinear;
    key.splineIndex = -1;
    for (bool first = true;; first = false) {
        const KeyRow* row = table::find(kKeyRows, animToken);
        if (row == nullptr) {
            return first ? Outcome::Again : Outcome::Done;
        }
        const Outcome outcome = row->read(stream, key);
        if (outcome != Outcome::Next) {
            return outcome;
        }
        if (in_animToken(stream) == 0) {
            return Outcome::EndOfFile;
        }
    }
}

// ---------------------------------------------------------------------------------------- curves

Outcome readChannel(std::FILE* stream, Fcurve& curve);

Outcome readKeys(std::FILE* stream, Fcurve& curve) {
    GrowingArray<FcvKey> keys;
    const Outcome outcome = table::readCounted(stream, "keys", fcvkeyReadAsciiAnimation, keys);
    fcvkeyDispose(&curve.keys);
    curve.keyCount = static_cast<std::int16_t>(keys.size());
    curve.keys = keys.release(kFcvKeyStep);
    fcurveCheckOrder(&curve);
    return outcome;
}

/// In the order in which a curve begins.
constexpr table::Row<Fcurve> kCurveRows[] = {
    {"CURVE_TYPE", readChannel,
     [](std::FILE* stream, const Fcurve& curve) {
         const bool kept = curve.type == 0 && curve.unknownChannel != nullptr;
         text::putWord(stream, kept ? curve.unknownChannel : table::nameAt(fcv_name, curve.type));
     }},
    {"PRE_EXTRAPOLATION", table::readShort<&Fcurve::preExtrapolation>,
     [](std::FILE* stream, const Fcurve& c) { text::putInt(stream, c.preExtrapolation); }},
    {"POST_EXTRAPOLATION", table::readShort<&Fcurve::postExtrapolation>,
     [](std::FILE* stream, const Fcurve& c) { text::putInt(stream, c.postExtrapolation); }},
    {"FLAGS", table::readShort<&Fcurve::flags>,
     [](std::FILE* stream, const Fcurve& c) { text::putInt(stream, c.flags); }},
    {"INTERPOLATION", readName<&Fcurve::interpolation, kInterpolations, kUnknownCurveInterpolation>,
     [](std::FILE* stream, const Fcurve& c) { putName(stream, kInterpolations, c.interpolation); }},
    {"KEYS", readKeys,
     [](std::FILE* stream, const Fcurve& c) {
         text::putInt(stream, c.keys != nullptr ? c.keyCount : 0);
     }},
};

/// Reads a channel name. A curve of no channel is written without one: the word after CURVE_TYPE is
/// then already the curve's next keyword.
Outcome readChannel(std::FILE* stream, Fcurve& curve) {
    if (in_animToken(stream) == 0) {
        return Outcome::EndOfFile;
    }
    const int type = table::indexOf(fcv_name, animToken);
    curve.type = static_cast<std::int16_t>(type < 0 ? 0 : type);
    std::free(std::exchange(curve.unknownChannel, nullptr));
    if (type >= 0) {
        return Outcome::Next;
    }
    if (table::find(kCurveRows, animToken) != nullptr) {
        return Outcome::Again;
    }
    animNotify(AnimNoticeKind::Kept, animToken);
    curve.unknownChannel = strdup(animToken);
    if (curve.unknownChannel == nullptr) {
        notice::Call::failForMemory();
    }
    return Outcome::Next;
}

/// Reads the curve whose first word is the current token; null in `curve` when it has no keys.
int readCurve(std::FILE* stream, CurvePointer& curve) {
    const table::Row<Fcurve>* row = table::find(kCurveRows, animToken);
    if (row == nullptr) {
        // Kept: A curve that begins with an unknown word consumes that word.
        // A reader would expect the word to stay for the caller. It is dropped and the next one
        // becomes the look-ahead; readers of triples and positions build on that.
        animNotify(AnimNoticeKind::UnknownWord, animToken);
        in_animToken(stream);
    }
    while (row != nullptr) {
        const Outcome outcome = row->read(stream, *curve);
        if (outcome == Outcome::Done) {
            return 1;
        }
        if (outcome == Outcome::EndOfFile ||
            (outcome == Outcome::Next && in_animToken(stream) == 0)) {
            if (row->read != readKeys) {
                curve.reset();
            }
            return 0;
        }
        row = table::find(kCurveRows, animToken);
    }
    curve.reset();
    return 1;
}

} // namespace

bool fcurveKeysHaveNoType(float version) {
    constexpr double kLastVersionWithoutKeyType = 2.02;
    return double{version} <= kLastVersionWithoutKeyType;
}

int fcurveWriteAsciiAnimation(std::FILE* stream, const Fcurve* curve) {
    if (curve == nullptr) {
        return 0;
    }
    incIndent(1);
    for (const auto& row : kCurveRows) {
        putKeyword(stream, row.word != "POST_EXTRAPOLATION", row.word);
        row.write(stream, *curve);
    }
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
    CurvePointer read(fcurveAllocate());
    if (read == nullptr) {
        return 0;
    }
    const int result = readCurve(stream, read);
    if (curve != nullptr) {
        *curve = read.release();
    }
    return notice::Call::good(stream) ? result : 0;
}
