// SPDX-License-Identifier: MIT
// A picture that is reduced while it is read, so that it never lies in memory as a whole.
#pragma once

#include "alpha.h"
#include "scaler.h"
#include "tdr/session.h"

/// Reads the lines of an open picture. Those behind very many equal lines of a damaged one are not
/// read, but taken as equal too: a small file can claim any size.
[[nodiscard]] tdr::Result<Raster> readReduced(const tdr::Session& driver,
                                              tdr::PictureSource& source, AlphaChange alpha,
                                              PixelSize reduced);
