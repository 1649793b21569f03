// SPDX-License-Identifier: MIT
// Files in memory: creating and removing real ones would take most of the time of a run.
#include "fuzzInput.h"

#include "base/uniqueFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <map>

namespace fuzz {

namespace {

std::map<std::string, std::string, std::less<>>& files() {
    static std::map<std::string, std::string, std::less<>> byPath;
    return byPath;
}

/// A stream's position in a file.
struct Cursor {
    std::string* bytes;
    std::size_t at;
};

Cursor& cursorOf(void* cookie) {
    return *static_cast<Cursor*>(cookie);
}

ssize_t readCookie(void* cookie, char* to, std::size_t size) {
    Cursor& cursor = cursorOf(cookie);
    const std::size_t left = cursor.bytes->size() - std::min(cursor.at, cursor.bytes->size());
    const std::size_t count = std::min(size, left);
    std::memcpy(to, cursor.bytes->data() + cursor.bytes->size() - left, count);
    cursor.at += count;
    return static_cast<ssize_t>(count);
}

ssize_t writeCookie(void* cookie, const char* from, std::size_t size) {
    Cursor& cursor = cursorOf(cookie);
    cursor.bytes->resize(std::max(cursor.bytes->size(), cursor.at + size));
    std::memcpy(cursor.bytes->data() + cursor.at, from, size);
    cursor.at += size;
    return static_cast<ssize_t>(size);
}

int seekCookie(void* cookie, off64_t* offset, int whence) {
    Cursor& cursor = cursorOf(cookie);
    const std::size_t from = whence == SEEK_SET   ? 0
                             : whence == SEEK_CUR ? cursor.at
                                                  : cursor.bytes->size();
    const off64_t at = static_cast<off64_t>(from) + *offset;
    if (at < 0) {
        errno = EINVAL;
        return -1;
    }
    cursor.at = static_cast<std::size_t>(at);
    *offset = at;
    return 0;
}

int closeCookie(void* cookie) {
    delete &cursorOf(cookie);
    return 0;
}

} // namespace

std::string InputFolder::write(std::string_view name, const std::uint8_t* data,
                               std::size_t size) const {
    files()[path(name)].assign(reinterpret_cast<const char*>(data), size);
    return path(name);
}

std::string InputFolder::path(std::string_view name) const {
    return "memory/" + std::string(name);
}

const std::string& InputFolder::read(std::string_view name) const {
    static const std::string empty;
    const auto found = files().find(path(name));
    return found != files().end() ? found->second : empty;
}

/// Replaces base::openFile in these programs, by an option of the linker.
base::UniqueFile openInMemory(const char* path, char mode) __asm__("__wrap__ZN4base8openFileEPKcc");

base::UniqueFile openInMemory(const char* path, char mode) {
    if (mode == 'r' && files().find(path) == files().end()) {
        errno = ENOENT;
        return nullptr;
    }
    std::string& bytes = files()[path];
    if (mode == 'w') {
        bytes.clear();
    }
    constexpr cookie_io_functions_t kFunctions = {readCookie, writeCookie, seekCookie, closeCookie};
    return base::UniqueFile(
        fopencookie(new Cursor{&bytes, 0}, mode == 'w' ? "w" : "r", kFunctions));
}

} // namespace fuzz
