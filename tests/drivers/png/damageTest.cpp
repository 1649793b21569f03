// SPDX-License-Identifier: MIT
// PNGs that are cut, bent or lie about their size.
#include "pngFixture.h"

#include <filesystem>
#include <sys/resource.h>

namespace {

/// A new file of these bytes instead of the one that was there: to truncate a file that
/// exists makes some file systems wait for the disk.
std::string fresh(const support::TempDir& folder, const char* name, const std::string& content) {
    std::filesystem::remove(folder / name);
    return folder.write(name, content);
}

const PngKind kKinds[] = {
    {5, 6, PNG_COLOR_TYPE_RGB_ALPHA, 8},
    {5, 6, PNG_COLOR_TYPE_PALETTE, 4, false, true},
    {5, 6, PNG_COLOR_TYPE_GRAY, 16, true},
};

/// Reads lines from both ends; whatever the file holds, requests are answered.
void readEverything(TestPngFilter& filter, const std::string& path) {
    const support::CaptureStderr said;
    if (filter.read(path) == 0) {
        const long h = filter.bounds[3];
        for (const long y : {h - 1, h - 2, 0L, h / 2}) {
            if (y >= 0 && y < h) {
                EXPECT_NE(filter.line(y), "?");
            }
        }
    }
    EXPECT_EQ(filter.disconnectFromFile(), 0);
    EXPECT_LE(linesIn(said.text()), 1) << said.text();
}

TEST_F(PngFilterTest, EveryTruncationServesWhatIsThereAndZeros) {
    for (const PngKind& kind : kKinds) {
        const std::string good = makePng(kind);
        std::vector<int> wholeRows;
        for (std::size_t size = 0; size < good.size(); ++size) {
            SCOPED_TRACE(std::to_string(size) + " bytes of colour type " +
                         std::to_string(kind.colour));
            const auto path = fresh(folder, "a.png", good.substr(0, size));
            readEverything(filter, path);
            const support::CaptureStderr said;
            if (filter.read(path) != 0) {
                EXPECT_TRUE(wholeRows.empty()) << "a longer file is refused";
                continue;
            }
            int whole = 0;
            for (int k = 0; k < kind.height; ++k) {
                const std::string line = filter.line(kind.height - 1 - k);
                whole += line == expectedRow(kind, k) ? 1 : 0;
                EXPECT_TRUE(kind.interlaced || line == expectedRow(kind, k) ||
                            line == std::string(line.size(), '\0'))
                    << k;
            }
            EXPECT_LE(linesIn(said.text()), 1) << said.text();
            EXPECT_TRUE(whole == kind.height || !said.text().empty());
            wholeRows.push_back(whole);
        }
        EXPECT_TRUE(std::is_sorted(wholeRows.begin(), wholeRows.end()));
        EXPECT_EQ(wholeRows.back(), kind.height) << "only the end chunk is missing";
        EXPECT_EQ(wholeRows.front(), 0);
    }
}

TEST_F(PngFilterTest, EveryBitFlipIsSurvived) {
    for (const PngKind& kind : kKinds) {
        const std::string good = makePng(kind);
        for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
            SCOPED_TRACE("bit " + std::to_string(bit) + " of colour type " +
                         std::to_string(kind.colour));
            std::string bent = good;
            bent[bit / 8] = static_cast<char>(bent[bit / 8] ^ (0x80 >> bit % 8));
            readEverything(filter, fresh(folder, "a.png", bent));
        }
    }
}

TEST_F(PngFilterTest, DamageIsSaidOncePerConnection) {
    const std::string good = makePng(kKinds[0]);
    const auto path = folder.write("a.png", good.substr(0, good.size() - 60));
    for (int connection = 0; connection < 2; ++connection) {
        ASSERT_EQ(filter.read(path), 0);
        const support::CaptureStderr said;
        for (int y = 0; y < 6; ++y) {
            EXPECT_NE(filter.line(y), "?");
        }
        EXPECT_EQ(linesIn(said.text()), 1) << said.text();
        EXPECT_NE(said.text().find("PNG Filter: File '" + path + "' is cut short or damaged ("),
                  std::string::npos)
            << said.text();
    }
}

TEST_F(PngFilterTest, ClaimsOfAHeaderCostNoMemory) {
    // Real headers of the largest sizes in front of data for a small picture.
    const auto claim = [&](PngKind kind, int size) {
        std::string png = makePng(kind);
        kind.width = kind.height = size;
        png_structp writer =
            png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png_create_info_struct(writer);
        std::string head;
        png_set_write_fn(
            writer, &head,
            [](png_structp p, png_bytep bytes, png_size_t count) {
                static_cast<std::string*>(png_get_io_ptr(p))
                    ->append(reinterpret_cast<char*>(bytes), count);
            },
            nullptr);
        png_set_IHDR(writer, info, static_cast<png_uint_32>(size), static_cast<png_uint_32>(size),
                     kind.depth, kind.colour, kind.interlaced ? 1 : 0, 0, 0);
        png_write_info(writer, info);
        png_destroy_write_struct(&writer, &info);
        return head.substr(0, 33) + png.substr(33);
    };
    rusage before{};
    getrusage(RUSAGE_SELF, &before);
    const support::CaptureStderr said;
    ASSERT_EQ(filter.read(folder.write("a.png", claim({8, 8}, 32767))), 0);
    EXPECT_EQ(filter.line(0), std::string(32767UL * 4, '\0'));
    EXPECT_EQ(filter.line(32766).size(), 32767UL * 4);
    EXPECT_EQ(filter.line(0), std::string(32767UL * 4, '\0'));
    const PngKind interlaced{8, 8, PNG_COLOR_TYPE_RGB_ALPHA, 8, true};
    ASSERT_EQ(filter.read(folder.write("b.png", claim(interlaced, 11000))), 0);
    EXPECT_EQ(filter.line(0), std::string(11000UL * 4, '\0'));
    EXPECT_EQ(filter.read(folder.write("c.png", claim(interlaced, 32767))), -1);
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 200L * 1024) << "KiB";
    EXPECT_EQ(linesIn(said.text()), 3) << said.text();
}

} // namespace
