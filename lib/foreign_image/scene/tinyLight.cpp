// SPDX-License-Identifier: MIT
#include "tinyLight.h"

#include "file/tinyUtilsGrow.h"
#include "tinyCameraBlock.h"
#include "tinyCameraPosition.h"
#include "tinyFcurve.h"

#include <cstdlib>

namespace {

struct LightBlock {
    Light* record;
    const char* nameBefore; ///< the name that the record came with: its owner's to free
    std::int16_t type = 0;  ///< of the last "LIGHT_TYPE" line of this block
};
using Row = block::Row<LightBlock>;
using Rows = block::Rows<LightBlock>;
using block::Outcome;

constexpr const char* kTypes[] = {"", "POINT", "SPOT", "INFINITE"};
constexpr block::Choice kTypeWords = {kTypes, "LightReadAsciiAnimation", "light type"};
constexpr block::Choice kSelectWords = {block::kSelection, "LightReadAsciiAnimation", "select"};

bool isSpot(const Light& light) {
    return light.type == kLightSpot;
}

template <auto Member, int Path, int X>
constexpr Row position(std::string_view word, bool (*present)(const Light&) = nullptr) {
    return {word,
            [](std::FILE* stream, LightBlock& b) {
                return Rows::again(
                    positionRead(stream, b.record->*Member, b.record->curves, Path, X));
            },
            [](std::FILE* stream, const Light& light) {
                positionWrite(stream, light.*Member, light.curves, Path, X);
            },
            present};
}

Outcome readName(std::FILE* stream, LightBlock& b) {
    if (b.record->name == b.nameBefore) {
        b.record->name = nullptr;
    }
    return block::readQuoted(stream, b.record->name);
}

void writeName(std::FILE* stream, const Light& light) {
    text::putQuoted(stream, light.name);
}

Outcome readType(std::FILE* stream, LightBlock& b) {
    const bool more = block::readChoice(stream, kTypeWords, b.type);
    // Kept: An unknown light type replaces the type that the light had.
    // A reader would expect an unknown word to leave the record alone, as everywhere else; it gives
    // the type 0, or that of an earlier line of the same block, and files depend on the difference.
    b.record->type = more ? b.type : b.record->type;
    return more ? Outcome::Next : Outcome::EndOfFile;
}

/// A choice but for what an unknown word does.
constexpr Row typeRow(std::string_view word) {
    Row row = Rows::choice<&Light::type, kTypeWords>(word);
    row.read = readType;
    return row;
}

Outcome readColour(std::FILE* stream, LightBlock& b) {
    return Rows::again(tripleRead(stream, b.record->colour, &b.record->curves[kLightRed]));
}

void writeColour(std::FILE* stream, const Light& light) {
    tripleWrite(stream, light.colour, &light.curves[kLightRed]);
}

Outcome dropScalar(std::FILE* stream, LightBlock&) {
    animNotify(AnimNoticeKind::ByFormat, animToken);
    return Rows::again(valueReadAsciiAnimation(stream, nullptr, nullptr, 1));
}

Outcome readColourIndex(std::FILE* stream, LightBlock& b) {
    animNotify(AnimNoticeKind::ByFormat, animToken);
    b.record->wireColour = kLightIndexedWireColour;
    for (int i = 0; i < 2; ++i) {
        if (in_animToken(stream) == 0) {
            return Outcome::EndOfFile;
        }
    }
    return Outcome::Next;
}

constexpr Row kRows[] = {
    {"LIGHT_NAME", readName, writeName},
    typeRow("LIGHT_TYPE"),
    {"COLOUR", readColour, writeColour},
    Rows::scalar<&Light::fallOffStart, kLightFallOffStart>("FALL_OFF_START"),
    Rows::scalar<&Light::fallOffEnd, kLightFallOffEnd>("FALL_OFF_END"),
    Rows::scalar<&Light::shadowFactor, kLightShadow>("SHADOW_FACTOR"),
    position<&Light::position, kLightPositionPath, kLightPositionX>("POSITION"),
    position<&Light::interest, kLightInterestPath, kLightInterestX>("INTEREST", isSpot),
    Rows::scalar<&Light::coneAngle, kLightCone>("CONE_ANGLE", isSpot),
    Rows::scalar<&Light::spreadAngle, kLightSpread>("SPREAD_ANGLE", isSpot),
    Rows::curveOnly<kLightHidden>("HIDDEN"),
    Rows::integer<&Light::shadowType>("SHADOW_TYPE"),
    Rows::integer<&Light::shadowMapRes>("SHADOW_MAP_RES"),
    Rows::integer<&Light::shadowFilterSize>("SHADOW_FILTER_SIZE"),
    Rows::integer<&Light::shadowFilterStep>("SHADOW_FILTER_STEP"),
    Rows::plain<&Light::shadowFadeStart>("SHADOW_FADE_START"),
    Rows::plain<&Light::shadowFadeRate>("SHADOW_FADE_RATE"),
    Rows::integer<&Light::wireColour>("WIRE_COLOUR"),
    Rows::integer<&Light::lineType>("LINE_TYPE"),
    Rows::choice<&Light::selection, kSelectWords>("SELECTED"),
    {"DECAY", dropScalar},
    {"WIRE_COLOUR_INDEX", readColourIndex},
};

/// Reports what is written of spot lights only.
void reportSpotMembers(const Light& light) {
    const AnimatedPosition& interest = light.interest;
    const Vector& fixed = interest.fixed;
    const struct {
        const char* word;
        bool set;
    } members[] = {
        {"INTEREST", fixed.x != 0.0F || fixed.y != 0.0F || fixed.z != 0.0F ||
                         interest.path != nullptr || interest.constraintName != nullptr ||
                         interest.pathModelName != nullptr ||
                         light.curves[kLightInterestX] != nullptr},
        {"CONE_ANGLE", light.coneAngle != 0.0F || light.curves[kLightCone] != nullptr},
        {"SPREAD_ANGLE", light.spreadAngle != 0.0F || light.curves[kLightSpread] != nullptr},
    };
    for (const auto& member : members) {
        if (member.set) {
            notice::written(AnimNoticeKind::ByFormat, member.word,
                            "of light \"%.60s\", which is not a spot light",
                            light.name != nullptr ? light.name : "");
        }
    }
}

/// Frees what the light owns except its name.
void disposeParts(Light* light) {
    positionClear(&light->position);
    positionClear(&light->interest);
    fcurveArrayDispose(light->curves, kLightCurveCount);
}

} // namespace

Light* lightAllocate() {
    return newRecords<Light>(1);
}

void lightDispose(Light** light) {
    if (light != nullptr && *light != nullptr) {
        disposeParts(*light);
        std::free((*light)->name);
        std::free(*light);
        *light = nullptr;
    }
}

int lightWriteAsciiAnimation(std::FILE* stream, const Light* light) {
    if (light == nullptr) {
        return 0;
    }
    if (!isSpot(*light)) {
        reportSpotMembers(*light);
    }
    incIndent(1);
    block::write(stream, kRows, *light);
    incIndent(-1);
    return 1;
}

// Kept: The light reader reads its first token itself; the camera reader does not.
// A reader would expect both to begin alike. Scene readers, also those of other programs, call the
// one with its keyword still current and the other with the token after it.
int lightReadAsciiAnimation(std::FILE* stream, Light* light) {
    const notice::Call call;
    if (!in_animToken(stream)) {
        return 0;
    }
    Light dropped = {};
    Light* record = light != nullptr ? light : &dropped;
    LightBlock b = {record, record->name};
    const int result = block::read(stream, kRows, b);
    disposeParts(&dropped);
    std::free(dropped.name);
    return notice::Call::good(stream) ? result : 0;
}
