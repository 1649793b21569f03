// SPDX-License-Identifier: MIT
// TAG mattes: packed bits to the host, and the rows that are written.
#include "filterFixture.h"
#include "matteBits.h"

namespace {

constexpr int kOnes = 0xC000; // code words: a run of so many ones or zeros; a literal of 14 bits
constexpr int kZeros = 0x8000;

TEST_F(FilterTest, MatteBitsArePackedFromBitZeroUpwards) {
    // Width 10: pixels 1100000001 on top, 0000000011 below. Literals keep 14 bits from bit 13 down.
    const auto path = folder.write("m.tag", fileHeader("STAG", 10, 2, 1) + be16(0b11000000010000) +
                                                be16(0b00000000110000));
    ASSERT_EQ(filter.read(path), 0);
    EXPECT_EQ(filter.bounds[2], 10);
    EXPECT_EQ(filter.currentFormat, 1);
    std::string line(2, '\0');
    ASSERT_EQ(filter.get(line, 0), 0);
    EXPECT_EQ(line, bytes("00 03"));
    line = bytes("80 80");
    ASSERT_EQ(filter.get(line, 1), 0);
    EXPECT_EQ(line, bytes("83 82")) << "bits are added to those of the block";
    std::string small(1, '\0');
    EXPECT_EQ(filter.get(small, 1), -1);
}

TEST_F(FilterTest, MatteChannelsFollowEachOtherWithinAPixel) {
    // Three channels of width 3: 101, 010, 111; so pixels are (1,0,1) (0,1,1) (1,0,1).
    const auto path = folder.write("m.tag", fileHeader("STAG", 3, 1, 3) + be16(0b101 << 11) +
                                                be16(0b010 << 11) + be16(0b111 << 11));
    ASSERT_EQ(filter.read(path), 0);
    std::string line(2, '\0');
    ASSERT_EQ(filter.get(line, 0), 0);
    EXPECT_EQ(line, bytes("75 01")); // bits from 0 up: 101 011 10 | 1
}

TEST_F(FilterTest, MatteLinesAreReadInAnyOrderAndAtOnce) {
    std::string file = fileHeader("STAG", 16, 3, 1);
    file += be16(kOnes | 16) + be16(kZeros | 16) + be16(kOnes | 14) + be16(0);
    ASSERT_EQ(filter.read(folder.write("m.tag", file)), 0);
    const std::string lines[] = {bytes("FF3F"), bytes("0000"), bytes("FFFF")};
    for (const std::size_t y : {0U, 2U, 1U, 0U, 2U}) {
        std::string line(2, '\0');
        ASSERT_EQ(filter.get(line, static_cast<long>(y)), 0);
        EXPECT_EQ(line, lines[y]) << y;
    }
    ASSERT_EQ(filter.read(folder / "m.tag"), 0);
    std::string block(6, '\0');
    ASSERT_EQ(filter.getAll(block), 0);
    EXPECT_EQ(block, lines[2] + lines[1] + lines[2]) << "row 0 gets the top line";
}

TEST_F(FilterTest, ReadingAMatteKeepsNoRows) {
    const std::string row = be16(kOnes | 20);
    ASSERT_EQ(filter.read(folder.write("m.tag", fileHeader("STAG", 20, 3, 1) + row + row + row)),
              0);
    std::string line(3, '\0');
    ASSERT_EQ(filter.get(line, 0), 0);
    EXPECT_EQ(line, bytes("FFFF0F"));
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(tagRow(filter.tag.get(), 0, k), nullptr) << k;
    }
}

TEST_F(FilterTest, AWrittenMatteHoldsMirroredRowsInItsLowerHalf) {
    ASSERT_EQ(filter.write(folder / "m.tag", 20, 4, 1), 0);
    const bool sent[] = {true, false, true, true}; // from the top
    for (int k = 0; k < 4; ++k) {
        // Only the lowest bit of the first byte counts.
        std::string line(20, '\0');
        line[0] = sent[k] ? '\x01' : '\xFE';
        line[1] = '\xFF';
        ASSERT_EQ(filter.put(line, 3 - k), 0);
    }
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    // Line k fills row 3 - k, then row k is written: rows 0 and 1 are still empty.
    EXPECT_EQ(fileBytes(folder / "m.tag"), fileHeader("STAG", 20, 4, 1) + be16(kZeros | 20) +
                                               be16(kZeros | 20) + be16(kZeros | 20) +
                                               be16(kOnes | 20));
}

TEST_F(FilterTest, AMatteWrittenAtOnceTakesThePackedSize) {
    ASSERT_EQ(filter.write(folder / "m.tag", 20, 2, 1), 0);
    EXPECT_EQ(filter.putAll(std::string(5, '\x01')), -1);
    ASSERT_EQ(filter.putAll(std::string(6, '\x01')), 0);
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    // Row 1 first: it fills row 0 and writes row 1, still empty; row 0 fills row 1, writes row 0.
    EXPECT_EQ(fileBytes(folder / "m.tag"),
              fileHeader("STAG", 20, 2, 1) + be16(kZeros | 20) + be16(kOnes | 20));
}

TEST_F(FilterTest, AMatteLineBehindAGapIsItsRowAsItStands) {
    ASSERT_EQ(filter.write(folder / "m.tag", 20, 3, 1), 0);
    ASSERT_EQ(filter.put(std::string(20, '\x01'), 2), 0); // fills row 2
    ASSERT_EQ(filter.put(std::string(20, '\0'), 0), 0);   // waits, is dropped
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(fileBytes(folder / "m.tag"),
              fileHeader("STAG", 20, 3, 1) + be16(kZeros | 20) + be16(kOnes | 20));
}

TEST_F(FilterTest, TheLastMattesChannelsAreWritten) {
    ASSERT_EQ(filter.read(folder.write("three.tag", fileHeader("STAG", 2, 1, 3))), 0);
    filter.disconnectFromFile();
    ASSERT_EQ(filter.write(folder / "m.tag", 20, 1, 1), 0);
    ASSERT_EQ(filter.put(std::string(20, '\x01'), 0), 0);
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(fileBytes(folder / "m.tag"), fileHeader("STAG", 20, 1, 3) + be16(kOnes | 20) +
                                               be16(kOnes | 20) + be16(kOnes | 20));
}

TEST(MatteBits, PackingAgreesWithItsDefinitionAtEveryWidth) {
    for (int channels : {1, 2, 3, 8}) {
        for (int w = 1; w <= 40; ++w) {
            std::vector<std::uint8_t> row(40, 0xFF); // bits behind the width must not get through
            for (int x = 0; x < w; x += 3) {
                row[static_cast<std::size_t>(x / 8)] ^= static_cast<std::uint8_t>(0x80 >> x % 8);
            }
            const std::size_t size = softimage::packedMatteBytes(w, channels);
            std::vector<std::uint8_t> packed(size + 1, 0);
            std::vector<std::uint8_t> expected(size + 1, 0);
            softimage::packMatteRow(row.data(), w, channels - 1, channels, packed.data());
            for (int x = 0; x < w; ++x) {
                const int bit = x * channels + channels - 1;
                expected[static_cast<std::size_t>(bit / 8)] |=
                    static_cast<std::uint8_t>((x % 3 == 0 ? 0 : 1) << bit % 8);
            }
            EXPECT_EQ(packed, expected) << w << " x " << channels;
        }
    }
}

TEST(MatteBits, FillingLeavesTheBitsBehindTheWidth) {
    for (int w = 1; w <= 24; ++w) {
        for (const bool bit : {false, true}) {
            std::uint8_t row[3] = {0xA5, 0xA5, 0xA5};
            softimage::fillMatteRow(row, w, bit);
            for (int x = 0; x < 24; ++x) {
                const bool now = (row[x / 8] >> (7 - x % 8) & 1) != 0;
                EXPECT_EQ(now, x < w ? bit : (0xA5 >> (7 - x % 8) & 1) != 0) << w << " " << x;
            }
        }
    }
}

} // namespace
