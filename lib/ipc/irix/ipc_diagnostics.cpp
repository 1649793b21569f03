// SPDX-License-Identifier: MIT
#include "ipc_diagnostics.h"

#include "base/diagnostics.h"

#include <algorithm>

namespace ipc {
namespace {

/// The messages for a failure: the system's reason after a prefix, then a line.
struct FailureText {
    PeerFailure failure;
    const char* prefix; ///< or null
    const char* line;   ///< or null
};

constexpr const char* kNoSocket = "doexec: Cannot create socket\n";

constexpr FailureText kFailureTexts[] = {
    {PeerFailure::NotExecutable, "doexec:", nullptr},
    {PeerFailure::Socket, "createsocket: socket", kNoSocket},
    {PeerFailure::Bind, "createsocket: bind", kNoSocket},
    {PeerFailure::SocketName, "createsocket: getsockname", kNoSocket},
    {PeerFailure::Listen, "createsocket: listen", kNoSocket},
    // Kept: A failed fork is reported as sproc.
    // A reader would expect the name of the call.
    {PeerFailure::Fork, "doexec: sproc", nullptr},
    {PeerFailure::Died, "doexec: prctl", nullptr},
    {PeerFailure::Accept, nullptr, "doexec: Failed to open.\n"},
};

/// The messages for this failure; null members if it has none.
FailureText textOf(PeerFailure failure) {
    const auto* const found = std::ranges::find(kFailureTexts, failure, &FailureText::failure);
    return found != std::end(kFailureTexts) ? *found : FailureText{failure, nullptr, nullptr};
}

} // namespace

void sayFailedWrite(const WireField& field, int error) {
    base::sayError(field.writeText, error);
}

void sayUnsendable(const WireField& field, const IPC_DataPacket& packet) {
    base::say("sendsockdata: Refusing to send a packet with %s %d (at most %d).\n", field.name,
              loadCount(packet, field.at), field.capacity);
}

void sayFailedRead(int error) {
    base::sayError("readbuf: read failure", error);
}

void sayFailedRead(const PacketRead& read) {
    const WireField& field = kFields[read.field];
    if (read.end == ReadEnd::BadCount) {
        base::say("readsockdata: Refusing a packet with %s %d (at most %d) - closing connection.\n",
                  field.name, read.count, field.capacity);
        return;
    }
    sayFailedRead(read.error);
    base::say("%s", field.readText);
}

void sayReason(const Trouble& trouble) {
    if (const char* const prefix = textOf(trouble.failure).prefix; prefix != nullptr) {
        base::sayError(prefix, trouble.error);
    }
}

void sayFailedStart(const Trouble& trouble, const char* path) {
    if (trouble.failure == PeerFailure::CannotOpen) {
        base::say("doexec: General error opening \"%s\"\n", path);
        return;
    }
    sayReason(trouble);
    if (const char* const line = textOf(trouble.failure).line; line != nullptr) {
        base::say("%s", line);
    }
}

} // namespace ipc
