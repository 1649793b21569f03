// SPDX-License-Identifier: MIT
// Writes that fail: a host that got only OKs has a whole file.
#include "filterFixture.h"

#include <csignal>
#include <filesystem>
#include <random>
#include <sys/resource.h>

namespace {

constexpr int kWidth = 2000;

std::string noise() {
    std::string line;
    std::minstd_rand random(1);
    for (int i = 0; i < kWidth * 4; ++i) {
        line += static_cast<char>(random());
    }
    return line;
}

class FullDisk : public FilterTest {
  protected:
    /// A name whose file takes nothing.
    std::string full(const char* name) {
        std::filesystem::create_symlink("/dev/full", folder / name);
        return folder / name;
    }

    void expectOneReason(const std::string& said, const std::string& path, const char* reason) {
        EXPECT_EQ(said,
                  "Softimage Filter: Unable to write file '" + path + "' - " + reason + ".\n");
    }
};

TEST_F(FullDisk, FailuresThatOnlyTheCloseFindsAreAnswered) {
    const char* names[] = {"a.pic", "a.tag"};
    for (int format = 0; format < 2; ++format) {
        const std::string path = full(names[format]);
        const support::CaptureStderr said;
        ASSERT_EQ(filter.write(path, 4, 1, format), 0);
        ASSERT_EQ(filter.put(hostLine(4, 1), 0), 0) << "still in the buffer";
        EXPECT_EQ(filter.disconnectFromFile(), -1);
        expectOneReason(said.text(), path, "No space left on device");
        EXPECT_EQ(filter.disconnectFromFile(), 0);
    }
}

TEST_F(FullDisk, AfterAFailureEveryPutIsAnError) {
    const std::string path = full("a.pic");
    const support::CaptureStderr said;
    ASSERT_EQ(filter.write(path, kWidth, 100), 0);
    EXPECT_EQ(filter.put(noise(), 98), 0) << "kept back";
    EXPECT_EQ(filter.put(noise(), 99), -1);
    EXPECT_EQ(filter.put(noise(), 97), -1);
    EXPECT_EQ(filter.putAll(std::string(std::size_t{kWidth} * 400, 'x')), -1);
    EXPECT_EQ(filter.disconnectFromFile(), -1);
    expectOneReason(said.text(), path, "No space left on device");
}

TEST_F(FullDisk, AWholePictureOnAFullDiskIsAnError) {
    const support::CaptureStderr said;
    const std::string path = full("a.pic");
    ASSERT_EQ(filter.write(path, kWidth, 2), 0);
    EXPECT_EQ(filter.putAll(noise() + noise()), -1);
    EXPECT_EQ(filter.disconnectFromFile(), -1);
    expectOneReason(said.text(), path, "No space left on device");
}

TEST_F(FullDisk, ConnectingAgainTellsOfTheLossAndRunsNoCommand) {
    const support::CaptureStderr said;
    ASSERT_EQ(filter.write(full("a.pic"), 4, 1), 0);
    ASSERT_EQ(filter.put(hostLine(4, 1), 0), 0);
    EXPECT_EQ(filter.connect(folder / "b.pic", 1), -1);
    EXPECT_EQ(filter.postWrites, 0);
    EXPECT_EQ(linesIn(said.text()), 1) << said.text();
    EXPECT_EQ(filter.connect(folder / "b.pic", 1), 0);
    EXPECT_EQ(filter.disconnectFromFile(), 1);
}

TEST_F(FullDisk, AFileSizeLimitIsAnErrorToo) {
    std::signal(SIGXFSZ, SIG_IGN);
    const std::string path = folder / "a.pic";
    const support::CaptureStderr said;
    ASSERT_EQ(filter.write(path, kWidth, 40), 0);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{20000, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    int failed = 0;
    for (long y = 39; y >= 0; --y) {
        failed += filter.put(noise(), y) == 0 ? 0 : 1;
    }
    const int closed = filter.disconnectFromFile();
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_GE(failed, 25) << "more than the limit and the buffer take";
    EXPECT_EQ(closed, -1);
    expectOneReason(said.text(), path, "File too large");
}

} // namespace
