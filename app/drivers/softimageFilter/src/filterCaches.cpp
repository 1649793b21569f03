// SPDX-License-Identifier: MIT
// Whole pictures between the host's blocks and the file.
#include "TDR_SoftimageFilter.h"
#include "base/hugePages.h"

#include <algorithm>
#include <new>
#include <utility>

using namespace softimage;

namespace {

/// The line of `row` in a block. The lines of a block are moved from the last one to the first,
/// and hardware prefetching works only within a line.
struct BlockLine {
    unsigned char* line;
    const unsigned char* next; ///< the line that is moved after it; null for the last one

    BlockLine(char* block, std::size_t lineBytes, long row)
        : line(reinterpret_cast<unsigned char*>(block) + static_cast<std::size_t>(row) * lineBytes),
          next(row > 0 ? line - lineBytes : nullptr) {}
};

} // namespace

int TDR_SoftimageFilter::getCache(char* block, int, long) {
    if (!isOpenFor(Transfer::GetCache)) {
        return -1;
    }
    const std::size_t lineBytes = packedLineBytes();
    base::PopulateBackwards pages(block, lineBytes * static_cast<std::size_t>(height()));
    const bool first = std::all_of(lineOffsets.get() + 1, lineOffsets.get() + height(),
                                   [](std::uint64_t offset) { return offset == 0; });
    // Kept: A whole picture is read by its rows, not by file order.
    // A reader would expect row 0, the bottom line, to get the last scanline. The row's number is
    // used as the scanline's: the last call, for row 0, finds the position of the first scanline
    // and reads the top line again, and the positions recorded on the way belong to rows, which
    // affects later line requests. A second connection reads row 0 correctly.
    for (long row = height() - 1; row >= 0; --row) {
        const BlockLine at(block, lineBytes, row);
        if (nothingFollows(row)) { // rows past the end of the file take no time
            base::clear(block + lineBytes, static_cast<std::size_t>(row) * lineBytes);
            std::fill_n(lineOffsets.get() + 1, row, emptyFrom);
            return readLine(0, reinterpret_cast<unsigned char*>(block)) ? 0 : -1;
        }
        if (picture) {
            pages.reach(reinterpret_cast<char*>(at.line));
        }
        if (!readLine(row, at.line, at.next)) {
            return -1;
        }
    }
    if (picture && first) {
        rememberLines();
    }
    return 0;
}

void TDR_SoftimageFilter::rememberLines() {
    const auto rows = static_cast<std::size_t>(height());
    std::unique_ptr<std::uint64_t[]> positions(new (std::nothrow) std::uint64_t[rows]);
    if (!positions || !opened || damageReported || settledState(file.get()) != opened) {
        return;
    }
    // Each row has recorded the beginning of its scanline, and of the next one for the row above
    // it; the last row then those of the first two scanlines.
    std::copy_n(lineOffsets.get(), rows, positions.get());
    if (rows > 2) {
        std::reverse(positions.get() + 2, positions.get() + rows);
    }
    known.remember(*opened, std::move(positions), rows);
}

int TDR_SoftimageFilter::putCache(char* block, int, long) {
    if (!isOpenFor(Transfer::PutCache)) {
        return -1;
    }
    const std::size_t lineBytes = packedLineBytes();
    base::populate(block, lineBytes * static_cast<std::size_t>(height()));
    if (writer) {
        pictureWriterCollect(writer.get(), kWholePiece);
    }
    // Kept: A whole picture is written by its rows and ends on line 0.
    // A reader would expect the last line to be the last one written. The file is right, because
    // writing only appends, but the rows' numbers are used as file order: afterwards line 0 counts
    // as the last one written.
    bool whole = true;
    for (long row = height() - 1; row >= 0; --row) {
        const BlockLine at(block, lineBytes, row);
        whole = writeLine(row, at.line, at.next) && whole;
    }
    return whole && flushWriter() ? 0 : -1;
}
