// SPDX-License-Identifier: MIT
// Access checks before a file is opened, and the outside commands around reading and writing.
#include "TDR_Driver.h"

#include "base/diagnostics.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <unistd.h>

// --- Access check --------------------------------------------------------------------------------

namespace {

/// Copies `text` with its terminating zero; the caller's buffers have room for a whole path.
void copyText(std::string_view text, char* out) {
    *std::copy(text.begin(), text.end(), out) = '\0';
}

} // namespace

int TDR_Driver::checkFilePermissions(const char* path, int forWriting, char* directory,
                                     char* baseName) {
    *directory = '\0';
    *baseName = '\0';
    char copy[base::kPathCapacity];
    const std::size_t length = strnlen(path, sizeof copy - 1);
    copyText({path, length}, copy);

    const std::string_view whole(copy, length);
    const std::size_t slash = whole.rfind('/');
    if (slash == std::string_view::npos) {
        copyText(".", directory);
        copyText(whole, baseName);
    } else {
        // Kept: A file directly under the root directory is refused.
        // A reader would expect "/x.pic" to be in "/". The text before its slash is empty, and an
        // empty directory cannot be searched.
        copyText(whole.substr(0, slash), directory);
        copyText(whole.substr(slash + 1), baseName);
    }

    if (access(directory, X_OK) != 0) {
        return -1;
    }
    if (forWriting != 0) {
        // Kept: Write permission is tested but the outcome is ignored.
        // A reader would expect a read-only file to be refused here. Only a directory that cannot
        // be searched is; the open decides.
        const bool writable =
            access(copy, F_OK) == 0 ? access(copy, W_OK) == 0 : access(directory, W_OK) == 0;
        static_cast<void>(writable);
        return 0;
    }
    return access(copy, F_OK) == 0 && access(copy, R_OK) == 0 ? 0 : -1;
}

bool TDR_Driver::mayOpen(const char* path, int forWriting) {
    char directory[base::kPathCapacity];
    char baseName[base::kPathCapacity];
    errno = 0;
    if (checkFilePermissions(path, forWriting, directory, baseName) == 0) {
        return true;
    }
    if (errno != 0) {
        base::say("%s: '%s': %s\n", me, path, std::strerror(errno));
    }
    return false;
}

// --- Outside commands ----------------------------------------------------------------------------

namespace {

/// Gives SIGCHLD its default action while it exists. The link ignores the signal process-wide, so
/// the system reaps children itself: `system` could not tell whether a command ran, and the command
/// would inherit the ignored signal.
class DefaultChildSignal {
  public:
    DefaultChildSignal() {
        struct sigaction action {};
        action.sa_handler = SIG_DFL;
        sigaction(SIGCHLD, &action, &kept_);
    }
    ~DefaultChildSignal() { sigaction(SIGCHLD, &kept_, nullptr); }
    DefaultChildSignal(const DefaultChildSignal&) = delete;
    DefaultChildSignal& operator=(const DefaultChildSignal&) = delete;

  private:
    struct sigaction kept_ {};
};

/// The arguments of an outside command after its own text.
struct CommandArguments {
    char direction; ///< 'r' before reading, 'w' after writing
    const char* fileName;
    std::int32_t startCell;
    std::int32_t currentCell;
};

/// Runs `command` through the shell and waits for it. The command and the file name are passed
/// without quoting. Returns 0 when it ran, whatever its exit status, -1 when it could not be run.
int runCommand(const char* me, const char* command, const CommandArguments& arguments) {
    if (command == nullptr) {
        return 0;
    }
    std::array<char, 2048> line;
    const int length = std::snprintf(line.data(), line.size(), "%s -%c -f %s -s %d -i %d", command,
                                     arguments.direction, arguments.fileName, arguments.startCell,
                                     arguments.currentCell);
    if (length < 0 || static_cast<std::size_t>(length) >= line.size()) {
        base::say("%s: Outside command for '%s' is longer than %zu bytes and was not run.\n", me,
                  arguments.fileName, line.size() - 1);
        return -1;
    }
    const DefaultChildSignal defaultChildSignal;
    if (std::system(line.data()) < 0) { // NOLINT(cert-env33-c): the shell is the service
        base::say("%s: Outside command for '%s' could not be run: %s\n", me, arguments.fileName,
                  std::strerror(errno));
        return -1;
    }
    return 0;
}

} // namespace

int TDR_Driver::executePreReadCommand() {
    return runCommand(me, preReadCommand.get(), {'r', fileName, startCell, currentCell});
}

int TDR_Driver::executePostWriteCommand() {
    return runCommand(me, postWriteCommand.get(), {'w', fileName, startCell, currentCell});
}

namespace {

/// Stores a copy of `text` in `member`, or null for an empty one; -1 when out of memory.
int setText(const char* me, std::unique_ptr<char[]>& member, const char* text) {
    member.reset();
    if (text == nullptr || *text == '\0') {
        return 0;
    }
    const std::size_t size = std::strlen(text) + 1;
    member.reset(new (std::nothrow) char[size]);
    if (!member) {
        base::say("%s: Out of memory.\n", me);
        return -1;
    }
    std::copy_n(text, size, member.get());
    return 0;
}

} // namespace

int TDR_Driver::set_pre_read_cmd(const char* text) {
    return setText(me, preReadCommand, text);
}
int TDR_Driver::set_post_write_cmd(const char* text) {
    return setText(me, postWriteCommand, text);
}
int TDR_Driver::set_default_pre_read_cmd(const char* text) {
    return setText(me, defaultPreReadCommand, text);
}
int TDR_Driver::set_default_post_write_cmd(const char* text) {
    return setText(me, defaultPostWriteCommand, text);
}
