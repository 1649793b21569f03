// SPDX-License-Identifier: MIT
#include "fileAttributes.h"

#include "output/formatted.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <linux/limits.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr char kAccessList[] = "system.posix_acl_access";

/// Only these belong to users, the trusted ones to the administrator. The system manages the
/// others, even those that we may set, and some apply only to the content for which they were set.
bool isUsers(std::string_view name) {
    return name.starts_with("user.") || name.starts_with("trusted.") || name == kAccessList;
}

constexpr mode_t kGroupBits = 0070;
constexpr mode_t kSetIdBits = S_ISUID | S_ISGID;

/// Layout of an access control list: a word, then eight bytes for each entry.
constexpr std::size_t kListHead = 4;
constexpr std::size_t kListEntry = 8;
constexpr char kOwningGroup = 0x04;
constexpr char kAllOthers = 0x20;

/// Limits the owning group to the permissions of all others.
void cutGroup(std::string& list) {
    char others = 0;
    for (std::size_t at = kListHead; at + kListEntry <= list.size(); at += kListEntry) {
        others = list[at] == kAllOthers ? list[at + 2] : others;
    }
    for (std::size_t at = kListHead; at + kListEntry <= list.size(); at += kListEntry) {
        if (list[at] == kOwningGroup) {
            list[at + 2] = static_cast<char>(list[at + 2] & others);
        }
    }
}

struct Attribute {
    std::string name;
    std::string value;
};

/// The attributes of the file at `path`, or errno in `error`. Empty on a file system without
/// attributes.
std::vector<Attribute> attributesOf(const std::string& path, int& error) {
    std::vector<Attribute> all;
    std::string names(XATTR_LIST_MAX, '\0');
    std::string value(XATTR_SIZE_MAX, '\0');
    const ssize_t size = ::listxattr(path.c_str(), names.data(), names.size());
    if (size < 0) {
        error = errno == ENOTSUP ? 0 : errno;
        return all;
    }
    const char* const end = names.data() + size;
    for (const char* name = names.data(); name < end; name += std::strlen(name) + 1) {
        if (!isUsers(name)) {
            continue;
        }
        const ssize_t got = ::getxattr(path.c_str(), name, value.data(), value.size());
        if (got < 0 && errno != ENODATA) {
            error = errno;
            return all;
        }
        if (got >= 0) {
            all.push_back({name, value.substr(0, static_cast<std::size_t>(got))});
        }
    }
    return all;
}

std::string lost(std::string_view what, int error) {
    return formatted("cannot keep {}: {}", what, std::strerror(error));
}

} // namespace

std::string takeOverAttributes(int from, int to) {
    struct stat old {};
    struct stat now {};
    if (::fstat(from, &old) != 0 || ::fstat(to, &now) != 0) {
        return lost("its permissions", errno);
    }
    // The group first: after a change of the owner we may not set it.
    const bool group = old.st_gid == now.st_gid || ::fchown(to, -1U, old.st_gid) == 0;
    const bool owner = old.st_uid == now.st_uid || ::fchown(to, old.st_uid, -1U) == 0;
    mode_t mode = old.st_mode & ~static_cast<mode_t>(S_IFMT);
    if (!group) {
        mode &= ~kGroupBits | ((mode << 3) & kGroupBits);
    }
    if (!group || !owner) {
        mode &= ~kSetIdBits;
    }
    int error = 0;
    auto attributes = attributesOf(formatted("/proc/self/fd/{}", from), error);
    if (error != 0) {
        return lost("its extended attributes", error);
    }
    // The new file may have a default list from its folder.
    if (::fremovexattr(to, kAccessList) != 0 && errno != ENODATA && errno != ENOTSUP) {
        return lost("its access control list", errno);
    }
    if (::fchmod(to, mode) != 0) {
        return lost("its permissions", errno);
    }
    for (auto& [name, value] : attributes) {
        if (!group && name == kAccessList) {
            cutGroup(value);
        }
        if (::fsetxattr(to, name.c_str(), value.data(), value.size(), 0) != 0) {
            return lost(name == kAccessList ? "its access control list"
                                            : "its extended attribute " + name,
                        errno);
        }
    }
    return {};
}
