// SPDX-License-Identifier: MIT
#include "replacedFile.h"

#include "base/uniqueFd.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <optional>
#include <sys/random.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr int kNameTries = 20;

/// Part of the target's name that the temporary one shows, so that a name as long as the file
/// system allows still leaves room for the rest.
constexpr std::size_t kShownName = 64;

constexpr mode_t kNewFile = 0666; // less the umask
constexpr mode_t kPermissions = 0777;

/// Where a rename has to put the file: behind all symbolic links, where there are any.
fs::path behindLinks(const fs::path& target) {
    std::error_code error;
    const fs::path real = fs::canonical(target, error);
    return error ? target : real;
}

/// Gives the new file what the old one had. An owner that cannot be set is no failure: then it is
/// the user's own file now, as after copying.
int takeOver(int fd, const struct stat& old) {
    if (old.st_uid != ::geteuid() || old.st_gid != ::getegid()) {
        [[maybe_unused]] const int ignored = ::fchown(fd, old.st_uid, old.st_gid);
    }
    return ::fchmod(fd, old.st_mode & kPermissions);
}

/// Makes a new empty file beside `target` and gives its path, or errno.
std::optional<fs::path> makeBeside(const fs::path& target, std::string_view ending,
                                   const struct stat* old) {
    for (int tries = 0; tries < kNameTries; ++tries) {
        std::uint32_t random = 0;
        if (::getrandom(&random, sizeof random, 0) != sizeof random) {
            return {};
        }
        const std::string name = fmt::format(
            ".{}.{:08x}{}", target.stem().string().substr(0, kShownName), random, ending);
        const fs::path path = target.parent_path() / name;
        const base::UniqueFd fd(
            ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFile));
        if (fd.valid()) {
            if (old == nullptr || takeOver(fd.get(), *old) == 0) {
                return path;
            }
            ::unlink(path.c_str());
            return {};
        }
        if (errno != EEXIST) {
            return {};
        }
    }
    return {};
}

} // namespace

Outcome<bool> checkTarget(const fs::path& target) {
    std::error_code error;
    if (fs::is_directory(target, error) || !target.has_filename()) {
        return Problem{ExitCode::Failed,
                       target.string() + ": names a folder; name the file to write in it"};
    }
    return true;
}

Outcome<ReplacedFile> ReplacedFile::begin(const fs::path& target, std::string_view ending) {
    if (const auto isFile = checkTarget(target); !isFile) {
        return isFile.problem();
    }
    struct stat old {};
    const bool exists = ::stat(target.c_str(), &old) == 0;
    if (!exists && errno != ENOENT) {
        return problemWith(target.string(), errno);
    }
    if (exists && ::access(target.c_str(), W_OK) != 0) {
        return problemWith(target.string(), errno);
    }
    if (exists && !S_ISREG(old.st_mode)) {
        return ReplacedFile(target, target, {});
    }
    const fs::path real = behindLinks(target);
    const auto temporary = makeBeside(real, ending, exists ? &old : nullptr);
    if (!temporary) {
        const fs::path folder = real.has_parent_path() ? real.parent_path() : fs::path(".");
        return problemWith(target.string() + ": in folder " + folder.string(), errno);
    }
    return ReplacedFile(target, *temporary, real);
}

ReplacedFile::ReplacedFile(ReplacedFile&& other) noexcept
    : named_(std::move(other.named_)), temporary_(std::exchange(other.temporary_, {})),
      target_(std::exchange(other.target_, {})) {}

ReplacedFile::~ReplacedFile() {
    if (!temporary_.empty() && !target_.empty()) {
        ::unlink(temporary_.c_str());
    }
}

Outcome<bool> ReplacedFile::commit() {
    if (target_.empty()) {
        return true;
    }
    struct stat written {};
    if (::stat(temporary_.c_str(), &written) != 0) {
        return problemWith(named_.string(), errno);
    }
    if (written.st_size == 0) {
        return Problem{ExitCode::Failed, named_.string() + ": the driver wrote nothing"};
    }
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) {
        return problemWith(named_.string(), errno);
    }
    temporary_.clear();
    return true;
}
