// SPDX-License-Identifier: MIT
// Shared by the tests of files: bytes in, bytes out, and systematic damage.
#pragma once

#include "base/uniqueFile.h"
#include "support/effort.h"
#include "support/pictureFiles.h"
#include "support/tempDir.h"

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <vector>

namespace testbytes {

using namespace std::string_literals;
using support::be16;
using support::contentOf;

inline std::string be32(std::uint32_t value) {
    return be16(static_cast<int>(value >> 16)) + be16(static_cast<int>(value & 0xFFFF));
}

/// The numbers as big-endian 16-bit words.
inline std::string words(const std::vector<int>& numbers) {
    std::string bytes;
    for (const int number : numbers) {
        bytes += be16(number);
    }
    return bytes;
}

/// The header of 88 bytes that every binary file of the toolkit begins with, by hand.
inline const std::string kBinaryHeader =
    be32(0x5380F634) + be32(0x40266666) + "No comment..." + std::string(67, '\0');

/// A stream over these bytes, at its beginning.
inline base::UniqueFile streamOf(std::string_view bytes) {
    base::UniqueFile stream(fdopen(memfd_create("test", MFD_CLOEXEC), "w+"));
    std::fwrite(bytes.data(), 1, bytes.size(), stream.get());
    std::rewind(stream.get());
    return stream;
}

/// The unread rest of a stream.
inline std::string restOf(std::FILE* stream) {
    std::string rest;
    for (int c = std::getc(stream); c != EOF; c = std::getc(stream)) {
        rest += static_cast<char>(c);
    }
    return rest;
}

/// The whole content of a stream's file.
inline std::string contentOf(std::FILE* stream) {
    std::rewind(stream);
    return restOf(stream);
}

/// Calls `write` with a stream and returns the written bytes.
inline std::string written(const std::function<void(std::FILE*)>& write) {
    const base::UniqueFile stream = streamOf("");
    write(stream.get());
    return contentOf(stream.get());
}

using support::kStep;
using support::kWholeSeries;

/// Calls `check` with the bytes cut to every size (of kStep) from `from` to one less than complete.
inline void forEachTruncation(const std::string& whole, std::size_t from,
                              const std::function<void(const std::string&)>& check) {
    for (std::size_t size = from; size < whole.size(); size += kStep) {
        check(whole.substr(0, size));
    }
}

/// Calls `check` with the bytes with every single bit (of kStep) from byte `from` on flipped, and
/// the byte that it is in.
inline void forEachBitFlip(const std::string& whole, std::size_t from,
                           const std::function<void(const std::string&, std::size_t)>& check) {
    for (std::size_t bit = 8 * from; bit < 8 * whole.size(); bit += kStep) {
        std::string flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        check(flipped, bit / 8);
    }
}

/// `count` times the text.
inline std::string repeated(std::size_t count, std::string_view text) {
    std::string all;
    for (; count > 0; --count) {
        all += text;
    }
    return all;
}

} // namespace testbytes
