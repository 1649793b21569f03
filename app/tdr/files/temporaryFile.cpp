// SPDX-License-Identifier: MIT
#include "temporaryFile.h"

#include "output/formatted.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Renames `from` unless `to` exists: 0, or errno. Not all file systems can do that in one step; of
/// the others, most can add a second name.
int renameToNew(int folder, const char* from, const char* to) {
    if (::renameat2(folder, from, folder, to, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL) {
        return errno;
    }
    if (::linkat(folder, from, folder, to, 0) == 0) {
        ::unlinkat(folder, from, 0);
        return 0;
    }
    struct stat status {};
    if (::fstatat(folder, to, &status, AT_SYMLINK_NOFOLLOW) == 0) {
        return EEXIST;
    }
    return ::renameat(folder, from, folder, to) == 0 ? 0 : errno;
}

} // namespace

/// No note is made if the folder's path is too long for it; the file then stays there only after a
/// kill.
void TemporaryFile::noteWhere() const {
    std::array<char, PATH_MAX> path{};
    const std::string link = formatted("/proc/self/fd/{}", folder_.get());
    const ssize_t size = ::readlink(link.c_str(), path.data(), path.size());
    if (size > 0) {
        const std::string_view where(path.data(), static_cast<std::size_t>(size));
        const std::string target = formatted("{}/{}", where, name_);
        [[maybe_unused]] const int noted = ::symlinkat(target.c_str(), notes_.fd(), note_.c_str());
    }
}

bool TemporaryFile::create(int folder, mode_t mode) {
    file_.reset(
        ::openat(folder, name_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    return file_.valid();
}

Outcome<TemporaryFile> TemporaryFile::in(base::UniqueFd folder, mode_t mode) {
    auto notes = tdr::PrivateFolder::open();
    if (!notes) {
        return problemWith(notes.failure());
    }
    TemporaryFile file(std::move(*notes));
    file.folder_ = std::move(folder);
    file.noteWhere();
    if (!file.create(file.folder(), mode)) {
        return problemWith("no new file in its folder", errno);
    }
    return file;
}

Outcome<TemporaryFile> TemporaryFile::unnamed() {
    auto notes = tdr::PrivateFolder::open();
    if (!notes) {
        return problemWith(notes.failure());
    }
    TemporaryFile file(std::move(*notes));
    if (!file.create(file.notes_.fd(), S_IRUSR | S_IWUSR)) {
        return problemWith("no new file in our folder", errno);
    }
    ::unlinkat(file.notes_.fd(), file.name_.c_str(), 0);
    return file;
}

TemporaryFile::~TemporaryFile() {
    if (file_.valid() && folder_.valid() && !renamed_) {
        ::unlinkat(folder_.get(), name_.c_str(), 0);
    }
    if (notes_.fd() >= 0) {
        ::unlinkat(notes_.fd(), note_.c_str(), 0);
    }
}

/// 0 if this file has the name `name`, ESTALE if another one has it, otherwise the errno of the
/// check.
int TemporaryFile::lookUp(const std::string& name) const {
    struct stat ours {};
    struct stat named {};
    if (::fstat(file_.get(), &ours) != 0 ||
        ::fstatat(folder_.get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno;
    }
    return ours.st_dev == named.st_dev && ours.st_ino == named.st_ino ? 0 : ESTALE;
}

int TemporaryFile::rename(const std::string& name, Existing existing) {
    if (const int error = lookUp(name_); error != 0) {
        return error;
    }
    if (existing == Existing::Kept) {
        if (const int error = renameToNew(folder_.get(), name_.c_str(), name.c_str()); error != 0) {
            return error;
        }
    } else if (::renameat(folder_.get(), name_.c_str(), folder_.get(), name.c_str()) != 0) {
        return errno;
    }
    renamed_ = true;
    // It may just have been exchanged. A failed check does not prove that.
    return lookUp(name) == ESTALE ? ESTALE : 0;
}
