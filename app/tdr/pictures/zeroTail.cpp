// SPDX-License-Identifier: MIT
#include "zeroTail.h"

#include "base/retry.h"

#include <algorithm>
#include <bit>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

/// Where the zero bytes at the end of a file of `size` bytes begin.
std::int64_t zerosOf(int fd, std::int64_t size) {
    std::vector<std::uint8_t> block(512); // enough for nearly every file
    while (size > 0) {
        const std::int64_t begin = std::max<std::int64_t>(size - std::ssize(block), 0);
        const auto count = static_cast<std::size_t>(size - begin);
        if (base::retried([&] { return ::pread(fd, block.data(), count, begin); }) !=
            static_cast<ssize_t>(count)) {
            return size;
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

} // namespace

ZeroTail ZeroTail::of(const ToolkitPicture& file) {
    ZeroTail tail;
    struct stat status {};
    const int fd = ::fileno(file.stream.get());
    const std::int64_t most = mostZeros(file.picture, file.chain.get());
    if (most > 0 && ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
        tail.end_ = status.st_size;
        tail.begin_ = zerosOf(fd, tail.end_);
        tail.certain_ = tail.begin_ + most;
    }
    return tail;
}
