// SPDX-License-Identifier: MIT
// Defaults for operations that a driver does not override.
#include "TDR_Driver.h"
#include "base/diagnostics.h"

#include <algorithm>

namespace {

/// Calls `transfer` for the place in `block` of each line and its number, from the top line down,
/// the order of most files. -1 as soon as one fails.
template <class OneLine>
int forEachLine(char* block, std::size_t lineBytes, long lines, OneLine transfer) {
    for (long line = lines; line-- > 0;) {
        if (transfer(block + static_cast<std::size_t>(line) * lineBytes, line) == -1) {
            return -1;
        }
    }
    return 0;
}

} // namespace

int TDR_Driver::setPixelFormat(int index) {
    currentFormat = index;
    return 0;
}

int TDR_Driver::setBounds(long x, long y, long width, long height) {
    if ((width != bounds[2] || height != bounds[3]) && saysFileIsOpen()) {
        base::say("%s: Unable to change bounds of existing file.\n", me);
        return -1;
    }
    const long values[] = {x, y, width, height};
    std::ranges::transform(values, bounds, [](long v) { return static_cast<std::int32_t>(v); });
    return 0;
}

int TDR_Driver::setTiling(long width, long height) {
    tiling[0] = static_cast<std::int32_t>(width);
    tiling[1] = static_cast<std::int32_t>(height);
    return 0;
}

int TDR_Driver::setStampBounds([[maybe_unused]] long width, long height) {
    // Kept: The stamp's height is stored as its width.
    // A reader would expect both values to be stored in order. The first is ignored, and the second
    // is stored in the first slot.
    stampBounds[0] = static_cast<std::int32_t>(height);
    return 0;
}

int TDR_Driver::setCurrentCell(long cell) {
    if (cell != currentCell) {
        currentCell = static_cast<std::int32_t>(cell);
        cellChanged = 1;
    }
    return 0;
}

int TDR_Driver::setStartCell(long cell) {
    startCell = static_cast<std::int32_t>(cell);
    return 0;
}

int TDR_Driver::setEndCell(long cell) {
    endCell = static_cast<std::int32_t>(cell);
    return 0;
}

int TDR_Driver::setPreReadCommand(const char* command) {
    return set_pre_read_cmd(command);
}

int TDR_Driver::setPostWriteCommand(const char* command) {
    return set_post_write_cmd(command);
}

/// The lines of a whole picture have to be declared, as for single lines: the block was checked for
/// them. Otherwise nothing is done, which is no success for a driver that has a file open.
int TDR_Driver::getCache(char* block, int, long cell) {
    const auto size = declaredLineBytes(Transfer::GetCache);
    if (!size || size != declaredLineBytes(Transfer::GetLine)) {
        return saysFileIsOpen() ? -1 : 0;
    }
    return forEachLine(block, *size, bounds[3], [&](char* at, long line) {
        return getLine(at, static_cast<int>(*size), cell, line);
    });
}
int TDR_Driver::putCache(char* block, int, long cell) {
    const auto size = declaredLineBytes(Transfer::PutCache);
    if (!size || size != declaredLineBytes(Transfer::PutLine)) {
        return saysFileIsOpen() ? -1 : 0;
    }
    return forEachLine(block, *size, bounds[3], [&](char* at, long line) {
        return putLine(at, static_cast<int>(*size), cell, line);
    });
}
int TDR_Driver::getLine(char*, int, long, long) {
    return 0;
}
int TDR_Driver::putLine(char*, int, long, long) {
    return 0;
}
int TDR_Driver::getStamp(char*, int, long) {
    return -1;
}
int TDR_Driver::putStamp(char*, int, long) {
    return -1;
}
int TDR_Driver::getTile() {
    return -1;
}
int TDR_Driver::putTile() {
    return -1;
}
int TDR_Driver::connectToFile(char*, int) {
    return 0;
}
int TDR_Driver::disconnectFromFile() {
    return 0;
}
int TDR_Driver::otherClass4Response() {
    return -1;
}
std::optional<std::size_t> TDR_Driver::declaredLineBytes(Transfer) const {
    return std::nullopt;
}
bool TDR_Driver::isOpenFor(Transfer) const {
    openIsInherited_ = true;
    return true;
}

bool TDR_Driver::saysFileIsOpen() const {
    constexpr Transfer kAll[] = {Transfer::GetLine, Transfer::PutLine, Transfer::GetCache,
                                 Transfer::PutCache};
    openIsInherited_ = false;
    const bool open = std::ranges::any_of(kAll, [this](Transfer t) { return isOpenFor(t); });
    return open && !openIsInherited_;
}
