// SPDX-License-Identifier: MIT
// The base class as a program: a driver that overrides nothing.
#include "TDR_Driver.h"

#include <memory>

TDR_Driver* createDriver(int port) {
    return std::make_unique<TDR_Driver>(port).release();
}
