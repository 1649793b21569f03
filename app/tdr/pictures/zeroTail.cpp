// SPDX-License-Identifier: MIT
#include "zeroTail.h"

#include "base/retry.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

/// Where the zero bytes before `size` begin in a file; -1 with errno if it cannot be read.
std::int64_t zerosOf(int fd, std::int64_t size) {
    std::vector<std::uint8_t> block(512); // enough for nearly every file
    while (size > 0) {
        const std::int64_t begin = std::max<std::int64_t>(size - std::ssize(block), 0);
        const auto count = static_cast<std::size_t>(size - begin);
        const auto got = base::retried([&] { return ::pread(fd, block.data(), count, begin); });
        if (got != static_cast<ssize_t>(count)) {
            errno = got < 0 ? errno : EIO; // it has become shorter
            return -1;
        }
        while (size > begin && block[static_cast<std::size_t>(size - begin - 1)] == 0) {
            --size;
        }
        if (size > begin) {
            return size;
        }
        block.resize(std::size_t{64} << 10);
    }
    return 0;
}

/// The zero bytes that a coded line can have at its end: a packet of as many literal pixels as fit;
/// none if equal pixels need not be joined.
std::int64_t mostZeros(const Picture& picture, const ChannelPacket* chain) {
    constexpr std::int64_t kMostLiteral = 128;
    std::int64_t most = 0;
    for (; chain != nullptr && picture.width > 1; chain = chain->next) {
        const int channels = std::popcount(chain->channels & 0xF0U);
        if (channels > 0 && (chain->type & 0x0F) == kEncodingRaw) {
            return 0;
        }
        most = std::max<std::int64_t>(most, channels);
    }
    return most * kMostLiteral + (most > 0 ? 2 * (1 + most) : 0);
}

/// The bytes that the lines can have at most: each pixel a packet with a length of its own.
std::int64_t mostBytes(const Picture& picture, const ChannelPacket* chain) {
    constexpr std::int64_t kLength = 3;
    std::int64_t pixel = 0;
    for (; chain != nullptr; chain = chain->next) {
        pixel += kLength + std::popcount(chain->channels & 0xF0U);
    }
    return pixel * picture.width * picture.height;
}

/// The bytes that the lines can have at most: each pixel a word and one of a stream.
std::int64_t mostBytes(const Tag& matte) {
    return std::int64_t{4} * matte.width * matte.height * matte.channelCount;
}

} // namespace

ZeroTail ZeroTail::of(const ToolkitPicture& file) {
    if (file.matte != nullptr) {
        return in(file.stream.get(), mostBytes(*file.matte), 0);
    }
    const std::int64_t most = mostZeros(file.picture, file.chain.get());
    return most > 0 ? in(file.stream.get(), mostBytes(file.picture, file.chain.get()), most)
                    : ZeroTail();
}

/// `most`: the zero bytes that a line can have at its end.
ZeroTail ZeroTail::in(std::FILE* stream, std::int64_t lines, std::int64_t most) {
    ZeroTail tail;
    struct stat status {};
    const int fd = ::fileno(stream);
    if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
        // What is farther behind the first line belongs to none that an encoder has written,
        // however large the file is.
        tail.end_ = std::min<std::int64_t>(status.st_size, ::ftello(stream) + lines + most);
        tail.begin_ = zerosOf(fd, tail.end_);
        tail.error_ = tail.begin_ < 0 ? errno : 0;
        tail.certain_ = tail.begin_ + most;
    }
    return tail;
}
