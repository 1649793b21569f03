// SPDX-License-Identifier: MIT
// The driver for PNG pictures.
//
// It serves one file at a time, always as RGBA of 8 bits in the pixel order of the other drivers:
// alpha, blue, green, red. The host counts lines from the bottom of the picture; row i of a whole
// picture's block is host line i.
//
// These requests get an error: a line outside the picture, a block that is too small, a get on a
// file that is being written, a put on a file that is being read, and a line that the system could
// not read or write, with one line on stderr that says why. Missing pixels of a damaged file are
// zero.
#pragma once

#include "TDR_Driver.h"

#include <cstddef>
#include <memory>

namespace png_filter {
class PngPicture;
class PngWriter;
} // namespace png_filter

class TDR_PngFilter : public TDR_Driver {
  public:
    explicit TDR_PngFilter(int port);
    ~TDR_PngFilter() override;

    /// Always yes: the driver needs nothing that may be missing.
    int devicePredicate() override { return 1; }
    /// There is one format, 0; any other is refused.
    int setPixelFormat(int format) override;
    int getCache(char* block, int size, long cell) override;
    int putCache(char* block, int size, long cell) override;
    int getLine(char* block, int size, long cell, long y) override;
    int putLine(char* block, int size, long cell, long y) override;
    /// Opens a PNG for reading (mode 0), which sets the bounds, or creates one with the current
    /// bounds. A file that is still open is closed first; if that fails, so does this. A file that
    /// is not a PNG is refused without a message.
    int connectToFile(char* name, int mode) override;
    /// Returns 1 when a file was written, with transparent black for lines that were never sent; 0
    /// when none was; -1 when the written file is not complete.
    int disconnectFromFile() override;
    [[nodiscard]] std::optional<std::size_t> declaredLineBytes(Transfer transfer) const override;
    [[nodiscard]] bool isOpenFor(Transfer transfer) const override;

  private:
    [[nodiscard]] std::size_t lineBytes() const;
    bool openForReading(const char* name);
    bool createFile(const char* name);
    void refuse(const char* action, const char* name, const char* reason) const;
    bool getRow(long y, char* line);
    bool putRow(long y, const char* line);
    void noteDamage();
    void noteReadFailure();
    void noteWriteFailure();

    std::unique_ptr<png_filter::PngPicture> reading_; ///< at most one of the two is set
    std::unique_ptr<png_filter::PngWriter> writing_;
    char openName_[base::kPathCapacity] = ""; ///< path of the open file, for messages
    bool damageSaid_ = false;  ///< the damage of the file being read has been reported
    bool failureSaid_ = false; ///< a failed read or write has been reported
};
