// SPDX-License-Identifier: MIT
#include "tdr/driverLink.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace tdr {

namespace {

/// The driver of pictures with this ending tries mattes under the same name with their ending
/// appended.
constexpr std::string_view kPictureEnding = ".pic";
constexpr std::string_view kMatteEnding = ".tag";

} // namespace

void FileNames::add(std::string path, std::string named) {
    const auto isLonger = [&](const Row& row) { return row.path.size() > path.size(); };
    const auto place = std::ranges::find_if_not(rows_, isLonger);
    rows_.insert(place, {std::move(path), std::move(named)});
}

void FileNames::add(const FileNames& others) {
    for (const Row& row : others.rows_) {
        add(row.path, row.named);
    }
}

std::string FileNames::in(std::string text) const {
    for (const auto& [path, named] : rows_) {
        for (std::size_t at = text.find(path); at != std::string::npos;
             at = text.find(path, at + named.size())) {
            text.replace(at, path.size(), named);
        }
    }
    return text;
}

Result<DriverLink> DriverLink::make(int fd, std::string named) {
    auto folder = PrivateFolder::open();
    if (!folder) {
        return folder.failure();
    }
    return DriverLink(std::move(*folder), pathOfDescriptor(fd), std::move(named));
}

DriverLink::~DriverLink() {
    for (const std::string& name : links_) {
        ::unlinkat(folder_.fd(), name.c_str(), 0);
    }
}

bool DriverLink::link(const std::string& name) {
    if (std::ranges::find(links_, name) != links_.end()) {
        return true;
    }
    links_.push_back(name);
    if (::symlinkat(target_.c_str(), folder_.fd(), name.c_str()) != 0) {
        links_.pop_back();
        return false;
    }
    names_.add(folder_.pathOf(name), named_);
    return true;
}

Result<std::string> DriverLink::path(std::string_view ending) {
    const std::string name = folder_.mark() + ".f" + std::string(ending);
    if (!link(name) || (ending == kPictureEnding && !link(name + std::string(kMatteEnding)))) {
        return Failure{FailureKind::CannotOpen,
                       std::string("a link to it in our folder: ") + std::strerror(errno)};
    }
    return folder_.pathOf(name);
}

} // namespace tdr
