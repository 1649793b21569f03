// SPDX-License-Identifier: MIT
// The toolkit's complete records as JSON. Texts are valid UTF-8 (other bytes as "\x1b"), a number
// that JSON cannot express is null, and the nesting does not depend on a file's.
#pragma once

#include "output/jsonWriter.h"
#include "sceneDocument.h"

/// Writes the members of an object that the caller has begun.
void writeJson(JsonWriter& out, const SceneDocument& document);
