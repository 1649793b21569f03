// SPDX-License-Identifier: MIT
// The messages of the transport: the public functions print them for failures of the silent ones.
#pragma once

#include "ipc_inner.h"
#include "ipc_wireTable.h"

namespace ipc {

/// Reports a field that could not be written.
void sayFailedWrite(const WireField& field, int error);

/// Reports a count that is negative or above its capacity: the packet is not sent.
void sayUnsendable(const WireField& field, const IPC_DataPacket& packet);

/// Reports a failed read.
void sayFailedRead(int error);

/// Reports a packet that could not be read or is malformed.
void sayFailedRead(const PacketRead& read);

/// Reports the system's reason of a failed listening socket (`createsocket`) or start (`doexec`),
/// if there is one.
void sayReason(const Trouble& trouble);

/// Reports a failed start of the program `path`.
void sayFailedStart(const Trouble& trouble, const char* path);

} // namespace ipc
