// SPDX-License-Identifier: MIT
// The common behaviour of all drivers of picture files. Built into the tests of each, whose
// driverUnderTest.h describes the differences.
#include "driverUnderTest.h"

#include "support/descriptors.h"
#include "support/failingMemory.h"
#include "support/leakCounters.h"
#include "support/memoryFile.h"

#include <algorithm>
#include <csignal>
#include <random>

namespace {

class FileDriverTest : public testing::Test {
  protected:
    static constexpr int kWidth = 5;
    static constexpr int kHeight = 6;

    /// Path of a file with the driver's ending.
    std::string in(const std::string& name) const { return folder / (name + kEnding); }

    /// Writes lines seeded with their y in this order.
    void writeLines(const std::string& path, const std::vector<int>& order) {
        ASSERT_EQ(driver.write(path, kWidth, kHeight), 0);
        for (const int y : order) {
            ASSERT_EQ(driver.put(hostLine(kWidth, y), y), 0) << y;
        }
        ASSERT_EQ(driver.disconnectFromFile(), 1);
    }

    /// The lines of the open file, bottom line first, requested from the top.
    std::vector<std::string> linesFromTheTop(const Sample& sample) {
        std::vector<std::string> lines(sample.lines.size());
        for (std::size_t y = lines.size(); y-- > 0;) {
            lines[y] = driver.line(static_cast<long>(y), 'x');
        }
        return lines;
    }

    support::TempDir folder;
    TestDriver driver;
};

// --- Connecting ----------------------------------------------------------------------------------

TEST_F(FileDriverTest, RefusalsLeaveNothingOpen) {
    constexpr const char* kSize = "outside 1 to 32767";
    const std::string created = in("x");
    std::vector<Refusal> cases = refusals(folder);
    std::filesystem::create_symlink("/proc/self/mem", in("mem"));
    const Refusal ofAll[] = {
        {"missing file", in("missing"), 0, "No such file"},
        {"missing folder", in("gone/a"), 1, "No such file"},
        {"a text", folder.write("text" + std::string(kEnding), "hello, this is not a picture"), 0,
         nullptr},
        {"empty", folder.write("empty" + std::string(kEnding), ""), 0, nullptr},
        {"FIFO without a writer", folder.fifo("in" + std::string(kEnding)), 0, nullptr},
        {"a file that cannot be read", in("mem"), 0, "Input/output error"},
        {"width 0", created, 1, kSize, 0, 1},
        {"width 32768", created, 1, kSize, 32768, 1},
        {"width 65537", created, 1, kSize, 65537, 1},
        {"height -1", created, 1, kSize, 1, -1},
        {"height 32768", created, 1, kSize, 1, 32768},
    };
    cases.insert(cases.end(), std::begin(ofAll), std::end(ofAll));
    for (const Refusal& c : cases) {
        SCOPED_TRACE(c.name);
        driver.setPixelFormat(0);
        ASSERT_EQ(driver.setBounds(0, 0, c.width, c.height), 0) << "the one before is still open";
        const support::CaptureStderr said;
        EXPECT_EQ(driver.connect(c.path, c.mode), -1);
        EXPECT_EQ(said.lines(), c.said == nullptr ? 0 : 1) << said.text();
        EXPECT_NE(said.text().find(c.said == nullptr ? "" : c.said), std::string::npos)
            << said.text();
        EXPECT_EQ(driver.disconnectFromFile(), 0);
    }
    EXPECT_FALSE(std::filesystem::exists(created));
    EXPECT_EQ(driver.postWrites, 0);
}

TEST_F(FileDriverTest, BoundsStayWhileAFileIsOpen) {
    for (const int mode : {1, 2, 0}) { // every mode except 0 is for writing
        SCOPED_TRACE(mode);
        driver.setPixelFormat(0);
        ASSERT_EQ(driver.setBounds(0, 0, 3, 2), 0);
        ASSERT_EQ(driver.connect(in("a"), mode), 0);
        EXPECT_EQ(driver.setBounds(1, 2, 3, 2), 0);
        const support::CaptureStderr said;
        EXPECT_EQ(driver.setBounds(9, 8, 4, 2), -1);
        EXPECT_EQ(driver.setBounds(9, 8, 3, 1), -1);
        const std::string line = kMe + std::string(": Unable to change bounds of existing file.\n");
        EXPECT_EQ(said.text(), line + line);
        const bool moves = kRefusedBoundsMoveTheOrigin;
        EXPECT_EQ(std::vector<int>(driver.bounds, driver.bounds + 4),
                  (moves ? std::vector{9, 8, 3, 2} : std::vector{1, 2, 3, 2}));
        EXPECT_EQ(driver.disconnectFromFile(), mode == 0 ? kClosedAfterReading : 1);
        EXPECT_EQ(driver.disconnectFromFile(), 0);
    }
}

TEST_F(FileDriverTest, ServesBlocksThatAreLargeEnoughInTheFilesDirection) {
    std::string small(std::size_t{kWidth} * 4 - 1, 'u');
    std::string line = small + 'u';
    std::string all(line.size() * kHeight, 'u');
    const auto expectServed = [&](bool gets, bool puts) {
        EXPECT_EQ(driver.putAll(all) == 0, puts);
        EXPECT_EQ(driver.get(line, kHeight - 1) == 0, gets);
        EXPECT_EQ(driver.getAll(all) == 0, gets);
        EXPECT_EQ(std::max(driver.put(small, 0), driver.get(small, 0)), -1);
        EXPECT_EQ(std::max(driver.putAll(line), driver.getAll(line)), -1);
    };
    expectServed(false, false);
    ASSERT_EQ(driver.write(in("a"), kWidth, kHeight), 0);
    expectServed(false, true);
    driver.disconnectFromFile();
    expectServed(false, false);
    ASSERT_EQ(driver.read(in("a")), 0);
    expectServed(true, false);
}

// --- Writing -------------------------------------------------------------------------------------

TEST_F(FileDriverTest, EveryOrderOfWritingGivesTheSameFile) {
    const support::CaptureStderr said;
    std::string block;
    for (int y = 0; y < kHeight; ++y) {
        block += hostLine(kWidth, y);
    }
    ASSERT_EQ(driver.write(in("block"), kWidth, kHeight), 0);
    ASSERT_EQ(driver.putAll(block), 0); // compressed whole, it may give other bytes
    ASSERT_EQ(driver.read(in("block")), 0);
    EXPECT_EQ(driver.line(2), hostLine(kWidth, 2));
    std::string same;
    folder.write("a" + std::string(kEnding), std::string(5000, 'x')); // writing truncates it
    for (const auto& order : std::vector<std::vector<int>>{{5, 4, 3, 2, 1, 0},
                                                           {0, 1, 2, 3, 4, 5},
                                                           {5, 3, 4, 2, 0, 1},
                                                           {2, 5, 4, 0, 1, 3},
                                                           {2, 1, 2, 5, 4, 3, 0}}) {
        SCOPED_TRACE(testing::PrintToString(order));
        ASSERT_NO_FATAL_FAILURE(writeLines(in("a"), order));
        same = same.empty() ? support::contentOf(in("a")) : same;
        EXPECT_EQ(support::contentOf(in("a")), same);
        ASSERT_EQ(driver.read(in("a")), 0);
        for (const int y : order) {
            EXPECT_EQ(driver.line(y), hostLine(kWidth, y)) << y;
        }
        driver.disconnectFromFile();
    }
    EXPECT_EQ(said.text(), "");
}

/// Limits the size of files; a larger one fails with EFBIG.
void limitFileSize(rlim_t bytes) {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = std::min(bytes, limit.rlim_max);
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, SIG_IGN);
}

std::string noise(int w, int seed) {
    std::string line;
    std::mt19937 random(static_cast<unsigned>(seed));
    for (int i = 0; i < w * 4; ++i) {
        line += static_cast<char>(random());
    }
    return line;
}

/// A file that is too large for its disk.
struct LongFile {
    const char* name;
    std::string file;
    int width;
    int height;
    std::vector<int> order;         ///< of its lines; empty: one request
    std::size_t buffered = 370'000; ///< a put may leave this much to the next one
};

/// Writes it; returns the number of requests, from connecting to closing, that were answered with
/// OK. After an error no further put succeeds.
std::size_t countOks(TestDriver& driver, const std::string& path, const LongFile& c) {
    bool fine = startWriting(driver, path, c.width, c.height) == 0;
    std::size_t oks = fine ? 1 : 0;
    const auto note = [&](int result) {
        EXPECT_TRUE(fine || result != 0) << "an OK after an error";
        fine = fine && result == 0;
        oks += result == 0 ? 1 : 0;
    };
    for (const int y : c.order) {
        note(driver.put(noise(c.width, y), y));
    }
    if (c.order.empty()) {
        note(driver.putAll(noise(c.width * c.height, 0)));
    }
    return oks + (driver.disconnectFromFile() == 1 ? 1 : 0);
}

std::string writeFailure(const std::string& path, const char* reason) {
    return kMe + (": Unable to write file '" + path) + "' - " + reason + ".\n";
}

TEST_F(FileDriverTest, WhereverADiskEndsOnlyOksMeanAWholeFile) {
    std::vector<int> manyLines(200);
    std::generate(manyLines.rbegin(), manyLines.rend(), [y = 0]() mutable { return y++; });
    const LongFile cases[] = {
        {"from the top", kEnding, 24000, 4, {3, 2, 1, 0}},
        {"kept at last", kEnding, 24000, 6, {5, 4, 3, 2, 0, 1}},
        {"all but one kept", kEnding, 24000, 4, {0, 1, 2, 3}},
        {"at once", kEnding, 24000, 4, {}},
        {"many lines", kSecondEnding, 100, 200, manyLines, 70000},
    };
    for (const LongFile& c : cases) {
        const std::string path = folder / (c.name + c.file);
        const std::size_t requests = std::max<std::size_t>(c.order.size(), 1) + 2;
        ASSERT_EQ(countOks(driver, path, c), requests);
        const std::string whole = support::contentOf(path);
        ASSERT_GT(whole.size(), c.buffered) << c.name;
        for (std::size_t lacking = 0; lacking + 300 < whole.size();
             lacking += lacking == 0 ? 1 : whole.size() / 25) {
            SCOPED_TRACE(std::string(c.name) + ", lacking " + std::to_string(lacking) + " of " +
                         std::to_string(whole.size()));
            const support::CaptureStderr said;
            limitFileSize(whole.size() - lacking); // enough for a line on stderr
            const std::size_t oks = countOks(driver, path, c);
            limitFileSize(RLIM_INFINITY);
            EXPECT_EQ(said.text(), lacking == 0 ? "" : writeFailure(path, "File too large"));
            EXPECT_LE(oks, requests - (lacking == 0 ? 0U : 1U));
            if (lacking == 0) {
                EXPECT_EQ(support::contentOf(path), whole);
            } else if (lacking > c.buffered && (c.order.empty() || c.order[0] != 0)) {
                EXPECT_LT(oks, requests - 1) << "only the close found it";
            }
        }
    }
}

TEST_F(FileDriverTest, ConnectingAgainTellsOfALossAndRunsNoCommand) {
    for (int connection = 0; connection < 2; ++connection) {
        const support::CaptureStderr said;
        ASSERT_EQ(driver.write(in("full"), 4, 1), 0);
        ASSERT_EQ(support::replaceDescriptors(in("full"), "/dev/full"), 1);
        ASSERT_EQ(driver.put(hostLine(4, 1), 0), 0) << "still in the buffer";
        EXPECT_EQ(driver.connect(in("b"), 1), -1);
        EXPECT_EQ(driver.postWrites, connection);
        EXPECT_EQ(said.text(), writeFailure(in("full"), "No space left on device"));
        EXPECT_EQ(driver.connect(in("b"), 1), 0);
        EXPECT_EQ(driver.read(in("b")), 0);
        EXPECT_EQ(driver.postWrites, connection + 1) << "for a file that was whole";
        driver.disconnectFromFile();
    }
}

TEST_F(FileDriverTest, WithoutMemoryARequestIsAnsweredWithAnError) {
    const std::string path = in("a");
    std::string lines[kHeight];
    for (int y = 0; y < kHeight; ++y) {
        lines[y] = hostLine(kWidth, y);
    }
    ASSERT_NO_FATAL_FAILURE(writeLines(path, {5, 4, 3, 2, 1, 0}));
    const std::string whole = support::contentOf(path);
    const support::CaptureStderr said;
    bool ok = false;
    std::string block(lines[0].size(), 'x');
    support::withEachAllocationFailing(
        [&] {
            ok = driver.read(path) == 0;
            for (const int y : {5, 4, 0, 2, 1}) { // kept lines, too
                const bool got = ok && driver.get(block, y) == 0;
                EXPECT_TRUE(!got || block == lines[y]);
                ok = got;
            }
            driver.disconnectFromFile();
        },
        [&](bool failed) { EXPECT_TRUE(ok || failed); });
    support::withEachAllocationFailing(
        [&] {
            ok = driver.write(path, kWidth, kHeight) == 0;
            for (const int y : {5, 4, 1, 2, 3, 0}) {
                ok = ok && driver.put(lines[y], y) == 0;
            }
            ok = driver.disconnectFromFile() == 1 && ok;
        },
        [&](bool failed) { EXPECT_TRUE(ok ? support::contentOf(path) == whole : failed); });
    EXPECT_EQ(said.text().find("damaged"), std::string::npos) << said.text();
}

// --- Damage --------------------------------------------------------------------------------------

/// The number of lines that equal the sample's. The others have parts of them and zeros.
std::size_t countWhole(const std::vector<std::string>& lines, const Sample& sample) {
    std::size_t whole = 0;
    for (std::size_t y = lines.size(); y-- > 0;) {
        const std::string& expected = sample.lines[y];
        const std::string& line = lines[y];
        const bool reached = whole == lines.size() - 1 - y;
        EXPECT_TRUE(!sample.fromTheTop || reached || line == std::string(line.size(), '\0'))
            << "line " << y << " is behind the cut";
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_TRUE(line.at(i) == expected[i] || line[i] == 0) << y << ", byte " << i;
        }
        whole += line == expected ? 1 : 0;
    }
    return whole;
}

TEST_F(FileDriverTest, EveryTruncationServesWhatIsThereAndZeros) {
    for (const Sample& sample : samples()) {
        support::MemoryFile file(folder, sample.name);
        const std::string path = folder / sample.name;
        const std::size_t height = sample.lines.size();
        std::size_t last = 0;
        for (std::size_t size = 0; size <= sample.bytes.size(); ++size) {
            SCOPED_TRACE(sample.name + ", " + std::to_string(size) + " bytes");
            file.set(std::string_view(sample.bytes).substr(0, size));
            const support::CaptureStderr said;
            ASSERT_EQ(driver.read(path), size < sample.head ? -1 : 0);
            if (size < sample.head) {
                EXPECT_LE(said.lines(), 1) << said.text();
                continue;
            }
            const auto lines = linesFromTheTop(sample);
            const std::size_t whole = countWhole(lines, sample);
            EXPECT_GE(whole, last) << "fewer lines than of a shorter file";
            last = whole;
            EXPECT_LE(said.lines(), size < sample.bytes.size() ? 1 : 0) << said.text();
            EXPECT_TRUE(whole == height || said.lines() == 1);
            EXPECT_EQ(said.text().find(kMe + (": File '" + path) + "' is cut short or damaged"),
                      said.text().empty() ? std::string::npos : 0U);
            ASSERT_EQ(driver.read(path), 0);
            std::string all(height * driver.lineBytes(), 'x');
            ASSERT_EQ(driver.getAll(all), 0);
            ASSERT_EQ(driver.read(path), 0);
            for (std::size_t y = 0; y < height; ++y) {
                EXPECT_EQ(driver.line(static_cast<long>(y), 'x'), lines[y]) << y;
                EXPECT_TRUE(y == 0 || // the bottom row may be the top one
                            all.substr(y * driver.lineBytes(), driver.lineBytes()) == lines[y]);
            }
        }
        EXPECT_EQ(last, height) << sample.name;
    }
}

TEST_F(FileDriverTest, AReadErrorIsAnErrorAndNotDamage) {
    constexpr int kWide = 6000;
    constexpr int kHigh = 40; // more than any reader reads ahead
    for (const std::string& path : {in("a"), folder / ("b" + std::string(kSecondEnding))}) {
        ASSERT_EQ(startWriting(driver, path, kWide, kHigh), 0);
        for (int y = kHigh; y-- > 0;) {
            ASSERT_EQ(driver.put(noise(kWide, y), y), 0);
        }
        ASSERT_EQ(driver.disconnectFromFile(), 1);
        for (const bool atOnce : {false, true}) {
            SCOPED_TRACE(path + (atOnce ? ", at once" : ", line by line"));
            ASSERT_EQ(driver.read(path), 0);
            std::string block(driver.lineBytes() * (atOnce ? kHigh : 1), '\0');
            const support::CaptureStderr said;
            ASSERT_EQ(support::replaceDescriptors(path, "/"), 1);
            int oks = 0;
            while (oks < kHigh &&
                   (atOnce ? driver.getAll(block) : driver.get(block, kHigh - 1 - oks)) == 0) {
                ++oks;
            }
            EXPECT_LT(oks, kHigh);
            EXPECT_EQ(driver.get(block, 0), -1);
            EXPECT_EQ(said.text(),
                      kMe + (": Unable to read file '" + path) + "' - Is a directory.\n");
            driver.disconnectFromFile();
        }
    }
}

TEST_F(FileDriverTest, ClaimsOfAHeaderCostNoMemory) {
    const support::Growth growth;
    for (const Claim& claim : claims()) {
        SCOPED_TRACE(claim.name);
        const support::CaptureStderr said;
        ASSERT_EQ(driver.read(folder.write(claim.name, claim.bytes)), claim.served ? 0 : -1);
        if (claim.served) {
            EXPECT_EQ(driver.line(0), std::string(driver.lineBytes(), '\0'));
            EXPECT_NE(driver.line(driver.bounds[3] - 1), "?");
            EXPECT_EQ(driver.line(0), std::string(driver.lineBytes(), '\0'));
        }
        EXPECT_EQ(said.lines(), 1) << said.text();
    }
    EXPECT_LT(growth.now(), 200 * 1024);
}

} // namespace
