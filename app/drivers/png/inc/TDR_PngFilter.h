// SPDX-License-Identifier: MIT
// The driver for PNG pictures.
//
// It serves one file at a time, always as RGBA of 8 bits in the pixel order of the other drivers:
// alpha, blue, green, red. The host counts lines from the bottom of the picture; row i of a whole
// picture's block is host line i.
//
// A line outside the picture, a block that is too small for what is asked, a get request on a file
// that is being written and a put request on one that is being read are answered with an error. So
// is what the system could not read or write, with one line on stderr that says why; a file that is
// damaged is served with zeros instead.
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

    /// It can: nothing that it needs may be missing.
    int devicePredicate() override { return 1; }
    /// There is one format, 0; any other is refused.
    int setPixelFormat(int format) override;
    /// Nothing changes while a file is open, unless width and height stay.
    int setBounds(long x, long y, long width, long height) override;
    int getCache(char* block, int size, long cell) override;
    int putCache(char* block, int size, long cell) override;
    int getLine(char* block, int size, long cell, long y) override;
    int putLine(char* block, int size, long cell, long y) override;
    /// Opens a PNG for reading (mode 0), which sets the bounds, or creates one of the current
    /// bounds. A file that is still open is closed first; if that fails, so does this. A file that
    /// is not a PNG is refused without a message.
    int connectToFile(char* name, int mode) override;
    /// Returns 1 when a file was written, whole with lines never sent transparent black; 0 when
    /// none was; -1 when the file written is not whole.
    int disconnectFromFile() override;

  private:
    [[nodiscard]] bool isOpen() const { return reading_ || writing_; }
    [[nodiscard]] std::size_t lineBytes() const;
    [[nodiscard]] bool mayTransfer(const void* file, std::size_t bytes) const;
    [[nodiscard]] bool isLine(long y) const { return y >= 0 && y < bounds[3]; }
    bool closePreviousFile();
    bool openForReading(const char* name);
    bool createFile(const char* name);
    void refuse(const char* name, const char* reason) const;
    bool getRow(long y, char* line);
    bool putRow(long y, const char* line);
    void noteDamage();
    void noteReadFailure();
    void noteWriteFailure();

    std::unique_ptr<png_filter::PngPicture> reading_; ///< at most one of the two is set
    std::unique_ptr<png_filter::PngWriter> writing_;
    char openName_[base::kPathCapacity] = ""; ///< path of the open file, for messages
    bool damageSaid_ = false;                 ///< that the file being read is damaged has been said
    bool failureSaid_ = false;                ///< why it could not be read or written has been said
};
