// SPDX-License-Identifier: MIT
// The packet and the abstract link over which packets travel.
//
// A link knows the identity of both ends, stamps it into what it sends, and offers typed helpers
// for packets that carry one value. The transport is a derived class (IPC_LinkIrix, sockets). The
// base class itself sends and receives nothing.
#pragma once

#include "IPC_Codes.h"

#include <cstdint>

/// One message. Capacities are fixed; the counts give the valid part of each field. The fields
/// cross the wire in this order, big-endian (docs/protocol.md).
struct IPC_DataPacket {
    std::int32_t numof_cmds;                 ///< valid entries of `datacmd`; 6 in this system
    std::int16_t datacmd[ipc::kMaxCommands]; ///< command words, see ipc::CommandWord
    std::int32_t numof_strings;              ///< strings in `chardata`
    std::int32_t numof_chars;                ///< valid bytes of `chardata`, with their zeros
    char chardata[ipc::kMaxChars];           ///< string bytes
    std::int32_t numof_longs;                ///< valid entries of `longdata`
    std::int32_t longdata[ipc::kMaxLongs];   ///< integer payload
    std::int32_t numof_floats;               ///< valid entries of `floatdata`
    float floatdata[ipc::kMaxFloats];        ///< float payload
};

namespace ipc {

/// The ids of both ends of a packet, as its sender sees them.
struct Ends {
    std::int16_t localId = kUnknownId;
    std::int16_t localSubId = kUnknownId;
    std::int16_t peerId = kUnknownId;
    std::int16_t peerSubId = kUnknownId;
};

/// Fills in the six command words of `p` and sets its other counts to 0. The payload areas and the
/// other command words are unchanged.
void fillHeader(IPC_DataPacket& p, Ends ends, short messageClass, short command);

} // namespace ipc

/// How a parent starts its peer's program. Values other than 0 all mean `IPC_EXEC_ALWAYS`.
enum IPC_EXEC_MODE : std::int32_t {
    IPC_EXEC_IF_NOT_RUNNING = 0, ///< only if the program is not running
    IPC_EXEC_ALWAYS = 1,         ///< always
};

/// Stored by a link, otherwise unused.
enum IPC_SIGNAL_MODE : std::int32_t {
    IPC_SIGNAL_OFF = 0,
    IPC_SIGNAL_ON = 1,
};

/// What a wait watches. Values other than 1 all mean `IPC_QUEUE_AND_SOCKETS`.
enum IPC_QUEUE_MODE : std::int32_t {
    IPC_QUEUE_AND_SOCKETS = 0, ///< sockets and the window system's event queue, where there is one
    IPC_QUEUE_SOCKETS = 1,     ///< sockets only
};

/// How long a wait lasts. Values other than 1 all mean `IPC_BLOCKING_FOREVER`.
enum IPC_BLOCKING_MODE : std::int32_t {
    IPC_BLOCKING_FOREVER = 0, ///< without limit
    IPC_BLOCKING_TIMED = 1,   ///< at most the seconds and microseconds given
};

/// A link to a peer. Not copyable: it represents one connection.
class IPC_Link {
  public:
    IPC_Link(short localId, short localSubId, IPC_EXEC_MODE execMode, IPC_SIGNAL_MODE signalMode);
    virtual ~IPC_Link();
    IPC_Link(const IPC_Link&) = delete;
    IPC_Link& operator=(const IPC_Link&) = delete;

    /// If `kill` is non-zero, closing the link first sends the peer an end request (class 4, code
    /// 400).
    virtual void setKillOnDestroy(int kill);
    virtual int getKillOnDestroy();

    /// Stamps the identities into `p` and sends it. `stampSender` non-zero also writes this end's
    /// first id; with 0 the caller's first word stays. Returns 0 when sent, -1 on failure; see the
    /// transport for more. The base class sends nothing and returns 0.
    virtual int transmit(IPC_DataPacket* p, int stampSender);

    /// Waits for a packet and reads it into `p`. The time (seconds, microseconds) counts only with
    /// `IPC_BLOCKING_TIMED`. Returns 1 when a packet was read, 0 when none arrived, -1 on error, -2
    /// when the link is not connected. The base class clears `p` and returns 0.
    virtual int receive(IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode, long seconds,
                        long microseconds, IPC_DataPacket* p);

    /// Makes `p` an empty packet from this end to the peer: six command words, all counts 0,
    /// strings, longs and floats zeroed; command words 6 and up are unchanged.
    void clearData(short messageClass, short command, IPC_DataPacket* p);

    /// Send a packet with exactly one value. The results are those of `transmit`. A null string, or
    /// one that does not fit a packet with its terminating zero (more than 2047 characters), is not
    /// sent and gives -1.
    int transmit_long(short messageClass, short command, long value);
    int transmit_float(short messageClass, short command, float value);
    int transmit_string(short messageClass, short command, const char* s);

    /// Wait up to `waitSeconds` for a packet of exactly this class and command that carries exactly
    /// one value. Returns 1 with the value in `*out`, or -1 when the time ran out or another packet
    /// arrived, which stays in `packet` and is lost to other readers. `receive_string` copies up to
    /// 2048 bytes (ipc::kMaxChars), always terminated.
    int receive_long(short messageClass, short command, long* out);
    int receive_float(short messageClass, short command, float* out);
    int receive_string(short messageClass, short command, char* out);

    std::int32_t linkStatus;    ///< outcome of the last connect: 0 success, else see IPC_LinkIrix
    std::int32_t killOnDestroy; ///< see setKillOnDestroy
    std::int32_t waitSeconds;   ///< time limit of the typed receive helpers; default 5
    IPC_EXEC_MODE execMode;
    IPC_SIGNAL_MODE signalMode;
    std::int32_t shareSocketSet; ///< non-zero: `receive` waits on all links of the process
    std::int16_t localId;
    std::int16_t localSubId;
    std::int16_t peerId;
    std::int16_t peerSubId;
    IPC_DataPacket packet; ///< scratch packet of the typed helpers

    /// Number of existing links; destroying a socket link lowers it by two.
    static std::int32_t population;

  protected:
    /// Sets every field to its initial value and zeroes `packet`.
    void initialize();

  private:
    bool receiveExpected(short messageClass, short command);
};
