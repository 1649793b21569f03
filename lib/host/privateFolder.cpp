// SPDX-License-Identifier: MIT
#include "tdr/privateFolder.h"

#include "processMark.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace tdr {

namespace {

constexpr mode_t kOursOnly = 0700;
constexpr mode_t kOthers = 0077;
constexpr std::string_view kNoteEnding = ".at";

/// Another process may remove the empty folder before we use it.
constexpr int kTries = 20;

struct FolderCloser {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

/// Removes the temporary file that the dead process of `mark` noted, if it still exists. The name
/// is unique, so it cannot belong to another file, whatever has happened to the folder.
void removeNoted(int folder, const std::string& note) {
    std::array<char, PATH_MAX> path{};
    const ssize_t size = ::readlinkat(folder, note.c_str(), path.data(), path.size() - 1);
    const std::string_view noted(path.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    const std::string_view mark(note.data(), note.size() - kNoteEnding.size());
    // The note is removed first: an unreachable disk then stops one run and not every run.
    if (::unlinkat(folder, note.c_str(), 0) == 0 && noted.ends_with("/." + std::string(mark))) {
        ::unlink(path.data());
    }
}

void removeLeftOvers(int folder) {
    base::UniqueFd fd(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, FolderCloser> list(fd.valid() ? ::fdopendir(fd.get()) : nullptr);
    if (list) {
        (void)fd.release();
    }
    while (const dirent* entry = list ? ::readdir(list.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (!isOfDeadProcess(name)) {
            continue;
        }
        if (name.ends_with(kNoteEnding)) {
            removeNoted(folder, name);
        } else {
            ::unlinkat(folder, name.c_str(), 0);
        }
    }
}

/// False for a folder that another user has created under our name.
bool isOurs(int fd) {
    struct stat status {};
    return ::fstat(fd, &status) == 0 && status.st_uid == ::geteuid() &&
           (status.st_mode & kOthers) == 0;
}

} // namespace

bool PrivateFolder::enter() {
    for (int tries = 0; tries < kTries; ++tries) {
        if (::mkdir(path_.c_str(), kOursOnly) != 0 && errno != EEXIST) {
            return false;
        }
        fd_.reset(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (fd_.valid() && !isOurs(fd_.get())) {
            errno = EPERM;
            return false;
        }
        // An entry prevents others from removing the folder.
        if (fd_.valid() && ::symlinkat("held", fd_.get(), mark_.c_str()) == 0) {
            return true;
        }
        if (errno != ENOENT) {
            return false;
        }
    }
    return false;
}

Result<PrivateFolder> PrivateFolder::open() {
    const char* named = std::getenv("TMPDIR"); // NOLINT(concurrency-mt-unsafe): nothing sets it
    const char* const places[] = {named != nullptr ? named : "", "/tmp", "/var/tmp", "/dev/shm"};
    int error = ENOENT;
    for (const char* place : places) {
        if (*place != '/') {
            continue;
        }
        const std::string mark = ownMark();
        for (const std::string& name : {"tdr-" + std::to_string(::geteuid()), mark + ".d"}) {
            PrivateFolder folder(std::string(place) + "/" + name, mark);
            if (folder.enter()) {
                static std::atomic<bool> cleared = false;
                if (!cleared.exchange(true)) {
                    removeLeftOvers(folder.fd());
                }
                return folder;
            }
            error = errno;
        }
    }
    return Failure{FailureKind::CannotOpen,
                   std::string("no folder of our own in TMPDIR or /tmp: ") + std::strerror(error)};
}

PrivateFolder::~PrivateFolder() {
    if (path_.empty()) {
        return;
    }
    if (fd_.valid()) {
        ::unlinkat(fd_.get(), mark_.c_str(), 0);
    }
    ::rmdir(path_.c_str()); // only if it is empty
}

std::string PrivateFolder::pathOf(std::string_view name) const {
    return pathOfDescriptor(fd_.get()) + "/" + std::string(name);
}

std::string pathOfDescriptor(int fd) {
    char self[32] = {}; // the number in /proc, which may be of another namespace
    const ssize_t size = ::readlink("/proc/self", self, sizeof self - 1);
    return std::string("/proc/") + (size > 0 ? self : "self") + "/fd/" + std::to_string(fd);
}

} // namespace tdr
