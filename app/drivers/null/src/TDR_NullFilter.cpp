// SPDX-License-Identifier: MIT
// A driver without a file format: it returns a computed ramp of the size that the host has set and
// discards everything that is written. A complete example of a driver, and a peer for tests and
// benchmarks that takes no time itself.
#include "TDR_Driver.h"
#include "base/checkedMath.h"
#include "base/diagnostics.h"

#include <cstdint>

namespace {

// One pixel format: red, green, blue and alpha, 8 bits each. A host pixel is four bytes in the
// order alpha, blue, green, red.
constexpr TDR_PixelFormat kRgba = {4, 8, 8, {0x40, 0x20, 0x10, 0x08}};
constexpr int kBytesPerPixel = 4;

class TDR_NullFilter : public TDR_Driver {
  public:
    explicit TDR_NullFilter(int port) : TDR_Driver(port) {
        me = "Null Filter";
        vendorName = "Tarvo Works";
        formatName = "NULL";
        namingPrefix = "test.";
        namingExtension = ".null";
        namingFlag = 1;
        namingTemplate = "%s.%d.null";
        accessModes = 0x4033;
        writeDirection = 8;
        formatCount = 1;
        formats = &kRgba;
    }

    int devicePredicate() override { return 1; }

    // The size comes only from the host. Without one the connect is refused, so that a host that
    // tries drivers on its file does not select this one.
    int connectToFile(char* name, int) override {
        connected_ = base::isPictureSide(bounds[2]) && base::isPictureSide(bounds[3]);
        if (!connected_) {
            base::say("%s: '%s': set a width and height of 1 to %d first.\n", me, name,
                      base::kMaxPictureSide);
            return -1;
        }
        return 0;
    }

    int disconnectFromFile() override {
        connected_ = false;
        return 0;
    }

    int setBounds(long x, long y, long width, long height) override {
        const bool resized = width != bounds[2] || height != bounds[3];
        return connected_ && resized ? -1 : TDR_Driver::setBounds(x, y, width, height);
    }

    int getLine(char* block, int, long, long line) override {
        if (!servesLine(line)) {
            return -1;
        }
        fillLine(reinterpret_cast<std::uint8_t*>(block), line);
        return 0;
    }

    int getCache(char* block, int, long) override {
        if (!servesPicture()) {
            return -1;
        }
        auto* bytes = reinterpret_cast<std::uint8_t*>(block);
        for (long line = 0; line < bounds[3]; ++line, bytes += lineBytes()) {
            fillLine(bytes, line);
        }
        return 0;
    }

    int putLine(char*, int, long, long line) override { return servesLine(line) ? 0 : -1; }
    int putCache(char*, int, long) override { return servesPicture() ? 0 : -1; }

  private:
    [[nodiscard]] std::size_t lineBytes() const {
        return static_cast<std::size_t>(bounds[2]) * kBytesPerPixel;
    }
    [[nodiscard]] bool servesLine(long line) const {
        return connected_ && line >= 0 && line < bounds[3] && blockBytes >= lineBytes();
    }
    [[nodiscard]] bool servesPicture() const {
        const auto need = base::checkedProduct(lineBytes(), bounds[3]);
        return connected_ && need && blockBytes >= *need;
    }

    // Red rises along the line, green with the lines, blue with both; alpha is opaque.
    void fillLine(std::uint8_t* pixel, long line) const {
        for (long x = 0; x < bounds[2]; ++x, pixel += kBytesPerPixel) {
            pixel[0] = 255;
            pixel[1] = static_cast<std::uint8_t>(x + line);
            pixel[2] = static_cast<std::uint8_t>(line);
            pixel[3] = static_cast<std::uint8_t>(x);
        }
    }

    bool connected_ = false;
};

} // namespace

TDR_Driver* createDriver(int port) {
    return std::make_unique<TDR_NullFilter>(port).release();
}
