// SPDX-License-Identifier: MIT
// Opening and closing the file.
#include "TDR_SoftimageFilter.h"

#include "base/diagnostics.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

using namespace softimage;

int TDR_SoftimageFilter::connectToFile(char* name, int mode) {
    // Kept: Permissions are checked for the bare name; the file may have another.
    // A reader would expect the checked file to be the opened one. The check uses the name as
    // given, then the toolkit appends ".pic" (or ".tag") to a name without it: "m.tag" is first
    // tried as the picture "m.tag.pic", and a matte under another name is not found.
    if (!closePreviousFile() || !mayOpen(name, mode)) {
        return -1;
    }
    if ((mode == ipc::kConnectForReading ? connectToFileHeader(name) : createFileHeader(name)) ==
        -1) {
        return -1;
    }
    if (mode != ipc::kConnectForReading) {
        lastWrittenLine = -1;
    }
    return startTransfer(name, mode);
}

bool TDR_SoftimageFilter::closePreviousFile() {
    if (!isOpen()) {
        return true;
    }
    const int result = disconnectFromFile();
    if (result == 1) {
        executePostWriteCommand();
    }
    return result != -1;
}

int TDR_SoftimageFilter::startTransfer(const char* name, int mode) {
    const auto lines = static_cast<std::size_t>(height());
    writing = mode != ipc::kConnectForReading;
    std::snprintf(openName, sizeof openName, "%s", name);
    lineOffsets.reset(new (std::nothrow) std::uint64_t[lines]{});
    lineCache.reset(new (std::nothrow) std::unique_ptr<std::uint8_t[]>[lines]);
    if (tag && writing) {
        matteRows.reset(new (std::nothrow) bool[lines]{});
    }
    errno = ENOMEM;
    const bool ready = lineOffsets && lineCache && (!tag || !writing || matteRows);
    if (!ready || !(writing ? startWriting() : startReading())) {
        return refuse(writing ? "create" : "open", name, errno);
    }
    lineOffsets[0] = position();
    return 0;
}

/// Flushes the header, so that a full disk shows now; the writer then needs no buffer of the
/// stream. (The GNU library allows another buffer for a stream in use, but does not report bytes of
/// the old one that it fails to write.)
bool TDR_SoftimageFilter::startWriting() {
    if (std::fflush(file.get()) != 0) {
        return false;
    }
    if (!picture) {
        return true;
    }
    static_cast<void>(std::setvbuf(file.get(), nullptr, _IONBF, 0));
    writer.reset(pictureWriterAllocate(file.get()));
    if (!writer) {
        return false;
    }
    pictureWriterCollect(writer.get(), kLinePiece);
    return true;
}

bool TDR_SoftimageFilter::startReading() {
    if (::ftello(file.get()) < 0) {
        return false;
    }
    if (picture) {
        opened = settledState(file.get());
        reader.reset(pictureReaderAllocate(file.get()));
        if (channelPacketIsDecodable(packets.get()) == 0) {
            noteDamage(); // channels with an unknown encoding read as zero
        }
    }
    return !picture || reader;
}

int TDR_SoftimageFilter::disconnectFromFile() {
    int result = 0;
    if (isOpen() && file && lineCache && writing) {
        flushKeptLines();
    }
    if (file) {
        // Kept: Closing a file that was only read runs the post-write command.
        // A reader would expect the command after writing only. The result is 1 for every file that
        // was open, and 1 runs the command.
        result = closeFile() ? 1 : -1;
    }
    cleanup();
    return result;
}

void TDR_SoftimageFilter::flushKeptLines() {
    for (long k = lastWrittenLine + 1L; k < height(); ++k) {
        unsigned char* line = lineCache[static_cast<std::size_t>(k)].get();
        // Kept: Lines that were never sent are not written.
        // A reader would expect a gap to be filled. The file has fewer lines, so hosts must send
        // every line.
        if (line == nullptr) {
            continue;
        }
        if (lineOffsets[static_cast<std::size_t>(k)] != 0) {
            writeLine(k, line);
        } else if (lastWrittenLine != -1) {
            // Kept: The first line after a gap is written blank.
            // A reader would expect the pixels that were sent. They are dropped and the line is
            // black, or for a matte its current row.
            for (auto& buffer : channelBuffers) {
                if (buffer) {
                    std::memset(buffer.get(), 0, static_cast<std::size_t>(width()));
                }
            }
            writeLine(k, nullptr);
        }
    }
}

bool TDR_SoftimageFilter::flushWriter() {
    if (writer && pictureWriterFlush(writer.get()) == 0) {
        noteWriteFailure(pictureWriterError(writer.get()));
    }
    return !broken;
}

bool TDR_SoftimageFilter::closeFile() {
    reader.reset();
    flushWriter();
    writer.reset();
    const int error = base::closeWritten(std::move(file));
    if (error != 0 && writing) {
        noteWriteFailure(error);
    }
    return !broken;
}

void TDR_SoftimageFilter::noteWriteFailure(int systemError) {
    if (!broken) {
        base::say("%s: Unable to write file '%s' - %s.\n", me, openName,
                  std::strerror(systemError));
    }
    broken = true;
}

void TDR_SoftimageFilter::cleanup() {
    reader.reset();
    writer.reset();
    picture.reset();
    packets.reset();
    tag.reset();
    file.reset();
    lineOffsets.reset();
    lineCache.reset();
    matteRows.reset();
    for (auto& buffer : channelBuffers) {
        buffer.reset();
    }
    openName[0] = '\0';
    writing = false;
    damageReported = false;
    readError = 0;
    emptyFrom = 0;
    opened.reset();
    broken = false;
}
