// SPDX-License-Identifier: MIT
// The messages of the transport: what the given functions print about failures of the silent ones.
#pragma once

#include "ipc_inner.h"
#include "ipc_wireTable.h"

namespace ipc {

/// A field that could not be written.
void sayFailedWrite(const WireField& field, int error);

/// A count that is negative or above its capacity: the packet is not sent.
void sayUnsendable(const WireField& field, const IPC_DataPacket& packet);

/// A read that failed.
void sayFailedRead(int error);

/// A packet that could not be read, or is not one.
void sayFailedRead(const PacketRead& read);

/// The system's reason for a failed listening socket (`createsocket`) or start (`doexec`), if the
/// failure has one.
void sayReason(const Trouble& trouble);

/// A failed start of the program `path`.
void sayFailedStart(const Trouble& trouble, const char* path);

} // namespace ipc
