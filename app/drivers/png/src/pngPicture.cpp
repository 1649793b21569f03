// SPDX-License-Identifier: MIT
#include "pngPicture.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace png_filter {

std::unique_ptr<PngPicture> PngPicture::open(const char* path, PngReport& report,
                                             std::size_t limit) {
    auto decoder = PngDecoder::open(path, report);
    if (!decoder) {
        return nullptr;
    }
    std::unique_ptr<PngPicture> picture(new (std::nothrow) PngPicture(std::move(decoder), limit));
    if (!picture) {
        report.systemError = ENOMEM;
    } else if (picture->decoder_->interlaced() && picture->capacity_ < picture->height()) {
        std::snprintf(report.text, sizeof report.text,
                      "too large for an interlaced picture, which must be kept whole");
        picture.reset();
    }
    return picture;
}

PngPicture::PngPicture(std::unique_ptr<PngDecoder> decoder, std::size_t limit)
    : decoder_(std::move(decoder)),
      rowSize_(static_cast<std::size_t>(decoder_->width()) * base::kHostPixelBytes),
      capacity_(static_cast<int>(std::clamp<std::size_t>(
          limit / rowSize_, 1, static_cast<std::size_t>(decoder_->height())))),
      wholeRows_(decoder_->height()) {}

std::uint8_t* PngPicture::slot(int index) const {
    return rows_.get() + static_cast<std::size_t>(index % capacity_) * rowSize_;
}

void PngPicture::lose(int from) {
    const PngReport& report = decoder_->report();
    systemError_ = report.systemError;
    if (systemError_ != 0) {
        return;
    }
    wholeRows_ = std::min(wholeRows_, from);
    if (*damage_ == '\0') {
        damage_ = report.text[0] != '\0' ? report.text : "the file has changed";
    }
}

void PngPicture::decodeTo(std::uint8_t* row) {
    const int index = decoder_->nextRow();
    if (!decoder_->readRow(row)) {
        lose(index + 1); // the row itself has been read as far as possible
    }
}

void PngPicture::restart() {
    if (!decoder_->restart()) {
        lose(0);
    }
}

bool PngPicture::startKeeping() {
    // The system provides zeroed memory of this size page by page, on first access.
    rows_.reset(
        static_cast<std::uint8_t*>(std::calloc(static_cast<std::size_t>(capacity_), rowSize_)));
    if (!rows_) {
        systemError_ = ENOMEM;
        return false;
    }
    if (decoder_->interlaced()) {
        if (!decoder_->readInterlaced(rows_.get())) {
            lose(height()); // every row has at least the pixels of the first pass
        }
    } else if (decoder_->nextRow() > 0) {
        restart();
    }
    return true;
}

bool PngPicture::readRow(int index, std::uint8_t* row) {
    systemError_ = decoder_->report().systemError;
    if (systemError_ != 0) {
        return false;
    }
    if (!rows_ && !decoder_->interlaced() && index == decoder_->nextRow()) {
        decodeTo(row);
        return systemError_ == 0;
    }
    if (!rows_ && !startKeeping()) {
        return false;
    }
    if (index < decoder_->nextRow() - capacity_) {
        restart();
    }
    while (systemError_ == 0 && decoder_->nextRow() <= index && index < wholeRows_) {
        decodeTo(slot(decoder_->nextRow()));
    }
    if (systemError_ != 0) {
        return false;
    }
    if (index < wholeRows_) {
        std::memcpy(row, slot(index), rowSize_);
    } else {
        std::memset(row, 0, rowSize_);
    }
    return true;
}

} // namespace png_filter
