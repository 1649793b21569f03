// SPDX-License-Identifier: MIT
// A locale with a decimal comma, for tests of numbers that must not follow it.
#pragma once

#include "support/tempDir.h"

#include <clocale>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace support {

/// Makes a locale with a decimal comma the process's while it lives. It is made on the spot from
/// the sources that the package "locales" brings (scripts/packages/test), so no machine has to have
/// one; a test on a machine without those fails rather than pass unseen.
class CommaLocale {
  public:
    CommaLocale() {
        const std::string make =
            "localedef -i de_DE -f UTF-8 '" + (folder_ / "comma") + "' >/dev/null 2>&1";
        static_cast<void>(std::system(make.c_str())); // NOLINT(cert-env33-c): warnings give 1
        setenv("LOCPATH", folder_.path().c_str(), 1);
        EXPECT_NE(std::setlocale(LC_ALL, "comma"), nullptr) << "run scripts/setup test";
        EXPECT_STREQ(std::localeconv()->decimal_point, ",");
    }
    ~CommaLocale() {
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

  private:
    support::TempDir folder_;
};

} // namespace support
