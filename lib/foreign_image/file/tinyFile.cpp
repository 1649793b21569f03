// SPDX-License-Identifier: MIT
#include "tinyFile.h"

#include "base/byteOrder.h"
#include "tinyNumberText.h"

#include <cstring>
#include <span>

namespace {

constexpr std::size_t kVersionOffset = 4;
constexpr std::size_t kCommentOffset = 8;
constexpr std::size_t kTypeWordSize = 4;

void warnOfNewerVersion(float version) {
    optionPrint("Warning, file version %s is later than DKit release version %s\n",
                NumberText(version).c_str(), NumberText(RELEASE_NUMBER).c_str());
    optionPrint("Attempt to read: An error may occur...\n");
}

} // namespace

int headerWriteBinary(std::FILE* stream, const char* comment) {
    std::uint8_t header[kFileHeaderSize] = {};
    base::storeBe32(header, kFileMagic);
    base::storeBeFloat(header + kVersionOffset, kVersionTable[VERSION]);
    const char* text = comment != nullptr ? comment : "No comment...";
    std::memcpy(header + kCommentOffset, text, strnlen(text, kFileCommentSize));
    std::fwrite(header, 1, sizeof header, stream);
    return 1;
}

std::uint32_t headerReadBinary(std::FILE* stream, float* version, char* comment) {
    std::uint8_t header[kFileHeaderSize] = {};
    const bool whole = std::fread(header, 1, sizeof header, stream) == sizeof header;
    const bool ours = base::loadBe32(header) == kFileMagic;
    if (!ours) {
        std::memset(header, 0, sizeof header);
    }
    const float fileVersion = base::loadBeFloat(header + kVersionOffset);
    if (version != nullptr) {
        *version = fileVersion;
    }
    if (fileVersion > RELEASE_NUMBER) {
        warnOfNewerVersion(fileVersion);
    }
    if (comment != nullptr) {
        std::memcpy(comment, header + kCommentOffset, kFileCommentSize);
    }
    std::uint8_t type[kTypeWordSize] = {};
    if (!ours || !whole || std::fread(type, 1, sizeof type, stream) != sizeof type) {
        return 0;
    }
    return base::loadBe32(type);
}

int headerWriteAscii(std::FILE* stream, const char* typeName) {
    const NumberText version(kVersionTable[VERSION], 2);
    std::fprintf(stream, "%s: Niofle v%s\n\n", typeName, version.c_str());
    return 1;
}

std::uint32_t headerReadAscii(std::FILE* stream, float* version) {
    std::uint8_t type[kTypeWordSize] = {};
    const bool whole = std::fread(type, 1, sizeof type, stream) == sizeof type;
    char rest[80];
    static_cast<void>(std::fgets(rest, sizeof rest, stream));
    // Kept: The version of an ASCII header is always reported as 0.
    // A reader would expect the writer's version, which is in the line; it is not parsed.
    *version = 0.0F;
    return whole ? base::loadBe32(type) : 0;
}

int stringWriteBinary(std::FILE* stream, const char* string) {
    // Kept: A null string is written as an empty one, but the call returns 0.
    // A reader would expect either a failure without a zero byte, or success.
    const char* text = string != nullptr ? string : "";
    std::fwrite(text, 1, std::strlen(text) + 1, stream);
    return string != nullptr ? 1 : 0;
}

char* stringReadBinary(std::FILE* stream) {
    char text[kFileStringSize];
    std::size_t length = 0;
    for (int c = std::getc(stream); c != EOF && c != '\0'; c = std::getc(stream)) {
        if (length < sizeof text - 1) {
            text[length++] = static_cast<char>(c);
        }
    }
    return std::ferror(stream) == 0 ? strndup(text, length) : nullptr;
}
