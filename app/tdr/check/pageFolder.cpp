// SPDX-License-Identifier: MIT
#include "pageFolder.h"

#include "base/extension.h"
#include "output/formatted.h"
#include "tdr/privateFolder.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kImages = "images-";
constexpr mode_t kNewFolder = 0777; // less the umask

constexpr const char* kMark = ".tdr-page";

/// The names in a folder.
std::vector<std::string> namesIn(const fs::path& folder, std::error_code& error) {
    std::vector<std::string> names;
    for (fs::directory_iterator at(folder, error); !error && at != fs::directory_iterator();
         at.increment(error)) {
        names.push_back(at->path().filename().string());
    }
    return names;
}

/// A marked folder at this path in the open folder, else none.
base::UniqueFd openImages(int folder, const fs::path& path) {
    base::UniqueFd images(
        path.filename().string().starts_with(kImages)
            ? ::openat(folder, path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)
            : -1);
    if (images.valid() && ::faccessat(images.get(), kMark, F_OK, AT_SYMLINK_NOFOLLOW) != 0) {
        images.reset();
    }
    return images;
}

/// "000012.png".
bool isNameOfImage(const fs::path& name) {
    const std::string stem = name.stem().string();
    return std::ranges::all_of(stem, [](char c) { return c >= '0' && c <= '9'; }) &&
           (base::hasExtension(name, ".png") || base::hasExtension(name, ".svg"));
}

} // namespace

bool isPageImages(const fs::path& folder) {
    return openImages(AT_FDCWD, folder).valid();
}

Outcome<std::unique_ptr<PageFolder>> PageFolder::begin(const std::string& folder, bool force) {
    std::unique_ptr<PageFolder> page(new PageFolder);
    const std::size_t end = folder.find_last_not_of('/');
    page->path_ = end == std::string::npos ? folder : folder.substr(0, end + 1);
    auto done = page->open(force);
    done = done ? page->makeImages() : done;
    return done ? Outcome<std::unique_ptr<PageFolder>>(std::move(page)) : done.failure();
}

Outcome<void> PageFolder::open(bool force) {
    const std::string named = path_.string();
    std::error_code error;
    made_ = fs::create_directories(path_, error);
    if (error) {
        return problemWith(named, error.value());
    }
    path_ = fs::canonical(path_, error);
    lock_.reset(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (error || !lock_.valid()) {
        return problemWith(named, error ? error.value() : errno);
    }
    if (::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) {
        return errno == EWOULDBLOCK
                   ? Problem{ExitCode::Failed, named + ": another tdr is writing a page there"}
                   : problemWith(named, errno);
    }
    // Opening it removes what a killed run has left, also here.
    const auto leftOvers = tdr::PrivateFolder::open();
    const auto empty = isEmpty();
    if (!empty) {
        return empty.failure();
    }
    if (!force && !*empty) {
        return Problem{ExitCode::Failed, named + ": is not empty (see --force)"};
    }
    auto index = ReplacedFile::begin(path_ / "index.html", ".html",
                                     force ? Existing::Replaced : Existing::Kept);
    if (!index) {
        return index.failure();
    }
    index_.emplace(std::move(*index));
    return {};
}

Outcome<bool> PageFolder::isEmpty() const {
    std::error_code error;
    const auto names = namesIn(path_, error);
    if (error) {
        return problemWith(path_.string(), error.value());
    }
    return std::ranges::all_of(
        names, [this](const std::string& name) { return openImages(lock_.get(), name).valid(); });
}

Outcome<void> PageFolder::makeImages() {
    for (int n = 1;; ++n) {
        std::string name = formatted("{}{}", kImages, n);
        if (::mkdirat(lock_.get(), name.c_str(), kNewFolder) == 0) {
            const base::UniqueFd mark(::open((path_ / name / kMark).c_str(),
                                             O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
            const int error = mark.valid() ? 0 : errno;
            if (error != 0) {
                ::unlinkat(lock_.get(), name.c_str(), AT_REMOVEDIR);
                return problemWith((path_ / name).string(), error);
            }
            images_ = std::move(name);
            return {};
        }
        if (errno != EEXIST) {
            return problemWith((path_ / name).string(), errno);
        }
    }
}

/// Only what is ours.
void PageFolder::removeImages(const std::string& name) const {
    const base::UniqueFd images = openImages(lock_.get(), name);
    std::error_code ignored;
    for (const std::string& image : namesIn(path_ / name, ignored)) {
        if (images.valid() && isNameOfImage(image)) {
            ::unlinkat(images.get(), image.c_str(), 0);
        }
    }
    if (images.valid()) {
        ::unlinkat(images.get(), kMark, 0);
        ::unlinkat(lock_.get(), name.c_str(), AT_REMOVEDIR);
    }
}

Outcome<void> PageFolder::commit(const std::string& html) {
    auto done = index_->write(html);
    done = done ? index_->commit() : done;
    if (!done) {
        return done;
    }
    committed_ = true;
    std::error_code ignored;
    for (const std::string& name : namesIn(path_, ignored)) {
        if (name != images_) {
            removeImages(name);
        }
    }
    return {};
}

PageFolder::~PageFolder() {
    if (committed_) {
        return;
    }
    index_.reset();
    if (!images_.empty()) {
        removeImages(images_);
    }
    if (made_) {
        ::rmdir(path_.c_str());
    }
}
