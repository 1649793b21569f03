// SPDX-License-Identifier: MIT
#include "tinyTextFile.h"

#include "file/tinyNotice.h"

#include <cerrno>
#include <cstring>

namespace {

constexpr std::int64_t kLineAfterHeader = 2;

/// True when the first line end of the file is a carriage return alone. The stream is at its
/// beginning, before and after.
bool hasOldMacLineEnds(std::FILE* stream) {
    int c = std::getc(stream);
    while (c != EOF && c != '\n' && c != '\r') {
        c = std::getc(stream);
    }
    const bool found = c == '\r' && std::getc(stream) != '\n';
    std::rewind(stream);
    return found;
}

} // namespace

MallocString fileNameOf(const char* baseName, const char* ending) {
    const std::size_t base = std::strlen(baseName);
    const std::size_t rest = std::strlen(ending) + 1;
    MallocString name(static_cast<char*>(std::malloc(base + rest)));
    if (name != nullptr) {
        std::memcpy(name.get(), baseName, base);
        std::memcpy(name.get() + base, ending, rest);
    }
    return name;
}

base::UniqueFile textfile::open(const char* fileName, char mode) {
    if (fileName == nullptr) {
        notice::Call::failForMemory();
        errno = ENOMEM;
        return nullptr;
    }
    return base::openFile(fileName, mode);
}

bool textfile::closeWritten(std::FILE* stream) {
    errno = 0;
    const bool failedBefore = std::ferror(stream) != 0;
    int error = std::fflush(stream) == 0 ? 0 : errno;
    if (std::fclose(stream) != 0 && error == 0) {
        error = errno;
    }
    error = failedBefore && error == 0 ? EIO : error;
    if (error != 0) {
        notice::Call::failForSystem(error);
        errno = error;
    }
    return error == 0;
}

bool text::readHeader(std::FILE* stream, std::uint32_t type) {
    if (hasOldMacLineEnds(stream)) {
        notice::lineEnds("old Mac line ends");
        notice::Call::fail("it has old Mac line ends");
        return false;
    }
    float version = 0.0F;
    const bool ours = headerReadAscii(stream, &version) == type;
    animSetLineNumber(kLineAfterHeader);
    return ours;
}

void text::reportSurplus(WordReader& words) {
    if (words.next()) {
        animNotify(AnimNoticeKind::Surplus, words.c_str(), "behind the end");
    }
}

std::uint32_t binary::readHeader(std::FILE* stream) {
    constexpr char kUsual[] = "No comment...";
    char comment[kFileCommentSize + 1] = "";
    const std::uint32_t type = headerReadBinary(stream, nullptr, comment);
    if (type != 0 && comment[0] != '\0' && std::strcmp(comment, kUsual) != 0) {
        constexpr std::int64_t kCommentOffset = 8;
        notice::atByte(AnimNoticeKind::ByFormat, comment, kCommentOffset, "comment of the header");
    }
    return type;
}

void binary::reportSurplus(std::FILE* stream) {
    const std::int64_t place = std::ftell(stream);
    std::int64_t bytes = 0;
    while (std::getc(stream) != EOF) {
        ++bytes;
    }
    if (bytes != 0) {
        notice::atByte(AnimNoticeKind::Surplus, "", place, "%lld bytes behind the end",
                       static_cast<long long>(bytes));
    }
}
