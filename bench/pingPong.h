// SPDX-License-Identifier: MIT
// The lower limit of a query: two processes that make exactly the system calls of the protocol and
// nothing else. A packet without payload is written field by field in six writes, and awaited with
// one select.
#pragma once

#include <sys/types.h>

namespace bench {

class PingPong {
  public:
    /// Starts the other process; it ends with this object.
    PingPong();
    ~PingPong();
    PingPong(const PingPong&) = delete;
    PingPong& operator=(const PingPong&) = delete;

    /// Sends one packet and reads one.
    void roundTrip();

  private:
    int socket_ = -1;
    pid_t peer_ = -1;
};

} // namespace bench
