// SPDX-License-Identifier: MIT
// Numbers over a picture that fills the screen, where no title is seen.
#pragma once

#include "pictures/scaler.h"

#include <string_view>

/// Where a caption is: at the left, below or above the picture's middle.
enum class CaptionPlace { Bottom, Top };

/// Writes `text`, white on black, into a corner of the window. It has digits, commas and colons;
/// other characters are blanks.
void drawCaption(std::string_view text, CaptionPlace place, Raster& window);
