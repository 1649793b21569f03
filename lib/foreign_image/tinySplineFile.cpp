// SPDX-License-Identifier: MIT
// Spline files: which flavour a file is, and the headers before the body.
#include "base/uniqueFile.h"
#include "tinyFile.h"
#include "tinyFileBinary.h"
#include "tinySoftType.h"
#include "tinySplineInner.h"
#include "tinyUtilsText.h"

namespace {

using PrototypePointer = std::unique_ptr<Prototype, PrototypeDisposer>;

constexpr std::uint32_t kSplineWord = typeWord("SPLN");
constexpr std::uint32_t kPrototypeWord = typeWord("PROT");

/// Opens `baseName` + ".spl"; null when that fails.
base::UniqueFile openSpline(const char* baseName, char mode) {
    char* name = nullptr;
    if (baseName == nullptr || asprintf(&name, "%s.spl", baseName) < 0) {
        return nullptr;
    }
    const MallocString owned(name);
    return base::openFile(name, mode);
}

int writeText(std::FILE* stream, const Spline& spline) {
    headerWriteAscii(stream, "SPLN");
    return splineWriteAscii(stream, &spline, "");
}

int writeBinary(std::FILE* stream, const Spline& spline) {
    Prototype* made = nullptr;
    if (prototypeInitSpline(&made, 1) == 0) {
        return 0;
    }
    const PrototypePointer prototype(made);
    headerWriteBinary(stream, nullptr);
    prototypeWrite(stream, prototype.get());
    text::put(stream, "SPLN");
    return splineWriteBinary(stream, &spline, prototype.get());
}

/// By flavour.
constexpr int (*kWriters[])(std::FILE*, const Spline&) = {writeText, writeBinary};

Spline* readText(std::FILE* stream) {
    constexpr std::int64_t kLineAfterHeader = 2;
    float version = 0.0F;
    if (headerReadAscii(stream, &version) != kSplineWord) {
        return nullptr;
    }
    animSetLineNumber(kLineAfterHeader);
    text::WordReader words(stream);
    return words.next() && words.word() == "spline" ? splineReadAscii(stream, nullptr, nullptr)
                                                    : nullptr;
}

Spline* readBinary(std::FILE* stream) {
    std::uint32_t word = headerReadBinary(stream, nullptr, nullptr);
    PrototypePointer prototype;
    if (word == kPrototypeWord) {
        prototype.reset(prototypeRead(stream));
        word = 0;
        binary::read(stream, word);
    }
    // "BEZR", an older layout, is not read.
    return word == kSplineWord ? splineReadBinary(stream, prototype.get()) : nullptr;
}

/// By the first four bytes.
constexpr struct {
    std::uint32_t word;
    Spline* (*read)(std::FILE*);
} kReaders[] = {{kSplineWord, readText}, {kFileMagic, readBinary}};

} // namespace

int splineWriteFile(const char* baseName, const Spline* spline, int flavour) {
    if (spline == nullptr || flavour < 0 ||
        static_cast<std::size_t>(flavour) >= std::size(kWriters)) {
        return 0;
    }
    base::UniqueFile file = openSpline(baseName, 'w');
    if (file == nullptr) {
        return 0;
    }
    const bool written = kWriters[flavour](file.get(), *spline) != 0 &&
                         std::fflush(file.get()) == 0 && std::ferror(file.get()) == 0;
    return std::fclose(file.release()) == 0 && written ? 1 : 0;
}

Spline* splineReadFile(const char* baseName) {
    const base::UniqueFile file = openSpline(baseName, 'r');
    std::uint32_t word = 0;
    if (file == nullptr || !binary::read(file.get(), word)) {
        return nullptr;
    }
    std::rewind(file.get());
    for (const auto& reader : kReaders) {
        if (reader.word == word) {
            return reader.read(file.get());
        }
    }
    return nullptr;
}
