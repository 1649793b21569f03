// SPDX-License-Identifier: MIT
// The action requests of the host, one row each.
#include "TDR_Driver.h"

#include "IPC_LinkIrix.h"
#include "IPC_SharedMem.h"
#include "attempt.h"
#include "base/diagnostics.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

/// The contents of a request, copied because every reply and notice is built in the same packet.
struct TDR_Driver::Request {
    std::int32_t longs[5];
    char text[ipc::kMaxChars + 1]; ///< the first string, terminated

    explicit Request(const IPC_DataPacket& packet) {
        std::copy_n(packet.longdata, std::size(longs), longs);
        const auto used =
            static_cast<std::size_t>(std::clamp(packet.numof_chars, 0, ipc::kMaxChars));
        const std::size_t length = strnlen(packet.chardata, used);
        *std::copy_n(packet.chardata, length, text) = '\0';
    }

    // Transfers name their block with the first three longs and end with the cell; lines come
    // between.
    [[nodiscard]] std::int32_t size() const { return longs[0]; }
    [[nodiscard]] std::int32_t cell() const { return longs[3]; }
    [[nodiscard]] std::int32_t line() const { return longs[3]; }
    [[nodiscard]] std::int32_t cellAfterLine() const { return longs[4]; }
};

/// The host's shared block, attached while the object exists.
class TDR_Driver::AttachedBlock {
  public:
    AttachedBlock(TDR_Driver& driver, const Request& request)
        : driver_(driver), key_(request.longs[1]), id_(request.longs[2]) {
        address_ = shmem_malloc(request.size(), &key_, &id_);
        driver_.blockBytes = address_ == nullptr ? 0 : shmem_size(id_);
    }
    ~AttachedBlock() {
        driver_.blockBytes = 0;
        if (address_ != nullptr) {
            shmem_free(address_, id_);
        }
    }
    AttachedBlock(const AttachedBlock&) = delete;
    AttachedBlock& operator=(const AttachedBlock&) = delete;

    [[nodiscard]] bool attached() const { return address_ != nullptr; }
    [[nodiscard]] char* bytes() const { return static_cast<char*>(address_); }

  private:
    TDR_Driver& driver_;
    int key_;
    int id_;
    void* address_ = nullptr;
};

// --- The table -----------------------------------------------------------------------------------

/// Carries out an operation and replies with its result.
template <class... Parameters, class... Arguments>
int TDR_Driver::answer(int (TDR_Driver::*operation)(Parameters...), Arguments... arguments) {
    return reply(attempt(me, [&] { return (this->*operation)(arguments...); }));
}

struct TDR_Driver::Actions {
    /// The answer to a request with wrong counts.
    enum class BadCount : std::uint8_t {
        Unchecked,    ///< counts are not checked
        Error,        ///< the error reply
        Silent,       ///< nothing
        ErrorThenRun, ///< the error reply, but the request is still carried out
    };

    /// The strings that a request must have.
    enum class Text : std::uint8_t {
        Any,
        One,           ///< exactly one string
        OneNotEmpty,   ///< exactly one string, and a string area of at least one byte
        OneOrNotEmpty, ///< either of the two
    };

    struct Row {
        std::int16_t code;
        std::int16_t longs; ///< exact long count, if counts are checked
        Text text;
        BadCount badCount;
        int (*run)(TDR_Driver&, const Request&);
    };

    static bool countsFit(const Row& row, const IPC_DataPacket& packet) {
        const bool one = packet.numof_strings == 1;
        const bool notEmpty = packet.numof_chars >= 1;
        switch (row.text) {
        case Text::Any:
            return packet.numof_longs == row.longs;
        case Text::One:
            return packet.numof_longs == row.longs && one;
        case Text::OneNotEmpty:
            return one && notEmpty;
        case Text::OneOrNotEmpty:
            return one || notEmpty;
        }
        return false;
    }

    // Settings -----------------------------------------------------------------------------------

    static int setPixelFormat(TDR_Driver& d, const Request& r) {
        return d.answer(&TDR_Driver::setPixelFormat, r.longs[0]);
    }
    static int setBounds(TDR_Driver& d, const Request& r) {
        return d.answer(&TDR_Driver::setBounds, r.longs[0], r.longs[1], r.longs[2], r.longs[3]);
    }
    static int setTiling(TDR_Driver& d, const Request& r) {
        return d.answer(&TDR_Driver::setTiling, r.longs[0], r.longs[1]);
    }
    static int setStampBounds(TDR_Driver& d, const Request& r) {
        return d.answer(&TDR_Driver::setStampBounds, r.longs[0], r.longs[1]);
    }
    static int setCurrentCell(TDR_Driver& d, const Request& r) {
        return d.answer(&TDR_Driver::setCurrentCell, r.longs[0]);
    }
    static int setStartCell(TDR_Driver& d, const Request& r) {
        return d.answer(&TDR_Driver::setStartCell, r.longs[0]);
    }
    static int setEndCell(TDR_Driver& d, const Request& r) {
        return d.answer(&TDR_Driver::setEndCell, r.longs[0]);
    }
    static int setPreReadCommand(TDR_Driver& d, const Request& r) {
        return d.answer(&TDR_Driver::setPreReadCommand, r.text);
    }
    static int setPostWriteCommand(TDR_Driver& d, const Request& r) {
        return d.answer(&TDR_Driver::setPostWriteCommand, r.text);
    }

    // Transfers ----------------------------------------------------------------------------------

    static int getCache(TDR_Driver& d, const Request& r) {
        const AttachedBlock block(d, r);
        if (!block.attached()) {
            return d.sendError();
        }
        d.enterCell(r.cell());
        return d.answer(&TDR_Driver::getCache, block.bytes(), r.size(), d.currentCell);
    }
    static int getLine(TDR_Driver& d, const Request& r) {
        const AttachedBlock block(d, r);
        if (!block.attached()) {
            return d.sendError();
        }
        d.enterCell(r.cellAfterLine());
        return d.answer(&TDR_Driver::getLine, block.bytes(), r.size(), r.cellAfterLine(), r.line());
    }
    static int getStamp(TDR_Driver& d, const Request& r) {
        const AttachedBlock block(d, r);
        if (!block.attached()) {
            return d.sendError();
        }
        d.enterCell(r.cell());
        return d.answer(&TDR_Driver::getStamp, block.bytes(), r.size(), r.cell());
    }

    /// Notifies the host that its block is attached and its contents are about to be stored.
    static void sendBlockTaken(TDR_Driver& d) {
        if (d.link) {
            d.link->clearData(ipc::kClassEvent, ipc::kEventBlockTaken, &d.data);
            d.link->transmit(&d.data, 0);
        }
    }

    static bool commandsAroundTransfers(const TDR_Driver& d) {
        return (d.accessModes & ipc::kAccessNoCommands) == 0;
    }

    static int putCache(TDR_Driver& d, const Request& r) {
        int result = 0;
        {
            const AttachedBlock block(d, r);
            if (!block.attached()) {
                return d.sendError();
            }
            sendBlockTaken(d);
            d.currentCell = r.cell();
            result = d.answer(&TDR_Driver::putCache, block.bytes(), r.size(), r.cell());
        }
        if (commandsAroundTransfers(d)) {
            d.executePostWriteCommand();
        }
        return result;
    }
    static int putLine(TDR_Driver& d, const Request& r) {
        int result = 0;
        {
            const AttachedBlock block(d, r);
            if (!block.attached()) {
                return d.sendError();
            }
            sendBlockTaken(d);
            d.currentCell = r.cellAfterLine();
            result = d.answer(&TDR_Driver::putLine, block.bytes(), r.size(), r.cellAfterLine(),
                              r.line());
        }
        const bool lastLine = std::int64_t{r.line()} + 1 == d.bounds[3];
        if (lastLine && commandsAroundTransfers(d)) {
            d.executePostWriteCommand();
        }
        return result;
    }
    static int putStamp(TDR_Driver& d, const Request& r) {
        const AttachedBlock block(d, r);
        if (!block.attached()) {
            return d.sendError();
        }
        sendBlockTaken(d);
        return d.answer(&TDR_Driver::putStamp, block.bytes(), r.size(), r.cell());
    }

    static int getTile(TDR_Driver& d, const Request&) { return d.answer(&TDR_Driver::getTile); }
    static int putTile(TDR_Driver& d, const Request&) { return d.answer(&TDR_Driver::putTile); }

    // Files --------------------------------------------------------------------------------------

    static int connectToFile(TDR_Driver& d, const Request& r) {
        const int length = std::snprintf(d.fileName, sizeof d.fileName, "%s", r.text);
        if (static_cast<std::size_t>(length) >= sizeof d.fileName) {
            base::say("%s: File name is longer than %zu bytes and was cut: '%s'\n", d.me,
                      sizeof d.fileName - 1, d.fileName);
        }
        const std::int32_t mode = r.longs[0];
        d.currentCell = r.longs[1];
        if (mode == ipc::kConnectForReading) {
            d.executePreReadCommand();
        }
        return d.answer(&TDR_Driver::connectToFile, d.fileName, mode);
    }
    static int disconnectFromFile(TDR_Driver& d, const Request&) {
        const int result = attempt(d.me, [&] { return d.disconnectFromFile(); });
        if (result == 1) {
            d.executePostWriteCommand();
        }
        return d.reply(result);
    }

    static int end(TDR_Driver&, const Request&) {
        gExitFlag = 1;
        return 0;
    }

    static constexpr Row kRows[] = {
        {ipc::kActionEnd, 0, Text::Any, BadCount::Unchecked, end},
        {ipc::kActionEndAlso, 0, Text::Any, BadCount::Unchecked, end},
        {ipc::kActionKill, 0, Text::Any, BadCount::Unchecked, end},
        {ipc::kActionSetPixelFormat, 1, Text::Any, BadCount::Error, setPixelFormat},
        {ipc::kActionSetBounds, 4, Text::Any, BadCount::Error, setBounds},
        {ipc::kActionSetTiling, 2, Text::Any, BadCount::Error, setTiling},
        {ipc::kActionSetStampBounds, 2, Text::Any, BadCount::Error, setStampBounds},
        {ipc::kActionSetCurrentCell, 1, Text::Any, BadCount::Error, setCurrentCell},
        {ipc::kActionGetCache, 4, Text::Any, BadCount::Error, getCache},
        {ipc::kActionGetLine, 5, Text::Any, BadCount::Error, getLine},
        // Kept: Tile requests need 999 longs.
        // One would expect the counts of the other transfers. A packet holds 256 longs, so tiles
        // cannot be used, and every request is dropped without a reply.
        {ipc::kActionGetTile, 999, Text::Any, BadCount::Silent, getTile},
        {ipc::kActionGetStamp, 4, Text::Any, BadCount::Error, getStamp},
        // Kept: Put cache runs after the error reply.
        // One would expect a request with a bad count to end there. It is carried out with the
        // contents of the long slots and answered a second time.
        {ipc::kActionPutCache, 4, Text::Any, BadCount::ErrorThenRun, putCache},
        {ipc::kActionPutLine, 5, Text::Any, BadCount::Error, putLine},
        {ipc::kActionPutTile, 999, Text::Any, BadCount::Silent, putTile},
        {ipc::kActionPutStamp, 4, Text::Any, BadCount::Error, putStamp},
        {ipc::kActionSetStartCell, 1, Text::Any, BadCount::Error, setStartCell},
        // Kept: Set end cell does not answer a bad count.
        // One would expect the error reply that set start cell gives.
        {ipc::kActionSetEndCell, 1, Text::Any, BadCount::Silent, setEndCell},
        {ipc::kActionConnectToFile, 2, Text::One, BadCount::Error, connectToFile},
        {ipc::kActionDisconnectFromFile, 0, Text::Any, BadCount::Unchecked, disconnectFromFile},
        {ipc::kActionSetPreReadCommand, 0, Text::OneNotEmpty, BadCount::Error, setPreReadCommand},
        // Kept: Set post-write command accepts one string or a string area.
        // One would expect both conditions, as for the pre-read command. Either is enough here.
        {ipc::kActionSetPostWriteCommand, 0, Text::OneOrNotEmpty, BadCount::Error,
         setPostWriteCommand},
    };
    static_assert(std::ranges::adjacent_find(kRows, std::ranges::greater_equal{}, &Row::code) ==
                  std::end(kRows));
};

int TDR_Driver::doActionMessage() {
    using BadCount = Actions::BadCount;
    if (data.numof_cmds < ipc::kCommandWords) {
        return -1;
    }
    const auto* row =
        std::ranges::find(Actions::kRows, data.datacmd[ipc::kWordCode], &Actions::Row::code);
    if (row == std::end(Actions::kRows)) {
        return answer(&TDR_Driver::otherClass4Response);
    }
    const Request request(data);
    if (row->badCount != BadCount::Unchecked && !Actions::countsFit(*row, data)) {
        if (row->badCount != BadCount::Silent) {
            sendError();
        }
        if (row->badCount != BadCount::ErrorThenRun) {
            return -1;
        }
    }
    return row->run(*this, request);
}

/// Before a get request: a new cell runs the pre-read command.
void TDR_Driver::enterCell(std::int32_t cell) {
    if (cellChanged == 0 && cell == currentCell) {
        return;
    }
    // Kept: A cell that was set by request stays marked as changed.
    // One would expect the mark to be cleared once the cell was read. It stays, so every later get
    // request runs the pre-read command.
    currentCell = cell;
    if (Actions::commandsAroundTransfers(*this)) {
        executePreReadCommand();
    }
}

// --- Defaults for operations that a driver does not override -------------------------------------

int TDR_Driver::setPixelFormat(int index) {
    currentFormat = index;
    return 0;
}

int TDR_Driver::setBounds(long x, long y, long width, long height) {
    const long values[] = {x, y, width, height};
    std::ranges::transform(values, bounds, [](long v) { return static_cast<std::int32_t>(v); });
    return 0;
}

int TDR_Driver::setTiling(long width, long height) {
    tiling[0] = static_cast<std::int32_t>(width);
    tiling[1] = static_cast<std::int32_t>(height);
    return 0;
}

int TDR_Driver::setStampBounds([[maybe_unused]] long width, long height) {
    // Kept: The stamp's height is stored as its width.
    // One would expect both values to be stored in order. The first is ignored, and the second is
    // stored in the first slot.
    stampBounds[0] = static_cast<std::int32_t>(height);
    return 0;
}

int TDR_Driver::setCurrentCell(long cell) {
    if (cell != currentCell) {
        currentCell = static_cast<std::int32_t>(cell);
        cellChanged = 1;
    }
    return 0;
}

int TDR_Driver::setStartCell(long cell) {
    startCell = static_cast<std::int32_t>(cell);
    return 0;
}

int TDR_Driver::setEndCell(long cell) {
    endCell = static_cast<std::int32_t>(cell);
    return 0;
}

int TDR_Driver::setPreReadCommand(const char* command) {
    return set_pre_read_cmd(command);
}

int TDR_Driver::setPostWriteCommand(const char* command) {
    return set_post_write_cmd(command);
}

int TDR_Driver::getCache(char*, int, long) {
    return 0;
}
int TDR_Driver::putCache(char*, int, long) {
    return 0;
}
int TDR_Driver::getLine(char*, int, long, long) {
    return 0;
}
int TDR_Driver::putLine(char*, int, long, long) {
    return 0;
}
int TDR_Driver::getStamp(char*, int, long) {
    return -1;
}
int TDR_Driver::putStamp(char*, int, long) {
    return -1;
}
int TDR_Driver::getTile() {
    return -1;
}
int TDR_Driver::putTile() {
    return -1;
}
int TDR_Driver::connectToFile(char*, int) {
    return 0;
}
int TDR_Driver::disconnectFromFile() {
    return 0;
}
int TDR_Driver::otherClass4Response() {
    return -1;
}
