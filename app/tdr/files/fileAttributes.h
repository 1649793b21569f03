// SPDX-License-Identifier: MIT
// What a new file takes over from the one that it replaces.
#pragma once

#include <string>

/// Gives the file `to` what the file `from` has besides its content: permissions, group, owner,
/// access control list and extended attributes. An owner or a group that the system does not let us
/// set is ours then, as after copying; what the old group was allowed and others were not, is then
/// allowed to no group. Both are descriptors; O_PATH is enough for `from`. Returns an empty text,
/// or what could not be kept and why.
[[nodiscard]] std::string takeOverAttributes(int from, int to);
