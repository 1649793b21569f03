// SPDX-License-Identifier: MIT
// The toolkit's records as JSON, with everything that they hold. Texts are valid UTF-8 (other bytes
// as "\x1b"), a number that JSON cannot express is null, and no nesting depends on a file's.
#pragma once

#include "sceneDocument.h"

#include <nlohmann/json.hpp>

[[nodiscard]] nlohmann::ordered_json jsonOf(const SceneDocument& document);
