// SPDX-License-Identifier: MIT
#include "replacedFile.h"

#include "fileAttributes.h"
#include "output/wholeWrite.h"
#include "tdr/interruptGuard.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr int kMostLinks = 40;     // as many as the system follows
constexpr mode_t kNewFile = 0666;  // less the umask
constexpr mode_t kOursOnly = 0600; // until it gets the old file's permissions

base::UniqueFd openFolderOf(int from, const fs::path& path) {
    const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
    return base::UniqueFd(::openat(from, folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

std::string textOfLink(int link) {
    std::array<char, PATH_MAX> text{};
    const ssize_t size = ::readlinkat(link, "", text.data(), text.size());
    return {text.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

/// The errno of closing a copy of the descriptor. Some file systems report a failed write only when
/// a descriptor of the file is closed.
int errorOfClose(int fd) {
    base::UniqueFd copy(::fcntl(fd, F_DUPFD_CLOEXEC, 0));
    return copy.valid() && ::close(copy.release()) == 0 ? 0 : errno;
}

Problem existsAlready(const std::string& target) {
    return {ExitCode::Failed, target + ": exists already (see --force)", Cause::Exists};
}

} // namespace

Outcome<void> checkIsNew(const fs::path& target) {
    struct stat old {};
    const bool exists = ::stat(target.c_str(), &old) == 0 && S_ISREG(old.st_mode);
    return exists ? existsAlready(target.string()) : Outcome<void>();
}

Outcome<void> checkIsNotInput(const std::string& target, const std::string& input) {
    struct stat written {};
    struct stat read {};
    if (::stat(target.c_str(), &written) != 0) {
        return errno == ENOENT ? Outcome<void>() : problemWith(target, errno);
    }
    if (::stat(input.c_str(), &read) != 0) {
        return problemWith(input, errno);
    }
    return written.st_dev == read.st_dev && written.st_ino == read.st_ino
               ? Problem{ExitCode::Failed, target + ": is the picture itself"}
               : Outcome<void>();
}

// --- The place of the new file -------------------------------------------------------------------

/// Follows symbolic links by descriptors to the place for the rename.
Outcome<ReplacedFile::Place> ReplacedFile::findBehindLinks(const fs::path& target) {
    Place place;
    fs::path path = target;
    for (int links = 0; links <= kMostLinks; ++links) {
        place.folder = openFolderOf(place.folder.valid() ? place.folder.get() : AT_FDCWD, path);
        if (!place.folder.valid()) {
            const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
            return problemWith(target.string() + ": in folder " + folder.string(), errno);
        }
        place.name = path.filename().string();
        place.old.reset(
            ::openat(place.folder.get(), place.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat found {};
        if (!place.old.valid() && errno != ENOENT) {
            return problemWith(target.string(), errno);
        }
        if (!place.old.valid() || ::fstat(place.old.get(), &found) != 0 || S_ISREG(found.st_mode)) {
            return place;
        }
        path = textOfLink(place.old.get());
        if (!S_ISLNK(found.st_mode) || !path.has_filename()) {
            return problemWith(target.string(), S_ISLNK(found.st_mode) ? ENOENT : EEXIST);
        }
    }
    return problemWith(target.string(), ELOOP);
}

Outcome<ReplacedFile::Place> ReplacedFile::find(const fs::path& target, Existing existing) {
    struct stat old {};
    const bool exists = ::stat(target.c_str(), &old) == 0;
    if ((!exists && errno != ENOENT) || (exists && ::access(target.c_str(), W_OK) != 0)) {
        return problemWith(target.string(), errno);
    }
    if (!exists || (S_ISREG(old.st_mode) && existing != Existing::Overwritten)) {
        return findBehindLinks(target);
    }
    Place place;
    place.stream.reset(::open(target.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!place.stream.valid()) {
        return errno == ENXIO && S_ISFIFO(old.st_mode)
                   ? Problem{ExitCode::Failed, target.string() + ": nobody reads this named pipe"}
                   : problemWith(target.string(), errno);
    }
    return place;
}

Outcome<ReplacedFile> ReplacedFile::begin(const fs::path& target, std::string_view ending,
                                          Existing existing) {
    std::error_code error;
    if (fs::is_directory(target, error) || !target.has_filename()) {
        return Problem{ExitCode::Failed,
                       target.string() + ": names a folder; name the file to write in it"};
    }
    auto place = find(target, existing);
    if (!place) {
        return place.failure();
    }
    if (existing == Existing::Kept && place->old.valid()) {
        return existsAlready(target.string());
    }
    auto file = place->stream.valid()
                    ? TemporaryFile::unnamed()
                    : TemporaryFile::in(std::move(place->folder),
                                        place->old.valid() ? kOursOnly : kNewFile);
    if (!file) {
        return problemWith(target.string(), file.failure());
    }
    auto link = tdr::DriverLink::make(file->fd(), target.string());
    if (!link) {
        return problemWith(target.native(), link.failure());
    }
    auto path = link->path(ending);
    if (!path) {
        return problemWith(target.native(), path.failure());
    }
    return ReplacedFile(target.string(), existing, std::move(*place), std::move(*file),
                        std::move(*link), std::move(*path));
}

// --- Its content ---------------------------------------------------------------------------------

Outcome<void> ReplacedFile::write(std::string_view text) {
    const int error = ::ftruncate(file_.fd(), 0) == 0 && ::lseek(file_.fd(), 0, SEEK_SET) == 0
                          ? writeWhole(file_.fd(), text)
                          : errno;
    return error == 0 ? Outcome<void>() : problemWith(named_, error);
}

Outcome<void> ReplacedFile::setTime(const timespec& changed) {
    const std::array<timespec, 2> times = {{{0, UTIME_OMIT}, changed}};
    return ::futimens(file_.fd(), times.data()) == 0 ? Outcome<void>() : problemWith(named_, errno);
}

Outcome<void> ReplacedFile::commit() {
    if (tdr::InterruptGuard::signal() != 0) {
        return problemWith(named_, EINTR);
    }
    struct stat written {};
    if (::fstat(file_.fd(), &written) != 0) {
        return problemWith(named_, errno);
    }
    if (written.st_size == 0) {
        return Problem{ExitCode::Failed, named_ + ": nothing was written"};
    }
    if (!place_.stream.valid()) {
        return takePlace();
    }
    if (::ftruncate(place_.stream.get(), 0) != 0 && errno != EINVAL) { // of a device or a pipe
        return problemWith(named_, errno);
    }
    int error = copyWhole(file_.fd(), place_.stream.get());
    error = error == 0 ? errorOfClose(place_.stream.get()) : error;
    return error == 0 ? Outcome<void>() : problemWith(named_, error);
}

Outcome<void> ReplacedFile::takePlace() {
    if (place_.old.valid()) {
        if (const auto kept = takeOverAttributes(place_.old.get(), file_.fd()); !kept.empty()) {
            return Problem{ExitCode::Failed, named_ + ": " + kept};
        }
    }
    if (const int error = errorOfClose(file_.fd()); error != 0) {
        return problemWith(named_, error);
    }
    if (sync_ && ::fsync(file_.fd()) != 0) {
        return problemWith(named_ + ": not on the disk", errno);
    }
    if (const int error = file_.rename(place_.name, existing_); error != 0) {
        return error == EEXIST ? existsAlready(named_) : problemWith(named_, error);
    }
    if (sync_) {
        const base::UniqueFd folder(
            ::openat(file_.folder(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!folder.valid() || ::fsync(folder.get()) != 0) {
            return problemWith(named_ + ": written, but its name is not on the disk", errno);
        }
    }
    return {};
}

Outcome<void> saveText(const fs::path& target, std::string_view ending, std::string_view text,
                       Existing existing) {
    auto file = ReplacedFile::begin(target, ending, existing);
    if (!file) {
        return file.failure();
    }
    const auto written = file->write(text);
    return written ? file->commit() : written;
}
