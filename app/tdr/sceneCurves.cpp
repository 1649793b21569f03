// SPDX-License-Identifier: MIT
#include "sceneCurves.h"

#include "sceneFields.h"
#include "utf8Text.h"

#include <fmt/format.h>

namespace {

using Curves = std::vector<OwnedCurve>;

void add(Curves& all, OwnedCurve entry) {
    if (entry.curve != nullptr) {
        all.push_back(std::move(entry));
    }
}

template <typename Record>
void addFields(Curves& all, const Record& record, const std::string& owner) {
    for (const auto& field : fieldsOf(record)) {
        add(all, {curvesIn(record)[field.curve], owner, wordsOf(field.group),
                  field.part != nullptr ? field.part : "", field.unit});
    }
}

void addShapes(Curves& all, const Model& node, const std::string& owner) {
    for (const ModelShape* shape = node.shapes; shape != nullptr; shape = shape->next) {
        const std::string group = "shape " + utf8Text(shape->name);
        add(all, {shape->interpolation, owner, group, "", "value"});
        for (std::int32_t i = 0; i < shape->weightCount; ++i) {
            add(all, {shape->weights[i], owner, group + " weights", fmt::format("{}", i), "value"});
        }
    }
}

} // namespace

std::vector<OwnedCurve> curvesOf(const SceneDocument& document) {
    Curves all;
    if (document.scene != nullptr) {
        addFields(all, document.scene->rendering, "rendering");
        addFields(all, document.scene->camera, "camera");
        for (const Light* light = document.scene->lights; light != nullptr; light = light->next) {
            addFields(all, *light, "light " + utf8Text(light->name));
        }
    }
    for (const Model* tree : treesOf(document)) {
        for (const auto& [node, depth] : nodesOf(tree)) {
            const std::string owner = "node " + utf8Text(node->name);
            addFields(all, *node, owner);
            addShapes(all, *node, owner);
        }
    }
    return all;
}

std::string channelOf(const Fcurve& curve) {
    if (curve.unknownChannel != nullptr) {
        return utf8Text(curve.unknownChannel);
    }
    return curve.type >= 0 && curve.type < kFcurveChannels ? fcv_name[curve.type] : "";
}
