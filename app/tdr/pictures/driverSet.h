// SPDX-License-Identifier: MIT
// The drivers that this machine offers, started when somebody needs to know them.
#pragma once

#include "files/driverLink.h"
#include "output/outcome.h"
#include "tdr/driver.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Where drivers are looked for, and how long they may take.
struct DriverOptions {
    std::vector<std::filesystem::path> directories; ///< asked before the command's own directory
    double timeout = 0;                             ///< seconds an answer may take; 0: the default
};

/// A running driver with the lines it has written to stderr, which are kept until it is known
/// whether they matter: a driver that was asked in vain complains about a file that another reads.
struct Session {
    tdr::Driver driver;
    std::shared_ptr<std::vector<std::string>> lines;
    FileNames names; ///< of the files that it was given

    /// Writes the lines kept so far to stderr, but not `shown`, which the caller shows himself.
    void passOnLines(std::string_view shown = {});

    /// What the user is told of a failure: it speaks of `file`.
    [[nodiscard]] Problem problem(std::string_view file, const tdr::Failure& failure) const;
};

/// The directory of this program.
[[nodiscard]] std::filesystem::path ownDirectory();

/// Executables named *Filter in the directories of `options` and in the command's own one, by name;
/// where two have the same name, the first directory's.
[[nodiscard]] std::vector<std::filesystem::path> findDrivers(const DriverOptions& options);

/// Why a directory of `options` adds no driver, for each that holds none or cannot be read.
[[nodiscard]] std::vector<Problem> driverlessDirectories(const DriverOptions& options);

/// The program of a driver given by name or, with a slash in it, by path.
[[nodiscard]] Outcome<std::filesystem::path> findDriver(const DriverOptions& options,
                                                        const std::string& driver);

/// Starts `program`.
[[nodiscard]] tdr::Result<Session> startSession(const std::filesystem::path& program,
                                                const DriverOptions& options);

/// All drivers found, for choosing one by a file's name.
class DriverSet {
  public:
    explicit DriverSet(DriverOptions options);

    /// Numbers of the drivers to ask whether they read `path`, in the order to ask them: first
    /// those whose files end like that. A driver that cannot be started comes last.
    [[nodiscard]] std::vector<std::size_t> readersFor(const std::filesystem::path& path);

    /// The driver that writes files with the ending of `path`.
    [[nodiscard]] Outcome<std::size_t> writerFor(const std::filesystem::path& path);

    [[nodiscard]] std::size_t size() const { return entries_.size(); }
    [[nodiscard]] std::string name(std::size_t driver) const;
    [[nodiscard]] const std::string& extension(std::size_t driver) const;

    /// A session with a driver for the caller to keep: the one it was asked with, or a new one.
    [[nodiscard]] tdr::Result<Session> take(std::size_t driver);

    /// Has the drivers end that were asked and not taken. They do so while the caller works on.
    void dismissOthers();

  private:
    struct Entry {
        std::filesystem::path program;
        bool asked = false;
        std::string extension; ///< as the driver reports it, once asked
        std::optional<Session> session;
        std::optional<tdr::Failure> failure; ///< why it could not be asked
    };
    void ask(Entry& entry);
    [[nodiscard]] std::string knownEndings();

    DriverOptions options_;
    std::vector<Entry> entries_;
};

/// True when the name of `path` ends in `extension`, upper or lower case.
[[nodiscard]] bool hasExtension(const std::filesystem::path& path, std::string_view extension);
