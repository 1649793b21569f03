// SPDX-License-Identifier: MIT
#include "sceneDocument.h"

#include "base/byteOrder.h"
#include "pictureFile.h"
#include "replacedFile.h"
#include "tinyFile.h"
#include "utf8Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <string_view>

namespace fs = std::filesystem;

namespace {

constexpr const char* kSceneHeader = "Niofle scene";
constexpr std::size_t kTypeSize = 4;

bool readScene(SceneDocument& document, const std::string& base) {
    document.scene.reset(sceneAllocate());
    if (document.scene == nullptr) {
        return false;
    }
    document.scene->name = ::strdup(base.c_str());
    animFileVersion = RELEASE_NUMBER;
    return sceneReadAsciiAnimation(document.scene.get()) != 0;
}

bool writeScene(const SceneDocument& document, const std::string& base, SceneFlavour /*text*/) {
    Scene* scene = document.scene.get();
    const MallocString name(::strdup(base.c_str()));
    char* const before = std::exchange(scene->name, name.get());
    const int written = sceneWriteAsciiAnimation(kSceneHeader, kVersionTable[VERSION], scene);
    scene->name = before;
    return written != 0;
}

bool readSpline(SceneDocument& document, const std::string& base) {
    document.spline.reset(splineReadFile(base.c_str()));
    return document.spline != nullptr;
}

bool writeSpline(const SceneDocument& document, const std::string& base, SceneFlavour flavour) {
    return splineWriteFile(base.c_str(), document.spline.get(), static_cast<int>(flavour)) != 0;
}

bool readTree(SceneDocument& document, const std::string& base) {
    document.tree.reset(modelReadFile(base.c_str()));
    return document.tree != nullptr;
}

bool writeTree(const SceneDocument& document, const std::string& base, SceneFlavour flavour) {
    return modelWriteFile(base.c_str(), document.tree.get(), static_cast<int>(flavour)) != 0;
}

constexpr SceneFormat kFormats[] = {
    {"scene", ".scn", "SSCN", false, nullptr, readScene, writeScene},
    {"spline", ".spl", "SPLN", true, "BEZR", readSpline, writeSpline},
    {"hierarchy", ".hrc", "HRCH", true, nullptr, readTree, writeTree},
};

/// The name without its ending, as the toolkit wants it. It takes no empty one.
std::string baseOf(const std::string& file, const SceneFormat& format) {
    const std::string base = file.substr(0, file.size() - std::strlen(format.ending));
    return base.empty() ? "./" : base;
}

// -------------------------------------------------------------------------- why a file is not read

/// The beginning of a file: as much of its header as it has.
struct Beginning {
    std::array<char, kFileHeaderSize + kTypeSize> bytes = {};
    std::size_t size = 0;

    explicit Beginning(const fs::path& file) {
        std::ifstream stream(file, std::ios::binary);
        stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        size = static_cast<std::size_t>(stream.gcount());
    }

    [[nodiscard]] std::string_view first() const { return {bytes.data(), kTypeSize}; }
    [[nodiscard]] std::string_view type() const {
        return {bytes.data() + kFileHeaderSize, kTypeSize};
    }
    [[nodiscard]] bool isBinary() const {
        std::uint8_t word[kTypeSize];
        std::memcpy(word, bytes.data(), sizeof word);
        return base::loadBe32(word) == kFileMagic;
    }
};

std::string whyNotRead(const Beginning& beginning, const SceneFormat& format,
                       const SceneReport& report) {
    const bool binary = format.hasBinary && beginning.isBinary();
    if (!binary && beginning.first() != format.magic) {
        return fmt::format("not a {} file: it does not begin with {}{}", format.name, format.magic,
                           format.hasBinary ? " or as a binary file" : "");
    }
    if (binary && beginning.size < beginning.bytes.size()) {
        return "ends inside its header";
    }
    if (binary && format.olderLayout != nullptr && beginning.type() == format.olderLayout) {
        return fmt::format("is of the older layout {}, which is not read", format.olderLayout);
    }
    if (binary && beginning.type() != "PROT" && beginning.type() != format.magic) {
        return fmt::format("holds \"{}\" and no {}", utf8Text(beginning.type()), format.name);
    }
    const auto last =
        std::find_if(report.remarks.rbegin(), report.remarks.rend(), [](const SceneRemark& remark) {
            return remark.kind && *remark.kind != AnimNoticeKind::UnknownWord;
        });
    if (last != report.remarks.rend()) {
        return fmt::format("cut short or damaged (line {})", last->line);
    }
    return fmt::format("cut short or damaged, or without a {}", format.name);
}

/// Writes the file; what the toolkit says on the way is no news.
Outcome<bool> writeTo(const SceneDocument& document, const std::string& file,
                      SceneFlavour flavour) {
    SceneReport report;
    const SceneListener listener(report);
    errno = 0;
    if (document.format->write(document, baseOf(file, *document.format), flavour)) {
        return true;
    }
    const int error = errno;
    return Problem{ExitCode::Failed,
                   error != 0 ? std::strerror(error)
                              : fmt::format("the {} does not fit the form", document.format->name)};
}

// ------------------------------------------------------------------------------------ all of it

void addPath(std::vector<OwnedSpline>& all, const AnimatedPosition& position,
             const std::string& owner) {
    if (position.path != nullptr) {
        all.push_back({position.path, owner});
    }
}

void addScene(std::vector<OwnedSpline>& all, const Scene& scene) {
    for (const auto* element = scene.splines; element != nullptr; element = element->next) {
        all.push_back({element->spline, ""});
    }
    addPath(all, scene.camera.position, "path of the camera");
    addPath(all, scene.camera.interest, "path of the camera's interest");
    for (const Light* light = scene.lights; light != nullptr; light = light->next) {
        const std::string name = utf8Text(light->name);
        addPath(all, light->position, "path of light " + name);
        addPath(all, light->interest, "path of the interest of light " + name);
    }
}

} // namespace

const SceneFormat* sceneFormatOf(const fs::path& file) {
    for (const SceneFormat& format : kFormats) {
        if (file.native().ends_with(format.ending)) {
            return &format;
        }
    }
    return nullptr;
}

Outcome<SceneDocument> readSceneDocument(const fs::path& file) {
    SceneDocument document;
    document.format = sceneFormatOf(file);
    if (document.format == nullptr) {
        return Problem{ExitCode::Failed,
                       file.string() + ": the name does not end in .scn, .spl or .hrc"};
    }
    if (const auto readable = checkReadable(file); !readable) {
        return readable.problem();
    }
    const Beginning beginning(file);
    if (document.format->hasBinary && beginning.isBinary()) {
        document.flavour = SceneFlavour::Binary;
    }
    bool read = false;
    {
        const SceneListener listener(document.report);
        read = document.format->read(document, baseOf(file.string(), *document.format));
    }
    if (!read) {
        return Problem{ExitCode::Failed,
                       file.string() + ": " +
                           whyNotRead(beginning, *document.format, document.report)};
    }
    return document;
}

Outcome<bool> writeSceneDocument(const SceneDocument& document, const fs::path& target,
                                 SceneFlavour flavour, const SceneApproval& approve) {
    const SceneFormat& format = *document.format;
    auto file = ReplacedFile::begin(target, format.ending);
    if (!file) {
        return file.problem();
    }
    if (!file->path().native().ends_with(format.ending)) { // a device is written to directly
        return Problem{ExitCode::Failed, target.string() +
                                             ": not a regular file, and its name does "
                                             "not end in " +
                                             format.ending};
    }
    if (auto written = writeTo(document, file->path().string(), flavour); !written) {
        return Problem{ExitCode::Failed, target.string() + ": " + written.problem().text};
    }
    if (file->path() != target) {
        if (auto approved = approve(file->path()); !approved) {
            return approved.problem();
        }
    }
    return file->commit();
}

std::vector<SceneNode> nodesOf(const Model* root) {
    std::vector<SceneNode> nodes;
    std::size_t depth = 0;
    const Model* node = root;
    while (node != nullptr) {
        nodes.push_back({node, depth});
        if (node->child != nullptr) {
            node = node->child;
            ++depth;
            continue;
        }
        while (node != root && node->next == nullptr) {
            node = node->parent;
            --depth;
        }
        node = node == root ? nullptr : node->next;
    }
    return nodes;
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

std::vector<OwnedSpline> splinesOf(const SceneDocument& document) {
    std::vector<OwnedSpline> all;
    if (document.spline != nullptr) {
        all.push_back({document.spline.get(), ""});
    }
    if (document.scene != nullptr) {
        addScene(all, *document.scene);
    }
    for (const Model* tree : treesOf(document)) {
        for (const auto& [node, depth] : nodesOf(tree)) {
            const std::string name = utf8Text(node->name);
            addPath(all, node->translation, "path of node " + name);
            for (std::int32_t i = 0; i < node->splineCount; ++i) {
                all.push_back({node->splines[i], "of node " + name});
            }
        }
    }
    return all;
}
