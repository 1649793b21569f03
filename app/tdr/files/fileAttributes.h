// SPDX-License-Identifier: MIT
// The attributes that a new file takes over from the one that it replaces.
#pragma once

#include <string>

/// Copies everything except the content from the file `from` to the file `to`: permissions, group,
/// owner, access control list and extended attributes. If the system does not let us set the owner
/// or group, the file keeps ours; permissions that the old group had and others had not are then
/// removed. Both are descriptors; O_PATH is enough for `from`. Returns an empty text, or what could
/// not be kept and why.
[[nodiscard]] std::string takeOverAttributes(int from, int to);
