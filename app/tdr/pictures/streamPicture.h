// SPDX-License-Identifier: MIT
// The pictures of a stream as input and output of conversions.
#pragma once

#include "pamStream.h"
#include "pictureInput.h"
#include "pictureOutput.h"

/// The picture whose header `reader` has just read.
[[nodiscard]] std::unique_ptr<PictureInput> streamInput(PamReader& reader);

/// The next picture on standard output. Fails if an earlier one is not whole, or on a terminal.
[[nodiscard]] Outcome<std::unique_ptr<PictureOutput>> streamOutput();

/// True once the reader of standard output has gone.
[[nodiscard]] bool streamIsUnwanted();
