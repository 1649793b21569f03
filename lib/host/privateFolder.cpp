// SPDX-License-Identifier: MIT
#include "tdr/privateFolder.h"

#include "base/uniqueFd.h"
#include "processMark.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

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
        } else if (::unlinkat(folder, name.c_str(), 0) != 0 && errno == EISDIR) {
            std::error_code error;
            std::filesystem::remove_all(pathOfDescriptor(folder) + "/" + name, error);
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

/// From entering the folder to leaving it: an entry prevents others from removing it.
class PrivateFolder::Stay {
  public:
    /// Enters the folder `path`; null on failure, with the errno in `error`.
    static std::shared_ptr<const Stay> begin(const std::string& path, int& error) {
        const std::shared_ptr<Stay> stay(new Stay(path));
        error = stay->enter() ? 0 : errno;
        return error == 0 ? stay : nullptr;
    }
    Stay(const Stay&) = delete;
    Stay& operator=(const Stay&) = delete;
    ~Stay() {
        if (fd_.valid()) {
            ::unlinkat(fd_.get(), mark_.c_str(), 0);
        }
        ::rmdir(path_.c_str()); // only if it is empty
    }

    [[nodiscard]] int fd() const { return fd_.get(); }

    /// False when somebody has removed the folder all the same.
    [[nodiscard]] bool isUsable() const {
        struct stat status {};
        return ::fstat(fd_.get(), &status) == 0 && status.st_nlink > 0;
    }

  private:
    explicit Stay(std::string path) : path_(std::move(path)), mark_(ownMark()) {}
    bool enter();

    std::string path_;
    std::string mark_;
    base::UniqueFd fd_;
};

bool PrivateFolder::Stay::enter() {
    for (int tries = 0; tries < kTries; ++tries) {
        if (::mkdir(path_.c_str(), kOursOnly) != 0 && errno != EEXIST) {
            return false;
        }
        fd_.reset(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (fd_.valid() && !isOurs(fd_.get())) {
            errno = EPERM;
            return false;
        }
        if (fd_.valid() && ::symlinkat("held", fd_.get(), mark_.c_str()) == 0) {
            return true;
        }
        if (errno != ENOENT) {
            return false;
        }
    }
    return false;
}

Result<std::shared_ptr<const PrivateFolder::Stay>> PrivateFolder::enter() {
    const char* named = std::getenv("TMPDIR"); // NOLINT(concurrency-mt-unsafe): nothing sets it
    const char* const places[] = {named != nullptr ? named : "", "/tmp", "/var/tmp", "/dev/shm"};
    int error = ENOENT;
    for (const char* place : places) {
        if (*place != '/') {
            continue;
        }
        for (const std::string& name : {"tdr-" + std::to_string(::geteuid()), ownMark() + ".d"}) {
            if (auto stay = Stay::begin(std::string(place) + "/" + name, error)) {
                return stay;
            }
        }
    }
    return Failure{FailureKind::CannotOpen,
                   std::string("no folder of our own in TMPDIR or /tmp: ") + std::strerror(error)};
}

Result<PrivateFolder> PrivateFolder::open() {
    static std::mutex mutex;
    static std::weak_ptr<const Stay> current;
    static bool cleared = false;
    const std::lock_guard lock(mutex);
    if (auto stay = current.lock(); stay && stay->isUsable()) {
        return PrivateFolder(std::move(stay));
    }
    auto entered = enter();
    if (!entered) {
        return entered.failure();
    }
    current = *entered;
    if (!std::exchange(cleared, true)) {
        removeLeftOvers((*entered)->fd());
    }
    return PrivateFolder(std::move(*entered));
}

PrivateFolder::PrivateFolder(std::shared_ptr<const Stay> stay)
    : stay_(std::move(stay)), mark_(ownMark()) {}

PrivateFolder::~PrivateFolder() = default;

int PrivateFolder::fd() const {
    return stay_ ? stay_->fd() : -1;
}

std::string PrivateFolder::pathOf(std::string_view name) const {
    return pathOfDescriptor(fd()) + "/" + std::string(name);
}

std::string pathOfDescriptor(int fd) {
    char self[32] = {}; // the number in /proc, which may be of another namespace
    const ssize_t size = ::readlink("/proc/self", self, sizeof self - 1);
    return std::string("/proc/") + (size > 0 ? self : "self") + "/fd/" + std::to_string(fd);
}

} // namespace tdr
