// SPDX-License-Identifier: MIT
// What spline, hierarchy and scene files have in common as files: opening, closing, the reason why
// that failed, and what stands in front of and behind the contents.
#pragma once

#include "base/uniqueFile.h"
#include "file/tinyFileBinary.h"
#include "file/tinyFileName.h"
#include "tinyReader.h"

#include <cstdint>
#include <cstdio>
#include <utility>

/// Opens `baseName` + `ending` and calls `read` with the stream. Afterwards a failed read is the
/// reason why the call under way fails. False, with errno set, when the file cannot be opened; true
/// when nothing failed.
template <typename Read>
bool fileRead(const char* baseName, const char* ending, Read read);

/// Opens the file, calls `write`, which answers 1 or 0, and closes the file. 1 when all of it
/// reached the file, else 0; a failed write is then the reason why the call under way fails.
template <typename Write>
int fileWrite(const char* baseName, const char* ending, Write write);

namespace text {

/// Reads the header of a text file and sets the line number behind it. False when it is not of that
/// type, or has the line ends of an old Mac, which is then why the call under way fails.
[[nodiscard]] bool readHeader(std::FILE* stream, std::uint32_t type);

/// Reports the first word that stands behind the contents of a text file.
void reportSurplus(Reader& in);

} // namespace text

namespace binary {

/// Reads the header of a binary file and reports a comment that is not the usual one, which no
/// record keeps. Results as `headerReadBinary`.
[[nodiscard]] std::uint32_t readHeader(std::FILE* stream);

/// Reports bytes that stand behind the contents of a binary file.
void reportSurplus(std::FILE* stream);

} // namespace binary

// ------------------------------------------------------------------------------- implementation

namespace textfile {

/// Closes a file that was written. A failed write is why the call under way fails; false when it
/// fails for any reason.
[[nodiscard]] bool close(base::UniqueFile file);

} // namespace textfile

template <typename Read>
bool fileRead(const char* baseName, const char* ending, Read read) {
    if (baseName == nullptr) {
        return false;
    }
    const MallocString name = fileNameOf(baseName, ending);
    const notice::Call call("read", name.get());
    const base::UniqueFile file = fileOpen(name, 'r');
    if (file == nullptr) {
        return false;
    }
    animSetLineNumber(1);
    read(file.get());
    return notice::Call::good(file.get());
}

template <typename Write>
int fileWrite(const char* baseName, const char* ending, Write write) {
    const MallocString name = fileNameOf(baseName, ending);
    const notice::Call call("write", name.get());
    base::UniqueFile file = fileOpen(name, 'w');
    if (file == nullptr) {
        return 0;
    }
    const int written = write(file.get());
    return textfile::close(std::move(file)) ? written : 0;
}
