// SPDX-License-Identifier: MIT
// Spline files: their flavours, and the headers before the body.
#include "file/tinyFileBinary.h"
#include "file/tinyNotice.h"
#include "text/tinyTextFile.h"
#include "text/tinyUtilsText.h"
#include "tinyFile.h"
#include "tinySoftType.h"
#include "tinySplineInner.h"

namespace {

constexpr std::uint32_t kSplineWord = typeWord("SPLN");
constexpr std::uint32_t kPrototypeWord = typeWord("PROT");

int writeText(std::FILE* stream, const Spline& spline) {
    headerWriteAscii(stream, "SPLN");
    return splineWriteAscii(stream, &spline, "");
}

int writeBinary(std::FILE* stream, const Spline& spline) {
    Prototype* made = nullptr;
    if (prototypeInitSpline(&made, 1) == 0) {
        return 0;
    }
    const UniquePrototype prototype(made);
    headerWriteBinary(stream, nullptr);
    prototypeWrite(stream, prototype.get());
    text::put(stream, "SPLN");
    return splineWriteBinary(stream, &spline, prototype.get());
}

/// By flavour.
constexpr int (*kWriters[])(std::FILE*, const Spline&) = {writeText, writeBinary};

Spline* readText(std::FILE* stream) {
    text::Reader& in = text::Reader::on(stream, text::kFileStyle);
    if (!text::readHeader(stream, kSplineWord) || !in.next()) {
        return nullptr;
    }
    if (in.word() != "spline") {
        notice::Call::fail("no \"spline\" after its header");
        return nullptr;
    }
    UniqueSpline spline(splineReadAscii(stream, nullptr, nullptr));
    return spline != nullptr && text::reportSurplus(in) ? spline.release() : nullptr;
}

Spline* readBinary(std::FILE* stream) {
    text::Reader::setWordLine(0); // no failure is on a line
    std::uint32_t word = binary::readHeader(stream);
    UniquePrototype prototype;
    if (word == kPrototypeWord) {
        prototype.reset(prototypeRead(stream));
        word = 0;
        binary::read(stream, word);
    }
    if (word == typeWord("BEZR")) {
        notice::Call::fail("the older layout BEZR is not read");
    }
    UniqueSpline spline(word == kSplineWord && !notice::Call::failed()
                            ? splineReadBinary(stream, prototype.get())
                            : nullptr);
    return spline != nullptr && binary::reportSurplus(stream) ? spline.release() : nullptr;
}

/// By the first four bytes.
constexpr struct {
    std::uint32_t word;
    Spline* (*read)(std::FILE*);
} kReaders[] = {{kSplineWord, readText}, {kFileMagic, readBinary}};

} // namespace

int splineWriteFile(const char* baseName, const Spline* spline, int flavour) {
    if (baseName == nullptr || spline == nullptr || flavour < 0 ||
        static_cast<std::size_t>(flavour) >= std::size(kWriters)) {
        return 0;
    }
    return fileWrite(baseName, ".spl",
                     [&](std::FILE* stream) { return kWriters[flavour](stream, *spline); });
}

Spline* splineReadFile(const char* baseName) {
    return fileRead(baseName, ".spl", [](std::FILE* stream) -> Spline* {
        std::uint32_t word = 0;
        const bool whole = binary::read(stream, word);
        if (!notice::Call::good(stream)) {
            return nullptr;
        }
        std::rewind(stream);
        for (const auto& reader : kReaders) {
            if (whole && reader.word == word) {
                return reader.read(stream);
            }
        }
        notice::Call::fail("not a spline file");
        return nullptr;
    });
}
