// SPDX-License-Identifier: MIT
// The driver framework: everything that a driver for one kind of image file needs except the file
// format.
//
// A driver is a process that a host application starts and drives over a link. To write one, derive
// from TDR_Driver, fill in the identity members in your constructor, override the operations that
// your format supports, and supply the factory `createDriver`; link with `tdr_driver`, which brings
// `main`. app/drivers/null is a complete example.
//
// What the framework promises to an operation:
//  - one request at a time, from one thread; the reply is sent from the operation's result;
//  - counts of the request have been checked where the protocol checks them, strings are
//    terminated;
//  - a get or put operation is given an attached shared block, which stays attached until it
//    returns;
//  - a driver that declares its line size (`declaredLineBytes`) can trust the arguments of getLine,
//    putLine, getCache and putCache: a file is open in the right direction, the line is inside the
//    picture, and the block has room for the line or the whole picture. Any other request gets the
//    error reply, and the operation is not called.
// What it does not promise: an order of requests, a sensible `size` or `cell` and, without a
// declared line size, a sensible `line`. Without a declared line size, compare every access with
// `blockBytes`, the real size of the block.
//
// Every operation returns -1 for failure (the host gets the error reply) and anything else for
// success. An operation that throws has failed too, and its reason is printed as one line. Print
// diagnostics with base::say: the host may have died, and a broken standard error must not keep the
// driver from closing its file.
#pragma once

#include "IPC_Link.h"
#include "base/limits.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

class IPC_LinkIrix;

/// One pixel format that a driver offers; the protocol's format record, 35 words. The base class
/// sends the values unchecked.
struct TDR_PixelFormat {
    std::int32_t channelCount; ///< entries of `channels` in use, 0 to 32
    std::int32_t depth1;       ///< first depth value (bits)
    std::int32_t depth2;       ///< second depth value (bits)
    std::int32_t channels[32]; ///< channel codes
};

/// The usual format: red, green, blue and alpha of 8 bits, base::kHostPixelBytes per pixel.
inline constexpr TDR_PixelFormat kRgbaFormat = {4, 8, 8, {0x40, 0x20, 0x10, 0x08}};

/// The access modes and the write direction that drivers of files report.
inline constexpr std::int32_t kFileAccessModes = 0x4033;
inline constexpr std::int32_t kFileWriteDirection = 8;

class TDR_Driver {
  public:
    /// Creates the driver's state and, if `port` is not 0, the link to the host that listens there.
    /// Afterwards `status` is 0, or 1 when the link could not be created.
    explicit TDR_Driver(int port);
    virtual ~TDR_Driver();
    TDR_Driver(const TDR_Driver&) = delete;
    TDR_Driver& operator=(const TDR_Driver&) = delete;

    // --- The event loop --------------------------------------------------------------------------

    /// Handles one event. Override it in a driver that waits on more than the link.
    virtual int handleEvent();
    /// Waits for one packet and passes it to the handler of its message class. Returns the result
    /// of the link's receive.
    virtual int waitForIPCMessage();

    virtual int doInfoMessage();
    virtual int doStatusMessage();
    virtual int doEventNotification();
    virtual int doInitMessage();
    virtual int doActionMessage();
    virtual int doDataMessage();
    virtual int doMiscMessage();

    // --- Queries: each sends one reply packet and returns the result of the link's transmit ------

    virtual int sendAccessModes();
    virtual int sendWriteDirection();
    virtual int sendVendorName();
    virtual int sendFormatName();
    virtual int sendFormatCount();
    virtual int sendCurrentFormat();
    /// Sends format record `i`, or a reply without longs if there is none.
    virtual int sendIthFormat(int i);
    virtual int sendBounds();
    virtual int sendTiling();
    virtual int sendStampBounds();
    virtual int sendCurrentCell();
    virtual int sendStartCell();
    virtual int sendEndCell();
    virtual int sendDefaultPreReadCommand();
    virtual int sendDefaultPostWriteCommand();
    virtual int sendFileNamingConvention();
    /// Any other query: answers with an error.
    virtual int otherClass0Response();

    // --- Events ----------------------------------------------------------------------------------

    /// The host ends or has ended: ends the loop after this event.
    virtual void parentDied();
    /// Any other event: answers with an error.
    virtual int otherClass2Response();

    /// Whether the driver can work on this machine; non-zero means yes. The base class says no.
    virtual int devicePredicate();

    // --- Actions ---------------------------------------------------------------------------------
    // `block` is the host's shared block and `size` its size in bytes according to the request;
    // `blockBytes` is its real size. Lines count from the bottom of the picture.

    virtual int setPixelFormat(int index);
    /// Bounds are x, y, width, height, in pixels. The base class refuses another width or height
    /// while `isOpenFor` says that a file is open; `connectToFile` assigns `bounds` itself.
    virtual int setBounds(long x, long y, long width, long height);
    virtual int setTiling(long width, long height);
    virtual int setCurrentCell(long cell);
    virtual int setStampBounds(long width, long height);
    virtual int getStamp(char* block, int size, long cell);
    virtual int putStamp(char* block, int size, long cell);
    /// The whole picture, all lines in a row, bottom line first. The base class transfers every
    /// line, from the top one down, if the driver declares the same size for both requests.
    /// Otherwise it does nothing, and fails if `isOpenFor` says that a file is open.
    virtual int getCache(char* block, int size, long cell);
    virtual int putCache(char* block, int size, long cell);
    virtual int getLine(char* block, int size, long cell, long line);
    virtual int putLine(char* block, int size, long cell, long line);
    virtual int getTile();
    virtual int putTile();
    virtual int setStartCell(long cell);
    virtual int setEndCell(long cell);
    /// Opens the file `name` (also in `fileName`): mode 0 for reading, any other for writing.
    virtual int connectToFile(char* name, int mode);
    /// Closes the file. Returns 1 when the post-write command has to run, -1 when the file is
    /// broken.
    virtual int disconnectFromFile();
    virtual int setPreReadCommand(const char* command);
    virtual int setPostWriteCommand(const char* command);
    /// Any other action; -1 in the base class.
    virtual int otherClass4Response();

    /// Run the outside command that the host has set. 0 when it ran, whatever its exit status, or
    /// when none is set; -1 when it could not be run.
    virtual int executePreReadCommand();
    virtual int executePostWriteCommand();

    // --- Declarations for the framework's checks of transfers ------------------------------------

    enum class Transfer : std::uint8_t { GetLine, PutLine, GetCache, PutCache };

    /// Bytes of one line in the host's block for this request, in the current format; a whole
    /// picture is `bounds[3]` lines. Called only while `isOpenFor` is true. The base class declares
    /// nothing, so its requests are not checked.
    [[nodiscard]] virtual std::optional<std::size_t> declaredLineBytes(Transfer transfer) const;
    /// Whether a file is open that this request may read or write. The base class returns true.
    [[nodiscard]] virtual bool isOpenFor(Transfer transfer) const;

    // --- Services --------------------------------------------------------------------------------

    /// Answer a request: done, or failed. Return the result of the link's transmit.
    int sendOK();
    int sendError();

    /// Non-zero when the driver is not usable because the link to the host could not be created.
    std::int32_t status;

  protected:
    using CommandText = std::unique_ptr<char[]>;

    /// Sets identity, settings and buffers to their defaults; link and commands are unchanged.
    /// Called by the constructor; a derived class sets up its own state in its own constructor,
    /// after this.
    void initialize();

    /// Releases everything in the order of shutdown: the link, then the file (with its post-write
    /// command), then the commands. The destructor calls it, but virtual calls from there no longer
    /// reach a derived class: a driver that keeps a file open calls it in its own destructor.
    void cleanup();

    /// Splits `path` into `directory` and `baseName`, buffers of the caller with room for
    /// base::kPathCapacity bytes each, and tests whether the file can be opened. Returns 0 or -1;
    /// errno says why.
    int checkFilePermissions(const char* path, int forWriting, char* directory, char* baseName);

    /// The same without the parts of the path; a refusal is reported on stderr.
    bool mayOpen(const char* path, int forWriting);

    /// For `connectToFile`: closes a file that is still open, like a disconnect, and runs the
    /// post-write command that is then due. False if it cannot be closed: refuse the new file.
    bool closeOpenFile();

    /// Replace a command by a copy of `text`; an empty text removes it. The default commands are
    /// only reported to the host. 0, or -1 with a line on stderr when out of memory: the command is
    /// then not set.
    int set_pre_read_cmd(const char* text);
    int set_post_write_cmd(const char* text);
    int set_default_pre_read_cmd(const char* text);
    int set_default_post_write_cmd(const char* text);

    /// Start a reply of class 1 in `data`, and send `data`: for drivers that build their own
    /// replies. `sendReply` returns the result of the link's transmit, -1 without a link.
    void beginReply(short code);
    int sendReply();

    const char* me;         ///< driver's name, in front of every diagnostic
    const char* version;    ///< revision text, never sent
    const char* vendorName; ///< static text, as are the names below
    const char* formatName;
    const char* namingPrefix;    ///< file naming: base name
    const char* namingExtension; ///< file naming: extension, with its dot
    std::int32_t namingFlag;     ///< file naming: number
    const char* namingTemplate;  ///< file naming: template
    std::int16_t ipcProcessType; ///< receiver ids that a packet must carry to be handled
    std::int32_t ipcProcessId;
    std::int32_t accessModes;    ///< bit set; ipc::kAccessNoCommands is the only bit used here
    std::int32_t writeDirection; ///< only reported
    std::int32_t currentFormat;  ///< index of the selected pixel format, -1 if none is set
    std::int32_t formatCount;    ///< records in `formats`
    const TDR_PixelFormat* formats;
    std::int32_t bounds[4];      ///< x, y, width, height
    std::int32_t stampBounds[2]; ///< size of the preview image
    std::int32_t tiling[2];
    std::int32_t currentCell;           ///< number of the current cell (frame)
    char fileName[base::kPathCapacity]; ///< path of the connected file, terminated
    CommandText preReadCommand;
    CommandText postWriteCommand;
    CommandText defaultPreReadCommand;
    CommandText defaultPostWriteCommand;
    std::int32_t cellChanged; ///< set by setCurrentCell, never cleared
    std::int32_t startCell;
    std::int32_t endCell;
    std::unique_ptr<IPC_LinkIrix> link;
    IPC_DataPacket data; ///< every packet is received and every reply is built here

    /// Real size in bytes of the block of a get or put operation; 0 outside of one. It may be
    /// larger than the request's size.
    std::size_t blockBytes;

    /// Whether the request fits the driver's declarations: an open file for it, a line inside the
    /// picture (for a request of one line) and a block with room for it. The framework checks this
    /// before each of these operations; true for a driver that declares neither.
    [[nodiscard]] bool mayTransfer(Transfer transfer, long line = 0) const;

  private:
    struct Queries;
    struct Actions;
    struct Request;
    struct BlockRequests;

    int reply(int result);
    template <class Operation>
    int answer(Operation operation);
    int sendSafely(int (*send)(TDR_Driver& driver));
    void runAround(int (TDR_Driver::*command)());
    int sendLong(short code, std::int32_t value);
    int sendLongs(short code, const std::int32_t* values, int count);
    int sendText(short code, const char* text);
    void enterCell(std::int32_t cell);
    /// Whether the driver itself says that a file is open: false without an `isOpenFor` of its own.
    [[nodiscard]] bool saysFileIsOpen() const;

    mutable bool openIsInherited_ = false; ///< the base class's isOpenFor was called
};

/// Ends the main loop after the current event when it is not 0.
extern int gExitFlag;

/// Last component of the path that started the process.
extern char gInvocationName[256];

/// Creates the one driver of the process; supplied by each concrete driver. Null means failure;
/// `status` tells whether the link works.
TDR_Driver* createDriver(int port);
