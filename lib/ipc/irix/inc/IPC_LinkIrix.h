// SPDX-License-Identifier: MIT
// The link over a TCP connection on this machine.
//
// A driver makes it from the port that its parent gave it; a parent from a program's name, which
// starts the program. A link that could not be made says so in `linkStatus`:
//
//    0  good
//    1  the child's side could not connect, or its handshake failed
//   -1  the program could not be started
//   -2  the program is being executed already
//   -3  the peer answered the handshake with kill
#pragma once

#include "IPC_Link.h"

#include <memory>
#include <sys/select.h>

class IPC_LinkIrix : public IPC_Link {
  public:
    /// Parent: starts the program `name` in the directory `dir` (or as it is, when `dir` is null or
    /// empty) and waits for its handshake. See `linkStatus` for the outcome.
    IPC_LinkIrix(short localId, short localSubId, IPC_EXEC_MODE execMode,
                 IPC_SIGNAL_MODE signalMode, const char* name, const char* dir);

    /// Child: connects to the parent that listens on `port` and shakes hands with it.
    IPC_LinkIrix(short localId, short localSubId, int port);

    /// Closes the link.
    ~IPC_LinkIrix() override;

    /// Stamps and sends `p` (see IPC_Link::transmit). Returns 0 when sent; -1 when the link is not
    /// connected, or with a line on stderr when the write failed. When the peer has gone, a line
    /// says so, the link is closed, and the result is the value of `killOnDestroy`.
    int transmit(IPC_DataPacket* p, int stampSender) override;

    /// Waits for a packet and reads it into `p`. Returns 1 for a packet, also for one without
    /// command words, as which a closed connection reads; 0 when the time ran out or an event of
    /// the window system is pending; -1 on an error, with a line on stderr; -2 when the link is not
    /// connected. From the fortieth empty packet in a row on, when the process that is named as the
    /// parent is not the parent, `p` says that it has died (class 2, code 202); when it is, each
    /// empty packet takes a tenth of a second. A packet that is none (a bad count, a read that
    /// fails inside it) gives -1 and closes the link that it came over, here and on the wire:
    /// nothing behind it is looked at, and `p` is empty.
    int receive(IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode, long seconds,
                long microseconds, IPC_DataPacket* p) override;

    /// Parent side: starts the program at `path` and shakes hands, unless the link is connected.
    void connect(const char* path, IPC_EXEC_MODE mode);

    /// Child side: connects to `port` and shakes hands.
    void connect(int port);

    /// Waits on all links of the process; the results are those of `getsockfd`.
    int get_next_socket(IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode, long seconds,
                        long microseconds);

    /// Closes the connection, if any; with `killOnDestroy` the peer is ordered to end first.
    void close();

    std::unique_ptr<char[]> clientName; ///< program name, as given to the name constructor
    std::unique_ptr<char[]> clientDir;  ///< its directory, when one was given and not empty
    std::int32_t parentPid;  ///< the parent's process id from the init reply (child side)
    std::int32_t childPid;   ///< the started program's process id (parent side)
    std::int32_t emptyReads; ///< packets without command words in a row
    std::int32_t sockfd;     ///< the connection; -1: not connected

    static fd_set scset;              ///< the sockets of all links of the process
    static std::int32_t initializedF; ///< `scset` has been cleared

  private:
    int initialize();
    void initialize_socket_set();
    void cleanup();
    void prepare();
    void enlist();
    void hangUp();
    void hangUpOn(int fd);
    static bool isAlone(IPC_QUEUE_MODE queueMode);
    int waitForPacket(IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode, long seconds,
                      long microseconds);
    void lookForParent(IPC_DataPacket* p);
};
