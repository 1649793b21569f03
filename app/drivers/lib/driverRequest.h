// SPDX-License-Identifier: MIT
// Shared by the sources of the action requests.
#pragma once

#include "TDR_Driver.h"
#include "attempt.h"

#include <algorithm>
#include <iterator>

/// The longs of a request, copied because every reply and notice is built in the same packet.
struct TDR_Driver::Request {
    std::int32_t longs[5];

    explicit Request(const IPC_DataPacket& packet) {
        std::copy_n(packet.longdata, std::size(longs), longs);
    }

    // The first three longs of a transfer name its block, the last one is the cell; a line comes
    // before the cell.
    [[nodiscard]] std::int32_t size() const { return longs[0]; }
    [[nodiscard]] std::int32_t key() const { return longs[1]; }
    [[nodiscard]] std::int32_t id() const { return longs[2]; }
    [[nodiscard]] std::int32_t cell() const { return longs[3]; }
    [[nodiscard]] std::int32_t line() const { return longs[3]; }
    [[nodiscard]] std::int32_t cellAfterLine() const { return longs[4]; }
};

/// The six requests that work on the host's block.
struct TDR_Driver::BlockRequests {
    static int getCache(TDR_Driver& d, const Request& r);
    static int getLine(TDR_Driver& d, const Request& r);
    static int getStamp(TDR_Driver& d, const Request& r);
    static int putCache(TDR_Driver& d, const Request& r);
    static int putLine(TDR_Driver& d, const Request& r);
    static int putStamp(TDR_Driver& d, const Request& r);

  private:
    template <class Operation>
    static int get(TDR_Driver& d, const Request& r, std::int32_t cell, Operation operation);
    template <class Operation, class Due>
    static int put(TDR_Driver& d, const Request& r, Operation operation, Due postWriteIsDue);
};

/// Carries out an operation and replies with its result.
template <class Operation>
int TDR_Driver::answer(Operation operation) {
    return reply(attempt(me, operation));
}
