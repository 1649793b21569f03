// SPDX-License-Identifier: MIT
// The three kinds of scene files, read into the toolkit's records and written from them.
#pragma once

#include "files/temporaryFile.h"
#include "output/outcome.h"
#include "sceneReport.h"
#include "tinyFcurve.h"
#include "tinyModel.h"
#include "tinyScene.h"
#include "tinySpline.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <sys/types.h>

enum class SceneFlavour : int { Text = 0, Binary = 1 };

struct SceneFormat;

/// The state of a file when it was read, to detect that another program has changed it.
struct FileStamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;
    std::int64_t changed = 0; ///< nanoseconds

    bool operator==(const FileStamp&) const = default;
};

/// The contents of one file: exactly one of the three records.
struct SceneDocument {
    const SceneFormat* format = nullptr;
    SceneFlavour flavour = SceneFlavour::Text;
    std::unique_ptr<Scene, SceneDisposer> scene;
    std::unique_ptr<Spline, SplineDisposer> spline;
    std::unique_ptr<Model, ModelDisposer> tree;
    SceneReport report; ///< of reading it
    FileStamp stamp;    ///< of the file
};

/// One kind of file.
struct SceneFormat {
    const char* name;        ///< "scene"
    const char* ending;      ///< ".scn", the only one that the toolkit opens
    const char* magic;       ///< the first four letters of the text flavour
    bool hasBinary;          ///< a binary flavour exists
    const char* olderLayout; ///< type word of a binary layout that is not read; may be null
    /// Reads or writes the file `base` + `ending`; false when it fails.
    bool (*read)(SceneDocument& document, const std::string& base);
    bool (*write)(const SceneDocument& document, const std::string& base, SceneFlavour flavour);
};

/// The kind by the first bytes of the file, or by the ending of its name (in any case) if they are
/// of nothing known or cannot be read; or null, also for a picture whatever its name.
[[nodiscard]] const SceneFormat* sceneFormatOf(const std::filesystem::path& file);

/// Reads a scene, spline or hierarchy, whatever its name. Fails with the reason: not readable,
/// empty, of another kind, an unsupported layout, cut short, changed meanwhile, out of memory.
Outcome<SceneDocument> readSceneDocument(const std::filesystem::path& file);

/// Decides, from the report of writing, whether the new file replaces the old one: success, or why
/// not.
using SceneApproval = std::function<Outcome<void>(const SceneReport& ofWriting)>;

/// Writes the document next to `target` and, if approved, puts it in the target's place. Fails if a
/// regular file exists there that is to be kept.
Outcome<void> writeSceneDocument(const SceneDocument& document, const std::filesystem::path& target,
                                 SceneFlavour flavour, Existing existing,
                                 const SceneApproval& approve);

/// Writes the document to standard output; a reader that stops early is not a failure. `report` is
/// that of the writing.
Outcome<void> showSceneDocument(const SceneDocument& document, SceneFlavour flavour,
                                SceneReport& report);

/// True if the name's ending promises a picture, a drawing or another kind of scene file.
[[nodiscard]] bool isOtherKindsName(const SceneFormat& format, const std::filesystem::path& file);

/// True when both names lead to the same file.
[[nodiscard]] bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

/// The current state of the file; fails if the system does not report it.
Outcome<FileStamp> stampOf(const std::filesystem::path& file);
