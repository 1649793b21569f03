// SPDX-License-Identifier: MIT
#include "pageFolder.h"

#include "base/extension.h"
#include "output/formatted.h"

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

/// The entries of a folder that can be read, else none.
std::vector<fs::path> entriesOf(const fs::path& folder) {
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator at(folder, error); !error && at != fs::directory_iterator();
         at.increment(error)) {
        entries.push_back(at->path());
    }
    return entries;
}

} // namespace

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
    if (!force && !fs::is_empty(path_, error)) {
        return error ? problemWith(named, error.value())
                     : Problem{ExitCode::Failed, named + ": is not empty (see --force)"};
    }
    auto index = ReplacedFile::begin(path_ / "index.html", ".html",
                                     force ? Existing::Replaced : Existing::Kept);
    if (!index) {
        return index.failure();
    }
    index_.emplace(std::move(*index));
    return {};
}

Outcome<void> PageFolder::makeImages() {
    for (int n = 1;; ++n) {
        std::string name = formatted("{}{}", kImages, n);
        if (::mkdirat(lock_.get(), name.c_str(), kNewFolder) == 0) {
            images_ = std::move(name);
            return {};
        }
        if (errno != EEXIST) {
            return problemWith((path_ / name).string(), errno);
        }
    }
}

/// Only files that can be ours.
void PageFolder::removeImages(const std::string& name) const {
    std::error_code ignored;
    for (const fs::path& image : entriesOf(path_ / name)) {
        if (base::hasExtension(image, ".png") || base::hasExtension(image, ".svg")) {
            fs::remove(image, ignored);
        }
    }
    ::unlinkat(lock_.get(), name.c_str(), AT_REMOVEDIR);
}

Outcome<void> PageFolder::commit(const std::string& html) {
    auto done = index_->write(html);
    done = done ? index_->commit() : done;
    if (!done) {
        return done;
    }
    committed_ = true;
    for (const fs::path& entry : entriesOf(path_)) {
        const std::string name = entry.filename().string();
        if (name.starts_with(kImages) && name != images_) {
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
