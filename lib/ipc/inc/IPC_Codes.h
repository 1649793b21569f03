// SPDX-License-Identifier: MIT
// The numbers in packets: message classes, codes, identities and capacities. One list for drivers
// and hosts; docs/protocol.md describes the wire form of a packet.
#pragma once

#include <cstdint>
#include <string_view>

namespace ipc {

// --- Capacities of a packet (the protocol's) -----------------------------------------------------

inline constexpr int kMaxCommands = 256; ///< command words
inline constexpr int kMaxChars = 2048;   ///< bytes of string data, terminating zeros included
inline constexpr int kMaxLongs = 256;    ///< 32-bit integers
inline constexpr int kMaxFloats = 256;   ///< IEEE singles

/// Command words that every packet of this system carries.
inline constexpr int kCommandWords = 6;

/// Roles of the six command words.
enum CommandWord : int {
    kWordSenderId = 0,
    kWordSenderSubId = 1,
    kWordReceiverId = 2,
    kWordReceiverSubId = 3,
    kWordClass = 4,
    kWordCode = 5,
};

// --- Identities ----------------------------------------------------------------------------------

inline constexpr std::int16_t kDriverId = 102;   ///< first id of every driver process
inline constexpr std::int16_t kDriverSubId = 39; ///< second id of every driver process
inline constexpr std::int16_t kUnknownId = -1;   ///< either id of an unknown peer

// --- Message classes (command word 4) ------------------------------------------------------------

inline constexpr std::int16_t kClassInfo = 0;
inline constexpr std::int16_t kClassStatus = 1;
inline constexpr std::int16_t kClassEvent = 2;
inline constexpr std::int16_t kClassInit = 3;
inline constexpr std::int16_t kClassAction = 4;
inline constexpr std::int16_t kClassData = 5;
inline constexpr std::int16_t kClassMisc = 6;
inline constexpr int kClassCount = 7;

// --- Codes (command word 5) ----------------------------------------------------------------------

inline constexpr std::int16_t kStatusOk = 101;    ///< class 1: request done
inline constexpr std::int16_t kStatusError = 102; ///< class 1: request refused or failed

inline constexpr std::int16_t kInitRequest = 300;   ///< class 3: a child's first packet
inline constexpr std::int16_t kInitDataReady = 101; ///< class 1 or 3: the parent's answer to it

inline constexpr std::int16_t kEventKill = 201;        ///< class 2: handshake refused
inline constexpr std::int16_t kEventParentDied = 202;  ///< class 2: the parent goes or has gone
inline constexpr std::int16_t kEventKillAll = 400;     ///< class 2: sent to every socket of a set
inline constexpr std::int16_t kEventBlockTaken = 1225; ///< class 2: driver has attached the block

inline constexpr std::int16_t kActionKill = 400;        ///< class 4: end, sent on close
inline constexpr std::int16_t kActionConnectBack = 402; ///< class 4: connect to the port given

/// An info reply's code is its query's code plus this.
inline constexpr std::int16_t kReplyOffset = 100;

/// Info queries (class 0); answered in class 1 with the code plus `kReplyOffset`.
enum InfoQuery : std::int16_t {
    kQueryAccessModes = 1024,
    kQueryVendorName = 1025,
    kQueryFormatCount = 1026,
    kQueryCurrentFormat = 1027,
    kQueryIthFormat = 1028,
    kQueryBounds = 1029,
    kQueryTiling = 1030,
    kQueryStampBounds = 1031,
    kQueryCurrentCell = 1032,
    kQueryFormatName = 1033,
    kQueryStartCell = 1034,
    kQueryEndCell = 1035,
    kQueryDefaultPreReadCommand = 1036,
    kQueryDefaultPostWriteCommand = 1037,
    kQueryWriteDirection = 1038,
    kQueryFileNamingConvention = 1039,
};

/// Action requests (class 4); answered in class 1 with `kStatusOk` or `kStatusError`.
enum ActionRequest : std::int16_t {
    kActionEnd = 200,
    kActionEndAlso = 203,
    kActionSetPixelFormat = 1424,
    kActionSetBounds = 1425,
    kActionSetTiling = 1426,
    kActionSetStampBounds = 1427,
    kActionSetCurrentCell = 1428,
    kActionGetCache = 1429,
    kActionGetLine = 1430,
    kActionGetTile = 1431,
    kActionGetStamp = 1432,
    kActionPutCache = 1433,
    kActionPutLine = 1434,
    kActionPutTile = 1435,
    kActionPutStamp = 1436,
    kActionSetStartCell = 1437,
    kActionSetEndCell = 1438,
    kActionConnectToFile = 1439,
    kActionDisconnectFromFile = 1440,
    kActionSetPreReadCommand = 1441,
    kActionSetPostWriteCommand = 1442,
};

/// Access modes of a connect request (first long).
inline constexpr std::int32_t kConnectForReading = 0;
inline constexpr std::int32_t kConnectForWriting = 1; ///< any non-zero value

/// Bit of a driver's access modes: no outside commands around get and put requests.
inline constexpr std::int32_t kAccessNoCommands = 0x4000;

} // namespace ipc
