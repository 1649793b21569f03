// SPDX-License-Identifier: MIT
// Shared by spline, hierarchy and scene files: opening, closing, the reason of a failure, and the
// text before and after the contents.
#pragma once

#include "base/uniqueFile.h"
#include "file/tinyFileBinary.h"
#include "file/tinyFileName.h"
#include "file/tinyNotice.h"
#include "tinyReader.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <utility>

/// Opens `baseName` + `ending` and calls `read` with the stream, which returns a pointer to what it
/// read, or null. Without a reason of its own the current call then fails because the file is cut
/// short or damaged.
template <typename Read>
auto fileRead(const char* baseName, const char* ending, Read read) -> decltype(read(nullptr));

/// Opens the file, calls `write`, which returns 1 or 0, and closes the file. 1 when all of it was
/// written, else 0; the system's reason is then why the current call fails.
template <typename Write>
int fileWrite(const char* baseName, const char* ending, Write write);

namespace text {

/// Reads the header of a text file and sets the line number after it. False when it is not of that
/// type, or has old Mac line ends, which is then why the current call fails.
[[nodiscard]] bool readHeader(std::FILE* stream, std::uint32_t type);

/// Reports the first word after the contents of a text file. False if what follows cannot be read,
/// which is then why the current call fails.
[[nodiscard]] bool reportSurplus(Reader& in);

} // namespace text

namespace binary {

/// Reads the header of a binary file and reports a comment other than the default one, because no
/// record keeps it. Results as `headerReadBinary`.
[[nodiscard]] std::uint32_t readHeader(std::FILE* stream);

/// Reports bytes after the contents of a binary file. Results as `text::reportSurplus`.
[[nodiscard]] bool reportSurplus(std::FILE* stream);

} // namespace binary

// --- Implementation ------------------------------------------------------------------------------

namespace textfile {

/// An open file, or a null stream, with the buffer of the stream: larger than the library's, for
/// fewer requests to the system.
struct File {
    std::unique_ptr<char[]> buffer;
    base::UniqueFile stream;
};

/// Opens a file as `fileOpen` does.
[[nodiscard]] File open(const MallocString& fileName, char mode);

/// Closes a file that was written. A failed write is why the current call fails; false if the call
/// fails for any reason.
[[nodiscard]] bool close(File file);

} // namespace textfile

template <typename Read>
auto fileRead(const char* baseName, const char* ending, Read read) -> decltype(read(nullptr)) {
    if (baseName == nullptr) {
        return nullptr;
    }
    const MallocString name = fileNameOf(baseName, ending);
    const notice::Call call("read", name.get());
    text::Reader::setWordLine(0);
    const textfile::File file = textfile::open(name, 'r');
    if (file.stream == nullptr) {
        notice::Call::failForSystem(errno);
        return nullptr;
    }
    animSetLineNumber(1);
    auto result = read(file.stream.get());
    if (result == nullptr && notice::Call::good(file.stream.get())) {
        notice::Call::fail("cut short or damaged");
    }
    return result;
}

template <typename Write>
int fileWrite(const char* baseName, const char* ending, Write write) {
    const MallocString name = fileNameOf(baseName, ending);
    const notice::Call call("write", name.get());
    textfile::File file = textfile::open(name, 'w');
    if (file.stream == nullptr) {
        notice::Call::failForSystem(errno);
        return 0;
    }
    const int written = write(file.stream.get());
    return textfile::close(std::move(file)) ? written : 0;
}
