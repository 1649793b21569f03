// SPDX-License-Identifier: MIT
#include "sceneDocument.h"

#include "base/extension.h"
#include "files/readableFile.h"
#include "files/replacedFile.h"
#include "output/formatted.h"
#include "output/utf8Text.h"
#include "output/wholeWrite.h"
#include "sceneBeginning.h"
#include "tdr/driverLink.h"
#include "tdr/interruptGuard.h"
#include "tinyFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr const char* kSceneHeader = "Niofle scene";
constexpr const char* kOutput = "standard output";

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

/// The name without its ending, for the toolkit. It does not accept an empty one.
std::string baseOf(const std::string& file, const SceneFormat& format) {
    const std::string base = file.substr(0, file.size() - std::strlen(format.ending));
    return base.empty() ? "./" : base;
}

// --- Why a file is not read ----------------------------------------------------------------------

struct Reason {
    std::string text;
    Cause cause = Cause::Damaged;
};

Reason whyNotRead(const SceneBeginning& beginning, const SceneFormat& format,
                  const SceneReport& report) {
    const bool binary = format.hasBinary && beginning.isBinary();
    if (!binary && beginning.first() != format.magic) {
        return {formatted("not a {} file: it does not begin with {}{}", format.name, format.magic,
                          format.hasBinary ? " or as a binary file" : ""),
                Cause::WrongKind};
    }
    if (binary && !beginning.isWhole()) {
        return {"ends inside its header"};
    }
    if (binary && format.olderLayout != nullptr && beginning.type() == format.olderLayout) {
        return {formatted("is of the older layout {}, which is not read", format.olderLayout)};
    }
    if (binary && beginning.type() != "PROT" && beginning.type() != format.magic) {
        return {formatted("holds \"{}\" and no {}", utf8Text(beginning.type()), format.name),
                Cause::WrongKind};
    }
    return {report.failure};
}

FileStamp stampFrom(const struct stat& status) {
    return {status.st_dev, status.st_ino, status.st_size,
            status.st_mtim.tv_sec * std::int64_t{1'000'000'000} + status.st_mtim.tv_nsec};
}

/// Examines the file before the toolkit reads it.
Outcome<SceneBeginning> examine(int fd, const fs::path& file, FileStamp& stamp) {
    SceneBeginning beginning;
    struct stat status {};
    if (::fstat(fd, &status) != 0 || !beginning.read(fd)) {
        return problemWith(file.string(), errno);
    }
    stamp = stampFrom(status);
    return beginning;
}

/// The kind by the first bytes of a file, or by the ending of its name if they do not tell; or
/// null.
const SceneFormat* formatOf(const SceneBeginning& beginning, const fs::path& file) {
    const bool binary = beginning.isBinary();
    const std::string_view begun = binary ? beginning.type() : beginning.first();
    for (const SceneFormat& format : kFormats) {
        const bool older = format.olderLayout != nullptr && begun == format.olderLayout;
        if (binary ? format.hasBinary && (begun == format.magic || older) : begun == format.magic) {
            return &format;
        }
    }
    const auto* named = std::ranges::find_if(kFormats, [&](const SceneFormat& format) {
        return base::hasExtension(file, format.ending);
    });
    return named == std::end(kFormats) ? nullptr : named;
}

Problem problemOf(const fs::path& file, std::string_view reason, Cause cause = Cause::Failed) {
    return {ExitCode::Failed, formatted("{}: {}", file.string(), reason), cause};
}

/// Writes the file; returns an empty text, or why it failed.
std::string writeTo(const SceneDocument& document, const std::string& file, SceneFlavour flavour,
                    SceneReport& report) {
    const SceneListener listener(report);
    errno = 0;
    if (document.format->write(document, baseOf(file, *document.format), flavour)) {
        return "";
    }
    const int error = errno;
    return !report.failure.empty() ? report.failure
           : error != 0            ? std::strerror(error)
                        : formatted("the {} does not fit the form", document.format->name);
}

} // namespace

const SceneFormat* sceneFormatOf(const fs::path& file) {
    const auto fd = openReadable(file);
    SceneBeginning beginning;
    if (fd && !beginning.read(fd->get())) {
        beginning = {};
    }
    return beginning.isPicture() ? nullptr : formatOf(beginning, file);
}

Outcome<FileStamp> stampOf(const fs::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) {
        return problemWith(file.string(), errno);
    }
    return stampFrom(status);
}

bool isSameFile(const fs::path& a, const fs::path& b) {
    std::error_code error;
    return fs::equivalent(a, b, error);
}

namespace {

/// The toolkit's call: 0 when the file was read, else its errno, -1 if it set none.
int readWithToolkit(SceneDocument& document, const std::string& path) {
    const SceneListener listener(document.report);
    errno = 0;
    if (document.format->read(document, baseOf(path, *document.format))) {
        return 0;
    }
    return errno != 0 ? errno : -1;
}

/// The toolkit opens only names with its ending; any other file is read through a link.
Outcome<int> readAnyName(SceneDocument& document, int fd, const fs::path& file) {
    if (file.native().ends_with(document.format->ending)) {
        const tdr::InterruptGuard::Pause nothingToCleanUp; // a large file takes long
        return readWithToolkit(document, file.string());
    }
    auto link = tdr::DriverLink::make(fd, file.string());
    if (!link) {
        return problemWith(file.native(), link.failure());
    }
    const auto path = link->path(document.format->ending);
    if (!path) {
        return problemWith(file.native(), path.failure());
    }
    const int error = readWithToolkit(document, *path);
    document.report.rename(link->names());
    return error;
}

Outcome<SceneDocument> read(const fs::path& file) {
    const auto fd = openReadable(file);
    if (!fd) {
        return fd.failure();
    }
    SceneDocument document;
    const auto beginning = examine(fd->get(), file, document.stamp);
    if (!beginning) {
        return beginning.failure();
    }
    document.format = formatOf(*beginning, file);
    if (document.format == nullptr) {
        return problemOf(file, "not a scene, spline or hierarchy: it does not begin like one",
                         Cause::WrongKind);
    }
    if (document.format->hasBinary && beginning->isBinary()) {
        document.flavour = SceneFlavour::Binary;
    }
    const auto error = readAnyName(document, fd->get(), file);
    if (!error) {
        return error.failure();
    }
    if (*error == ENOMEM) {
        return problemOf(file, "out of memory", Cause::NoMemory);
    }
    if (*error != 0) {
        const Reason why = whyNotRead(*beginning, *document.format, document.report);
        return problemOf(file, why.text, why.cause);
    }
    const auto now = stampOf(file);
    if (!now || *now != document.stamp) {
        return problemOf(file, "was changed while it was read");
    }
    return document;
}

Outcome<void> write(const SceneDocument& document, const fs::path& target, SceneFlavour flavour,
                    Existing existing, const SceneApproval& approve) {
    const SceneFormat& format = *document.format;
    auto file = ReplacedFile::begin(target, format.ending, existing);
    if (!file) {
        return file.failure();
    }
    SceneReport report;
    if (const auto failed = writeTo(document, file->path().string(), flavour, report);
        !failed.empty()) {
        return problemOf(target, failed);
    }
    if (auto approved = approve(report); !approved) {
        return approved.failure();
    }
    return file->commit();
}

/// Through a file: the toolkit writes by name.
Outcome<void> show(const SceneDocument& document, SceneFlavour flavour, SceneReport& report) {
    const auto file = TemporaryFile::unnamed();
    if (!file) {
        return problemWith(kOutput, file.failure());
    }
    auto link = tdr::DriverLink::make(file->fd(), kOutput);
    const auto path = link ? link->path(document.format->ending) : link.failure();
    if (!path) {
        return problemWith(kOutput, path.failure());
    }
    if (const auto failed = writeTo(document, *path, flavour, report); !failed.empty()) {
        return problemOf(kOutput, failed);
    }
    const int error = copyWhole(file->fd(), STDOUT_FILENO);
    return error == 0 || error == EPIPE ? Outcome<void>() : problemWith(kOutput, error);
}

} // namespace

Outcome<SceneDocument> readSceneDocument(const fs::path& file) {
    try {
        return read(file);
    } catch (const std::bad_alloc&) {
        return problemOf(file, "out of memory", Cause::NoMemory);
    }
}

Outcome<void> writeSceneDocument(const SceneDocument& document, const fs::path& target,
                                 SceneFlavour flavour, Existing existing,
                                 const SceneApproval& approve) {
    try {
        return write(document, target, flavour, existing, approve);
    } catch (const std::bad_alloc&) {
        return problemOf(target, "out of memory", Cause::NoMemory);
    }
}

Outcome<void> showSceneDocument(const SceneDocument& document, SceneFlavour flavour,
                                SceneReport& report) {
    try {
        return show(document, flavour, report);
    } catch (const std::bad_alloc&) {
        return problemOf(kOutput, "out of memory", Cause::NoMemory);
    }
}

bool isOtherKindsName(const SceneFormat& format, const fs::path& file) {
    constexpr const char* kEndings[] = {".scn", ".spl", ".hrc", ".pic", ".tag", ".png", ".svg"};
    return !base::hasExtension(file, format.ending) &&
           std::ranges::any_of(
               kEndings, [&](const char* ending) { return base::hasExtension(file, ending); });
}
