// SPDX-License-Identifier: MIT
// Scenes, splines and hierarchies for `tdr info`.
#include "fileInfo.h"
#include "output/formatted.h"
#include "output/utf8Text.h"
#include "scene/sceneFields.h"
#include "scene/sceneJson.h"
#include "scene/sceneWalk.h"

#include <algorithm>

namespace {

/// Maximum number of lines for one kind of element; files can hold very many. The JSON form has all
/// of them.
constexpr std::size_t kMostLines = 200;
constexpr std::size_t kMostTrees = 50;
constexpr std::size_t kMostIndent = 30;
constexpr std::size_t kMostChannels = 60;

std::string quoted(const char* name) {
    return name != nullptr ? '"' + utf8Text(name) + '"' : "(no name)";
}

std::string triple(double x, double y, double z) {
    return formatted("{:g} {:g} {:g}", x, y, z);
}

/// Adds lines under one label and reports how many exceed the limit.
class Lines {
  public:
    Lines(InfoRows& rows, const char* label) : rows_(rows), label_(label) {}

    /// Adds the result of `line`, which is not called beyond the limit.
    template <typename Line>
    void add(Line line) {
        if (++count_ <= kMostLines) {
            rows_.emplace_back(label_, line());
        }
    }
    ~Lines() {
        if (count_ > kMostLines) {
            rows_.emplace_back(label_, formatted("and {} more", count_ - kMostLines));
        }
    }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

  private:
    InfoRows& rows_;
    const char* label_;
    std::size_t count_ = 0;
};

/// The text for a curve in place of a number: "curve CAM_FOV (4 keys)".
std::string curveText(const Fcurve& curve) {
    const std::string channel = channelOf(curve);
    return formatted("curve {}({})", channel.empty() ? "" : channel + ' ',
                     counted(std::max<int>(curve.keyCount, 0), "key"));
}

std::string numberText(double value, const Fcurve* curve) {
    return curve != nullptr ? curveText(*curve) : formatted("{:g}", value);
}

std::string tripleText(const double (&values)[3], Fcurve* const* curves) {
    return curves[0] == nullptr && curves[1] == nullptr && curves[2] == nullptr
               ? triple(values[0], values[1], values[2])
               : formatted("[{}, {}, {}]", numberText(values[0], curves[0]),
                           numberText(values[1], curves[1]), numberText(values[2], curves[2]));
}

std::string positionText(const AnimatedPosition& position, Fcurve* const* curves) {
    if (position.constraintName != nullptr) {
        return "tied to " + quoted(position.constraintName);
    }
    if (position.pathModelName != nullptr) {
        return "along the spline of " + quoted(position.pathModelName);
    }
    if (position.path != nullptr) {
        return "along the path " + quoted(position.path->name);
    }
    const Vector& v = position.fixed;
    return tripleText({shortest(v.x), shortest(v.y), shortest(v.z)}, curves);
}

std::string splineText(const Spline& spline, const std::string& owner) {
    const bool known = spline.type >= 0 && spline.type < kSplineTypes;
    return formatted("{}: {}, {}{}{}{}", quoted(spline.name),
                     known ? SplineTypeName[spline.type] : "unknown type",
                     counted(std::max<int>(spline.keyCount, 0), "point"),
                     spline.close != 0 ? ", closed" : "", spline.phantom != 0 ? ", phantom" : "",
                     owner.empty() ? "" : ", " + owner);
}

/// "3 blocks (mesh, material, ...)".
std::string blocksText(const Opaque* list) {
    std::string words;
    std::size_t count = 0;
    for (; list != nullptr; list = list->next, ++count) {
        if (count < kMostLines) {
            words += (count == 0 ? "" : ", ") +
                     utf8Text(std::string_view(list->text, opaqueWordLength(list)));
        }
    }
    return count == 0 ? "" : formatted("{} ({})", counted(count, "block"), words);
}

/// The contents of a node besides its transformation: "; 1 spline; 2 blocks (mesh, material)".
std::string holdings(const Model& node) {
    std::string text;
    for (const std::string& part : {node.splineCount > 0 ? counted(node.splineCount, "spline") : "",
                                    blocksText(node.contents), blocksText(node.animationContents),
                                    std::string(node.userData != nullptr ? "user data" : "")}) {
        text += part.empty() ? "" : "; " + part;
    }
    return text;
}

std::string nodeText(const SceneNode& entry) {
    const Model& node = *entry.node;
    const auto& s = node.scaling;
    const auto& r = node.rotation;
    return formatted(
        "{:{}}{}: translation {}; rotation {}; scaling {}{}", "",
        2 * std::min(entry.depth, kMostIndent), quoted(node.name),
        positionText(node.translation, node.curves + kModelTranslationX),
        tripleText({degrees(r[0]), degrees(r[1]), degrees(r[2])}, node.curves + kModelRotationX),
        tripleText({shortest(s[0]), shortest(s[1]), shortest(s[2])}, node.curves + kModelScalingX),
        holdings(node));
}

void addTrees(InfoRows& rows, const SceneDocument& document) {
    const auto trees = treesOf(document);
    for (std::size_t i = 0; i < std::min(trees.size(), kMostTrees); ++i) {
        const SceneNodes nodes = nodesOf(trees[i]);
        rows.emplace_back(
            "tree", formatted("{}, {}", quoted(trees[i]->name), counted(nodes.count(), "node")));
        Lines lines(rows, "");
        for (const SceneNode& node : nodes) {
            lines.add([&] { return "  " + nodeText(node); });
        }
    }
    if (trees.size() > kMostTrees) {
        rows.emplace_back("tree", formatted("and {} more", trees.size() - kMostTrees));
    }
}

std::string lightText(const Light& light) {
    constexpr const char* kTypes[] = {"light", "point light", "spot", "infinite light"};
    const bool known = light.type > 0 && light.type < std::ssize(kTypes);
    const auto& c = light.colour;
    return formatted(
        "{}: {}, at {}{}, colour {}", quoted(light.name), kTypes[known ? light.type : 0],
        positionText(light.position, light.curves + kLightPositionX),
        light.type == kLightSpot
            ? ", to " + positionText(light.interest, light.curves + kLightInterestX)
            : "",
        tripleText({shortest(c[0]), shortest(c[1]), shortest(c[2])}, light.curves + kLightRed));
}

void addCamera(InfoRows& rows, const Camera& camera) {
    rows.emplace_back("camera",
                      "at " + positionText(camera.position, camera.curves + kCameraPositionX));
    rows.emplace_back("", "to " + positionText(camera.interest, camera.curves + kCameraInterestX));
    const auto value = [&](float plain, CameraCurve curve) {
        return numberText(shortest(plain), camera.curves[curve]);
    };
    rows.emplace_back("",
                      formatted("field of view {}, roll {}, near {}, far {}",
                                value(camera.fieldOfView, kCameraFieldOfView),
                                value(camera.roll, kCameraRoll), value(camera.near, kCameraNear),
                                value(camera.far, kCameraFar)));
}

void addScene(InfoRows& rows, const Scene& scene) {
    const SceneRendering& r = scene.rendering;
    rows.emplace_back("frames", formatted("{} to {}", scene.frameStart, scene.frameEnd));
    rows.emplace_back(
        "rate", formatted("{} per second, pause {}", counted(scene.rate, "frame"), scene.pause));
    rows.emplace_back("render", formatted("frames {} to {} step {}, {} x {}, pixel ratio {:g}",
                                          r.frame[0], r.frame[1], r.frame[2], r.resolution[0],
                                          r.resolution[1], shortest(r.pixelRatio)));
    constexpr const char* kPaths[kScenePathCount] = {"objects",      "textures",    "pictures",
                                                     "materials in", "textures in", "palettes in"};
    for (std::size_t i = 0; i < kScenePathCount; ++i) {
        if (scene.paths[i] != nullptr) {
            rows.emplace_back("path", formatted("{} {}", kPaths[i], quoted(scene.paths[i])));
        }
    }
    addCamera(rows, scene.camera);
    Lines lines(rows, "light");
    for (const Light* light = scene.lights; light != nullptr; light = light->next) {
        lines.add([&] { return lightText(*light); });
    }
}

void addCurves(InfoRows& rows, const SceneDocument& document) {
    std::size_t count = 0;
    std::string channels;
    visitCurves(document, [&](const OwnedCurve& entry) {
        if (++count <= kMostChannels) {
            channels += (count == 1 ? ": " : ", ") + channelOf(*entry.curve);
        }
    });
    rows.emplace_back("curves",
                      formatted("{}{}{}", count, channels, count > kMostChannels ? ", ..." : ""));
}

InfoRows rowsOf(const SceneDocument& document) {
    InfoRows rows = {{"flavour", document.flavour == SceneFlavour::Text ? "text" : "binary"}};
    if (document.scene != nullptr) {
        addScene(rows, *document.scene);
    }
    addTrees(rows, document);
    {
        Lines lines(rows, "spline");
        visitSplines(document, [&](const Spline& spline, const std::string& owner) {
            lines.add([&] { return splineText(spline, owner); });
        });
    }
    if (document.scene != nullptr && document.scene->wave != nullptr) {
        rows.emplace_back("wave", blocksText(document.scene->wave));
    }
    if (document.spline == nullptr) {
        addCurves(rows, document);
    }
    if (!document.report.whole()) {
        rows.emplace_back("check", document.report.losses() + " (tdr scene check tells where)");
    }
    return rows;
}

} // namespace

Outcome<FileInfo> describeScene(const std::filesystem::path& file, const char* kind) {
    auto read = readSceneDocument(file);
    if (!read) {
        return read.failure();
    }
    const auto document = std::make_shared<const SceneDocument>(std::move(*read));
    return FileInfo{kind, [document] { return rowsOf(*document); },
                    [document](JsonWriter& out) {
                        writeJson(out, *document);
                        writeJson(out, document->report);
                    }};
}
