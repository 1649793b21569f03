// SPDX-License-Identifier: MIT
// The words of curves, positions and splines, for `animWords`.
#pragma once

#include "text/tinyTable.h"

void fcurveListWords(const table::WordTaker& taker);

/// Of the animation form, and of spline and hierarchy files.
void splineListWords(const table::WordTaker& taker);
void splineListFileWords(const table::WordTaker& taker);
