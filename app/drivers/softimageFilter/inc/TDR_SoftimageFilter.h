// SPDX-License-Identifier: MIT
// The driver for Softimage PIC pictures and TAG mattes.
//
// It serves one file at a time. A PIC picture is always RGBA for the host, whatever its channels; a
// TAG matte is packed bits. The host counts lines from the bottom of the picture, and the files
// store the top line first: here a host line is `y` and a line in file order is `k`.
//
// Reading finds any line through a table of file positions that is filled as lines are read.
// Writing only appends: a line that is not the next one is kept until the file is closed. Memory
// holds one line of each channel, the table of positions, the lines kept back and, for a matte
// being written, one value a row.
//
// These requests get an error, which the protocol does not require: a line outside the picture, a
// block that is too small, a get on a file that is being written, a put on a file that is being
// read, and a line that the system could not read or write, with one line on stderr that says why.
// Missing pixels of a cut or damaged file are zero.
#pragma once

#include "TDR_Driver.h"

#include "base/limits.h"
#include "base/uniqueFile.h"
#include "knownLines.h"
#include "tinyPicture.h"
#include "tinyTag.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

class TDR_SoftimageFilter : public TDR_Driver {
  public:
    explicit TDR_SoftimageFilter(int port);
    ~TDR_SoftimageFilter() override;

    /// Answers index 1, the matte format, itself: one channel entry per channel of the matte.
    int sendIthFormat(int index) override;
    /// Every value except 1 (matte) means 0 (RGBA). Fails while a file is open.
    int setPixelFormat(int format) override;
    /// Width and height cannot change while a file is open.
    int setBounds(long x, long y, long width, long height) override;
    int getCache(char* block, int size, long cell) override;
    int putCache(char* block, int size, long cell) override;
    int getLine(char* block, int size, long cell, long y) override;
    int putLine(char* block, int size, long cell, long y) override;
    /// Opens a PIC or else a TAG for reading (mode 0), or creates one with the current format and
    /// bounds. A file that is still open is closed first; if that fails, so does this.
    int connectToFile(char* name, int mode) override;
    /// Writes the lines kept back and closes the file. Returns 1 when one was open, 0 when none
    /// was, -1 when the written file is not complete.
    int disconnectFromFile() override;
    [[nodiscard]] std::optional<std::size_t> declaredLineBytes(Transfer transfer) const override;
    [[nodiscard]] bool isOpenFor(Transfer transfer) const override;

  protected:
    /// Sets the identity and releases the file with its state; 0.
    int initialize();
    /// Releases the file and all that belongs to it.
    void cleanup();

    [[nodiscard]] bool isOpen() const { return picture != nullptr || tag != nullptr; }
    [[nodiscard]] long width() const { return bounds[2]; }
    [[nodiscard]] long height() const { return bounds[3]; }

    int createFileHeader(char* name);
    int connectToFileHeader(char* name);
    void setupChannelPackets(int format);

    /// Allocates a zeroed line for each channel that the packets name; false when out of memory.
    bool createTempBuffers();
    // `next`, unless null, is the host line that is moved after this one: its memory is fetched
    // meanwhile.
    void copyToTempBuffers(int format, unsigned char* hostLine,
                           const unsigned char* next = nullptr);
    void copyFromTempBuffers(int format, unsigned char* hostLine,
                             const unsigned char* next = nullptr);

    /// Appends line `k`. A null host line writes a picture's channel lines, or a matte's row,
    /// unchanged. False when this or an earlier write to the file failed.
    bool writeLine(long k, unsigned char* hostLine, const unsigned char* next = nullptr);
    /// Reads line `k`; with a null host line it only finds the beginning of the next one. Missing
    /// pixels are zero. False when it could not be read; the line may be requested again.
    bool readLine(long k, unsigned char* hostLine, const unsigned char* next = nullptr);
    /// Finds the beginning of every line. False when a line could not be read.
    bool fill_offset_table();

    // Pieces in which a picture is written: line by line with little memory, or at once.
    static constexpr std::size_t kLinePiece = std::size_t{256} << 10;
    static constexpr std::size_t kWholePiece = std::size_t{1} << 20;
    base::UniqueFile file;                                         ///< the open file
    std::unique_ptr<Picture, PictureDisposer> picture;             ///< header, while a PIC is open
    std::unique_ptr<ChannelPacket, ChannelPacketDisposer> packets; ///< the PIC's chain
    /// One line of each channel of the file: alpha, blue, green, red.
    std::array<std::unique_ptr<std::uint8_t[]>, kPictureChannels> channelBuffers;
    std::unique_ptr<Tag, TagDisposer> tag; ///< header and rows, while a TAG is open
    std::int16_t tagChannelCount = 1;      ///< matte channels of the last TAG
    /// Position of each line in the file; 0 = not known. 64 bits, because the largest picture is
    /// longer than four gigabytes.
    std::unique_ptr<std::uint64_t[]> lineOffsets;
    /// Host lines kept until the file is closed, by file order.
    std::unique_ptr<std::unique_ptr<std::uint8_t[]>[]> lineCache;
    /// While a TAG is written, the value of all pixels of each row, from the top. The rows
    /// themselves exist only while they are written, because those of a large matte do not fit in
    /// memory.
    std::unique_ptr<bool[]> matteRows;
    std::int32_t lastWrittenLine = -1; ///< file order; -1 = none

  private:
    bool closePreviousFile();
    bool startWriting();
    bool startReading();
    bool checkBounds(const char* name);
    int createPicture(char* name);
    int createTag(char* name);
    bool readPictureHeader(char* name);
    bool readTagHeader(char* name);
    int takeChannelsOfPackets(const char* name);
    int startTransfer(const char* name, int mode);
    /// Reports that the `action` on the file failed with a system error, and releases everything
    /// allocated for it; -1.
    int refuse(const char* action, const char* name, int systemError);

    [[nodiscard]] std::size_t hostLineBytes() const;
    [[nodiscard]] std::size_t packedLineBytes() const;
    bool keepLine(long k, const unsigned char* hostLine);
    void flushKeptLines();
    /// False when a write to the file failed, now or earlier.
    bool flushWriter();
    bool closeFile();

    /// The current position in the file. Never 0 while it is written, because 0 means "not known".
    [[nodiscard]] std::uint64_t position() const;
    [[nodiscard]] bool seekTo(std::uint64_t offset);
    [[nodiscard]] std::array<std::uint8_t*, kPictureChannels> channelLines() const;
    void pointAtChannels(bool attach);
    bool readPictureScanline();
    bool readTagScanline(long k);
    /// Whether nothing is left in the file for the rows of a block from 1 to `row`.
    [[nodiscard]] bool nothingFollows(long row) const;
    /// Remembers where the lines begin, after a fresh connection has read them all as rows.
    void rememberLines();
    void writeTagLine(long k, const unsigned char* hostLine);
    bool fillTagRow(int k);
    void packTagRow(long k, unsigned char* hostLine);
    void noteDamage();
    bool noteReadFailure(int systemError);
    void noteWriteFailure(int systemError);

    std::unique_ptr<PictureReader, PictureReaderDisposer> reader; ///< of a PIC being read
    std::unique_ptr<PictureWriter, PictureWriterDisposer> writer; ///< of a PIC being written
    char openName[base::kPathCapacity] = "";    ///< path of the open file, for messages
    bool writing = false;                       ///< the open file is being written
    std::optional<softimage::FileState> opened; ///< the PIC being read, at its beginning
    softimage::KnownLines known;                ///< of an earlier connection
    bool damageReported = false;                ///< damage of the file being read has been reported
    int readError = 0; ///< errno of the last failed read, which has been reported
    /// The position at which the last scanline was missing, so that the channels' lines hold zeros;
    /// 0 if it was found.
    std::uint64_t emptyFrom = 0;
    bool broken = false; ///< a write to the open file failed and has been reported
};
