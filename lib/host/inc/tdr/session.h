// SPDX-License-Identifier: MIT
// A session with one driver: start it, send it queries and actions, end it.
//
//     auto started = tdr::Session::start("/usr/lib/tdr/softimageFilter");
//     if (!started) { report(started.failure().text()); return; }
//     tdr::Session& driver = *started;
//     auto vendor = driver.vendorName();
//
// Every call sends one request and waits for its answer, at most `Limits::request`. No call throws.
// A call that runs out of memory returns `NoMemory`; the session ends if it could not store the
// driver's answer. Bytes that a driver sends without a request break the protocol. The driver's
// stderr is a pipe to this session; its last line becomes part of a failure's text. A session does
// not change the process's signal actions and waits only for its own child; a host may use any
// number of sessions, each from one thread at a time.
#pragma once

#include "tdr/result.h"
#include "tdr/sharedBlock.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace tdr {

/// How long a session waits before it gives up. The limits are generous, because reading the last
/// line of a large picture first decodes all of it.
struct Limits {
    std::chrono::milliseconds start{20'000};    ///< from exec to the start-up OK
    std::chrono::milliseconds request{120'000}; ///< from a request to its answer
    std::chrono::milliseconds end{10'000};      ///< from the end request to the exit; then SIGKILL
};

struct StartOptions {
    Limits limits;
    /// The driver leads a process group of its own: where it has to be ended, what it has started
    /// ends too, and else continues. Signals from a terminal then reach only the host.
    bool ownGroup = false;
    std::int16_t hostId = 1;    ///< this end's two ids for drivers; any values
    std::int16_t hostSubId = 1; ///< see `hostId`
    /// Called with every line (without its newline) that the driver writes to stderr, only during
    /// calls of the session. Lines that a driver writes before it answers arrive before the call
    /// returns. Lines longer than 4096 bytes arrive in pieces. Must not throw.
    std::function<void(std::string_view)> onDriverLine;
};

/// A picture's position and size. Drivers of this project report x = y = 0.
struct Bounds {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;  ///< pixels
    std::int32_t height = 0; ///< lines
    bool operator==(const Bounds&) const = default;
};

/// Two numbers of a tiling or of a stamp's size.
struct Pair {
    std::int32_t first = 0;
    std::int32_t second = 0;
    bool operator==(const Pair&) const = default;
};

/// One pixel format as a driver describes it. The two depths are bits per channel.
struct PixelFormat {
    std::int32_t depth1 = 0;
    std::int32_t depth2 = 0;
    std::vector<std::int32_t> channels; ///< one code per channel
    bool operator==(const PixelFormat&) const = default;
};

/// The names of a driver's files: prefix "test.", extension ".pic", template "%s.%d.pic".
struct FileNaming {
    std::string prefix;
    std::string extension;
    std::int32_t number = 0;
    std::string pattern;
    bool operator==(const FileNaming&) const = default;
};

enum class Access : std::int32_t { Read = 0, Write = 1 };

class DriverProcess;

/// See the top of this file. Move-only; a moved-from object may only be assigned to or destroyed.
class Session {
  public:
    /// Starts `program` (a path; not searched along PATH) and waits for its start-up OK. Fails with
    /// `CouldNotStart` for every reason except `Interrupted` and `NoMemory`; a failure leaves
    /// nothing behind.
    static Result<Session> start(const std::filesystem::path& program, StartOptions options = {});

    Session(Session&&) noexcept;
    Session& operator=(Session&&) noexcept;
    /// Ends the driver: by an end request and within `Limits::end`, or by SIGKILL if it does not
    /// exit or the session has failed. Afterwards the process is gone and has been waited for.
    ~Session();

    [[nodiscard]] const std::filesystem::path& program() const;
    [[nodiscard]] pid_t pid() const;
    /// False once a call has failed in a way that ended the session, and after `end`.
    [[nodiscard]] bool alive() const;
    /// The last line the driver has written to stderr so far, or empty.
    [[nodiscard]] const std::string& lastLine() const;
    /// The first line with "cut short or damaged" that the driver has written since the last
    /// connect, or empty. A driver writes it for a file that it reads in part.
    [[nodiscard]] const std::string& damage() const;

    // --- The sixteen queries ---------------------------------------------------------------------

    Result<std::int32_t> accessModes();
    Result<std::string> vendorName();
    Result<std::int32_t> formatCount();
    /// Index of the selected format; -1 before one is set.
    Result<std::int32_t> currentFormat();
    /// The format at `index`, or none if the driver has no format there.
    Result<std::optional<PixelFormat>> format(std::int32_t index);
    Result<Bounds> bounds();
    Result<Pair> tiling();
    Result<Pair> stampBounds();
    Result<std::int32_t> currentCell();
    Result<std::string> formatName();
    Result<std::int32_t> startCell();
    Result<std::int32_t> endCell();
    Result<std::string> defaultPreReadCommand();
    Result<std::string> defaultPostWriteCommand();
    Result<std::int32_t> writeDirection();
    Result<FileNaming> fileNaming();

    // --- The actions -----------------------------------------------------------------------------

    Status setPixelFormat(std::int32_t index);
    /// For writing: set the bounds before the file is connected.
    Status setBounds(const Bounds& bounds);
    Status setTiling(const Pair& tiling);
    /// Drivers store only the second number, as their first one (a kept quirk of the protocol).
    Status setStampBounds(const Pair& size);
    Status setCurrentCell(std::int32_t cell);
    Status setStartCell(std::int32_t cell);
    Status setEndCell(std::int32_t cell);
    /// Commands that the driver runs with the shell before it reads and after it has written; an
    /// empty one removes it. At most 2047 bytes.
    Status setPreReadCommand(std::string_view command);
    Status setPostWriteCommand(std::string_view command);

    /// Opens `path` in the driver. It must name its directory ("./a.pic"), unless that is the
    /// driver's working directory, and have at most 1023 bytes. A driver that refuses without a
    /// line does not know the file's format: `NotMyFormat`. A refusal with a line means that the
    /// file cannot be opened or is damaged: `Refused`.
    Status connectToFile(std::string_view path, Access access, std::int32_t cell = 0);
    /// Writes the lines that are held back and closes. After writing, only its success means that
    /// the system has all data; they are on the disk when the file has been synced (`fsync`).
    Status disconnectFromFile();

    /// Transfers of the whole picture, of the line `line` (0 is the bottom one) or of the stamp,
    /// from the driver into the block (get) or from the block to the driver (put). See picture.h
    /// for what a block holds.
    Status getCache(SharedBlock& block, std::int32_t cell = 0);
    Status getLine(SharedBlock& block, std::int32_t line, std::int32_t cell = 0);
    Status getStamp(SharedBlock& block, std::int32_t cell = 0);
    Status putCache(const SharedBlock& block, std::int32_t cell = 0);
    Status putLine(const SharedBlock& block, std::int32_t line, std::int32_t cell = 0);
    Status putStamp(const SharedBlock& block, std::int32_t cell = 0);

    /// Whether the driver may transfer whole pictures in this direction (getCache or putCache).
    /// False for a driver that answers OK while no file is connected: it has done nothing. Others
    /// refuse then; with a file they may still refuse. Sends one request, once a session; none, and
    /// the result is false, while a file is connected or an outside command is set, which the
    /// request could run.
    Result<bool> transfersCaches(Access access);

    /// True from a connect, even a refused one, to the disconnect.
    [[nodiscard]] bool isConnected() const;

    /// True when an outside command is set; connecting again would run it again.
    [[nodiscard]] bool hasOutsideCommands() const;

    /// The protocol cannot transfer tiles: drivers accept only 999 longs and do not answer any
    /// other count, and a packet holds 256. Always `BadArgument`; nothing is sent.
    Status getTile();
    Status putTile();

    /// A moment at which no answer is waited for any longer, besides the limit of each request;
    /// none by default. A driver that is late then is killed, as after `Limits::request`.
    void setDeadline(std::optional<std::chrono::steady_clock::time_point> deadline);

    /// Sends the end request without waiting for the driver's exit. No request may follow; `end` or
    /// the destructor still waits.
    void dismiss();

    /// Ends the driver at once by SIGKILL, when its output is no longer wanted: after an end
    /// request it would complete its file.
    void kill();

    /// Sends the end request and waits for the exit, as the destructor does, and returns how the
    /// driver ended. A driver that had to be killed gives `TimedOut`.
    Result<DriverEnd> end();

    // --- Raw packets -----------------------------------------------------------------------------

    /// Sends an info query and returns the longs of its answer, whatever their number: for drivers
    /// with their own queries.
    Result<std::vector<std::int32_t>> queryLongs(std::int16_t code,
                                                 std::span<const std::int32_t> longs = {});
    /// Sends an action request and waits for OK or error.
    Status order(std::int16_t code, std::span<const std::int32_t> longs = {},
                 std::optional<std::string_view> text = {});

  private:
    explicit Session(std::unique_ptr<DriverProcess> process);
    std::unique_ptr<DriverProcess> process_;
};

} // namespace tdr
