// SPDX-License-Identifier: MIT
// The toolkit's records as JSON, with everything that they hold. Texts are valid UTF-8 (other bytes
// as "\x1b"), a number that JSON cannot express is null, and no nesting depends on a file's.
#pragma once

#include "output/jsonWriter.h"
#include "sceneDocument.h"

/// Writes the members of an object that the writer has begun.
void writeJson(JsonWriter& out, const SceneDocument& document);
