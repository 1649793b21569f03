// SPDX-License-Identifier: MIT
// The link over a TCP connection on this machine.
//
// A driver creates it from its parent's port, a parent from the name of a program, which it starts.
// `linkStatus` tells whether that succeeded:
//    0  success
//    1  the child's side could not connect, or its handshake failed
//   -1  the program could not be started
//   -2  the program is already running
//   -3  the peer answered the handshake with kill
#pragma once

#include "IPC_Link.h"

#include <memory>
#include <sys/select.h>

class IPC_LinkIrix : public IPC_Link {
  public:
    /// Parent: starts the program `name` in the directory `dir` (or `name` itself if `dir` is null
    /// or empty) and waits for its handshake. `linkStatus` gives the outcome.
    IPC_LinkIrix(short localId, short localSubId, IPC_EXEC_MODE execMode,
                 IPC_SIGNAL_MODE signalMode, const char* name, const char* dir);

    /// Child: connects to the parent that listens on `port` and shakes hands with it.
    IPC_LinkIrix(short localId, short localSubId, int port);

    /// Closes the link.
    ~IPC_LinkIrix() override;

    /// Stamps and sends `p` (see IPC_Link::transmit). Returns 0 when sent; -1 when the link is not
    /// connected or, with a line on stderr, when the write failed. If the peer has gone, a line
    /// reports it, the link is closed, and the result is the value of `killOnDestroy`.
    int transmit(IPC_DataPacket* p, int stampSender) override;

    /// Waits for a packet and reads it into `p`. Returns 1 for a packet, also for an empty one
    /// without command words, which a closed connection gives; 0 when the time ran out or an event
    /// of the window system is pending; -1 on an error, with a line on stderr; -2 when the link is
    /// not connected. After forty empty packets in a row the parent is checked: if the process
    /// named as the parent is not the parent, `p` reports its death (class 2, code 202); otherwise
    /// each empty packet takes a tenth of a second. A malformed packet (a bad count, a read that
    /// fails inside it) gives -1 and closes its link, here and on the wire: all bytes after it are
    /// ignored, and `p` is empty.
    int receive(IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode, long seconds,
                long microseconds, IPC_DataPacket* p) override;

    /// Parent side: starts the program at `path` and shakes hands, unless the link is connected.
    void connect(const char* path, IPC_EXEC_MODE mode);

    /// Child side: connects to `port` and shakes hands.
    void connect(int port);

    /// Waits on all links of the process; the results are those of `getsockfd`.
    int get_next_socket(IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode, long seconds,
                        long microseconds);

    /// Closes the connection, if any; with `killOnDestroy` it first sends an end request.
    void close();

    std::unique_ptr<char[]> clientName; ///< program name, as passed to the name constructor
    std::unique_ptr<char[]> clientDir;  ///< its directory, if one was passed and not empty
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
