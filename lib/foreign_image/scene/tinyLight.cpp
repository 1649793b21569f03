// SPDX-License-Identifier: MIT
#include "tinyLight.h"

#include "curve/tinyCurveTable.h"
#include "file/tinyUtilsGrow.h"
#include "tinySceneInner.h"

#include <cstdlib>

namespace {

struct Draft {
    Light* record;
    const char* nameBefore; ///< the record's name before the call, which the caller frees
    std::int16_t type = 0;  ///< of the last "LIGHT_TYPE" line of this block
};
using table::Outcome;
using Row = table::Row<Draft>;
using Rows = table::CurveRows<Draft>;

constexpr char kReader[] = "LightReadAsciiAnimation";
constexpr const char* kTypes[] = {"", "POINT", "SPOT", "INFINITE"};
constexpr table::Choice kTypeWords = {kTypes, kReader, "light type"};
constexpr table::Choice kSelectWords = {table::kSelection, kReader, "select"};

bool isSpot(const Light& light) {
    return light.type == kLightSpot;
}

Outcome readName(std::FILE* stream, Draft& draft) {
    if (draft.record->name == draft.nameBefore) {
        draft.record->name = nullptr;
    }
    return table::readQuoted(stream, draft.record->name);
}

void writeName(std::FILE* stream, const Light& light) {
    text::putQuoted(stream, light.name);
}

Outcome readType(std::FILE* stream, Draft& draft) {
    const Outcome outcome = table::readChoice(stream, kTypeWords, draft.type);
    // Kept: An unknown light type replaces the type that the light had.
    // A reader would expect an unknown word to leave the record unchanged, as everywhere else. It
    // gives the type 0, or that of an earlier line of the same block.
    draft.record->type = outcome == Outcome::Next ? draft.type : draft.record->type;
    return outcome;
}

Outcome dropScalar(std::FILE* stream, Draft&) {
    animNotify(AnimNoticeKind::ByFormat, animToken);
    return table::again(valueReadAsciiAnimation(stream, nullptr, nullptr, 1));
}

Outcome readColourIndex(std::FILE* stream, Draft& draft) {
    animNotify(AnimNoticeKind::ByFormat, animToken);
    draft.record->wireColour = kLightIndexedWireColour;
    return table::next(in_animSValue_na(stream) != 0 ? in_animSValue_na(stream) : 0);
}

/// A small integer, which `animSValue` receives too.
template <auto Member>
constexpr Row small(std::string_view word) {
    return Rows::readBy(
        [](std::FILE* stream, Draft& draft) {
            const int found = in_animSValue_na(stream);
            draft.record->*Member = found != 0 ? animSValue : draft.record->*Member;
            return table::next(found);
        },
        Rows::number<Member>(word));
}

constexpr Row kRows[] = {
    {"LIGHT_NAME", readName, writeName},
    Rows::readBy(readType, Rows::choice<kTypeWords, &Light::type>("LIGHT_TYPE")),
    Rows::triple<&Light::colour, kLightRed>("COLOUR"),
    Rows::scalar<&Light::fallOffStart, kLightFallOffStart>("FALL_OFF_START"),
    Rows::scalar<&Light::fallOffEnd, kLightFallOffEnd>("FALL_OFF_END"),
    Rows::scalar<&Light::shadowFactor, kLightShadow>("SHADOW_FACTOR"),
    Rows::position<&Light::position, kLightPositionPath, kLightPositionX>("POSITION"),
    Rows::position<&Light::interest, kLightInterestPath, kLightInterestX>("INTEREST", isSpot),
    Rows::scalar<&Light::coneAngle, kLightCone>("CONE_ANGLE", isSpot),
    Rows::scalar<&Light::spreadAngle, kLightSpread>("SPREAD_ANGLE", isSpot),
    Rows::curveOnly<kLightHidden>("HIDDEN"),
    small<&Light::shadowType>("SHADOW_TYPE"),
    small<&Light::shadowMapRes>("SHADOW_MAP_RES"),
    small<&Light::shadowFilterSize>("SHADOW_FILTER_SIZE"),
    small<&Light::shadowFilterStep>("SHADOW_FILTER_STEP"),
    Rows::plain<&Light::shadowFadeStart>("SHADOW_FADE_START"),
    Rows::plain<&Light::shadowFadeRate>("SHADOW_FADE_RATE"),
    small<&Light::wireColour>("WIRE_COLOUR"),
    small<&Light::lineType>("LINE_TYPE"),
    Rows::choice<kSelectWords, &Light::selection>("SELECTED"),
    {"DECAY", dropScalar},
    {"WIRE_COLOUR_INDEX", readColourIndex},
};

/// Reports members that are written for spot lights only.
void reportSpotMembers(const Light& light) {
    const AnimatedPosition& interest = light.interest;
    const struct {
        const char* word;
        bool set;
    } members[] = {
        {"INTEREST", table::isSet(interest.fixed) || interest.path != nullptr ||
                         interest.constraintName != nullptr || interest.pathModelName != nullptr ||
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

void lightListWords(const table::WordTaker& taker) {
    table::listWords(kRows, taker);
}

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
    return table::writeDeeper(stream, kRows, *light);
}

// Kept: The light reader reads its first token itself; the camera reader does not.
// A reader would expect both to begin alike. The light reader is called with its keyword as the
// current token, the camera reader with the token after it.
int lightReadAsciiAnimation(std::FILE* stream, Light* light) {
    const notice::Call call;
    if (!in_animToken(stream)) {
        return 0;
    }
    Light dropped = {};
    Light* record = light != nullptr ? light : &dropped;
    Draft draft = {record, record->name};
    const int result = sceneReadBlock(stream, kRows, draft);
    disposeParts(&dropped);
    std::free(dropped.name);
    return notice::Call::good(stream) ? result : 0;
}
