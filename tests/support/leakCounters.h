// SPDX-License-Identifier: MIT
// Counters that a test compares before and after: open descriptors, children and shared segments.
// All count only this process (or a given one), so that tests may run in parallel.
#pragma once

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace support {

/// The open descriptors of this process: "number -> target".
inline std::set<std::string> openDescriptors() {
    std::set<std::string> open;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the directory's own descriptor
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (!gone && target.string().find("/proc/") != 0) {
            open.insert(entry.path().filename().string() + " -> " + target.string());
        }
    }
    return open;
}

/// True when this process has a child, running or ended, that has not been waited for.
inline bool hasChildren() {
    siginfo_t info{};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

/// KiB by which this process has grown while the object exists.
class Growth {
  public:
    [[nodiscard]] long now() const { return most() - before_; }

  private:
    static long most() {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    }
    const long before_ = most();
};

inline const std::time_t kStarted = std::time(nullptr);

/// Ids of the shared segments that process `pid` created. Older ones than this program are of
/// another process that had the same number.
inline std::set<int> segmentsOf(pid_t pid = getpid()) {
    std::ifstream table("/proc/sysvipc/shm");
    std::set<int> ids;
    std::string row;
    std::getline(table, row);
    while (std::getline(table, row)) {
        std::istringstream columns(row);
        const std::vector<long long> values{std::istream_iterator<long long>(columns), {}};
        constexpr std::size_t kId = 1;
        constexpr std::size_t kCreator = 4;
        constexpr std::size_t kChanged = 13;
        if (values.at(kCreator) == pid && values.at(kChanged) >= kStarted) {
            ids.insert(static_cast<int>(values[kId]));
        }
    }
    return ids;
}

/// Checks that every test leaves as many descriptors, children and segments as before.
class NothingLeft : public testing::Test {
  protected:
    void TearDown() override {
        EXPECT_EQ(openDescriptors(), descriptors_);
        EXPECT_EQ(segmentsOf(), segments_);
        EXPECT_FALSE(hasChildren());
    }

  private:
    const std::set<std::string> descriptors_ = openDescriptors();
    const std::set<int> segments_ = segmentsOf();
};

} // namespace support
