// SPDX-License-Identifier: MIT
// A driver without a file format: it returns a computed ramp of the size that the host has set and
// discards everything that is written. A complete example of a driver, and a peer for tests and
// benchmarks that takes no time itself.
#include "TDR_Driver.h"
#include "base/diagnostics.h"
#include "base/hostPixel.h"

#include <cstdint>

namespace {

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
        accessModes = kFileAccessModes;
        writeDirection = kFileWriteDirection;
        formatCount = 1;
        formats = &kRgbaFormat;
    }

    int devicePredicate() override { return 1; }

    // The size comes only from the host. Without one the connect is refused, so that a host that
    // tries drivers on its file does not select this one; for reading without a line, because the
    // file may be another driver's, unless there is none.
    int connectToFile(char* name, int mode) override {
        connected_ = base::isPictureSide(bounds[2]) && base::isPictureSide(bounds[3]);
        if (!connected_ && mode != ipc::kConnectForReading) {
            base::say("%s: '%s': set a width and height of 1 to %d first.\n", me, name,
                      base::kMaxPictureSide);
        } else if (!connected_) {
            mayOpen(name, mode);
        }
        return connected_ ? 0 : -1;
    }

    int disconnectFromFile() override {
        connected_ = false;
        return 0;
    }

    // With these two the framework refuses lines outside the picture, blocks that are too small and
    // another size of an open picture, and transfers whole pictures by their lines. Put requests
    // need no operation: the base class reports success.
    std::optional<std::size_t> declaredLineBytes(Transfer) const override {
        return static_cast<std::size_t>(bounds[2]) * base::kHostPixelBytes;
    }
    bool isOpenFor(Transfer) const override { return connected_; }

    // Red rises along the line, green with the lines, blue with both; alpha is opaque.
    int getLine(char* block, int, long, long line) override {
        auto* pixel = reinterpret_cast<std::uint8_t*>(block);
        for (long x = 0; x < bounds[2]; ++x, pixel += base::kHostPixelBytes) {
            pixel[0] = 255;
            pixel[1] = static_cast<std::uint8_t>(x + line);
            pixel[2] = static_cast<std::uint8_t>(line);
            pixel[3] = static_cast<std::uint8_t>(x);
        }
        return 0;
    }

  private:
    bool connected_ = false;
};

} // namespace

TDR_Driver* createDriver(int port) {
    return std::make_unique<TDR_NullFilter>(port).release();
}
