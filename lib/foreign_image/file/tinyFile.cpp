// SPDX-License-Identifier: MIT
#include "tinyFile.h"

#include "base/byteOrder.h"

#include <clocale>
#include <cstring>

namespace {

constexpr std::size_t kVersionOffset = 4;
constexpr std::size_t kCommentOffset = 8;
constexpr std::size_t kTypeWordSize = 4;

/// The numbers are the same in every locale. `NumberText` would make them so too, but loading what
/// it needs of the system's libraries takes a driver, which has no other use for it, a tenth of its
/// start.
void warnOfNewerVersion(float version) {
    char numbers[2][16];
    const locale_t before = uselocale(newlocale(LC_ALL_MASK, "C", nullptr)); // needs no memory
    std::snprintf(numbers[0], sizeof numbers[0], "%g", static_cast<double>(version));
    std::snprintf(numbers[1], sizeof numbers[1], "%g", static_cast<double>(RELEASE_NUMBER));
    uselocale(before);
    optionPrint("Warning, file version %s is later than DKit release version %s\n", numbers[0],
                numbers[1]);
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
