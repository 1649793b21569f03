// SPDX-License-Identifier: MIT
// A locale with a decimal comma, for tests of numbers that must not follow it.
#pragma once

#include "support/tempDir.h"

#include <clocale>
#include <cstdlib>
#include <string>

namespace support {

/// Makes a locale with a decimal comma the process's while it lives.
class CommaLocale {
  public:
    CommaLocale() {
        const std::string path = folder_ / "comma";
        const std::string make =
            "localedef -i de_DE -f UTF-8 '" + path + "' >/dev/null 2>&1"; // warnings give 1
        static_cast<void>(std::system(make.c_str()));                     // NOLINT(cert-env33-c)
        setenv("LOCPATH", folder_.path().c_str(), 1);
        active_ = std::setlocale(LC_ALL, "comma") != nullptr;
    }
    ~CommaLocale() {
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    [[nodiscard]] bool active() const {
        return active_ && std::string(std::localeconv()->decimal_point) == ",";
    }

  private:
    support::TempDir folder_;
    bool active_ = false;
};

} // namespace support
