// SPDX-License-Identifier: MIT
// The rendering settings of a scene: one table of their keywords serves reading and writing.
#include "tinyCameraPosition.h"
#include "tinyFcurve.h"
#include "tinySceneInner.h"

#include <cstdlib>

namespace {

using block::Outcome;

constexpr const char* kReader = "SceneReadAsciiAnimation";
constexpr std::int32_t kDefaultWidth = 720;
constexpr std::int32_t kDefaultHeight = 486;

// ---------------------------------------------------------------------------------- picture block

struct PictureBlock {
    ScenePicture* record;
};
using PictureRow = block::Row<PictureBlock>;

constexpr const char* kFormats[kPictureFormatCount] = {
    "35MM_137",  "35MM_166",      "35MM_185",   "70MM_PANAVISION", "70MM_IMAX", "70MM_OMNIMAX",
    "NTSC",      "PAL",           "HDTV",       "SLIDE_35MM",      "6CM_X_6CM", "6CM_X_9CM",
    "4IN_X_5IN", "CUSTOM_ASPECT", "CUSTOM_SIZE"};

Outcome readFormat(std::FILE* stream, PictureBlock& b) {
    if (!in_animToken(stream)) {
        return Outcome::EndOfFile;
    }
    const int format = table::indexOf(kFormats, animToken);
    if (format < 0) {
        optionPrint("PictureReadAsciiAnimation: error, unknown picture format '%s'.\n", animToken);
        animNotify(AnimNoticeKind::UnknownWord, animToken);
    } else {
        b.record->format = static_cast<std::int16_t>(format);
    }
    b.record->set = 1;
    return Outcome::Next;
}

template <auto Member>
Outcome readSize(std::FILE* stream, PictureBlock& b) {
    if (!in_animFValue(stream, &(b.record->*Member))) {
        return Outcome::EndOfFile;
    }
    b.record->set = 1;
    return Outcome::Next;
}

template <auto Member>
void writeSize(std::FILE* stream, const ScenePicture& picture) {
    text::putFloat(stream, picture.*Member);
}

void writeFormat(std::FILE* stream, const ScenePicture& picture) {
    text::putWord(stream, table::nameAt(kFormats, picture.format));
}

/// Of a format without a word nothing is written: a reader would take the next keyword for it.
bool hasFormat(const ScenePicture& picture) {
    return !table::nameAt(kFormats, picture.format).empty();
}
bool hasAspect(const ScenePicture& picture) {
    return picture.format == kPictureCustomAspect;
}
bool hasSize(const ScenePicture& picture) {
    return picture.format == kPictureCustomSize;
}

/// Reports the sizes that the format does not have.
void reportSizes(const ScenePicture& picture) {
    const struct {
        const char* word;
        bool set;
    } sizes[] = {{"ASPECT", picture.aspect != 0.0F && !hasAspect(picture)},
                 {"WIDTH", picture.width != 0.0F && !hasSize(picture)},
                 {"HEIGHT", picture.height != 0.0F && !hasSize(picture)}};
    for (const auto& size : sizes) {
        if (picture.set != 0 && size.set) {
            notice::written(AnimNoticeKind::ByFormat, size.word,
                            "of a picture whose format does not have it");
        }
    }
}

constexpr PictureRow kPictureRows[] = {
    {"FORMAT_TYPE", readFormat, writeFormat, hasFormat},
    {"ASPECT", readSize<&ScenePicture::aspect>, writeSize<&ScenePicture::aspect>, hasAspect},
    {"WIDTH", readSize<&ScenePicture::width>, writeSize<&ScenePicture::width>, hasSize},
    {"HEIGHT", readSize<&ScenePicture::height>, writeSize<&ScenePicture::height>, hasSize},
};

// ------------------------------------------------------------------------------ rendering keywords

struct RenderBlock {
    SceneRendering* record;
};
using Row = block::Row<RenderBlock>;
using Rows = block::Rows<RenderBlock>;
using Settings = SceneRendering;

constexpr const char* kTypes[] = {"WIRE_FRAME", "HIDDEN_LINE", "RENDERING_LINE", "HARDWARE_LINE"};
constexpr const char* kAntialias[] = {"", "FIXED", "ADAPTIVE"};

constexpr block::Choice kTypeWords = {kTypes, kReader, "ren type"};
constexpr block::Choice kFrameBufferWords = {block::kActive, kReader, "fbuffer active"};
constexpr block::Choice kTimeWords = {block::kYes, kReader, "time stat"};
constexpr block::Choice kMemoryWords = {block::kYes, kReader, "memory stat"};
constexpr block::Choice kTreeWords = {block::kYes, kReader, "tree stat"};
constexpr block::Choice kLineWords = {block::kYes, kReader, "line stat"};
constexpr block::Choice kAntialiasWords = {kAntialias, kReader, "antialias"};
constexpr block::Choice kCullingWords = {block::kActive, kReader, "back culling"};
constexpr block::Choice kFadeWords = {block::kActive, kReader, "fade active"};
constexpr block::Choice kFieldWords = {block::kYes, kReader, "on field"};

template <auto Member>
Outcome readIntegers(std::FILE* stream, RenderBlock& b) {
    for (std::int32_t& value : b.record->*Member) {
        if (!in_animLValue(stream, &value)) {
            return Outcome::EndOfFile;
        }
    }
    return Outcome::Next;
}

template <auto Member>
void writeIntegers(std::FILE* stream, const Settings& settings) {
    for (const std::int32_t value : settings.*Member) {
        text::putInt(stream, value);
    }
}

template <auto Member>
constexpr Row integers(std::string_view word) {
    return {word, readIntegers<Member>, writeIntegers<Member>};
}

/// A number that cannot be animated and whose reader reads no look-ahead.
template <auto Member>
constexpr Row number(std::string_view word) {
    return {word,
            [](std::FILE* stream, RenderBlock& b) {
                return in_animFValue(stream, &(b.record->*Member)) != 0 ? Outcome::Next
                                                                        : Outcome::EndOfFile;
            },
            [](std::FILE* stream, const Settings& settings) {
                text::putFloat(stream, settings.*Member);
            }};
}

Outcome readPicture(std::FILE* stream, RenderBlock& b) {
    PictureBlock picture = {&b.record->picture};
    return in_animToken(stream) && block::readRows(stream, kPictureRows, picture)
               ? Outcome::Again
               : Outcome::EndOfFile;
}

void writePicture(std::FILE* stream, const Settings& settings) {
    incIndent(1);
    block::write(stream, kPictureRows, settings.picture);
    incIndent(-1);
}

bool hasPicture(const Settings& settings) {
    return settings.picture.set != 0;
}

Outcome readAntialias(std::FILE* stream, RenderBlock& b) {
    Settings& settings = *b.record;
    // Kept: The first integer of "ANTIALIAS" is the value of "FILTER".
    // A reader would expect two settings; both words address one field, so that whichever comes
    // last in the file counts, and files are written with one number in both places.
    const std::int16_t before = settings.filter;
    const bool whole = block::readChoice(stream, kAntialiasWords, settings.antialias) &&
                       in_animSValue(stream, &settings.filter) != 0 &&
                       in_animLValue(stream, &settings.antialiasLevel) != 0 &&
                       in_animFValue(stream, &settings.antialiasThreshold) != 0;
    if (before != 0 && before != settings.filter) {
        animNotify(AnimNoticeKind::ByFormat, "FILTER", "the number of ANTIALIAS takes its place");
    }
    return whole ? Outcome::Next : Outcome::EndOfFile;
}

void writeAntialias(std::FILE* stream, const Settings& settings) {
    text::putWord(stream, kAntialias[settings.antialias]);
    text::putInt(stream, settings.filter);
    text::putInt(stream, settings.antialiasLevel);
    text::putFloat(stream, settings.antialiasThreshold);
}

bool hasAntialias(const Settings& settings) {
    return settings.antialias == 1 || settings.antialias == 2;
}

template <int Index>
constexpr Row fade(std::string_view word) {
    return {word,
            [](std::FILE* stream, RenderBlock& b) {
                return Rows::again(valueReadAsciiAnimation(stream, &b.record->fade[Index],
                                                           &b.record->fadeCurves[Index], 1));
            },
            [](std::FILE* stream, const Settings& settings) {
                valueWriteAsciiAnimation(stream, settings.fade[Index], settings.fadeCurves[Index]);
            }};
}

Outcome readFadeColour(std::FILE* stream, RenderBlock& b) {
    return Rows::again(
        tripleRead(stream, &b.record->fade[kFadeRed], &b.record->fadeCurves[kFadeRed]));
}

void writeFadeColour(std::FILE* stream, const Settings& settings) {
    tripleWrite(stream, &settings.fade[kFadeRed], &settings.fadeCurves[kFadeRed]);
}

// Kept: Ambience is never animated.
// A reader would expect curves to be held like those of the fade colour; they are read and dropped,
// and the writer gives three plain numbers. Renderers rely on finding numbers there.
Outcome readAmbience(std::FILE* stream, RenderBlock& b) {
    const block::DroppedCurves<3> dropped;
    float* light = b.record->ambience;
    return Rows::again(value3ReadAsciiAnimation(stream, &light[0], &light[1], &light[2],
                                                dropped.place(0), dropped.place(1),
                                                dropped.place(2)));
}

void writeAmbience(std::FILE* stream, const Settings& settings) {
    const float* light = settings.ambience;
    value3WriteAsciiAnimation(stream, light[0], light[1], light[2], nullptr, nullptr, nullptr);
}

constexpr Row kRows[] = {
    Rows::choice<&Settings::type, kTypeWords>("RENDERING_TYPE"),
    integers<&Settings::frame>("RENDERING_FRAME"),
    Rows::flag<&Settings::frameBuffer, kFrameBufferWords>("FRAME_BUFFER"),
    Rows::quoted<&Settings::outputFile>("OUTPUT_FILE"),
    integers<&Settings::resolution>("RESOLUTION"),
    {"PICTURE", readPicture, writePicture, hasPicture},
    number<&Settings::pixelRatio>("PIXEL_RATIO"),
    Rows::integer<&Settings::filter>("FILTER"),
    Rows::integer<&Settings::maxRayDepth>("MAX_RAY_DEPTH"),
    Rows::integer<&Settings::maxTriaDepth>("MAX_TRIA_DEPTH"),
    Rows::integer<&Settings::maxTreeDepth>("MAX_TREE_DEPTH"),
    Rows::quoted<&Settings::preRendering>("PRE_RENDERING"),
    Rows::quoted<&Settings::postRendering>("POST_RENDERING"),
    Rows::flag<&Settings::timeStatistics, kTimeWords>("TIME_STATISTICS"),
    Rows::flag<&Settings::memoryStatistics, kMemoryWords>("MEMORY_STATISTICS"),
    Rows::flag<&Settings::treeStatistics, kTreeWords>("TREE_STATISTICS"),
    Rows::flag<&Settings::lineStatistics, kLineWords>("LINE_STATISTICS"),
    {"ANTIALIAS", readAntialias, writeAntialias, hasAntialias},
    Rows::flag<&Settings::backCulling, kCullingWords>("BACK_CULLING"),
    Rows::flag<&Settings::fadeActive, kFadeWords>("FADE"),
    fade<kFadeStart>("FADE_START"),
    fade<kFadeEnd>("FADE_END"),
    {"FADE_COLOUR", readFadeColour, writeFadeColour},
    fade<kFadeTransparency>("FADE_TRANSPARENCY"),
    {"AMBIENCE", readAmbience, writeAmbience},
    Rows::integer<&Settings::motionBlur>("MOTION_BLUR"),
    number<&Settings::shutterSpeed>("SHUTTER_SPEED"),
    number<&Settings::minMovement>("MIN_MOVEMENT"),
    Rows::flag<&Settings::onField, kFieldWords>("ON_FIELD"),
    Rows::integer<&Settings::firstField>("FIRST_FIELD"),
};

} // namespace

void renderInitialize(SceneRendering* rendering) {
    *rendering = SceneRendering{};
    rendering->pixelRatio = 1.0F;
    rendering->resolution[0] = kDefaultWidth;
    rendering->resolution[1] = kDefaultHeight;
}

void renderDisposeParts(SceneRendering* rendering) {
    for (char** text :
         {&rendering->outputFile, &rendering->preRendering, &rendering->postRendering}) {
        std::free(*text);
        *text = nullptr;
    }
    fcurveArrayDispose(rendering->fadeCurves, kFadeCount);
}

int renderWriteAsciiAnimation(std::FILE* stream, const SceneRendering& rendering) {
    reportSizes(rendering.picture);
    block::write(stream, kRows, rendering);
    return 1;
}

std::optional<table::Outcome> renderReadKeyword(std::FILE* stream, SceneRendering* rendering,
                                                std::uint64_t& seen) {
    const Row* row = table::find(kRows, animToken);
    if (row == nullptr) {
        return std::nullopt;
    }
    RenderBlock b = {rendering};
    block::noteRepeated(kRows, row, seen);
    return row->read(stream, b);
}

bool renderIsWord(std::string_view word) {
    return table::find(kRows, word) != nullptr;
}
