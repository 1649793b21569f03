// SPDX-License-Identifier: MIT
// Scenes, trees and splines of any size, with numbers that are seldom round, as in animation.
#pragma once

#include "tinyFcurve.h"
#include "tinyLight.h"
#include "tinyModel.h"
#include "tinyOpaque.h"
#include "tinyScene.h"
#include "tinySpline.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace bench {

using OwnedScene = std::unique_ptr<Scene, SceneDisposer>;
using OwnedTree = std::unique_ptr<Model, ModelDisposer>;
using OwnedSpline = std::unique_ptr<Spline, SplineDisposer>;

inline Fcurve* makeCurve(std::int16_t channel, int keys) {
    Fcurve* curve = fcurveAllocate();
    curve->type = channel;
    curve->keyCount = static_cast<std::int16_t>(keys);
    curve->keys = fcvkeyAllocate(curve->keyCount);
    curve->interpolation = kInterpolateSpline;
    for (int i = 0; i < keys; ++i) {
        const auto time = static_cast<float>(i);
        const float slope = 0.37F * std::cos(time * 0.37F);
        curve->keys[i] = {time, std::sin(time * 0.37F), slope, slope, 0, kInterpolateSpline, 0, -1};
    }
    fcurveCheckOrder(curve);
    return curve;
}

/// A scene of lights, whose colours are animated with that many keys each.
inline OwnedScene makeLights(int lights, int keys) {
    OwnedScene scene(sceneAllocate());
    for (int i = 0; i < lights; ++i) {
        Light* light = lightAllocate();
        light->type = kLightPoint;
        light->name = strdup(("light" + std::to_string(i)).c_str());
        constexpr std::int16_t kFirstColourChannel = 22; // LIG_COL_R
        for (std::int16_t c = 0; c < 3 && keys > 0; ++c) {
            light->curves[kLightRed + c] =
                makeCurve(static_cast<std::int16_t>(kFirstColourChannel + c), keys);
        }
        light->next = scene->lights;
        scene->lights = light;
    }
    return scene;
}

/// A block that is kept as text and begins with that word: a mesh of that many vertices.
inline Opaque* makeBlock(const std::string& word, int vertices) {
    std::string text = word + "\n{\n  vertices\n  {\n";
    for (int i = 0; i < vertices; ++i) {
        const auto at = static_cast<double>(i);
        text += "    [" + std::to_string(i) + "] position " + std::to_string(std::sin(at)) + "  " +
                std::to_string(std::cos(at)) + "  " + std::to_string(at * 0.37) + "\n";
    }
    auto* block = static_cast<Opaque*>(std::calloc(1, sizeof(Opaque)));
    block->text = strdup((text + "  }\n}").c_str());
    return block;
}

/// A tree in which every node has eight children, each node with a mesh if it has vertices.
inline OwnedTree makeTree(int nodes, int vertices) {
    std::vector<Model*> all;
    for (int i = 0; i < nodes; ++i) {
        const auto at = static_cast<float>(i);
        Model* node = modelAllocate();
        node->name = strdup(("node" + std::to_string(i)).c_str());
        for (int axis = 0; axis < 3; ++axis) {
            node->scaling[axis] = 1.0F + 0.001F * std::sin(at);
            node->rotation[axis] = std::cos(at + static_cast<float>(axis));
        }
        node->translation.fixed = {std::sin(at), at * 0.37F, std::cos(at)};
        node->contents = vertices > 0 ? makeBlock("mesh", vertices) : nullptr;
        if (i > 0) { // before its siblings, which is faster than after them
            Model* parent = all[static_cast<std::size_t>((i - 1) / 8)];
            node->parent = parent;
            node->next = parent->child;
            parent->child = node;
        }
        all.push_back(node);
    }
    return OwnedTree(all.front());
}

/// A scene of one block of wave data, which is kept as text.
inline OwnedScene makeWave(int vertices) {
    OwnedScene scene(sceneAllocate());
    scene->wave = makeBlock("WAVE", vertices);
    return scene;
}

/// A Bezier spline.
inline OwnedSpline makeSpline(int points) {
    OwnedSpline spline(splineAllocate());
    spline->name = strdup("path");
    spline->type = kSplineBezier;
    spline->keyCount = static_cast<std::int16_t>(points);
    spline->keys = splineKeyAllocate(spline->keyCount);
    for (int i = 0; i < points; ++i) {
        const float at = static_cast<float>(i) * 0.37F;
        SplineKey& key = spline->keys[i];
        key.position = {std::sin(at) * 1000.0F, std::cos(at) * 1000.0F, at};
        key.previous = {key.position.x - 1.0F, key.position.y, at};
        key.next = {key.position.x + 1.0F, key.position.y, at};
    }
    return spline;
}

} // namespace bench
