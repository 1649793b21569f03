// SPDX-License-Identifier: MIT
// The drivers on this machine, started when needed.
#pragma once

#include "output/outcome.h"
#include "tdr/driverLink.h"
#include "tdr/session.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Where to look for drivers, and their time limit.
struct DriverOptions {
    std::vector<std::string> directories; ///< searched before all others
    bool ownGroups = false; ///< drivers end together with the outside commands that they run
    double timeout = 0;     ///< seconds an answer may take; 0: the default
};

/// A running driver with the lines it has written to stderr. They are kept until it is known
/// whether they matter: a driver tried first may complain about a file that another one reads.
struct RunningDriver {
    tdr::Session session;
    std::shared_ptr<std::vector<std::string>> lines;
    tdr::FileNames names; ///< of the files that it has been given

    /// Writes the kept lines to stderr except `shown`, which the caller shows itself.
    void passOnLines(std::string_view shown = {});

    /// The message for a failure with `file`.
    [[nodiscard]] Problem problem(std::string_view file, const tdr::Failure& failure) const;
};

/// The directory of this program.
[[nodiscard]] std::filesystem::path ownDirectory();

/// Executables named *Filter, sorted by name; of two with the same name, the one in the first
/// directory. Searched are those of `options`, of TDR_DRIVER_PATH, ~/.local/lib/tdr/drivers, the
/// command's own one and its prefix's lib/tdr/drivers.
[[nodiscard]] std::vector<std::filesystem::path> findDrivers(const DriverOptions& options);

/// A problem for each directory of `options` that has no drivers or cannot be read.
[[nodiscard]] std::vector<Problem> driverlessDirectories(const DriverOptions& options);

/// The program of a driver given by name or, with a slash in it, by path.
[[nodiscard]] Outcome<std::filesystem::path> findDriver(const DriverOptions& options,
                                                        const std::string& driver);

/// Starts `program`.
[[nodiscard]] tdr::Result<RunningDriver> startDriver(const std::filesystem::path& program,
                                                     const DriverOptions& options);

class DriverSet;

/// Whether drivers are kept for more pictures when they have done one.
enum class Drivers : std::uint8_t { ForOne, ForMany };

/// Gives a driver back to the set that has lent it.
struct GiveBack {
    DriverSet* set = nullptr;
    std::size_t driver = 0;
    std::list<RunningDriver>::iterator place = {};
    void operator()(RunningDriver* running) const noexcept;
};
using LentDriver = std::unique_ptr<RunningDriver, GiveBack>;

/// What is listed after the endings of drivers where a matte may be written, too.
inline constexpr std::string_view kMatteToo = ", .tag";

/// All drivers found, for choosing one by a file's name. For use by one thread. Must outlive the
/// drivers that it has lent.
class DriverSet {
  public:
    explicit DriverSet(DriverOptions options, Drivers use = Drivers::ForOne);
    DriverSet(const DriverSet&) = delete;
    DriverSet& operator=(const DriverSet&) = delete;
    /// Ends all drivers.
    ~DriverSet() { dismissIdle(); }

    /// Indices of the drivers in the order in which to try them on `path`: first those with its
    /// ending. A driver that cannot be started comes last.
    [[nodiscard]] std::vector<std::size_t> readersFor(const std::filesystem::path& path);

    /// The first driver for the ending of `path`, if there is one. Fails if there is none, but a
    /// driver that could not be queried might be the one.
    [[nodiscard]] Outcome<std::optional<std::size_t>> byEnding(const std::filesystem::path& path);

    /// The driver named by `kind`: its name, or the ending of its files with or without the dot.
    /// Fails if there is none, and lists the endings that are known, and then `others`.
    [[nodiscard]] Outcome<std::optional<std::size_t>> byKind(const std::string& kind,
                                                             std::string_view others = {});

    [[nodiscard]] std::size_t size() const { return entries_.size(); }
    [[nodiscard]] std::string name(std::size_t driver) const;
    [[nodiscard]] const std::string& extension(std::size_t driver) const;

    /// Lends a driver: one that is running and idle, or a new one. It is given back with its
    /// pointer, and kept for the next caller if it is in order.
    [[nodiscard]] tdr::Result<LentDriver> take(std::size_t driver);

    /// From now on drivers that are lent have to answer until then.
    void setDeadline(std::optional<std::chrono::steady_clock::time_point> deadline) {
        deadline_ = deadline;
    }
    [[nodiscard]] bool isTimeOver() const {
        return deadline_ && std::chrono::steady_clock::now() >= *deadline_;
    }

    /// The rest of a picture needs no idle driver. Unless they are kept for more pictures, they get
    /// the end request now and end while the caller continues.
    void spareIdle();
    /// The same, and `driver` has done its part.
    void spare(LentDriver& driver);

  private:
    friend GiveBack;
    using List = std::list<RunningDriver>; ///< moving them needs no memory
    struct Entry {
        std::filesystem::path program;
        bool asked = false;
        std::string extension; ///< as the driver reports it, once queried
        List idle;
        std::optional<tdr::Failure> failure; ///< why it could not be queried
    };
    void giveBack(std::size_t driver, List::iterator place) noexcept;
    void dismissIdle();
    void ask(Entry& entry);
    template <typename Matches>
    [[nodiscard]] Outcome<std::optional<std::size_t>> find(const std::string& wanted,
                                                           Matches matches);
    [[nodiscard]] std::string knownEndings(std::string_view others);

    DriverOptions options_;
    std::vector<Entry> entries_;
    Drivers use_;
    std::optional<tdr::PrivateFolder> folder_; ///< entered once for many pictures
    std::optional<std::chrono::steady_clock::time_point> deadline_;
    List lent_;
    List dismissed_;
};
