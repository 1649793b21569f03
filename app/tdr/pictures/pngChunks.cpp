// SPDX-License-Identifier: MIT
#include "pngChunks.h"

#include "base/byteOrder.h"
#include "base/retry.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::string_view kSignature("\x89PNG\r\n\x1a\n", 8);
constexpr std::int64_t kHeaderEnd = 33; ///< signature and the chunk IHDR
constexpr std::int64_t kFrame = 12;     ///< length, name and checksum of a chunk

/// Limits for a file of many empty chunks, and for the number of reported names.
constexpr int kMostChunks = 1 << 20;
constexpr std::size_t kMostLeft = 32;

/// Colour chunks stay valid here, because samples are copied unchanged. Other chunks with a capital
/// last letter depend on how a file stores its pixels.
constexpr std::string_view kColourChunks[] = {"cHRM", "cICP", "cLLI", "gAMA",
                                              "iCCP", "mDCV", "sRGB", "tIME"};

constexpr std::array<std::uint32_t, 256> kCrcTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        table[i] = i;
        for (int bit = 0; bit < 8; ++bit) {
            table[i] = (table[i] & 1) != 0 ? 0xEDB88320U ^ (table[i] >> 1) : table[i] >> 1;
        }
    }
    return table;
}();

/// Goes on with the checksum of a chunk, which is over its name and its data.
std::uint32_t crcOf(std::string_view bytes, std::uint32_t before = 0) {
    std::uint32_t crc = ~before;
    for (const char byte : bytes) {
        crc = kCrcTable[(crc ^ static_cast<std::uint8_t>(byte)) & 0xFF] ^ (crc >> 8);
    }
    return ~crc;
}

std::uint32_t be32(const char* bytes) {
    return base::loadBe32(reinterpret_cast<const std::uint8_t*>(bytes));
}

void appendBe32(std::string& to, std::uint32_t value) {
    std::uint8_t bytes[4];
    base::storeBe32(bytes, value);
    to.append(reinterpret_cast<const char*>(bytes), sizeof bytes);
}

/// Reads exactly these bytes of the file; false on failure, with errno 0 at the end of the file.
bool readAt(int fd, char* bytes, std::size_t count, std::int64_t at) {
    while (count > 0) {
        const ssize_t got = base::retried([&] { return ::pread(fd, bytes, count, at); });
        if (got <= 0) {
            errno = got == 0 ? 0 : errno;
            return false;
        }
        bytes += got;
        count -= static_cast<std::size_t>(got);
        at += got;
    }
    return true;
}

bool writeAt(int fd, const char* bytes, std::size_t count, std::int64_t at) {
    while (count > 0) {
        const ssize_t put = base::retried([&] { return ::pwrite(fd, bytes, count, at); });
        if (put < 0) {
            return false;
        }
        bytes += put;
        count -= static_cast<std::size_t>(put);
        at += put;
    }
    return true;
}

bool isAncillary(std::string_view name) {
    return (name[0] & 0x20) != 0;
}

/// False for the profile of a grey picture, which does not fit its conversion to colour.
bool maybeKept(std::string_view name, bool grey) {
    const bool safeToCopy = (name[3] & 0x20) != 0;
    return safeToCopy || (std::ranges::find(kColourChunks, name) != std::end(kColourChunks) &&
                          !(grey && name == "iCCP"));
}

/// Walks through the chunks of one file.
class ChunkWalk {
  public:
    ChunkWalk(int fd, std::int64_t size) : fd_(fd), size_(size) {}

    PngChunks run() {
        std::int64_t at = static_cast<std::int64_t>(kSignature.size());
        char head[8];
        for (int i = 0; i < kMostChunks && read(head, sizeof head, at); ++i) {
            const std::uint32_t length = be32(head);
            const std::string name(head + 4, 4);
            if (size_ - at < kFrame + std::int64_t{length} || name == "IEND") {
                break;
            }
            take(name, length, at + 8);
            at += kFrame + std::int64_t{length};
        }
        return std::move(found_);
    }

  private:
    bool read(char* bytes, std::size_t count, std::int64_t at) {
        const bool whole = readAt(fd_, bytes, count, at);
        found_.error = whole || found_.error != 0 ? found_.error : errno;
        return whole;
    }

    void take(const std::string& name, std::uint32_t length, std::int64_t at) {
        char shape[10]; // width, height, bits, colour type
        if (name == "IHDR" && length >= sizeof shape && read(shape, sizeof shape, at)) {
            found_.sampleBits = static_cast<unsigned char>(shape[8]);
            grey_ = (shape[9] & 2) == 0;
        }
        if (!isAncillary(name) || name == "tRNS") { // pixels, which drivers read
            return;
        }
        PngChunk chunk{name, {}};
        if (maybeKept(name, grey_) && length <= kKeptChunkBytes - kept_ &&
            readData(chunk, length, at)) {
            kept_ += length + kFrame;
            kept_ = std::min(kept_, kKeptChunkBytes);
            found_.kept.push_back(std::move(chunk));
        } else if (found_.left.size() < kMostLeft &&
                   std::ranges::find(found_.left, name) == found_.left.end()) {
            found_.left.push_back(name);
        }
    }

    /// Reads the data of a chunk. False if its checksum is wrong.
    bool readData(PngChunk& chunk, std::uint32_t length, std::int64_t at) {
        std::string whole = chunk.name;
        whole.resize(whole.size() + length + 4);
        if (!read(whole.data() + 4, length + 4, at)) {
            return false;
        }
        const std::uint32_t crc = be32(whole.data() + 4 + length);
        whole.resize(4 + length);
        chunk.data = whole.substr(4);
        return crcOf(whole) == crc;
    }

    int fd_;
    std::int64_t size_;
    bool grey_ = false;
    std::size_t kept_ = 0; ///< memory of the kept chunks in bytes, at most the limit
    PngChunks found_;
};

std::int64_t sizeOf(int fd) {
    struct stat status {};
    return ::fstat(fd, &status) == 0 ? status.st_size : -1;
}

/// Moves everything from kHeaderEnd to the end by `distance` bytes, the last piece first.
bool makeRoom(int fd, std::int64_t size, std::int64_t distance) {
    std::vector<char> piece(std::size_t{256} << 10);
    std::int64_t end = size;
    while (end > kHeaderEnd) {
        const auto count = std::min<std::int64_t>(end - kHeaderEnd, std::ssize(piece));
        end -= count;
        if (!readAt(fd, piece.data(), static_cast<std::size_t>(count), end) ||
            !writeAt(fd, piece.data(), static_cast<std::size_t>(count), end + distance)) {
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<PngChunks> readPngChunks(int fd) {
    char head[kSignature.size()];
    const bool whole = readAt(fd, head, sizeof head, 0);
    const std::int64_t size = whole ? sizeOf(fd) : -1;
    if (size < 0 && errno != 0) {
        PngChunks unknown;
        unknown.error = errno;
        return unknown;
    }
    if (!whole || std::string_view(head, sizeof head) != kSignature) {
        return std::nullopt;
    }
    return ChunkWalk(fd, size).run();
}

namespace {

/// True if the checksum after the name and data from `at` on is right; false with errno if they
/// cannot be read, and with 0 there at the end of the file.
bool isIntact(int fd, std::int64_t at, std::int64_t count) {
    std::vector<char> piece(std::size_t{64} << 10);
    std::uint32_t crc = 0;
    for (std::int64_t left = count; left > 0;) {
        const auto size = static_cast<std::size_t>(std::min(left, std::ssize(piece)));
        if (!readAt(fd, piece.data(), size, at + count - left)) {
            return false;
        }
        crc = crcOf({piece.data(), size}, crc);
        left -= static_cast<std::int64_t>(size);
    }
    const bool read = readAt(fd, piece.data(), 4, at + count);
    errno = read ? 0 : errno;
    return read && be32(piece.data()) == crc;
}

} // namespace

int findPngDamage(int fd, std::optional<PngDamage>& damage) {
    char head[8];
    if (!readAt(fd, head, sizeof head, 0)) {
        return errno;
    }
    if (std::string_view(head, sizeof head) != kSignature) {
        return 0;
    }
    std::int64_t at = static_cast<std::int64_t>(kSignature.size());
    while (readAt(fd, head, sizeof head, at)) {
        const std::int64_t length = be32(head);
        const std::string name(head + 4, 4);
        // Drivers check the others.
        if ((isAncillary(name) || name == "IEND") && !isIntact(fd, at + 4, 4 + length)) {
            damage = {"the checksum of " + name + " is wrong", at};
            return errno;
        }
        at += kFrame + length;
        if (name == "IEND") {
            const std::int64_t size = sizeOf(fd);
            damage = size > at ? std::optional(PngDamage{"", at}) : std::nullopt;
            return size < 0 ? errno : 0;
        }
    }
    damage = {"the chunk IEND is missing", at};
    return errno;
}

int insertPngChunks(int fd, std::span<const PngChunk> chunks) {
    std::string bytes;
    for (const PngChunk& chunk : chunks) {
        const std::string nameAndData = chunk.name + chunk.data;
        appendBe32(bytes, static_cast<std::uint32_t>(chunk.data.size()));
        bytes += nameAndData;
        appendBe32(bytes, crcOf(nameAndData));
    }
    const std::int64_t size = sizeOf(fd);
    const bool done = size >= 0 && makeRoom(fd, size, std::ssize(bytes)) &&
                      writeAt(fd, bytes.data(), bytes.size(), kHeaderEnd);
    return done ? 0 : errno != 0 ? errno : EIO;
}
