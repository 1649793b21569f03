// SPDX-License-Identifier: MIT
#include "checkPage.h"

#include "checkText.h"
#include "output/console.h"
#include "output/formatted.h"
#include "pageRow.h"
#include "pageText.h"

#include <array>
#include <cerrno>
#include <ctime>
#include <new>
#include <utility>

namespace {

std::string now() {
    const std::time_t time = std::time(nullptr);
    std::tm utc{};
    std::array<char, 32> text{};
    ::gmtime_r(&time, &utc);
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M UTC", &utc)};
}

std::string pageOf(const std::string& rows, const CheckCounts& counts) {
    const std::string title = textOf(counts);
    return formatted("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                     "<meta name=\"viewport\" content=\"width=device-width\">\n"
                     "<meta name=\"generator\" content=\"tdr {}\">\n<title>{}</title>\n"
                     "<style>{}</style>\n</head>\n<body>\n",
                     TDR_VERSION, title, kPageStyle) +
           formatted("<header><h1>{}</h1>\n<p>Checked {} by tdr {}. Lines of pictures count from "
                     "the top one, which is 0; lines of text files count from 1.</p>\n"
                     "<label><input type=\"checkbox\" id=\"faults\"> Leave out whole files</label>"
                     "</header>\n<table>\n<thead><tr>\n{}</tr></thead>\n<tbody>\n",
                     title, now(), TDR_VERSION, kPageColumns) +
           rows + "</tbody>\n</table>\n<script>" + kPageScript + "</script>\n</body>\n</html>\n";
}

} // namespace

Outcome<CheckPage> CheckPage::begin(const DriverOptions& drivers, const std::string& folder,
                                    bool force) {
    auto made = PageFolder::begin(folder, force);
    return made ? Outcome<CheckPage>(CheckPage(drivers, std::move(*made))) : made.failure();
}

void CheckPage::add(const std::string& file, const Outcome<FileCheck>& check) {
    try {
        addRow(file, check);
    } catch (const std::bad_alloc&) { // a page without all rows would not be what it says
        written_ = problemWith(file, ENOMEM);
    }
}

void CheckPage::addRow(const std::string& file, const Outcome<FileCheck>& check) {
    if (!written_) {
        return;
    }
    const auto image = writeImage(*drivers_, file, check, folder_->path() / folder_->images(),
                                  formatted("{:06}", ++images_));
    if (!image) {
        written_ = image.failure();
    }
    rows_ += rowOf(file, linkTo(file, folder_->path()), check, image ? *image : std::nullopt,
                   folder_->images());
}

Outcome<void> CheckPage::end(const CheckCounts& counts) {
    return written_ ? folder_->commit(pageOf(rows_, counts)) : written_;
}
