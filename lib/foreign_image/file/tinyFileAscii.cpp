// SPDX-License-Identifier: MIT
// The header of text files. Apart from that of binary files, so that a driver for pictures has
// nothing of the conversion of numbers to text.
#include "base/byteOrder.h"
#include "tinyFile.h"
#include "tinyNumberText.h"

int headerWriteAscii(std::FILE* stream, const char* typeName) {
    const NumberText version(kVersionTable[VERSION], 2);
    std::fprintf(stream, "%s: Niofle v%s\n\n", typeName, version.c_str());
    return 1;
}

std::uint32_t headerReadAscii(std::FILE* stream, float* version) {
    std::uint8_t type[4] = {};
    const bool whole = std::fread(type, 1, sizeof type, stream) == sizeof type;
    char rest[80];
    static_cast<void>(std::fgets(rest, sizeof rest, stream));
    // Kept: The version of an ASCII header is always reported as 0.
    // A reader would expect the writer's version, which is in the line; it is not parsed.
    *version = 0.0F;
    return whole ? base::loadBe32(type) : 0;
}
