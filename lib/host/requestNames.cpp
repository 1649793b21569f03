// SPDX-License-Identifier: MIT
#include "requestNames.h"

#include "IPC_Codes.h"

#include <algorithm>
#include <array>

namespace tdr {

namespace {

struct RequestName {
    std::int16_t messageClass;
    std::int16_t code;
    const char* name;
};

constexpr auto kNames = std::to_array<RequestName>({
    {ipc::kClassInit, ipc::kInitRequest, "start"},
    {ipc::kClassInfo, ipc::kQueryAccessModes, "access modes"},
    {ipc::kClassInfo, ipc::kQueryVendorName, "vendor name"},
    {ipc::kClassInfo, ipc::kQueryFormatCount, "format count"},
    {ipc::kClassInfo, ipc::kQueryCurrentFormat, "current format"},
    {ipc::kClassInfo, ipc::kQueryIthFormat, "format"},
    {ipc::kClassInfo, ipc::kQueryBounds, "bounds"},
    {ipc::kClassInfo, ipc::kQueryTiling, "tiling"},
    {ipc::kClassInfo, ipc::kQueryStampBounds, "stamp bounds"},
    {ipc::kClassInfo, ipc::kQueryCurrentCell, "current cell"},
    {ipc::kClassInfo, ipc::kQueryFormatName, "format name"},
    {ipc::kClassInfo, ipc::kQueryStartCell, "start cell"},
    {ipc::kClassInfo, ipc::kQueryEndCell, "end cell"},
    {ipc::kClassInfo, ipc::kQueryDefaultPreReadCommand, "default pre-read command"},
    {ipc::kClassInfo, ipc::kQueryDefaultPostWriteCommand, "default post-write command"},
    {ipc::kClassInfo, ipc::kQueryWriteDirection, "write direction"},
    {ipc::kClassInfo, ipc::kQueryFileNamingConvention, "file naming convention"},
    {ipc::kClassAction, ipc::kActionKill, "end"},
    {ipc::kClassAction, ipc::kActionSetPixelFormat, "set pixel format"},
    {ipc::kClassAction, ipc::kActionSetBounds, "set bounds"},
    {ipc::kClassAction, ipc::kActionSetTiling, "set tiling"},
    {ipc::kClassAction, ipc::kActionSetStampBounds, "set stamp bounds"},
    {ipc::kClassAction, ipc::kActionSetCurrentCell, "set current cell"},
    {ipc::kClassAction, ipc::kActionGetCache, "get cache"},
    {ipc::kClassAction, ipc::kActionGetLine, "get line"},
    {ipc::kClassAction, ipc::kActionGetTile, "get tile"},
    {ipc::kClassAction, ipc::kActionGetStamp, "get stamp"},
    {ipc::kClassAction, ipc::kActionPutCache, "put cache"},
    {ipc::kClassAction, ipc::kActionPutLine, "put line"},
    {ipc::kClassAction, ipc::kActionPutTile, "put tile"},
    {ipc::kClassAction, ipc::kActionPutStamp, "put stamp"},
    {ipc::kClassAction, ipc::kActionSetStartCell, "set start cell"},
    {ipc::kClassAction, ipc::kActionSetEndCell, "set end cell"},
    {ipc::kClassAction, ipc::kActionConnectToFile, "connect to file"},
    {ipc::kClassAction, ipc::kActionDisconnectFromFile, "disconnect from file"},
    {ipc::kClassAction, ipc::kActionSetPreReadCommand, "set pre-read command"},
    {ipc::kClassAction, ipc::kActionSetPostWriteCommand, "set post-write command"},
});

} // namespace

std::string nameOfRequest(std::int16_t messageClass, std::int16_t code) {
    const auto* found = std::ranges::find_if(kNames, [&](const RequestName& row) {
        return row.messageClass == messageClass && row.code == code;
    });
    return found != kNames.end()
               ? found->name
               : "request " + std::to_string(messageClass) + "/" + std::to_string(code);
}

} // namespace tdr
