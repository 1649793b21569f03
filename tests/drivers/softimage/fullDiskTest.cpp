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

TEST_F(FullDisk, AMattesFailureIsAnsweredBeforeItsClose) {
    const std::string path = full("a.tag");
    const support::CaptureStderr said;
    filter.tagChannelCount = 253; // 506 bytes a line
    ASSERT_EQ(filter.write(path, 20, 100, 1), 0);
    int written = 0;
    for (long y = 99; y >= 0; --y) {
        written += filter.put(std::string(20, '\1'), y) == 0 ? 1 : 0;
    }
    EXPECT_LE(written, 20) << "no more than a stream's buffer takes";
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

/// No file grows beyond so many bytes while this lives. (Enough for a line on stderr.)
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, SIG_DFL);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

  private:
    rlimit before_{};
};

/// Writes a file of `height` lines; whether every request was answered with OK. Once one was not,
/// none is.
bool writeAll(TestFilter& filter, const std::string& path, int format,
              const std::vector<long>& order) {
    constexpr int kTagChannels = 253; // so that a line of a matte is worth mentioning
    const auto height = static_cast<long>(order.size());
    filter.tagChannelCount = kTagChannels;
    bool fine = filter.write(path, kWidth, height, format) == 0;
    for (const long y : order) {
        const bool put = filter.put(noise(), y) == 0;
        EXPECT_TRUE(fine || !put) << "an OK after an error";
        fine = put && fine;
    }
    return filter.disconnectFromFile() == 1 && fine;
}

TEST_F(FullDisk, WhereverADiskEndsOnlyOksMeanAWholeFile) {
    const struct {
        const char* name;
        const char* file;
        int format;
        std::vector<long> order;
    } cases[] = {
        {"from the top", "a.pic", 0, {3, 2, 1, 0}},
        {"all but one kept", "b.pic", 0, {0, 1, 2, 3}},
        {"a matte", "c.tag", 1, {5, 4, 3, 2, 1, 0}},
    };
    for (const auto& c : cases) {
        const std::string path = folder / c.file;
        ASSERT_TRUE(writeAll(filter, path, c.format, c.order));
        const std::string whole = fileBytes(path);
        ASSERT_GT(whole.size(), 3000U) << c.name;
        for (std::size_t lacking = 0; lacking + 300 < whole.size();
             lacking += lacking == 0 ? 1 : 401) {
            SCOPED_TRACE(std::string(c.name) + ", lacking " + std::to_string(lacking) + " of " +
                         std::to_string(whole.size()));
            const FileSizeLimit full(whole.size() - lacking);
            const support::CaptureStderr said;
            EXPECT_EQ(writeAll(filter, path, c.format, c.order), lacking == 0);
            if (lacking == 0) {
                EXPECT_EQ(said.text(), "");
                EXPECT_EQ(fileBytes(path), whole);
            } else {
                expectOneReason(said.text(), path, "File too large");
            }
        }
    }
}

} // namespace
