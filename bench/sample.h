// SPDX-License-Identifier: MIT
// A picture of the benchmarks with what every coder makes of it, and the coders of other libraries.
#pragma once

#include "pictures.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <unistd.h>
#include <utility>
#include <vector>

namespace bench {

using Planes = std::array<std::vector<std::uint8_t>, 4>;
using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// A file that is removed with the object. It is read from the page cache.
class ScratchFile {
  public:
    ScratchFile() : file_(std::tmpfile(), std::fclose) {
        if (!file_) {
            throw std::runtime_error("no temporary file");
        }
    }

    /// A new descriptor for the caller, at the file's beginning.
    [[nodiscard]] int descriptor() const {
        const int fd = dup(fileno(file_.get()));
        lseek(fd, 0, SEEK_SET);
        return fd;
    }
    [[nodiscard]] Stream open(const char* mode) const {
        return {fdopen(descriptor(), mode), std::fclose};
    }

  private:
    Stream file_;
};

/// The input of every contender. Decoding goes to the channel planes of one line, reused for every
/// line, as a driver does it; copying goes to planes of the whole picture that are already mapped.
struct Sample {
    BenchPicture picture;
    Planes out;
    std::vector<std::uint8_t> pixels; ///< interleaved
    ScratchFile pic, copy, tiff;
    std::vector<std::uint8_t> strips, qoi;

    explicit Sample(BenchPicture p) : picture(std::move(p)), pixels(picture.interleaved()) {
        for (auto& plane : out) {
            plane.assign(picture.planeBytes(), 1);
        }
    }
    [[nodiscard]] auto width() const { return static_cast<std::uint32_t>(picture.width); }
    [[nodiscard]] auto height() const { return static_cast<std::uint32_t>(picture.height); }
};

// libtiff, PackBits in planes: one strip a plane in a file, which libtiff maps; and strips of 32
// lines in memory.
void encodeTiff(Sample& sample);
void decodeTiff(Sample& sample);
void encodeTiffStrips(Sample& sample);
void decodeTiffStrips(Sample& sample);

// QOI, from and to memory.
void encodeQoi(Sample& sample);
void decodeQoi(Sample& sample);

} // namespace bench
