// SPDX-License-Identifier: MIT
#include "base/uniqueFile.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>

namespace {

TEST(UniqueFile, IsNotInheritedAndTellsAFailedWrite) {
    for (const char mode : {'r', 'w'}) {
        base::UniqueFile file = base::openFile("/dev/full", mode);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(fcntl(fileno(file.get()), F_GETFD), FD_CLOEXEC) << mode;
        std::fputs("x", file.get());
        EXPECT_NE(base::closeWritten(std::move(file)), 0) << mode;
    }
    base::UniqueFile good = base::openFile("/dev/null", 'w');
    std::fputs("x", good.get());
    EXPECT_EQ(base::closeWritten(std::move(good)), 0);
    EXPECT_EQ(base::openFile("/dev/null/none", 'r'), nullptr);
}

} // namespace
