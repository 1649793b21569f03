// SPDX-License-Identifier: MIT
#include "requestNames.h"

#include "IPC_Codes.h"

namespace tdr {

std::string nameOfRequest(std::int16_t messageClass, std::int16_t code) {
    const std::string_view name = ipc::nameOf(messageClass, code);
    return !name.empty() ? std::string(name)
                         : "request " + std::to_string(messageClass) + "/" + std::to_string(code);
}

} // namespace tdr
