// SPDX-License-Identifier: MIT
// The rendering settings of a scene: one table of their keywords for reading and writing.
#include "curve/tinyCurveTable.h"
#include "tinySceneInner.h"

#include <cstdlib>

namespace {

using table::Outcome;

constexpr const char* kReader = "SceneReadAsciiAnimation";
constexpr std::int32_t kDefaultWidth = 720;
constexpr std::int32_t kDefaultHeight = 486;

// --- Picture block -------------------------------------------------------------------------------

using PictureRow = table::Row<ScenePicture>;

constexpr const char* kFormats[kPictureFormatCount] = {
    "35MM_137",  "35MM_166",      "35MM_185",   "70MM_PANAVISION", "70MM_IMAX", "70MM_OMNIMAX",
    "NTSC",      "PAL",           "HDTV",       "SLIDE_35MM",      "6CM_X_6CM", "6CM_X_9CM",
    "4IN_X_5IN", "CUSTOM_ASPECT", "CUSTOM_SIZE"};
constexpr table::Choice kFormatWords = {kFormats};

Outcome readFormat(std::FILE* stream, ScenePicture& picture) {
    if (!text::Reader::on(stream).value()) {
        return Outcome::EndOfFile;
    }
    const int format = table::indexOf(kFormatWords.names, animToken);
    if (format < 0) {
        optionPrint("PictureReadAsciiAnimation: error, unknown picture format '%s'.\n", animToken);
        animNotify(AnimNoticeKind::UnknownWord, animToken);
    } else {
        picture.format = static_cast<std::int16_t>(format);
    }
    picture.set = 1;
    return Outcome::Next;
}

/// A size, which also marks the picture as set.
template <auto Member>
constexpr PictureRow size(std::string_view word, bool (*present)(const ScenePicture&)) {
    PictureRow row = table::Rows<ScenePicture>::number<Member>(word, present);
    row.read = [](std::FILE* stream, ScenePicture& picture) {
        const Outcome outcome = table::readNumber(stream, picture.*Member);
        picture.set = outcome == Outcome::Next ? std::int16_t{1} : picture.set;
        return outcome;
    };
    return row;
}

void writeFormat(std::FILE* stream, const ScenePicture& picture) {
    text::putWord(stream, table::nameAt(kFormats, picture.format));
}

/// False for a format without a word, which is not written: a reader would read the next keyword in
/// its place.
bool hasFormat(const ScenePicture& picture) {
    return !table::nameAt(kFormats, picture.format).empty();
}
bool hasAspect(const ScenePicture& picture) {
    return picture.format == kPictureCustomAspect;
}
bool hasSize(const ScenePicture& picture) {
    return picture.format == kPictureCustomSize;
}

constexpr PictureRow kPictureRows[] = {
    {"FORMAT_TYPE", readFormat, writeFormat, hasFormat, false, false, &kFormatWords,
     [](const ScenePicture& picture) { return int{picture.format}; }},
    size<&ScenePicture::aspect>("ASPECT", hasAspect),
    size<&ScenePicture::width>("WIDTH", hasSize),
    size<&ScenePicture::height>("HEIGHT", hasSize),
};

// --- Rendering keywords --------------------------------------------------------------------------

using Row = SceneRow;
using Rows = table::Rows<SceneDraft>;
using Settings = SceneRendering;

/// The settings' member of the record.
constexpr auto kSettings = &Scene::rendering;

constexpr const char* kTypes[] = {"WIRE_FRAME", "HIDDEN_LINE", "RENDERING_LINE", "HARDWARE_LINE"};
constexpr const char* kAntialias[] = {"", "FIXED", "ADAPTIVE"};

constexpr table::Choice kTypeWords = {kTypes, kReader, "ren type"};
constexpr table::Choice kFrameBufferWords = {table::kActive, kReader, "fbuffer active"};
constexpr table::Choice kTimeWords = {table::kYes, kReader, "time stat"};
constexpr table::Choice kMemoryWords = {table::kYes, kReader, "memory stat"};
constexpr table::Choice kTreeWords = {table::kYes, kReader, "tree stat"};
constexpr table::Choice kLineWords = {table::kYes, kReader, "line stat"};
constexpr table::Choice kAntialiasWords = {kAntialias, kReader, "antialias"};
constexpr table::Choice kCullingWords = {table::kActive, kReader, "back culling"};
constexpr table::Choice kFadeWords = {table::kActive, kReader, "fade active"};
constexpr table::Choice kFieldWords = {table::kYes, kReader, "on field"};

template <auto Member>
constexpr Row integers(std::string_view word) {
    return {word,
            [](std::FILE* stream, SceneDraft& draft) {
                for (std::int32_t& value : draft.record->rendering.*Member) {
                    if (in_animLValue(stream, &value) == 0) {
                        return Outcome::EndOfFile;
                    }
                }
                return Outcome::Next;
            },
            [](std::FILE* stream, const Scene& scene) {
                for (const std::int32_t value : scene.rendering.*Member) {
                    text::putInt(stream, value);
                }
            }};
}

Outcome readPicture(std::FILE* stream, SceneDraft& draft) {
    return table::readBlock(stream, "PICTURE", kPictureRows, draft.record->rendering.picture);
}

void writePicture(std::FILE* stream, const Scene& scene) {
    table::writeDeeper(stream, kPictureRows, scene.rendering.picture);
}

bool hasPicture(const Scene& scene) {
    return scene.rendering.picture.set != 0;
}

Outcome readAntialias(std::FILE* stream, SceneDraft& draft) {
    Settings& settings = draft.record->rendering;
    // Kept: The first integer of "ANTIALIAS" is the value of "FILTER".
    // A reader would expect two settings. Both words set one member, so the last one in the file
    // counts, and both are written with the same number.
    const std::int16_t before = settings.filter;
    const bool whole =
        table::readChoice(stream, kAntialiasWords, settings.antialias) == Outcome::Next &&
        in_animSValue(stream, &settings.filter) != 0 &&
        in_animLValue(stream, &settings.antialiasLevel) != 0 &&
        in_animFValue(stream, &settings.antialiasThreshold) != 0;
    if (before != 0 && before != settings.filter) {
        animNotify(AnimNoticeKind::ByFormat, "FILTER", "the number of ANTIALIAS takes its place");
    }
    return table::next(whole ? 1 : 0);
}

void writeAntialias(std::FILE* stream, const Scene& scene) {
    const Settings& settings = scene.rendering;
    text::putWord(stream, kAntialias[settings.antialias]);
    text::putInt(stream, settings.filter);
    text::putInt(stream, settings.antialiasLevel);
    text::putFloat(stream, settings.antialiasThreshold);
}

bool hasAntialias(const Scene& scene) {
    return scene.rendering.antialias == 1 || scene.rendering.antialias == 2;
}

template <int Index>
constexpr Row fade(std::string_view word) {
    return {word,
            [](std::FILE* stream, SceneDraft& draft) {
                Settings& settings = draft.record->rendering;
                return table::again(valueReadAsciiAnimation(stream, &settings.fade[Index],
                                                            &settings.fadeCurves[Index], 1));
            },
            [](std::FILE* stream, const Scene& scene) {
                valueWriteAsciiAnimation(stream, scene.rendering.fade[Index],
                                         scene.rendering.fadeCurves[Index]);
            }};
}

Outcome readFadeColour(std::FILE* stream, SceneDraft& draft) {
    Settings& settings = draft.record->rendering;
    return table::again(
        tripleRead(stream, &settings.fade[kFadeRed], &settings.fadeCurves[kFadeRed]));
}

void writeFadeColour(std::FILE* stream, const Scene& scene) {
    tripleWrite(stream, &scene.rendering.fade[kFadeRed], &scene.rendering.fadeCurves[kFadeRed]);
}

// Kept: Ambience is never animated.
// A reader would expect curves to be kept like those of the fade colour. They are read and dropped,
// and the writer writes three plain numbers.
Outcome readAmbience(std::FILE* stream, SceneDraft& draft) {
    return table::readPlainTriple(stream, draft.record->rendering.ambience);
}

void writeAmbience(std::FILE* stream, const Scene& scene) {
    table::writePlainTriple(stream, scene.rendering.ambience);
}

constexpr Row kRows[] = {
    Rows::choice<kTypeWords, kSettings, &Settings::type>("RENDERING_TYPE"),
    integers<&Settings::frame>("RENDERING_FRAME"),
    Rows::flag<kFrameBufferWords, kSettings, &Settings::frameBuffer>("FRAME_BUFFER"),
    Rows::quoted<kSettings, &Settings::outputFile>("OUTPUT_FILE"),
    integers<&Settings::resolution>("RESOLUTION"),
    {"PICTURE", readPicture, writePicture, hasPicture},
    Rows::number<kSettings, &Settings::pixelRatio>("PIXEL_RATIO"),
    Rows::number<kSettings, &Settings::filter>("FILTER"),
    Rows::number<kSettings, &Settings::maxRayDepth>("MAX_RAY_DEPTH"),
    Rows::number<kSettings, &Settings::maxTriaDepth>("MAX_TRIA_DEPTH"),
    Rows::number<kSettings, &Settings::maxTreeDepth>("MAX_TREE_DEPTH"),
    Rows::quoted<kSettings, &Settings::preRendering>("PRE_RENDERING"),
    Rows::quoted<kSettings, &Settings::postRendering>("POST_RENDERING"),
    Rows::flag<kTimeWords, kSettings, &Settings::timeStatistics>("TIME_STATISTICS"),
    Rows::flag<kMemoryWords, kSettings, &Settings::memoryStatistics>("MEMORY_STATISTICS"),
    Rows::flag<kTreeWords, kSettings, &Settings::treeStatistics>("TREE_STATISTICS"),
    Rows::flag<kLineWords, kSettings, &Settings::lineStatistics>("LINE_STATISTICS"),
    {"ANTIALIAS", readAntialias, writeAntialias, hasAntialias, false, false, &kAntialiasWords,
     [](const Scene& scene) { return int{scene.rendering.antialias}; }},
    Rows::flag<kCullingWords, kSettings, &Settings::backCulling>("BACK_CULLING"),
    Rows::flag<kFadeWords, kSettings, &Settings::fadeActive>("FADE"),
    fade<kFadeStart>("FADE_START"),
    fade<kFadeEnd>("FADE_END"),
    {"FADE_COLOUR", readFadeColour, writeFadeColour},
    fade<kFadeTransparency>("FADE_TRANSPARENCY"),
    {"AMBIENCE", readAmbience, writeAmbience},
    Rows::number<kSettings, &Settings::motionBlur>("MOTION_BLUR"),
    Rows::number<kSettings, &Settings::shutterSpeed>("SHUTTER_SPEED"),
    Rows::number<kSettings, &Settings::minMovement>("MIN_MOVEMENT"),
    Rows::flag<kFieldWords, kSettings, &Settings::onField>("ON_FIELD"),
    Rows::number<kSettings, &Settings::firstField>("FIRST_FIELD"),
};

} // namespace

void renderListWords(const table::WordTaker& taker) {
    table::listWords(kPictureRows, taker);
    table::listWords(kRows, taker);
}

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

std::span<const SceneRow> renderRows() {
    return kRows;
}

void renderReportUnwritten(const Scene& scene) {
    const Settings& settings = scene.rendering;
    if (settings.antialias == 0 &&
        (settings.antialiasLevel != 0 || settings.antialiasThreshold != 0.0F)) {
        notice::written(AnimNoticeKind::Dropped, "ANTIALIAS", "level and threshold of mode 0");
    }
    const ScenePicture& picture = settings.picture;
    if (picture.set == 0 && (picture.format != 0 || picture.aspect != 0.0F ||
                             picture.width != 0.0F || picture.height != 0.0F)) {
        notice::written(AnimNoticeKind::Dropped, "PICTURE", "which is not marked as set");
    }
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
