// SPDX-License-Identifier: MIT
// Files that are cut, bent or lie about their size.
#include "filterFixture.h"

#include <filesystem>
#include <sys/resource.h>

namespace {

/// A new file of these bytes instead of the one that was there: to truncate a file that
/// exists makes some file systems wait for the disk.
std::string fresh(const support::TempDir& folder, const char* name, const std::string& content) {
    std::filesystem::remove(folder / name);
    return folder.write(name, content);
}

constexpr int kWidth = 6;
constexpr int kHeight = 4;

std::string goodPicture(TestFilter& filter, const support::TempDir& folder) {
    filter.write(folder / "good.pic", kWidth, kHeight);
    for (int y = kHeight - 1; y >= 0; --y) {
        filter.put(hostLine(kWidth, y), y);
    }
    filter.disconnectFromFile();
    return fileBytes(folder / "good.pic");
}

std::string goodMatte() {
    std::string file = fileHeader("STAG", 40, 3, 2);
    for (int row = 0; row < 3; ++row) {
        file += be16(0xC000 | 30) + be16(0x3FFF); // 30 ones, 10 literal pixels
        file += be16(0x4000 | 20) + bytes("FFFF FFFF") + be16(0xC000 | 20); // 20 in a bit stream
    }
    return file;
}

/// Connects and reads lines from both ends and at once. Whatever the file holds, requests are
/// answered and at most one line is said.
void readEverything(TestFilter& filter, const std::string& path, const std::string& trace) {
    SCOPED_TRACE(trace);
    const support::CaptureStderr said;
    if (filter.read(path) != 0) {
        filter.disconnectFromFile();
        EXPECT_LE(linesIn(said.text()), 3) << said.text(); // a strange version has two lines
        return;
    }
    const long h = filter.bounds[3];
    std::string block(static_cast<std::size_t>(filter.bounds[2]) * 32 + 8, '\0');
    for (const long y : {h - 1, 0L, h / 2}) {
        EXPECT_EQ(filter.get(block, y), 0);
    }
    const int bitsPerPixel = filter.currentFormat == 1 ? filter.tagChannelCount : 32;
    block.assign((static_cast<std::size_t>(filter.bounds[2] * bitsPerPixel) / 8 + 1) *
                     static_cast<std::size_t>(h),
                 0);
    if (block.size() < 1000000) {
        EXPECT_EQ(filter.getAll(block), 0);
    }
    EXPECT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_LE(linesIn(said.text()), 3) << said.text();
}

TEST_F(FilterTest, EveryTruncationServesWhatIsThereAndZeros) {
    const std::string good = goodPicture(filter, folder);
    for (std::size_t size = 0; size < good.size(); ++size) {
        SCOPED_TRACE(size);
        const auto path = fresh(folder, "a.pic", good.substr(0, size));
        const support::CaptureStderr said;
        if (size < 112) { // header and packets
            EXPECT_EQ(filter.read(path), -1);
            EXPECT_LE(linesIn(said.text()), 1);
            continue;
        }
        ASSERT_EQ(filter.read(path), 0);
        bool intact = true;
        for (long y = kHeight - 1; y >= 0; --y) {
            const std::string line = filter.line(y, 'x');
            const std::string whole = hostLine(kWidth, static_cast<int>(y));
            ASSERT_EQ(line.size(), whole.size());
            for (std::size_t i = 0; i < line.size(); ++i) {
                EXPECT_TRUE(line[i] == whole[i] || line[i] == 0) << y << " " << i;
            }
            EXPECT_TRUE(intact || line == std::string(line.size(), '\0')) << "behind the cut";
            intact = intact && line == whole;
        }
        EXPECT_FALSE(intact);
        EXPECT_EQ(linesIn(said.text()), 1) << said.text();
        EXPECT_NE(said.text().find(path), std::string::npos);
        EXPECT_EQ(filter.disconnectFromFile(), 1);
    }
}

TEST_F(FilterTest, TruncatedMattesServeWhatIsThereAndZeros) {
    const std::string good = goodMatte();
    for (std::size_t size = 0; size < good.size(); ++size) {
        const auto path = fresh(folder, "a.tag", good.substr(0, size));
        readEverything(filter, path, "size " + std::to_string(size));
        const support::CaptureStderr said;
        EXPECT_EQ(filter.read(path), size < 104 ? -1 : 0) << size;
        if (size >= 104) {
            std::string line(10, '\0');
            EXPECT_EQ(filter.get(line, 0), 0);
            EXPECT_EQ(linesIn(said.text()), 1) << size << said.text();
        }
    }
}

TEST_F(FilterTest, EveryBitFlipIsSurvived) {
    const std::string goodFiles[] = {goodPicture(filter, folder), goodMatte()};
    const char* names[] = {"a.pic", "a.tag"};
    for (int kind = 0; kind < 2; ++kind) {
        const std::string& good = goodFiles[kind];
        for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
            if (bit >= 96 && bit < 88UL * 8) {
                continue; // the comment
            }
            std::string bent = good;
            bent[bit / 8] = static_cast<char>(bent[bit / 8] ^ (0x80 >> bit % 8));
            readEverything(filter, fresh(folder, names[kind], bent),
                           names[kind] + std::string(" bit ") + std::to_string(bit));
        }
    }
}

TEST_F(FilterTest, DamageIsSaidOncePerConnection) {
    const auto path = folder.write("a.pic", picHeader(8, 8, kRgbaRaw) + "xx");
    for (int connection = 0; connection < 2; ++connection) {
        ASSERT_EQ(filter.read(path), 0);
        const support::CaptureStderr said;
        std::string block(8UL * 8 * 4, 'x');
        for (long y = 0; y < 8; ++y) {
            EXPECT_NE(filter.line(y), "?");
        }
        EXPECT_EQ(filter.getAll(block), 0);
        EXPECT_EQ(said.text(), "Softimage Filter: File '" + path +
                                   "' is cut short or damaged - What is missing reads as zero.\n");
    }
}

TEST_F(FilterTest, AnOverlongPacketLosesTheRestButNotWhatWasFound) {
    // The second of three lines holds a run of 5 in a picture of width 2.
    const auto path =
        folder.write("a.pic", picHeader(2, 3, "00080210") + bytes("81 0A  84 0B  81 0C"));
    const support::CaptureStderr said;
    ASSERT_EQ(filter.read(path), 0);
    EXPECT_EQ(filter.line(0), std::string(8, '\0'));
    EXPECT_EQ(filter.line(1), std::string(8, '\0'));
    EXPECT_EQ(filter.line(2), bytes("0A000000 0A000000")) << "its position is still known";
}

TEST_F(FilterTest, ClaimsOfAHeaderCostNoMemory) {
    rusage before{};
    getrusage(RUSAGE_SELF, &before);
    const support::CaptureStderr said;
    ASSERT_EQ(filter.read(folder.write("a.tag", fileHeader("STAG", 32767, 32767, 253) + "xx")), 0);
    std::string line(32767L * 253 / 8 + 1, '\0');
    EXPECT_EQ(filter.get(line, 0), 0);
    EXPECT_EQ(filter.get(line, 32766), 0);
    ASSERT_EQ(filter.read(folder.write("a.pic", picHeader(32767, 32767, kRgbaMixed) + "xx")), 0);
    line.resize(32767UL * 4);
    EXPECT_EQ(filter.get(line, 0), 0);
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 200L * 1024) << "KiB";
}

} // namespace
