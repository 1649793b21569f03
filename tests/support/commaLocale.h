// SPDX-License-Identifier: MIT
// A locale with a decimal comma, for tests of numbers that must not follow it.
#pragma once

#include "support/tempDir.h"

#include <clocale>
#include <gtest/gtest.h>

namespace support {

/// Sets a locale with a decimal comma for the process while it exists. The locale is generated from
/// the sources of the package "locales" (scripts/packages/test), so it need not be installed;
/// without those sources the test fails rather than being skipped silently.
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
