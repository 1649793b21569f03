// SPDX-License-Identifier: MIT
#include "sceneWalk.h"

#include "output/formatted.h"
#include "output/utf8Text.h"
#include "sceneFields.h"

namespace {

// --- Splines -------------------------------------------------------------------------------------

void visitPath(const AnimatedPosition& position, const std::string& owner,
               const SplineVisitor& visit) {
    if (position.path != nullptr) {
        visit(*position.path, owner);
    }
}

void visitSceneSplines(const Scene& scene, const SplineVisitor& visit) {
    for (const auto* element = scene.splines; element != nullptr; element = element->next) {
        visit(*element->spline, "");
    }
    visitPath(scene.camera.position, "path of the camera", visit);
    visitPath(scene.camera.interest, "path of the camera's interest", visit);
    for (const Light* light = scene.lights; light != nullptr; light = light->next) {
        const std::string name = utf8Text(light->name);
        visitPath(light->position, "path of light " + name, visit);
        visitPath(light->interest, "path of the interest of light " + name, visit);
    }
}

// --- Curves --------------------------------------------------------------------------------------

template <typename Record>
void visitFields(const Record& record, const std::string& owner, const CurveVisitor& visit) {
    for (const auto& field : fieldsOf(record)) {
        if (const Fcurve* curve = curvesIn(record)[field.curve]) {
            visit({curve, &record, owner, wordsOf(field.group),
                   field.part != nullptr ? field.part : "", field.unit});
        }
    }
}

void visitShapes(const Model& node, const std::string& owner, const CurveVisitor& visit) {
    for (const ModelShape* shape = node.shapes; shape != nullptr; shape = shape->next) {
        const std::string group = "shape " + utf8Text(shape->name);
        if (shape->interpolation != nullptr) {
            visit({shape->interpolation, shape, owner, group, "", "value"});
        }
        for (std::int32_t i = 0; i < shape->weightCount; ++i) {
            if (shape->weights[i] != nullptr) {
                visit({shape->weights[i], shape, owner, group + " weights", formatted("{}", i),
                       "value"});
            }
        }
    }
}

} // namespace

SceneNodes::Iterator& SceneNodes::Iterator::operator++() {
    if (at_.node->child != nullptr) {
        at_ = {at_.node->child, at_.depth + 1};
        return *this;
    }
    while (at_.node != root_ && at_.node->next == nullptr) {
        at_ = {at_.node->parent, at_.depth - 1};
    }
    at_.node = at_.node == root_ ? nullptr : at_.node->next;
    return *this;
}

std::size_t SceneNodes::count() const {
    std::size_t count = 0;
    for (auto node = begin(); node != end(); ++node) {
        ++count;
    }
    return count;
}

std::vector<const Model*> treesOf(const SceneDocument& document) {
    std::vector<const Model*> trees;
    if (document.tree != nullptr) {
        trees.push_back(document.tree.get());
    }
    if (document.scene != nullptr) {
        for (const auto* tree = document.scene->hierarchies; tree != nullptr; tree = tree->next) {
            trees.push_back(tree->root);
        }
    }
    return trees;
}

void visitSplines(const SceneDocument& document, const SplineVisitor& visit) {
    if (document.spline != nullptr) {
        visit(*document.spline, "");
    }
    if (document.scene != nullptr) {
        visitSceneSplines(*document.scene, visit);
    }
    for (const Model* tree : treesOf(document)) {
        for (const auto& [node, depth] : nodesOf(tree)) {
            const std::string name = utf8Text(node->name);
            visitPath(node->translation, "path of node " + name, visit);
            for (std::int32_t i = 0; i < node->splineCount; ++i) {
                visit(*node->splines[i], "of node " + name);
            }
        }
    }
}

void visitCurves(const SceneDocument& document, const CurveVisitor& visit) {
    if (document.scene != nullptr) {
        visitFields(document.scene->rendering, "rendering", visit);
        visitFields(document.scene->camera, "camera", visit);
        for (const Light* light = document.scene->lights; light != nullptr; light = light->next) {
            visitFields(*light, "light " + utf8Text(light->name), visit);
        }
    }
    for (const Model* tree : treesOf(document)) {
        for (const auto& [node, depth] : nodesOf(tree)) {
            const std::string owner = "node " + utf8Text(node->name);
            visitFields(*node, owner, visit);
            visitShapes(*node, owner, visit);
        }
    }
}

std::string channelOf(const Fcurve& curve) {
    if (curve.unknownChannel != nullptr) {
        return utf8Text(curve.unknownChannel);
    }
    return curve.type >= 0 && curve.type < kFcurveChannels ? fcv_name[curve.type] : "";
}
