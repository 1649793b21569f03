// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace bench {

/// Measures whole pictures of a group in one request, a different one each time, over a fresh
/// connection, and writing them to new files.
void measureWholePictures(const std::string& group);

} // namespace bench
