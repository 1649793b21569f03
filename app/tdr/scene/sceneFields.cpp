// SPDX-License-Identifier: MIT
#include "sceneFields.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <numbers>
#include <string_view>
#include <system_error>

namespace {

constexpr const char* kUnits = "scene units";
constexpr const char* kDegrees = "degrees";
constexpr const char* kPercent = "% of the path";
constexpr const char* kOnOff = "off 0, on 1";
constexpr const char* kFull = "1 = full";

template <typename Record, auto Member>
double number(const Record& record) {
    return shortest(static_cast<float>(record.*Member));
}

template <typename Record, auto Member, int Index>
double element(const Record& record) {
    return shortest((record.*Member)[Index]);
}

template <int Axis>
double angle(const Model& node) {
    return degrees(node.rotation[Axis]);
}

template <auto Member>
constexpr auto camera = number<Camera, Member>;

template <auto Member>
constexpr auto light = number<Light, Member>;

constexpr SceneField<Camera> kCamera[] = {
    {kCameraPositionPath, "positionTiming", nullptr, kPercent, nullptr},
    {kCameraPositionX, "position", "x", kUnits, nullptr},
    {kCameraPositionY, "position", "y", kUnits, nullptr},
    {kCameraPositionZ, "position", "z", kUnits, nullptr},
    {kCameraInterestPath, "interestTiming", nullptr, kPercent, nullptr},
    {kCameraInterestX, "interest", "x", kUnits, nullptr},
    {kCameraInterestY, "interest", "y", kUnits, nullptr},
    {kCameraInterestZ, "interest", "z", kUnits, nullptr},
    {kCameraRoll, "roll", nullptr, kDegrees, camera<&Camera::roll>},
    {kCameraFieldOfView, "fieldOfView", nullptr, kDegrees, camera<&Camera::fieldOfView>},
    {kCameraNear, "near", nullptr, kUnits, camera<&Camera::near>},
    {kCameraFar, "far", nullptr, kUnits, camera<&Camera::far>},
    {kCameraFocalLength, "focalLength", nullptr, kUnits, camera<&Camera::focalLength>},
    {kCameraFStop, "fStop", nullptr, "f-number", camera<&Camera::fStop>},
    {kCameraFocalDistance, "focalDistance", nullptr, kUnits, camera<&Camera::focalDistance>},
    {kCameraNearFocus, "nearFocus", nullptr, kUnits, camera<&Camera::nearFocus>},
    {kCameraFarFocus, "farFocus", nullptr, kUnits, camera<&Camera::farFocus>},
    {kCameraOutOfFocus, "outOfFocus", nullptr, "value", camera<&Camera::outOfFocus>},
    {kCameraMaximumCoc, "maximumCoc", nullptr, kUnits, camera<&Camera::maximumCoc>},
    {kCameraHidden, "hidden", nullptr, kOnOff, nullptr},
};

constexpr SceneField<Light> kLight[] = {
    {kLightRed, "colour", "red", kFull, element<Light, &Light::colour, 0>},
    {kLightGreen, "colour", "green", kFull, element<Light, &Light::colour, 1>},
    {kLightBlue, "colour", "blue", kFull, element<Light, &Light::colour, 2>},
    {kLightCone, "coneAngle", nullptr, kDegrees, light<&Light::coneAngle>},
    {kLightSpread, "spreadAngle", nullptr, kDegrees, light<&Light::spreadAngle>},
    {kLightFallOffStart, "fallOffStart", nullptr, kUnits, light<&Light::fallOffStart>},
    {kLightFallOffEnd, "fallOffEnd", nullptr, kUnits, light<&Light::fallOffEnd>},
    {kLightShadow, "shadowFactor", nullptr, "factor", light<&Light::shadowFactor>},
    {kLightPositionPath, "positionTiming", nullptr, kPercent, nullptr},
    {kLightPositionX, "position", "x", kUnits, nullptr},
    {kLightPositionY, "position", "y", kUnits, nullptr},
    {kLightPositionZ, "position", "z", kUnits, nullptr},
    {kLightInterestPath, "interestTiming", nullptr, kPercent, nullptr},
    {kLightInterestX, "interest", "x", kUnits, nullptr},
    {kLightInterestY, "interest", "y", kUnits, nullptr},
    {kLightInterestZ, "interest", "z", kUnits, nullptr},
    {kLightHidden, "hidden", nullptr, kOnOff, nullptr},
};

constexpr SceneField<Model> kModel[] = {
    {kModelScalingX, "scaling", "x", "factor", element<Model, &Model::scaling, 0>},
    {kModelScalingY, "scaling", "y", "factor", element<Model, &Model::scaling, 1>},
    {kModelScalingZ, "scaling", "z", "factor", element<Model, &Model::scaling, 2>},
    {kModelRotationX, "rotation", "x", kDegrees, angle<0>},
    {kModelRotationY, "rotation", "y", kDegrees, angle<1>},
    {kModelRotationZ, "rotation", "z", kDegrees, angle<2>},
    {kModelTranslationPath, "translationTiming", nullptr, kPercent, nullptr},
    {kModelTranslationX, "translation", "x", kUnits, nullptr},
    {kModelTranslationY, "translation", "y", kUnits, nullptr},
    {kModelTranslationZ, "translation", "z", kUnits, nullptr},
    {kModelHidden, "hidden", nullptr, kOnOff, number<Model, &Model::hidden>},
    {kModelAlgorithm, "algorithm", nullptr, "number", number<Model, &Model::algorithm>},
};

template <int Index>
constexpr auto fade = element<SceneRendering, &SceneRendering::fade, Index>;

constexpr SceneField<SceneRendering> kFade[] = {
    {kFadeStart, "fadeStart", nullptr, kUnits, fade<kFadeStart>},
    {kFadeEnd, "fadeEnd", nullptr, kUnits, fade<kFadeEnd>},
    {kFadeRed, "fadeColour", "red", kFull, fade<kFadeRed>},
    {kFadeGreen, "fadeColour", "green", kFull, fade<kFadeGreen>},
    {kFadeBlue, "fadeColour", "blue", kFull, fade<kFadeBlue>},
    {kFadeTransparency, "fadeTransparency", nullptr, kFull, fade<kFadeTransparency>},
};

} // namespace

std::span<const SceneField<Camera>> fieldsOf(const Camera& /*kind*/) {
    return kCamera;
}

std::span<const SceneField<Light>> fieldsOf(const Light& /*kind*/) {
    return kLight;
}

std::span<const SceneField<Model>> fieldsOf(const Model& /*kind*/) {
    return kModel;
}

std::span<const SceneField<SceneRendering>> fieldsOf(const SceneRendering& /*kind*/) {
    return kFade;
}

std::string wordsOf(const char* group) {
    if (std::string_view(group) == "fStop") {
        return "f-stop";
    }
    std::string words;
    for (const char* c = group; *c != '\0'; ++c) {
        const bool capital = std::isupper(static_cast<unsigned char>(*c)) != 0;
        words += capital ? " " : "";
        words += capital ? static_cast<char>(*c - 'A' + 'a') : *c;
    }
    return words;
}

double shortest(float value) {
    char digits[64];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    double number = static_cast<double>(value);
    std::from_chars(digits, end, number); // leaves infinities and NaNs unchanged
    return number;
}

double degrees(float radians) {
    const double angle = static_cast<double>(radians) * 180.0 / std::numbers::pi;
    char digits[64];
    double number = angle;
    const auto end =
        std::to_chars(digits, digits + sizeof digits, angle, std::chars_format::general, 7).ptr;
    std::from_chars(digits, end, number);
    return number;
}
