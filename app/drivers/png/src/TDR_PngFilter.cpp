// SPDX-License-Identifier: MIT
#include "TDR_PngFilter.h"

#include "base/diagnostics.h"
#include "base/hostPixel.h"
#include "base/hugePages.h"
#include "pngPicture.h"
#include "pngWriter.h"

#include <cstdio>
#include <cstring>
#include <new>

using namespace png_filter;

TDR_Driver* createDriver(int port) {
    return new (std::nothrow) TDR_PngFilter(port);
}

TDR_PngFilter::TDR_PngFilter(int port) : TDR_Driver(port) {
    me = "PNG Filter";
    version = "1";
    vendorName = "Tarvo Works";
    formatName = "PNG";
    namingPrefix = "test.";
    namingExtension = ".png";
    namingFlag = 1;
    namingTemplate = "%s.%d.png";
    accessModes = kFileAccessModes;
    writeDirection = kFileWriteDirection;
    formatCount = 1;
    formats = &kRgbaFormat;
    currentFormat = 0;
}

TDR_PngFilter::~TDR_PngFilter() {
    TDR_Driver::cleanup(); // while the virtual operations still reach this class
}

int TDR_PngFilter::setPixelFormat(int format) {
    return format == 0 ? 0 : -1;
}

// --- The file ------------------------------------------------------------------------------------

int TDR_PngFilter::connectToFile(char* name, int mode) {
    if (!closeOpenFile() || !mayOpen(name, mode)) {
        return -1;
    }
    const bool open = mode == ipc::kConnectForReading ? openForReading(name) : createFile(name);
    if (!open) {
        return -1;
    }
    std::snprintf(openName_, sizeof openName_, "%s", name);
    damageSaid_ = false;
    failureSaid_ = false;
    return 0;
}

void TDR_PngFilter::refuse(const char* action, const char* name, const char* reason) const {
    base::say("%s: Unable to %s file '%s' - %s.\n", me, action, name, reason);
}

bool TDR_PngFilter::openForReading(const char* name) {
    PngReport report;
    reading_ = PngPicture::open(name, report);
    if (!reading_) {
        if (*report.reason() != '\0') {
            refuse("open", name, report.reason());
        }
        return false;
    }
    bounds[2] = reading_->width();
    bounds[3] = reading_->height();
    return true;
}

bool TDR_PngFilter::createFile(const char* name) {
    if (!base::isPictureSide(bounds[2]) || !base::isPictureSide(bounds[3])) {
        base::say("%s: Unable to create file '%s' - Size %d x %d is outside 1 to %d.\n", me, name,
                  bounds[2], bounds[3], base::kMaxPictureSide);
        return false;
    }
    PngReport report;
    writing_ = PngWriter::create(name, bounds[2], bounds[3], report);
    if (!writing_) {
        refuse("create", name, report.reason());
    }
    return writing_ != nullptr;
}

int TDR_PngFilter::disconnectFromFile() {
    int result = 0;
    if (writing_) {
        result = writing_->finish() ? 1 : -1;
        noteWriteFailure();
    }
    reading_.reset();
    writing_.reset();
    return result;
}

void TDR_PngFilter::noteWriteFailure() {
    if (*writing_->error() != '\0' && !failureSaid_) {
        base::say("%s: Unable to write file '%s' - %s.\n", me, openName_, writing_->error());
        failureSaid_ = true;
    }
}

void TDR_PngFilter::noteReadFailure() {
    if (!failureSaid_) {
        base::say("%s: Unable to read file '%s' - %s.\n", me, openName_,
                  std::strerror(reading_->systemError()));
        failureSaid_ = true;
    }
}

void TDR_PngFilter::noteDamage() {
    if (*reading_->damage() != '\0' && !damageSaid_) {
        base::say("%s: File '%s' is cut short or damaged (%s) - What is missing reads as zero.\n",
                  me, openName_, reading_->damage());
        damageSaid_ = true;
    }
}

// --- Lines ---------------------------------------------------------------------------------------

std::size_t TDR_PngFilter::lineBytes() const {
    return static_cast<std::size_t>(bounds[2]) * base::kHostPixelBytes;
}

std::optional<std::size_t> TDR_PngFilter::declaredLineBytes(Transfer) const {
    return lineBytes();
}

bool TDR_PngFilter::isOpenFor(Transfer transfer) const {
    const bool get = transfer == Transfer::GetLine || transfer == Transfer::GetCache;
    return get ? reading_ != nullptr : writing_ != nullptr;
}

bool TDR_PngFilter::getRow(long y, char* line) {
    const bool got = reading_->readRow(static_cast<int>(bounds[3] - 1 - y),
                                       reinterpret_cast<std::uint8_t*>(line));
    noteDamage();
    if (!got) {
        noteReadFailure();
    }
    return got;
}

bool TDR_PngFilter::putRow(long y, const char* line) {
    const bool put = writing_->writeRow(static_cast<int>(bounds[3] - 1 - y),
                                        reinterpret_cast<const std::uint8_t*>(line));
    noteWriteFailure();
    if (!put && !failureSaid_) {
        base::say("%s: Line %ld of file '%s' is already written.\n", me, y, openName_);
    }
    return put;
}

int TDR_PngFilter::getLine(char* block, int, long, long y) {
    return getRow(y, block) ? 0 : -1;
}

int TDR_PngFilter::putLine(char* block, int, long, long y) {
    return putRow(y, block) ? 0 : -1;
}

int TDR_PngFilter::getCache(char* block, int, long) {
    if (reading_->readWhole(reinterpret_cast<std::uint8_t*>(block))) {
        return 0;
    }
    base::PopulateBackwards pages(block, lineBytes() * static_cast<std::size_t>(bounds[3]));
    for (long y = bounds[3] - 1; y >= 0; --y) {
        if (bounds[3] - 1 - y >= reading_->wholeRows()) { // only zeros down to the bottom
            base::clear(block, static_cast<std::size_t>(y + 1) * lineBytes());
            return 0;
        }
        char* const line = block + static_cast<std::size_t>(y) * lineBytes();
        pages.reach(line);
        if (!getRow(y, line)) {
            return -1;
        }
    }
    return 0;
}

int TDR_PngFilter::putCache(char* block, int, long) {
    base::populate(block, lineBytes() * static_cast<std::size_t>(bounds[3]));
    if (writing_->writeWhole(reinterpret_cast<const std::uint8_t*>(block))) {
        noteWriteFailure();
        return *writing_->error() == '\0' ? 0 : -1;
    }
    bool whole = true;
    for (long y = bounds[3] - 1; whole && y >= 0; --y) {
        whole = putRow(y, block + static_cast<std::size_t>(y) * lineBytes());
    }
    return whole ? 0 : -1;
}
