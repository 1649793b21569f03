// SPDX-License-Identifier: MIT
#include "sceneJson.h"

#include "output/utf8Text.h"
#include "sceneFields.h"
#include "sceneWalk.h"
#include "tinyFile.h"
#include "tinyOpaque.h"

#include <cmath>
#include <span>
#include <string_view>
#include <vector>

namespace {

using Json = JsonWriter::Json;

// --- Numbers and texts ---------------------------------------------------------------------------

Json number(double value) {
    return std::isfinite(value) ? Json(value) : Json();
}

Json number(float value) {
    return number(shortest(value));
}

Json text(const char* value) {
    return value != nullptr ? Json(value) : Json();
}

Json triple(const Vector& v) {
    return Json::array({number(v.x), number(v.y), number(v.z)});
}

/// The name of a code from a table, or the code itself if it has none.
Json named(std::span<const char* const> names, std::int64_t code) {
    const char* const name =
        code >= 0 && code < std::ssize(names) ? names[static_cast<std::size_t>(code)] : nullptr;
    return name != nullptr ? Json(name) : Json(code);
}

constexpr const char* kExtrapolations[] = {"constant", "linear", "cycle"};
constexpr const char* kInterpolations[] = {"constant", "linear", "spline"};
constexpr const char* kKeyTypes[] = {"freeform", "keyframe", "keypath", "rawdata"};
constexpr const char* kLightTypes[] = {nullptr, "point", "spot", "infinite"};
constexpr const char* kDepthsOfField[] = {"off", "automatic", "custom"};
constexpr const char* kShapeInterpolations[] = {nullptr, "linear", "cardinal"};
constexpr const char* kRenderings[] = {"wireFrame", "hiddenLine", "renderingLine", "hardwareLine"};
constexpr const char* kAntialiasings[] = {"none", "fixed", "adaptive"};
constexpr const char* kPictureFormats[kPictureFormatCount] = {
    "35MM_137",  "35MM_166",      "35MM_185",   "70MM_PANAVISION", "70MM_IMAX", "70MM_OMNIMAX",
    "NTSC",      "PAL",           "HDTV",       "SLIDE_35MM",      "6CM_X_6CM", "6CM_X_9CM",
    "4IN_X_5IN", "CUSTOM_ASPECT", "CUSTOM_SIZE"};
constexpr const char* kSelections[] = {"unselected", "node", "branch", "inherit"};

// --- Curves --------------------------------------------------------------------------------------

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

void writeCurve(JsonWriter& out, const Fcurve& curve) {
    const std::string channel = channelOf(curve);
    out.beginObject();
    out.members({{"channel", channel.empty() && curve.type != 0 ? Json(curve.type) : Json(channel)},
                 {"before", named(kExtrapolations, curve.preExtrapolation)},
                 {"after", named(kExtrapolations, curve.postExtrapolation)},
                 {"interpolation", named(kInterpolations, curve.interpolation)},
                 {"flags", curve.flags}});
    out.key("keys").beginArray();
    for (const FcvKey& key : keysOf(curve)) {
        out.value(keyJson(key));
    }
    out.end();
    out.end();
}

void writeCurveOrNull(JsonWriter& out, const Fcurve* curve) {
    if (curve != nullptr) {
        writeCurve(out, *curve);
    } else {
        out.value(nullptr);
    }
}

/// Writes every number of the record: the plain one, or its curve; the parts of a group as an
/// array. The axes of a position, which have only curves, are written by the position.
template <typename Record>
void writeFields(JsonWriter& out, const Record& record) {
    std::string_view open; // the group whose array is being written
    for (const auto& field : fieldsOf(record)) {
        const Fcurve* curve = curvesIn(record)[field.curve];
        const bool ofPosition = field.part != nullptr && field.value == nullptr;
        if (ofPosition || (curve == nullptr && field.value == nullptr)) {
            continue;
        }
        if (!open.empty() && open != field.group) {
            out.end();
            open = {};
        }
        if (open.empty()) {
            out.key(field.group);
            if (field.part != nullptr) {
                out.beginArray();
                open = field.group;
            }
        }
        if (curve != nullptr) {
            writeCurve(out, *curve);
        } else {
            out.value(number(field.value(record)));
        }
    }
    if (!open.empty()) {
        out.end();
    }
}

// --- Splines -------------------------------------------------------------------------------------

Json pointJson(const SplineKey& key) {
    return {{"position", triple(key.position)},
            {"previous", triple(key.previous)},
            {"next", triple(key.next)},
            {"constraint", named(BezConstraintName, key.constraint)},
            {"segment", named(BezSegmentName, key.segment)},
            {"flags", key.flags}};
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

void writeSpline(JsonWriter& out, const Spline& spline) {
    Json json = {{"name", text(spline.name)},
                 {"type", named(SplineTypeName, spline.type)},
                 {"closed", spline.close != 0},
                 {"phantom", spline.phantom != 0},
                 {"tension", number(spline.tension)},
                 {"step", spline.step},
                 {"constraint", named(BezConstraintName, spline.constraint)},
                 {"segment", named(BezSegmentName, spline.segment)}};
    addDisplay(json, spline);
    out.beginObject();
    out.members(json);
    out.key("points").beginArray();
    for (int i = 0; spline.keys != nullptr && i < spline.keyCount; ++i) {
        out.value(pointJson(spline.keys[i]));
    }
    out.end();
    out.end();
}

/// A position in all of its forms that are set; the record has the curves of its axes.
template <typename Record>
void writePosition(JsonWriter& out, const char* name, const AnimatedPosition& position,
                   const Record& record) {
    out.key(name).beginObject();
    out.member("fixed", triple(position.fixed));
    if (position.path != nullptr) {
        writeSpline(out.key("path"), *position.path);
    }
    if (position.pathModelName != nullptr) {
        out.member("pathModel", text(position.pathModelName));
    }
    if (position.constraintName != nullptr || position.constraintType != 0) {
        out.member("constraint",
                   {{"name", text(position.constraintName)}, {"type", position.constraintType}});
    }
    bool any = false;
    for (const auto& field : fieldsOf(record)) {
        const Fcurve* curve = curvesIn(record)[field.curve];
        if (curve != nullptr && field.part != nullptr && field.value == nullptr &&
            std::string_view(field.group) == name) {
            if (!any) {
                out.key("curves").beginObject();
                any = true;
            }
            writeCurve(out.key(field.part), *curve);
        }
    }
    if (any) {
        out.end();
    }
    out.end();
}

// --- Trees ---------------------------------------------------------------------------------------

/// The bytes of the blocks that are not UTF-8, null for the others.
void writeBytes(JsonWriter& out, const std::string& name, const Opaque* list) {
    out.key(name).beginArray();
    for (; list != nullptr; list = list->next) {
        if (isUtf8(list->text)) {
            out.value(nullptr);
        } else {
            out.base64(list->text);
        }
    }
    out.end();
}

void writeBlocks(JsonWriter& out, const char* name, const Opaque* list) {
    bool foreign = false;
    out.key(name).beginArray();
    for (const Opaque* block = list; block != nullptr; block = block->next) {
        out.text(block->text);
        foreign = foreign || !isUtf8(block->text);
    }
    out.end();
    if (foreign) {
        writeBytes(out, std::string(name) + "Base64", list);
    }
}

void writeUserData(JsonWriter& out, const UserData* list) {
    out.key("userData").beginArray();
    for (; list != nullptr; list = list->next) {
        out.beginObject();
        out.member("tag", std::string(list->tag, sizeof list->tag));
        out.member("size", list->size);
        out.key("hex").hex({list->data, static_cast<std::size_t>(list->size)});
        out.end();
    }
    out.end();
}

void writeShapes(JsonWriter& out, const ModelShape* list) {
    out.key("shapes").beginArray();
    for (; list != nullptr; list = list->next) {
        out.beginObject();
        out.member("name", text(list->name));
        writeCurveOrNull(out.key("interpolation"), list->interpolation);
        out.key("weights").beginArray();
        for (std::int32_t i = 0; i < list->weightCount; ++i) {
            writeCurveOrNull(out, list->weights[i]);
        }
        out.end();
        out.end();
    }
    out.end();
}

void writeNode(JsonWriter& out, const Model& node, const Json& parent) {
    out.beginObject();
    out.member("name", text(node.name));
    out.member("parent", parent);
    writePosition(out, "translation", node.translation, node);
    writeFields(out, node);
    out.members({{"wireColour", node.wireColour},
                 {"lineType", node.lineType},
                 {"selection", named(kSelections, node.selection)},
                 {"boundingBox", node.boundingBox != 0},
                 {"shapeInterpolation", named(kShapeInterpolations, node.shapeInterpolation)}});
    writeShapes(out, node.shapes);
    out.key("splines").beginArray();
    for (std::int32_t i = 0; i < node.splineCount; ++i) {
        writeSpline(out, *node.splines[i]);
    }
    out.end();
    writeBlocks(out, "contents", node.contents);
    writeBlocks(out, "animationContents", node.animationContents);
    writeUserData(out, node.userData);
    out.end();
}

/// The nodes as a flat array with the index of each parent, because trees may be as deep as files
/// are long.
void writeTree(JsonWriter& out, const Model* root) {
    std::vector<std::size_t> above; // indices of the nodes on the way down to the current one
    std::size_t index = 0;
    out.beginArray();
    for (const auto& [node, depth] : nodesOf(root)) {
        above.resize(depth);
        writeNode(out, *node, above.empty() ? Json() : Json(above.back()));
        above.push_back(index++);
    }
    out.end();
}

// --- Scenes --------------------------------------------------------------------------------------

void writeCamera(JsonWriter& out, const Camera& camera) {
    const float(&turn)[3] = camera.yawPitchRoll;
    out.key("camera").beginObject();
    writePosition(out, "position", camera.position, camera);
    writePosition(out, "interest", camera.interest, camera);
    writeFields(out, camera);
    out.members({{"yawPitchRoll", triple({turn[0], turn[1], turn[2]})},
                 {"depthOfField", named(kDepthsOfField, camera.depthOfField)},
                 {"enlarge", camera.enlarge != 0}});
    out.end();
}

void writeLight(JsonWriter& out, const Light& light) {
    out.beginObject();
    out.member("name", text(light.name));
    out.member("type", named(kLightTypes, light.type));
    writePosition(out, "position", light.position, light);
    writePosition(out, "interest", light.interest, light);
    writeFields(out, light);
    out.members({{"shadowType", light.shadowType},
                 {"shadowMapRes", light.shadowMapRes},
                 {"shadowFilterSize", light.shadowFilterSize},
                 {"shadowFilterStep", light.shadowFilterStep},
                 {"shadowFadeStart", number(light.shadowFadeStart)},
                 {"shadowFadeRate", number(light.shadowFadeRate)},
                 {"wireColour", light.wireColour},
                 {"lineType", light.lineType},
                 {"selection", named(kSelections, light.selection)}});
    out.end();
}

Json pictureJson(const ScenePicture& picture) {
    if (picture.set == 0) {
        return nullptr;
    }
    return {{"format", named(kPictureFormats, picture.format)},
            {"aspect", number(picture.aspect)},
            {"width", number(picture.width)},
            {"height", number(picture.height)}};
}

void writeRendering(JsonWriter& out, const SceneRendering& r) {
    out.key("rendering").beginObject();
    out.members({
        {"type", named(kRenderings, r.type)},
        {"frames", {{"first", r.frame[0]}, {"last", r.frame[1]}, {"step", r.frame[2]}}},
        {"frameBuffer", r.frameBuffer != 0},
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
        {"antialias", named(kAntialiasings, r.antialias)},
        {"antialiasLevel", r.antialiasLevel},
        {"antialiasThreshold", number(r.antialiasThreshold)},
        {"backCulling", r.backCulling != 0},
        {"fadeActive", r.fadeActive != 0},
    });
    writeFields(out, r);
    out.members({{"ambience", triple({r.ambience[0], r.ambience[1], r.ambience[2]})},
                 {"motionBlur", r.motionBlur},
                 {"shutterSpeed", number(r.shutterSpeed)},
                 {"minMovement", number(r.minMovement)},
                 {"onField", r.onField != 0},
                 {"firstField", r.firstField}});
    out.end();
}

void writeScene(JsonWriter& out, const Scene& scene) {
    out.member("frames", {{"first", scene.frameStart},
                          {"last", scene.frameEnd},
                          {"third", scene.frameThird},
                          {"fourth", scene.frameFourth}});
    out.member("pause", scene.pause);
    out.member("rate", scene.rate);
    constexpr const char* kPaths[kScenePathCount] = {
        "object", "texture", "picture", "materialLibrary", "textureLibrary", "paletteLibrary"};
    out.key("paths").beginObject();
    for (std::size_t i = 0; i < kScenePathCount; ++i) {
        out.member(kPaths[i], text(scene.paths[i]));
    }
    out.end();
    writeRendering(out, scene.rendering);
    writeCamera(out, scene.camera);
    out.key("lights").beginArray();
    for (const Light* light = scene.lights; light != nullptr; light = light->next) {
        writeLight(out, *light);
    }
    out.end();
    out.key("splines").beginArray();
    for (const auto* element = scene.splines; element != nullptr; element = element->next) {
        writeSpline(out, *element->spline);
    }
    out.end();
    writeBlocks(out, "wave", scene.wave);
}

} // namespace

void writeJson(JsonWriter& out, const SceneDocument& document) {
    std::size_t curves = 0;
    visitCurves(document, [&](const OwnedCurve&) { ++curves; });
    out.members({{"flavour", document.flavour == SceneFlavour::Text ? "text" : "binary"},
                 {"curveCount", curves}});
    if (document.scene != nullptr) {
        writeScene(out, *document.scene);
    }
    if (document.spline != nullptr) {
        writeSpline(out.key("spline"), *document.spline);
        return;
    }
    out.key("trees").beginArray();
    for (const Model* tree : treesOf(document)) {
        writeTree(out, tree);
    }
    out.end();
}
