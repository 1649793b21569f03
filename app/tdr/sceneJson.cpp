// SPDX-License-Identifier: MIT
#include "sceneJson.h"

#include "sceneCurves.h"
#include "sceneFields.h"
#include "tinyFile.h"
#include "tinyOpaque.h"
#include "utf8Text.h"

#include <cmath>
#include <fmt/format.h>
#include <span>
#include <unordered_map>

namespace {

using Json = nlohmann::ordered_json;

// ------------------------------------------------------------------------------- numbers and texts

Json number(double value) {
    return std::isfinite(value) ? Json(value) : Json();
}

Json number(float value) {
    return number(shortest(value));
}

Json text(const char* value) {
    return value != nullptr ? Json(validUtf8(value)) : Json();
}

Json triple(const Vector& v) {
    return Json::array({number(v.x), number(v.y), number(v.z)});
}

/// The name of a code out of a table, or the code itself when it has none.
Json named(std::span<const char* const> names, std::int64_t code) {
    return code >= 0 && code < std::ssize(names) ? Json(names[static_cast<std::size_t>(code)])
                                                 : Json(code);
}

constexpr const char* kExtrapolations[] = {"constant", "linear", "cycle"};
constexpr const char* kInterpolations[] = {"constant", "linear", "spline"};
constexpr const char* kKeyTypes[] = {"freeform", "keyframe", "keypath", "rawdata"};
constexpr const char* kLightTypes[] = {nullptr, "point", "spot", "infinite"};
constexpr const char* kSelections[] = {"unselected", "node", "branch", "inherit"};

// ------------------------------------------------------------------------------------------ curves

Json keyJson(const FcvKey& key) {
    return {{"time", number(key.time)},
            {"value", number(key.value)},
            {"leftSlope", number(key.leftSlope)},
            {"rightSlope", number(key.rightSlope)},
            {"interpolation", named(kInterpolations, key.interpolation)},
            {"type", named(kKeyTypes, key.keyType)},
            {"splineIndex", key.splineIndex},
            {"flag", key.flag}};
}

Json curveJson(const Fcurve& curve) {
    Json keys = Json::array();
    for (int i = 0; curve.keys != nullptr && i < curve.keyCount; ++i) {
        keys.push_back(keyJson(curve.keys[i]));
    }
    return {{"channel", channelOf(curve)},
            {"before", named(kExtrapolations, curve.preExtrapolation)},
            {"after", named(kExtrapolations, curve.postExtrapolation)},
            {"interpolation", named(kInterpolations, curve.interpolation)},
            {"flags", curve.flags},
            {"keys", std::move(keys)}};
}

Json curveOrNull(const Fcurve* curve) {
    return curve != nullptr ? curveJson(*curve) : Json();
}

/// Adds every number of the record: the plain one, or its curve; the parts of a group as an array.
/// Parameters that are only ever a curve are left out without one.
template <typename Record>
void addFields(Json& json, const Record& record) {
    for (const auto& field : fieldsOf(record)) {
        const Fcurve* curve = curvesIn(record)[field.curve];
        if (curve == nullptr && field.value == nullptr) {
            continue;
        }
        Json value = curve != nullptr ? curveJson(*curve) : number(field.value(record));
        if (field.part == nullptr) {
            json[field.group] = std::move(value);
        } else if (field.value != nullptr) {
            json[field.group].push_back(std::move(value));
        } else { // the curves of a position, beside its other forms
            json[field.group]["curves"][field.part] = std::move(value);
        }
    }
}

// ----------------------------------------------------------------------------------------- splines

Json pointJson(const SplineKey& key, bool bezier) {
    Json json = {{"position", triple(key.position)}, {"flags", key.flags}};
    if (bezier) {
        json["previous"] = triple(key.previous);
        json["next"] = triple(key.next);
        json["constraint"] = named(BezConstraintName, key.constraint);
        json["segment"] = named(BezSegmentName, key.segment);
    }
    return json;
}

void addDisplay(Json& json, const Spline& spline) {
    if ((spline.display & kSplineHasWireColour) != 0) {
        json["wireColour"] = spline.wireColour;
    }
    if ((spline.display & kSplineHasLineType) != 0) {
        json["lineType"] = spline.lineType;
    }
    if ((spline.display & kSplineHasSelection) != 0) {
        json["selection"] = named(kSelections, spline.selection);
    }
    if (spline.keyframe != nullptr) {
        json["keyframe"] = text(spline.keyframe);
    }
    if (spline.keyList != nullptr) {
        json["keyList"] = text(spline.keyList);
    }
}

Json splineJson(const Spline& spline) {
    Json json = {{"name", text(spline.name)},
                 {"type", named(SplineTypeName, spline.type)},
                 {"closed", spline.close != 0},
                 {"phantom", spline.phantom != 0},
                 {"tension", number(spline.tension)},
                 {"step", spline.step},
                 {"constraint", named(BezConstraintName, spline.constraint)},
                 {"segment", named(BezSegmentName, spline.segment)}};
    addDisplay(json, spline);
    Json points = Json::array();
    for (int i = 0; spline.keys != nullptr && i < spline.keyCount; ++i) {
        points.push_back(pointJson(spline.keys[i], spline.type == kSplineBezier));
    }
    json["points"] = std::move(points);
    return json;
}

Json positionJson(const AnimatedPosition& position) {
    Json json = {{"fixed", triple(position.fixed)}};
    if (position.path != nullptr) {
        json["path"] = splineJson(*position.path);
    }
    if (position.pathModelName != nullptr) {
        json["pathModel"] = text(position.pathModelName);
    }
    if (position.constraintName != nullptr) {
        json["constraint"] = {{"name", text(position.constraintName)},
                              {"type", position.constraintType}};
    }
    return json;
}

// ------------------------------------------------------------------------------------------- trees

Json blocksJson(const Opaque* list) {
    Json json = Json::array();
    for (; list != nullptr; list = list->next) {
        json.push_back(text(list->text));
    }
    return json;
}

Json userDataJson(const UserData* list) {
    Json json = Json::array();
    for (; list != nullptr; list = list->next) {
        std::string bytes;
        for (std::int32_t i = 0; i < list->size; ++i) {
            bytes += fmt::format("{:02x}", list->data[i]);
        }
        json.push_back({{"tag", utf8Text(std::string_view(list->tag, sizeof list->tag))},
                        {"size", list->size},
                        {"hex", std::move(bytes)}});
    }
    return json;
}

Json shapesJson(const ModelShape* list) {
    Json json = Json::array();
    for (; list != nullptr; list = list->next) {
        Json weights = Json::array();
        for (std::int32_t i = 0; i < list->weightCount; ++i) {
            weights.push_back(curveOrNull(list->weights[i]));
        }
        json.push_back({{"name", text(list->name)},
                        {"interpolation", curveOrNull(list->interpolation)},
                        {"weights", std::move(weights)}});
    }
    return json;
}

Json nodeJson(const Model& node) {
    Json json = {{"name", text(node.name)},
                 {"parent", nullptr},
                 {"translation", positionJson(node.translation)}};
    addFields(json, node);
    json.update({{"wireColour", node.wireColour},
                 {"lineType", node.lineType},
                 {"selection", named(kSelections, node.selection)},
                 {"boundingBox", node.boundingBox != 0},
                 {"shapeInterpolation", node.shapeInterpolation},
                 {"shapes", shapesJson(node.shapes)}});
    Json splines = Json::array();
    for (std::int32_t i = 0; i < node.splineCount; ++i) {
        splines.push_back(splineJson(*node.splines[i]));
    }
    json["splines"] = std::move(splines);
    json["contents"] = blocksJson(node.contents);
    json["animationContents"] = blocksJson(node.animationContents);
    json["userData"] = userDataJson(node.userData);
    return json;
}

/// The nodes as a flat array, since trees may be as deep as files are long: each says the index of
/// its parent.
Json treeJson(const Model* root) {
    Json json = Json::array();
    std::unordered_map<const Model*, std::size_t> indices;
    for (const auto& [node, depth] : nodesOf(root)) {
        indices.emplace(node, json.size());
        Json entry = nodeJson(*node);
        if (node != root) {
            entry["parent"] = indices.at(node->parent);
        }
        json.push_back(std::move(entry));
    }
    return json;
}

// ------------------------------------------------------------------------------------------ scenes

Json cameraJson(const Camera& camera) {
    Json json = {{"position", positionJson(camera.position)},
                 {"interest", positionJson(camera.interest)}};
    addFields(json, camera);
    const float(&turn)[3] = camera.yawPitchRoll;
    json["yawPitchRoll"] = triple({turn[0], turn[1], turn[2]});
    json["depthOfField"] = camera.depthOfField;
    json["enlarge"] = camera.enlarge != 0;
    return json;
}

Json lightJson(const Light& light) {
    const Json type = light.type > 0 ? named(kLightTypes, light.type) : Json(light.type);
    Json json = {{"name", text(light.name)},
                 {"type", type},
                 {"position", positionJson(light.position)},
                 {"interest", positionJson(light.interest)}};
    addFields(json, light);
    json.update({{"shadowType", light.shadowType},
                 {"shadowMapRes", light.shadowMapRes},
                 {"shadowFilterSize", light.shadowFilterSize},
                 {"shadowFilterStep", light.shadowFilterStep},
                 {"shadowFadeStart", number(light.shadowFadeStart)},
                 {"shadowFadeRate", number(light.shadowFadeRate)},
                 {"wireColour", light.wireColour},
                 {"lineType", light.lineType},
                 {"selection", named(kSelections, light.selection)}});
    return json;
}

Json pictureJson(const ScenePicture& picture) {
    if (picture.set == 0) {
        return nullptr;
    }
    return {{"format", picture.format},
            {"aspect", number(picture.aspect)},
            {"width", number(picture.width)},
            {"height", number(picture.height)}};
}

Json renderingJson(const SceneRendering& r) {
    Json json = {
        {"type", r.type},
        {"frames", {{"first", r.frame[0]}, {"last", r.frame[1]}, {"step", r.frame[2]}}},
        {"frameBuffer", r.frameBuffer},
        {"outputFile", text(r.outputFile)},
        {"resolution", Json::array({r.resolution[0], r.resolution[1]})},
        {"picture", pictureJson(r.picture)},
        {"pixelRatio", number(r.pixelRatio)},
        {"filter", r.filter},
        {"maxRayDepth", r.maxRayDepth},
        {"maxTriaDepth", r.maxTriaDepth},
        {"maxTreeDepth", r.maxTreeDepth},
        {"preRendering", text(r.preRendering)},
        {"postRendering", text(r.postRendering)},
        {"statistics",
         {{"time", r.timeStatistics != 0},
          {"memory", r.memoryStatistics != 0},
          {"tree", r.treeStatistics != 0},
          {"line", r.lineStatistics != 0}}},
        {"antialias", r.antialias},
        {"antialiasLevel", r.antialiasLevel},
        {"antialiasThreshold", number(r.antialiasThreshold)},
        {"backCulling", r.backCulling != 0},
        {"fadeActive", r.fadeActive != 0},
    };
    addFields(json, r);
    json.update({{"ambience", triple({r.ambience[0], r.ambience[1], r.ambience[2]})},
                 {"motionBlur", r.motionBlur},
                 {"shutterSpeed", number(r.shutterSpeed)},
                 {"minMovement", number(r.minMovement)},
                 {"onField", r.onField != 0},
                 {"firstField", r.firstField}});
    return json;
}

void addScene(Json& json, const Scene& scene) {
    json["frames"] = {{"first", scene.frameStart},
                      {"last", scene.frameEnd},
                      {"third", scene.frameThird},
                      {"fourth", scene.frameFourth}};
    json["pause"] = scene.pause;
    json["rate"] = scene.rate;
    constexpr const char* kPaths[kScenePathCount] = {
        "object", "texture", "picture", "materialLibrary", "textureLibrary", "paletteLibrary"};
    for (std::size_t i = 0; i < kScenePathCount; ++i) {
        json["paths"][kPaths[i]] = text(scene.paths[i]);
    }
    json["rendering"] = renderingJson(scene.rendering);
    json["camera"] = cameraJson(scene.camera);
    json["lights"] = Json::array();
    for (const Light* light = scene.lights; light != nullptr; light = light->next) {
        json["lights"].push_back(lightJson(*light));
    }
    json["splines"] = Json::array();
    for (const auto* element = scene.splines; element != nullptr; element = element->next) {
        json["splines"].push_back(splineJson(*element->spline));
    }
    json["wave"] = blocksJson(scene.wave);
}

} // namespace

nlohmann::ordered_json jsonOf(const SceneDocument& document) {
    Json json = {{"flavour", document.flavour == SceneFlavour::Text ? "text" : "binary"},
                 {"curveCount", curvesOf(document).size()}};
    if (document.scene != nullptr) {
        addScene(json, *document.scene);
    }
    if (document.spline != nullptr) {
        json["spline"] = splineJson(*document.spline);
    }
    if (document.spline == nullptr) {
        json["trees"] = Json::array();
        for (const Model* tree : treesOf(document)) {
            json["trees"].push_back(treeJson(tree));
        }
    }
    return json;
}
