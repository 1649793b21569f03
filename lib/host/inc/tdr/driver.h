// SPDX-License-Identifier: MIT
// A session with one driver: start it, ask it, order it, end it.
//
//     auto started = tdr::Driver::start("/usr/lib/tdr/softimageFilter");
//     if (!started) { report(started.failure().text()); return; }
//     tdr::Driver& driver = *started;
//     auto vendor = driver.vendorName();
//
// Every call sends one request and waits for its answer, at most `Limits::request`. No call throws;
// one for which there is no memory answers `NoMemory`, and the session is over when the driver's
// answer could not be taken then. What a driver sends before it is asked breaks the protocol.
// The driver's stderr is a pipe to this session; its last line becomes part of a failure's text.
// Nothing here touches the process's signal actions, and only this session's own child is waited
// for; a host may use any number of sessions, each from one thread at a time.
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

/// How long a session waits before it gives up. Generous: a limit tells a dead driver from a slow
/// one, and reading the last line of a large picture first decodes all of it.
struct Limits {
    std::chrono::milliseconds start{20'000};    ///< from exec to the start-up OK
    std::chrono::milliseconds request{120'000}; ///< from a request to its answer
    std::chrono::milliseconds end{10'000};      ///< from the order to end to the end; then SIGKILL
};

struct StartOptions {
    Limits limits;
    std::int16_t hostId = 1;    ///< this end's two ids, as drivers see them; any values do
    std::int16_t hostSubId = 1; ///< see `hostId`
    /// Called with every line (without its newline) that the driver writes to stderr, during calls
    /// of the session only. What a driver writes before it answers comes before the call returns.
    /// Lines longer than 4096 bytes come in pieces. Must not throw.
    std::function<void(std::string_view)> onDriverLine;
};

/// A picture's place and size. Drivers of this project report x = y = 0.
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

/// How a driver's files are called: prefix "test.", extension ".pic", template "%s.%d.pic".
struct FileNaming {
    std::string prefix;
    std::string extension;
    std::int32_t number = 0;
    std::string pattern;
    bool operator==(const FileNaming&) const = default;
};

enum class Access : std::int32_t { Read = 0, Write = 1 };

class DriverProcess;

/// See the head of this file. Move-only; one that was moved from may only be assigned to or
/// destroyed.
class Driver {
  public:
    /// Starts `program` (a path; not searched along PATH) and waits for its start-up OK. Fails with
    /// `CouldNotStart` for every reason but `Interrupted` and `NoMemory`; nothing is left behind
    /// then.
    static Result<Driver> start(const std::filesystem::path& program, StartOptions options = {});

    Driver(Driver&&) noexcept;
    Driver& operator=(Driver&&) noexcept;
    /// Ends the driver: politely and within `Limits::end`, or by SIGKILL when it does not go or the
    /// session had failed. Afterwards the process is gone and has been waited for.
    ~Driver();

    [[nodiscard]] const std::filesystem::path& program() const;
    [[nodiscard]] pid_t pid() const;
    /// False once a call has failed in a way that ended the session, and after `end`.
    [[nodiscard]] bool alive() const;
    /// The last line the driver has written to stderr so far, or empty.
    [[nodiscard]] const std::string& lastLine() const;
    /// The line with "cut short or damaged" in it that the driver has written since the last
    /// connect, or empty: what a driver says of a file that it reads in part. The first one of
    /// several.
    [[nodiscard]] const std::string& damage() const;

    // --- The sixteen queries ---------------------------------------------------------------------

    Result<std::int32_t> accessModes();
    Result<std::string> vendorName();
    Result<std::int32_t> formatCount();
    /// Index of the selected format; -1 before one is set.
    Result<std::int32_t> currentFormat();
    /// The format at `index`, or no format where the driver has none there.
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
    /// For writing: to be set before the file is connected.
    Status setBounds(const Bounds& bounds);
    Status setTiling(const Pair& tiling);
    /// Drivers keep only the second number, as their first one (a kept quirk of the protocol).
    Status setStampBounds(const Pair& size);
    Status setCurrentCell(std::int32_t cell);
    Status setStartCell(std::int32_t cell);
    Status setEndCell(std::int32_t cell);
    /// Commands that the driver runs with the shell before it reads and after it has written; an
    /// empty one switches them off. At most 2047 bytes.
    Status setPreReadCommand(std::string_view command);
    Status setPostWriteCommand(std::string_view command);

    /// Opens `path` in the driver. It must name its directory ("./a.pic") to be searched from
    /// anywhere but the driver's working directory, and have at most 1023 bytes. A driver that
    /// refuses without a line does not know the file's format: `NotMyFormat`. One that refuses with
    /// a line cannot open it, or it is damaged: `Refused`.
    Status connectToFile(std::string_view path, Access access, std::int32_t cell = 0);
    /// Writes what is kept back and closes. After writing, only its success says that all has been
    /// handed to the system; on the disk it is when the file has been synced (`fsync`).
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

    /// Whether the driver moves whole pictures (getCache, putCache). One that does not, agrees to
    /// such a request all the same and does nothing, so that it can be told only while no file is
    /// connected, when the others refuse. Asked once a session; false, and not asked, while a file
    /// is connected.
    Result<bool> transfersCaches();

    /// True from a connect, also a refused one, to the disconnect.
    [[nodiscard]] bool isConnected() const;

    /// True when an outside command is set; connecting again would run it again.
    [[nodiscard]] bool hasOutsideCommands() const;

    /// Tiles are out of the protocol's own reach: drivers act on 999 longs only and leave
    /// everything else unanswered, and a packet holds 256. Always `BadArgument`; nothing is sent.
    Status getTile();
    Status putTile();

    /// Orders the driver to end without waiting for it: it does so while the caller goes on. No
    /// request may follow; `end` or the destructor still waits.
    void dismiss();

    /// Ends the driver at once, by SIGKILL, when nobody wants any more what it is writing: the
    /// order to end would have it complete its file.
    void kill();

    /// Orders the driver to end and waits for it, as the destructor does, and tells how it ended. A
    /// driver that had to be killed gives `TimedOut`.
    Result<DriverEnd> end();

    // --- Packets as they are ---------------------------------------------------------------------

    /// Sends an info query and hands back the longs of its answer, whatever their number: for
    /// drivers with queries of their own.
    Result<std::vector<std::int32_t>> queryLongs(std::int16_t code,
                                                 std::span<const std::int32_t> longs = {});
    /// Sends an action request and waits for OK or error.
    Status order(std::int16_t code, std::span<const std::int32_t> longs = {},
                 std::optional<std::string_view> text = {});

  private:
    explicit Driver(std::unique_ptr<DriverProcess> process);
    std::unique_ptr<DriverProcess> process_;
};

} // namespace tdr
