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

// --- Messages ------------------------------------------------------------------------------------

/// The message classes (command word 4): ROW(constant, number, name).
#define IPC_MESSAGE_CLASSES(ROW)                                                                   \
    ROW(kClassInfo, 0, "info")     /* queries */                                                   \
    ROW(kClassStatus, 1, "status") /* answers */                                                   \
    ROW(kClassEvent, 2, "event")                                                                   \
    ROW(kClassInit, 3, "init")                                                                     \
    ROW(kClassAction, 4, "action") /* requests, answered with kStatusOk or kStatusError */         \
    ROW(kClassData, 5, "data")                                                                     \
    ROW(kClassMisc, 6, "misc")

/// Every message: ROW(constant of its code, its class, code (command word 5), name). A new message
/// is one row here; all code takes its number and name from this list.
#define IPC_MESSAGES(ROW)                                                                          \
    ROW(kQueryAccessModes, kClassInfo, 1024, "access modes")                                       \
    ROW(kQueryVendorName, kClassInfo, 1025, "vendor name")                                         \
    ROW(kQueryFormatCount, kClassInfo, 1026, "format count")                                       \
    ROW(kQueryCurrentFormat, kClassInfo, 1027, "current format")                                   \
    ROW(kQueryIthFormat, kClassInfo, 1028, "format")                                               \
    ROW(kQueryBounds, kClassInfo, 1029, "bounds")                                                  \
    ROW(kQueryTiling, kClassInfo, 1030, "tiling")                                                  \
    ROW(kQueryStampBounds, kClassInfo, 1031, "stamp bounds")                                       \
    ROW(kQueryCurrentCell, kClassInfo, 1032, "current cell")                                       \
    ROW(kQueryFormatName, kClassInfo, 1033, "format name")                                         \
    ROW(kQueryStartCell, kClassInfo, 1034, "start cell")                                           \
    ROW(kQueryEndCell, kClassInfo, 1035, "end cell")                                               \
    ROW(kQueryDefaultPreReadCommand, kClassInfo, 1036, "default pre-read command")                 \
    ROW(kQueryDefaultPostWriteCommand, kClassInfo, 1037, "default post-write command")             \
    ROW(kQueryWriteDirection, kClassInfo, 1038, "write direction")                                 \
    ROW(kQueryFileNamingConvention, kClassInfo, 1039, "file naming convention")                    \
                                                                                                   \
    ROW(kStatusOk, kClassStatus, 101, "OK")                                                        \
    ROW(kStatusError, kClassStatus, 102, "error") /* the request was refused or failed */          \
                                                                                                   \
    ROW(kEventKill, kClassEvent, 201, "kill")               /* handshake refused */                \
    ROW(kEventParentDied, kClassEvent, 202, "parent died")  /* it goes, or has gone */             \
    ROW(kEventKillAll, kClassEvent, 400, "kill all")        /* to every socket of a set */         \
    ROW(kEventBlockTaken, kClassEvent, 1225, "block taken") /* driver has attached the block */    \
                                                                                                   \
    ROW(kInitDataReady, kClassInit, 101, "init data ready") /* the parent's answer; class 1 too */ \
    ROW(kInitRequest, kClassInit, 300, "start")             /* a child's first packet */           \
                                                                                                   \
    ROW(kActionEnd, kClassAction, 200, "end")                                                      \
    ROW(kActionEndAlso, kClassAction, 203, "end")                                                  \
    ROW(kActionKill, kClassAction, 400, "end")                 /* also sent on close */            \
    ROW(kActionConnectBack, kClassAction, 402, "connect back") /* to the port given */             \
    ROW(kActionSetPixelFormat, kClassAction, 1424, "set pixel format")                             \
    ROW(kActionSetBounds, kClassAction, 1425, "set bounds")                                        \
    ROW(kActionSetTiling, kClassAction, 1426, "set tiling")                                        \
    ROW(kActionSetStampBounds, kClassAction, 1427, "set stamp bounds")                             \
    ROW(kActionSetCurrentCell, kClassAction, 1428, "set current cell")                             \
    ROW(kActionGetCache, kClassAction, 1429, "get cache")                                          \
    ROW(kActionGetLine, kClassAction, 1430, "get line")                                            \
    ROW(kActionGetTile, kClassAction, 1431, "get tile")                                            \
    ROW(kActionGetStamp, kClassAction, 1432, "get stamp")                                          \
    ROW(kActionPutCache, kClassAction, 1433, "put cache")                                          \
    ROW(kActionPutLine, kClassAction, 1434, "put line")                                            \
    ROW(kActionPutTile, kClassAction, 1435, "put tile")                                            \
    ROW(kActionPutStamp, kClassAction, 1436, "put stamp")                                          \
    ROW(kActionSetStartCell, kClassAction, 1437, "set start cell")                                 \
    ROW(kActionSetEndCell, kClassAction, 1438, "set end cell")                                     \
    ROW(kActionConnectToFile, kClassAction, 1439, "connect to file")                               \
    ROW(kActionDisconnectFromFile, kClassAction, 1440, "disconnect from file")                     \
    ROW(kActionSetPreReadCommand, kClassAction, 1441, "set pre-read command")                      \
    ROW(kActionSetPostWriteCommand, kClassAction, 1442, "set post-write command")

#define IPC_CLASS_CONSTANT(constant, number, name) inline constexpr std::int16_t constant = number;
IPC_MESSAGE_CLASSES(IPC_CLASS_CONSTANT)
#undef IPC_CLASS_CONSTANT

#define IPC_CODE_CONSTANT(constant, messageClass, number, name)                                    \
    inline constexpr std::int16_t constant = number;
IPC_MESSAGES(IPC_CODE_CONSTANT)
#undef IPC_CODE_CONSTANT

/// The names of the classes, by their numbers.
inline constexpr std::string_view kClassNames[] = {
#define IPC_CLASS_NAME(constant, number, name) name,
    IPC_MESSAGE_CLASSES(IPC_CLASS_NAME)
#undef IPC_CLASS_NAME
};

/// A message and its name for users and documents.
struct Message {
    std::int16_t messageClass;
    std::int16_t code;
    std::string_view name;
};
inline constexpr Message kMessages[] = {
#define IPC_MESSAGE(constant, messageClass, number, name) {messageClass, number, name},
    IPC_MESSAGES(IPC_MESSAGE)
#undef IPC_MESSAGE
};

#undef IPC_MESSAGE_CLASSES
#undef IPC_MESSAGES

/// The name of a message; empty for one that is not of this protocol.
[[nodiscard]] constexpr std::string_view nameOf(std::int16_t messageClass, std::int16_t code) {
    for (const Message& message : kMessages) {
        if (message.messageClass == messageClass && message.code == code) {
            return message.name;
        }
    }
    return {};
}

/// An info reply (class 1) has its query's code plus this.
inline constexpr std::int16_t kReplyOffset = 100;

/// Access modes of a connect request (first long).
inline constexpr std::int32_t kConnectForReading = 0;
inline constexpr std::int32_t kConnectForWriting = 1; ///< any non-zero value

/// Bit of a driver's access modes: no outside commands around get and put requests.
inline constexpr std::int32_t kAccessNoCommands = 0x4000;

} // namespace ipc
