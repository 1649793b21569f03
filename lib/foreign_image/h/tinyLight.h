// SPDX-License-Identifier: MIT
// The lights of a scene: the block after each word "LIGHT" of a scene file.
#pragma once

#include "tinyCamera.h"

#include <cstdint>
#include <cstdio>

/// `Light::type`.
enum LightType : std::int16_t { kLightPoint = 1, kLightSpot = 2, kLightInfinite = 3 };

/// Index of each curve in `Light::curves`.
enum LightCurve : std::uint8_t {
    kLightRed,
    kLightGreen,
    kLightBlue,
    kLightCone,
    kLightSpread,
    kLightFallOffStart,
    kLightFallOffEnd,
    kLightShadow,
    kLightPositionPath, ///< timing of the position along its path or path model
    kLightInterestPath, ///< timing of the interest along its path or path model
    kLightPositionX,
    kLightPositionY,
    kLightPositionZ,
    kLightInterestX,
    kLightInterestY,
    kLightInterestZ,
    kLightHidden,
    kLightCurveCount
};

/// The wire colour of a light in the older index form.
inline constexpr std::int16_t kLightIndexedWireColour = 490;

/// A light, an element of the scene's list.
struct Light {
    char* name;        ///< owned; may be null
    std::int16_t type; ///< a `LightType`; other numbers are carried but have no word
    float colour[3];   ///< red, green, blue; 1 is full
    float fallOffStart;
    float fallOffEnd;
    float shadowFactor;
    float coneAngle;           ///< degrees; written for spot lights only
    float spreadAngle;         ///< degrees; written for spot lights only
    AnimatedPosition position; ///< where the light is
    AnimatedPosition interest; ///< where it points to; written for spot lights only
    std::int16_t shadowType;
    std::int16_t shadowMapRes;
    std::int16_t shadowFilterSize;
    std::int16_t shadowFilterStep;
    float shadowFadeStart;
    float shadowFadeRate;
    std::int16_t wireColour;
    std::int16_t lineType;
    std::int16_t selection;           ///< 0 unselected, 1 node, 2 branch, 3 inherit selected
    Fcurve* curves[kLightCurveCount]; ///< owned; null where the parameter is not animated
    Light* next;                      ///< the next light of the scene, or null
};

/// A new zero-filled light, or null when out of memory.
[[nodiscard]] Light* lightAllocate();

/// Frees the light, its name, curves, paths and constraint names, and sets `*light` to null. The
/// next light of a list is not changed. Accepts null.
void lightDispose(Light** light);

struct LightDisposer {
    void operator()(Light* light) const noexcept { lightDispose(&light); }
};

/// Writes the light block, one indentation level deeper than the current one. Returns 0 when
/// `light` is null, else 1.
int lightWriteAsciiAnimation(std::FILE* stream, const Light* light);

/// Reads a light block into `light`, or discards it when that is null. Unlike the camera's reader
/// it reads the first token itself: the word "LIGHT" is still the current one. Returns 1 with the
/// first token after the block as the current one, or 0 at the end of the file, even if the block
/// itself is complete. A name, curve or path that is read replaces the old one; the old name is not
/// freed.
int lightReadAsciiAnimation(std::FILE* stream, Light* light);
