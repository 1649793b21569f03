// SPDX-License-Identifier: MIT
// Endings of file names.
#pragma once

#include "base/extension.h"

using base::hasExtension;
using base::sameLetters;
