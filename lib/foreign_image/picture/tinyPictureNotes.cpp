// SPDX-License-Identifier: MIT
#include "tinyPictureNotes.h"

#include "base/byteOrder.h"

#include <cstring>

namespace {

// The positions are the same in both kinds of file.
constexpr long kVersionOffset = 4;
constexpr long kCommentOffset = 8;
constexpr long kTypeOffset = 88;
constexpr long kRatioOffset = 96;
constexpr long kFieldsOffset = 100;
constexpr std::size_t kHeadSize = 102;

constexpr char kNoComment[] = "No comment...";

/// Reads the header of the file: 1; 0 when it is not that of a picture or matte, -1 when it cannot
/// be read.
int readHead(std::FILE* stream, std::uint8_t (&head)[kHeadSize]) {
    if (std::fseek(stream, 0, SEEK_SET) != 0) {
        return -1;
    }
    if (std::fread(head, 1, sizeof head, stream) != sizeof head) {
        return std::ferror(stream) != 0 ? -1 : 0;
    }
    const std::uint32_t type = base::loadBe32(head + kTypeOffset);
    const bool picture = type == typeWord("PICT") || type == typeWord("STAG");
    return base::loadBe32(head) == kFileMagic && picture ? 1 : 0;
}

bool writeAt(std::FILE* stream, long offset, const std::uint8_t* bytes, std::size_t count) {
    return std::fseek(stream, offset, SEEK_SET) == 0 &&
           std::fwrite(bytes, 1, count, stream) == count;
}

} // namespace

int pictureNotesRead(std::FILE* stream, PictureNotes* notes) {
    *notes = {};
    std::uint8_t head[kHeadSize];
    if (const int read = readHead(stream, head); read != 1) {
        return read;
    }
    notes->version = base::loadBeFloat(head + kVersionOffset);
    notes->ratio = base::loadBeFloat(head + kRatioOffset);
    notes->fields = base::loadBeS16(head + kFieldsOffset);
    std::memcpy(notes->comment, head + kCommentOffset, kFileCommentSize);
    if (std::strcmp(notes->comment, kNoComment) == 0) {
        notes->comment[0] = '\0';
    }
    return 1;
}

int pictureNotesWrite(std::FILE* stream, const PictureNotes* notes) {
    std::uint8_t head[kHeadSize];
    if (const int read = readHead(stream, head); read != 1) {
        return read;
    }
    std::uint8_t shape[kHeadSize - kRatioOffset];
    base::storeBeFloat(shape, notes->ratio);
    base::storeBeS16(shape + (kFieldsOffset - kRatioOffset), notes->fields);
    bool written = writeAt(stream, kRatioOffset, shape, sizeof shape);
    if (notes->comment[0] != '\0') {
        std::uint8_t comment[kFileCommentSize] = {};
        std::memcpy(comment, notes->comment, strnlen(notes->comment, sizeof comment));
        written = written && writeAt(stream, kCommentOffset, comment, sizeof comment);
    }
    return written && std::fflush(stream) == 0 ? 1 : -1;
}
