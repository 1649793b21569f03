// SPDX-License-Identifier: MIT
// The socket transport in plain functions: packets as bytes, both halves of the handshake, waiting
// for ready sockets, starting and ending peers. docs/protocol.md describes what crosses the wire.
//
// Diagnostics go to stderr, one line each. Descriptor sets are the system's; waits have a width of
// 1024 descriptors, but only descriptors 0 to 255 are searched for and kept in sets. Nothing here
// is thread-safe.
#pragma once

#include "IPC_Link.h"

#include <sys/select.h>

namespace ipc {

/// Descriptors 0 up to this are searched for in sets; larger ones are never put into one.
inline constexpr int kSetDescriptors = 256;

/// Width of every wait on a descriptor set.
inline constexpr int kWaitWidth = 1024;

/// Puts `fd` into `set`. False, with nothing changed, when it is outside 0 ... 255.
bool addToSet(int fd, fd_set* set);

/// True when `fd` is within 0 ... 255 and in `set`.
[[nodiscard]] bool isInSet(int fd, const fd_set* set);

/// Removes `fd` from `set`; does nothing if it cannot be in it.
void removeFromSet(int fd, fd_set* set);

} // namespace ipc

// --- Packets on the wire -------------------------------------------------------------------------

/// Writes one packet, one write call a field. Returns 0; -1 when a write failed (a line on stderr)
/// or a count of `p` is negative or above its capacity (a line, nothing is sent); -2 when a SIGPIPE
/// was raised meanwhile: the peer has gone (one raised by the line on stderr does not count). The
/// signal does not end the process here; after writing, SIGPIPE has its default action in any case.
int sendsockdata(int fd, IPC_DataPacket* p);

/// Clears `p` and reads one packet into it. Returns 0, also when the peer has closed the stream
/// before the end: the missing part is then zero, so that a close between packets reads as a packet
/// without command words. -1, with a line on stderr, when a read fails or a count is negative or
/// above its capacity; after a refused count or a read that failed inside a packet the socket is
/// shut down, because the stream is out of step.
int readsockdata(int fd, IPC_DataPacket* p);

/// Reads `n` bytes into `buf`. Returns their number, which is less than `n` only when the peer has
/// closed the stream; 0 at once for `n` below 1; -1, with a line on stderr, when a read fails.
int readbuf(int fd, void* buf, int n);

/// Switches off the delay of small packets by TCP. 0, or -1 when the system refuses.
int no_tcp_delay(int fd);

// --- The child's half of the handshake -----------------------------------------------------------

/// Connects to the parent that listens on `port` of this machine. Returns the socket, which the
/// caller closes, or -1 with a line on stderr (also for a port outside 1 ... 65535, and for one
/// that is known to belong to neither this process's user nor root). On success SIGCHLD is ignored
/// from then on.
int getservsock(int port);

/// Sends the init request (class 3, code 300) from the two ids, built in `*p`, whose payload areas
/// are unchanged. 0, or -1 with a line on stderr.
int sendinitrequest(short localId, short localSubId, int fd, IPC_DataPacket* p);

/// Waits for the parent's answer and reads it into `*p`. The ids are not used. Returns 1 when it is
/// init data ready (code 101, whatever its class); 0 for any other packet, with a line on stderr;
/// -1 on a failure, or when none arrived within a second; the call then returns after about five
/// seconds.
int getinitdata(short localId, short localSubId, int fd, IPC_DataPacket* p);

// --- Waiting -------------------------------------------------------------------------------------

/// Waits until a socket of `set` can be read, with `IPC_BLOCKING_TIMED` at most the given seconds
/// and microseconds. Returns the lowest ready descriptor; 0 when the window system has an event
/// (queue modes other than `IPC_QUEUE_SOCKETS` only); -2 when the time ran out; -1 on an error,
/// with a line on stderr.
int getsockfd(fd_set* set, IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode, long seconds,
              long microseconds);

/// Sets the descriptor of the window system's events, for waits with queue modes other than
/// `IPC_QUEUE_SOCKETS`; -1 (the default): there is none, and those modes wait on sockets only. The
/// caller keeps the descriptor and calls this with -1 before closing it.
void setEventQueueFd(int fd);

/// Waits without limit for a packet from any socket of `set` and reads it into `p`. Returns that
/// socket; 0 when an event of the window system ended the wait; -1 on a failure. Both with a line.
int waitforprocessresponse(IPC_DataPacket* p, fd_set* set, IPC_QUEUE_MODE queueMode);

// --- The parent's side ---------------------------------------------------------------------------

/// Opens a socket that listens on a free port of every address, and stores the port in `*port`.
/// Returns the socket, or -1 with a line on stderr. The caller closes it and must check who
/// connects: `doexec` and `connecttoprocess` accept connections from this machine only, `doexec`
/// only from the program.
int createsocket(unsigned short* port);

/// Starts the program `path` with the arguments "-ipc_link_port" and a port, and waits until it
/// connects, as long as it runs. From then on the whole process ignores SIGCHLD. Returns the
/// connected socket (> 0), with the process id in `*pid`; 0 when `mode` is 0 and the program is
/// already running; -1 on failure, with a line on stderr. See ipc_peer.h for a start with a time
/// limit that does not change SIGCHLD.
int doexec(const char* path, IPC_EXEC_MODE mode, int* pid);

/// `doexec`, then the parent's half of the handshake, which waits without limit. Returns the socket
/// (> 0), which is in `set`, with the peer's ids; 0 when the peer answered kill; -1 on failure; -2
/// when the program is already running. The socket of a failed handshake is closed.
int startsomeprocess(const char* path, IPC_EXEC_MODE mode, short localId, short localSubId,
                     fd_set* set, int* pid, short* peerId, short* peerSubId);

/// Asks the process at the other end of `serverFd` to open another connection to this process, and
/// answers its handshake. Returns the new socket, which is in `set`; 0 when the peer answered kill;
/// -1 on failure, with a line on stderr. The socket of a failed handshake is closed.
int connecttoprocess(short localId, short localSubId, short peerId, short peerSubId, int serverFd,
                     fd_set* set);

/// Sends kill (class 2, code 400) to every socket of `set`, closes and removes it.
void killsocks(short localId, short localSubId, fd_set* set);

/// Closes `*fd` and removes it from `set`; `*fd` keeps its value. 0, or -1 when `*fd` is -1 or,
/// with a line on stderr, not in `set`.
int closesock(int* fd, fd_set* set);

// --- SIGPIPE -------------------------------------------------------------------------------------

/// Holds SIGPIPE back in this thread until `clogged_pipe`.
void no_pipe_kills();

/// Ends the effect of `no_pipe_kills`: 1 when a SIGPIPE was raised meanwhile, else 0. The signal is
/// no longer held and has its default action afterwards.
int clogged_pipe();

/// The signal handler of `clogged_pipe`.
void clogged(int signalNumber);
