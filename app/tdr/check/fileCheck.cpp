// SPDX-License-Identifier: MIT
#include "fileCheck.h"

#include "base/extension.h"
#include "files/readableFile.h"
#include "output/console.h"
#include "output/formatted.h"
#include "pictures/pictureLines.h"
#include "pictures/pngChunks.h"
#include "pictures/toolkitPicture.h"
#include "pictures/zeroTail.h"
#include "scene/sceneDocument.h"
#include "tdr/interruptGuard.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <utility>

namespace fs = std::filesystem;

namespace {

std::string verdictOn(const CheckedLines& lines) {
    if (!lines.byte) {
        return allAre(lines.count, "line") + " intact";
    }
    return lines.intact == lines.count
               ? formatted("{} intact, but other bytes follow (byte {})",
                           allAre(lines.count, "line"), *lines.byte)
               : formatted("{} of {} {} intact, line {} from the top is damaged (byte {})",
                           lines.intact, counted(lines.count, "line"),
                           lines.count == 1 ? "is" : "are", lines.intact, *lines.byte);
}

/// Notes bytes after the last line at `end`. 0, or errno.
int checkEnd(std::FILE* stream, std::int64_t end, CheckedLines& lines) {
    struct stat status {};
    if (::fstat(::fileno(stream), &status) != 0) {
        return errno;
    }
    if (status.st_size > end) {
        lines.byte = end;
    }
    return 0;
}

/// 0, or errno.
int checkPicture(ToolkitPicture& file, CheckedLines& lines) {
    const std::unique_ptr<PictureReader, PictureReaderDisposer> reader(
        pictureReaderAllocate(file.stream.get()));
    if (reader == nullptr) {
        return errno;
    }
    lines.width = file.picture.width;
    lines.count = file.picture.height;
    if (channelPacketIsDecodable(file.chain.get()) == 0 || !hasChannels(file.chain.get())) {
        lines.byte = pictureReaderPosition(reader.get()); // its lines cannot be told apart
        return 0;
    }
    const ZeroTail zeros = ZeroTail::of(file);
    if (zeros.error() != 0) {
        return zeros.error();
    }
    if (zeros.isThere()) {
        pictureReaderEndAt(reader.get(), zeros.end());
    }
    for (; lines.intact < lines.count; ++lines.intact) {
        if (tdr::InterruptGuard::signal() != 0) {
            return EINTR;
        }
        const std::int64_t begin = pictureReaderPosition(reader.get());
        const bool read = pictureReaderScanline(reader.get(), &file.picture, file.chain.get()) != 0;
        if (!read || zeros.cover(begin, pictureReaderPosition(reader.get()))) {
            lines.byte = begin;
            return read ? 0 : pictureReaderError(reader.get());
        }
    }
    return checkEnd(file.stream.get(), pictureReaderPosition(reader.get()), lines);
}

/// Whether the matte's line that begins at `begin` and has just been read is cut, or zero bytes
/// from some word on and no writer's. 0, or errno.
int findDamage(const ToolkitPicture& file, const ZeroTail& zeros, std::int64_t begin,
               bool& damaged) {
    std::FILE* const stream = file.stream.get();
    damaged = std::feof(stream) != 0;
    if (damaged || !zeros.cover(begin, ::ftello(stream))) {
        return 0;
    }
    if (::fseeko(stream, begin, SEEK_SET) != 0) {
        return errno;
    }
    damaged = tagScanlineHasZeroLiteral(stream, file.matte.get()) != 0;
    return std::ferror(stream) != 0 ? EIO : 0;
}

/// 0, or errno.
int checkMatte(ToolkitPicture& file, CheckedLines& lines) {
    lines.width = file.matte->width;
    lines.count = file.matte->height;
    const ZeroTail zeros = ZeroTail::of(file);
    if (zeros.error() != 0) {
        return zeros.error();
    }
    for (; lines.intact < lines.count; ++lines.intact) {
        if (tdr::InterruptGuard::signal() != 0) {
            return EINTR;
        }
        const std::int64_t begin = ftello(file.stream.get());
        if (tagReadScanline(file.stream.get(), file.matte.get(), lines.intact) == 0) {
            return errno != 0 ? errno : EIO;
        }
        tagDropRow(file.matte.get(), lines.intact);
        bool damaged = false;
        if (const int error = findDamage(file, zeros, begin, damaged); error != 0) {
            return error;
        }
        if (damaged) {
            lines.byte = begin;
            return 0;
        }
    }
    return checkEnd(file.stream.get(), ftello(file.stream.get()), lines);
}

Outcome<FileCheck> checkLines(const std::string& name, ToolkitPicture& file) {
    const tdr::InterruptGuard::Pause nothingToCleanUp; // a large picture takes long
    const bool matte = file.matte != nullptr;
    CheckedLines lines;
    if (const int error = matte ? checkMatte(file, lines) : checkPicture(file, lines); error != 0) {
        return problemWith(name, error);
    }
    return FileCheck{matte ? "matte" : "picture", !lines.byte, verdictOn(lines), lines, {}};
}

/// A driver says only that something is damaged, and on standard error what.
Outcome<FileCheck> checkByDriver(const std::string& name, const DriverOptions& options) {
    DriverSet drivers(options);
    auto picture = PictureLines::of(openPicture(drivers, name), name, "read in full");
    if (!picture) {
        return picture.failure();
    }
    const std::int32_t height = picture->shape().height;
    for (std::int32_t matte = 0; matte < picture->mattes(); ++matte) {
        for (std::int32_t line = height; line-- > 0;) {
            if (const auto read = picture->read(line, matte); !read) {
                return read.failure();
            }
        }
    }
    if (const auto closed = picture->close(); !closed) {
        return closed.failure();
    }
    CheckedLines lines{picture->shape().width, height, height, {}};
    const auto fd = openReadable(name);
    if (!fd) {
        return fd.failure();
    }
    std::optional<PngDamage> damage;
    if (const int error = findPngDamage(fd->get(), damage); error != 0) {
        return problemWith(name, error);
    }
    if (damage) {
        lines.byte = damage->byte;
    }
    const char* kind = picture->shape().matte ? "matte" : "picture";
    return FileCheck{kind,
                     !damage,
                     damage && !damage->what.empty()
                         ? formatted("{} intact, but {} (byte {})", allAre(height, "line"),
                                     printable(damage->what), damage->byte)
                         : verdictOn(lines),
                     lines,
                     {}};
}

Outcome<FileCheck> checkScene(const fs::path& file, const char* kind) {
    auto document = readSceneDocument(file);
    if (!document) {
        return document.failure();
    }
    SceneReport& report = document->report;
    return FileCheck{kind, report.whole(), report.verdict(), {}, std::move(report)};
}

} // namespace

Outcome<FileCheck> checkFile(const fs::path& file, const DriverOptions& drivers) {
    if (const SceneFormat* scene = sceneFormatOf(file); scene != nullptr) {
        return checkScene(file, scene->name);
    }
    auto fd = openReadable(file);
    if (!fd) {
        return fd.failure();
    }
    auto picture = openToolkitPicture(file.string(), std::move(*fd));
    if (!picture) {
        return picture.failure();
    }
    return *picture ? checkLines(file.string(), **picture) : checkByDriver(file.string(), drivers);
}

bool hasKnownEnding(const fs::path& file, DriverSet& drivers) {
    constexpr const char* kEndings[] = {".pic", ".tag", ".scn", ".spl", ".hrc"};
    if (std::ranges::any_of(kEndings,
                            [&](const char* ending) { return base::hasExtension(file, ending); })) {
        return true;
    }
    const auto driver = drivers.byEnding(file);
    return driver && *driver;
}
