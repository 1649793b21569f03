// SPDX-License-Identifier: MIT
#include "tinyPictureNotes.h"

#include "base/byteOrder.h"

#include <cerrno>
#include <cstring>

namespace {

// Both kinds of file have these at the same places.
constexpr long kCommentOffset = 8;
constexpr long kTypeOffset = 88;
constexpr long kRatioOffset = 96;
constexpr long kFieldsOffset = 100;
constexpr std::size_t kHeadSize = 102;

constexpr char kNoComment[] = "No comment...";

/// Reads the head of the file. False when it is none of a picture or matte.
bool readHead(std::FILE* stream, std::uint8_t (&head)[kHeadSize]) {
    if (std::fseek(stream, 0, SEEK_SET) != 0 ||
        std::fread(head, 1, sizeof head, stream) != sizeof head) {
        return false;
    }
    const std::uint32_t type = base::loadBe32(head + kTypeOffset);
    return base::loadBe32(head) == kFileMagic &&
           (type == typeWord("PICT") || type == typeWord("STAG"));
}

bool writeAt(std::FILE* stream, long offset, const std::uint8_t* bytes, std::size_t count) {
    return std::fseek(stream, offset, SEEK_SET) == 0 &&
           std::fwrite(bytes, 1, count, stream) == count;
}

} // namespace

int pictureNotesRead(std::FILE* stream, PictureNotes* notes) {
    *notes = {};
    std::uint8_t head[kHeadSize];
    if (!readHead(stream, head)) {
        return 0;
    }
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
    errno = 0;
    if (!readHead(stream, head)) {
        return 0;
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
    return written && std::fflush(stream) == 0 ? 1 : 0;
}
