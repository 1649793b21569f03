// SPDX-License-Identifier: MIT
#include "tinyTextFile.h"

#include "file/tinyNotice.h"

#include <cerrno>
#include <cstring>
#include <new>

namespace {

constexpr std::int64_t kLineAfterHeader = 2;

/// True when the first line end of the file is a single carriage return. The stream is at its
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

textfile::File textfile::open(const MallocString& fileName, char mode) {
    constexpr std::size_t kBufferSize = 65536;
    File file = {nullptr, fileOpen(fileName, mode)};
    if (file.stream != nullptr) {
        file.buffer.reset(new (std::nothrow) char[kBufferSize]);
    }
    if (file.buffer != nullptr) {
        std::setvbuf(file.stream.get(), file.buffer.get(), _IOFBF, kBufferSize);
    }
    return file;
}

bool textfile::close(File file) {
    const int error = base::closeWritten(std::move(file.stream));
    if (error != 0) {
        notice::Call::failForSystem(error);
        errno = error;
    }
    return !notice::Call::failed();
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

bool text::reportSurplus(Reader& in) {
    if (in.next()) {
        animNotify(AnimNoticeKind::Surplus, in.c_str(), "behind the end");
    }
    return notice::Call::good(in.stream());
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

bool binary::reportSurplus(std::FILE* stream) {
    const std::int64_t place = std::ftell(stream);
    std::int64_t bytes = 0;
    while (std::getc(stream) != EOF) {
        ++bytes;
    }
    if (!notice::Call::good(stream)) {
        return false;
    }
    if (bytes != 0) {
        notice::atByte(AnimNoticeKind::Surplus, "", place, "%lld byte%s behind the end",
                       static_cast<long long>(bytes), notice::plural(bytes));
    }
    return true;
}
