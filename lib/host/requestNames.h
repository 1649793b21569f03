// SPDX-License-Identifier: MIT
// Names of requests for messages.
#pragma once

#include <cstdint>
#include <string>

namespace tdr {

/// "get line" for class 4 and code 1430; "request 7/42" for an unknown request.
[[nodiscard]] std::string nameOfRequest(std::int16_t messageClass, std::int16_t code);

} // namespace tdr
