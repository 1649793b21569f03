// SPDX-License-Identifier: MIT
// Whole pictures through the real drivers.
#include "tdr/picture.h"
#include "hostTesting.h"
#include "support/pictureFiles.h"

#include <algorithm>
#include <functional>

namespace {

using namespace testing_host;

using PictureTest = HostTest;

/// A picture in which every byte differs from its neighbours.
Picture motley(std::int32_t width, std::int32_t height) {
    Picture picture{width, height, {}};
    picture.pixels.resize(lineBytes(width) * static_cast<std::size_t>(height));
    std::uint32_t state = 1;
    for (std::uint8_t& byte : picture.pixels) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    return picture;
}

/// One step of a job is 'a', the whole picture, or a line's number.
constexpr const char* kReadOrders[] = {"a", "aa", "0a", "4a", "a0", "a4a", "40a13a", "a4a0"};

TEST_F(PictureTest, linesAndWholePicturesAreReadInAnyOrder) {
    const Picture picture = motley(3, 5);
    const std::size_t lineSize = lineBytes(3);
    for (const auto& [program, file] :
         {std::pair("softimageFilter", "a.pic"), std::pair("pngFilter", "a.png")}) {
        auto driver = Session::start(real(program));
        ASSERT_TRUE(driver && writePicture(*driver, folder() / file, picture));
        for (const std::string order : kReadOrders) {
            SCOPED_TRACE(program + (": " + order));
            auto reader = PictureSource::open(*driver, folder() / file);
            ASSERT_TRUE(reader);
            for (const char step : order) {
                const auto first =
                    step == 'a' ? 0 : static_cast<std::size_t>(step - '0') * lineSize;
                const auto size = step == 'a' ? picture.pixels.size() : lineSize;
                auto block = SharedBlock::create(size);
                ASSERT_TRUE(step == 'a' ? reader->readAll(*block)
                                        : reader->readLine(*block, step - '0'));
                EXPECT_TRUE(std::ranges::equal(block->bytes(),
                                               std::span(picture.pixels).subspan(first, size)))
                    << step;
            }
            EXPECT_TRUE(reader->close());
        }
    }
}

TEST_F(PictureTest, aFileIsWholeWhenEveryLineWasWrittenOnce) {
    struct Case {
        std::string order;
        std::size_t refused = std::string::npos; ///< the step that must be refused
        bool whole = true;
    };
    const Case cases[] = {{"a"},           {"4a"},
                          {"0a"},          {"204a"},
                          {"43210"},       {"01234"},
                          {"30142"},       {"aa", 1},
                          {"a2", 1},       {"4321044", 5},
                          {"3", 9, false}, {"4320", 9, false},
                          {"", 9, false},  {"4321s", 4, false}}; // 's': a block that is too small
    const Picture picture = motley(3, 5);
    for (const auto& [program, file] :
         {std::pair("softimageFilter", "a.pic"), std::pair("pngFilter", "a.png")}) {
        auto driver = mustStart(real(program));
        for (const Case& c : cases) {
            SCOPED_TRACE(program + (": " + c.order));
            auto writer = PictureTarget::open(*driver, folder() / file, 3, 5);
            auto block = SharedBlock::create(picture.pixels.size());
            const auto small = SharedBlock::create(1);
            ASSERT_TRUE(writer && block && small);
            for (std::size_t i = 0; i < c.order.size(); ++i) {
                const std::int32_t line = c.order[i] < 'a' ? c.order[i] - '0' : 0;
                std::ranges::copy(std::span(picture.pixels).subspan(pictureBytes(3, line)),
                                  block->bytes().begin());
                const auto done =
                    c.order[i] == 'a'
                        ? writer->writeAll(*block)
                        : writer->writeLine(c.order[i] == 's' ? *small : *block, line);
                EXPECT_EQ(done.ok(), i < c.refused) << i;
            }
            EXPECT_EQ(writer->close().ok(), c.whole);
            if (c.whole) {
                EXPECT_EQ(readPicture(*driver, folder() / file)->pixels, picture.pixels);
            }
        }
    }
}

TEST_F(PictureTest, aFailedJobLeavesTheDriverAsItsStartDid) {
    auto driver = mustStart(real("softimageFilter"));
    const Picture picture = motley(4, 3);
    const std::string good = folder() / "good.pic";
    const auto read = [&](const char* name, const std::string& content) {
        return readPicture(*driver, folder().write(name, content)).ok();
    };
    const auto write = [&](const std::string& path) {
        return writePicture(*driver, path, picture).ok();
    };
    std::filesystem::create_symlink("/dev/full", folder() / "full.pic");
    std::filesystem::create_symlink("/proc/self/mem", folder() / "unreadable.pic");
    const std::pair<const char*, std::function<bool()>> jobs[] = {
        {"a foreign file", [&] { return read("text.pic", "text"); }},
        {"no file", [&] { return readPicture(*driver, folder() / "missing.pic").ok(); }},
        {"a read error", [&] { return readPicture(*driver, folder() / "unreadable.pic").ok(); }},
        {"a size that is none", [&] { return read("0.pic", support::rawPic(0, 1, 0xE0, "")); }},
        {"unknown channels", [&] { return read("x.pic", support::rawPic(1, 1, 0x80, "abc")); }},
        {"too large", [&] { return readPicture(*driver, good, 47).ok(); }},
        {"no folder", [&] { return write(folder() / "missing/a.pic"); }},
        {"a full disk", [&] { return write(folder() / "full.pic"); }},
        {"a reader that is dropped", [&] { return !PictureSource::open(*driver, good); }},
        {"a writer that is dropped",
         [&] { return !PictureTarget::open(*driver, folder() / "half.pic", 9, 9); }},
    };
    for (const auto& [name, job] : jobs) {
        SCOPED_TRACE(name);
        const auto written = writePicture(*driver, good, picture);
        ASSERT_TRUE(written) << written.failure().text();
        EXPECT_FALSE(driver->isConnected());
        EXPECT_FALSE(job());
        const auto back = readPicture(*driver, good);
        ASSERT_TRUE(back) << back.failure().text();
        EXPECT_EQ(back->pixels, picture.pixels);
        EXPECT_FALSE(job());
    }
}

TEST_F(PictureTest, aDriverThatOnlyAgreesToWholePicturesGetsLines) {
    std::vector<std::string> lines;
    StartOptions options;
    options.onDriverLine = [&lines](std::string_view line) { lines.emplace_back(line); };
    auto driver = start("echo", options);
    const auto countOf = [&](const char* code) {
        return std::ranges::count_if(lines, [&](auto& line) { return line.starts_with(code); });
    };
    EXPECT_FALSE(readPicture(*driver, "any")) << "it has no picture";
    EXPECT_EQ(countOf("4/1429:"), 1) << "the question";
    EXPECT_EQ(countOf("4/1433:"), 0) << "nothing is put while reading";
    ASSERT_TRUE(writePicture(*driver, "any", motley(2, 7)));
    ASSERT_TRUE(driver->end());
    EXPECT_EQ(countOf("4/1429:"), 1);
    EXPECT_EQ(countOf("4/1433:"), 1) << "the question";
    EXPECT_EQ(countOf("4/1434:"), 7);

    auto quiet = start("noNotice");
    const auto asked = quiet->transfersCaches(Access::Write);
    EXPECT_TRUE(asked && !*asked) << "it does not take the block, and so need not say so";
}

TEST_F(PictureTest, aDriverWithoutWholePicturesIsReadAndWrittenByLines) {
    Picture picture = motley(3, 5);
    for (std::size_t alpha = 0; alpha < picture.pixels.size(); alpha += kPixelBytes) {
        picture.pixels[alpha] = 255; // PPM has none
    }
    for (const char* flaw : {"none", "refusesCaches", "ignoresCaches", "anyBlock"}) {
        SCOPED_TRACE(flaw);
        auto driver = mustStart(flawed(flaw));
        const auto written = writePicture(*driver, folder() / "a.ppm", picture);
        ASSERT_TRUE(written) << written.failure().text();
        const auto back = readPicture(*driver, folder() / "a.ppm");
        ASSERT_TRUE(back) << back.failure().text();
        EXPECT_EQ(back->pixels, picture.pixels);

        auto reader = PictureSource::open(*driver, folder() / "a.ppm");
        auto used = SharedBlock::create(picture.pixels.size());
        ASSERT_TRUE(reader && used);
        std::ranges::fill(used->bytes(), std::uint8_t{7});
        ASSERT_TRUE(reader->readAll(*used));
        EXPECT_TRUE(std::ranges::equal(used->bytes(), picture.pixels)) << "in a used block";
    }
}

TEST_F(PictureTest, outsideCommandsRunOnceAConnection) {
    const auto command = folder().write("count", "#!/bin/sh\necho run >> \"$0.log\"\n", 0755);
    auto driver = mustStart(real("softimageFilter"));
    const Picture picture = motley(4, 3);
    ASSERT_TRUE(writePicture(*driver, folder() / "a.pic", picture));
    ASSERT_TRUE(driver->setPreReadCommand(command));
    EXPECT_EQ(readPicture(*driver, folder() / "a.pic")->pixels, picture.pixels);
    EXPECT_EQ(std::filesystem::file_size(command + ".log"), 4U);
    EXPECT_TRUE(driver->hasOutsideCommands());
    ASSERT_TRUE(driver->setPreReadCommand(""));
    EXPECT_FALSE(driver->hasOutsideCommands());
}

using Pixels = std::vector<std::uint8_t>;

TEST_F(PictureTest, missingChannelsAreOpaqueBlack) {
    auto driver = mustStart(real("softimageFilter"));
    // Files run from the top, blocks from the bottom; pixels are alpha, blue, green, red.
    const auto colour =
        folder().write("rgb.pic", support::rawPic(1, 2, 0xE0, support::bytes({1, 2, 3, 4, 5, 6})));
    EXPECT_EQ(readPicture(*driver, colour)->pixels, (Pixels{255, 6, 5, 4, 255, 3, 2, 1}));
    const auto alpha = folder().write("a.pic", support::rawPic(1, 2, 0x10, support::bytes({7, 8})));
    EXPECT_EQ(readPicture(*driver, alpha)->pixels, (Pixels{8, 0, 0, 0, 7, 0, 0, 0}));
    auto reader = PictureSource::open(*driver, colour);
    auto block = SharedBlock::create(lineBytes(1));
    ASSERT_TRUE(reader && block);
    ASSERT_TRUE(reader->readLine(*block, 1));
    EXPECT_TRUE(std::ranges::equal(block->bytes(), Pixels{255, 3, 2, 1})) << "by its lines";

    auto whole = SharedBlock::create(pictureBytes(1, 2));
    ASSERT_TRUE(whole && reader->close());
    std::ranges::fill(whole->bytes(), std::uint8_t{9});
    reader = PictureSource::open(*driver, colour);
    ASSERT_TRUE(reader && reader->readAll(*whole));
    EXPECT_TRUE(std::ranges::equal(whole->bytes(), Pixels{255, 6, 5, 4, 255, 3, 2, 1}))
        << "in a block that was used before";
}

TEST_F(PictureTest, aFileWithAlphaKeepsItHoweverLittleThereIs) {
    auto driver = mustStart(real("softimageFilter"));
    for (const std::string rows : {"0000", "1000", "0010", "0001", "1001"}) { // 1 is opaque
        Picture picture = motley(3, 4);
        for (std::size_t pixel = 0; pixel < 12; ++pixel) {
            picture.pixels[pixel * 4] = rows[pixel / 3] == '1' ? 255 : 0;
        }
        ASSERT_TRUE(writePicture(*driver, folder() / "a.pic", picture));
        EXPECT_EQ(readPicture(*driver, folder() / "a.pic")->pixels, picture.pixels) << rows;
    }
    Picture alike = motley(5, 3); // at the top and at the bottom
    std::ranges::copy_n(alike.pixels.begin(), 20, alike.pixels.end() - 20);
    ASSERT_TRUE(writePicture(*driver, folder() / "a.pic", alike));
    EXPECT_EQ(readPicture(*driver, folder() / "a.pic")->pixels, alike.pixels);
}

TEST_F(PictureTest, aMatteIsItsFirstChannelInWhite) {
    auto driver = mustStart(real("softimageFilter"));
    // Two channels of 10 pixels: literals, pixels from bit 13 down. Channel 0: 1000000011 at the
    // top, 0100000000 below; channel 1 the opposite.
    const auto path =
        folder().write("m.tag.tag", support::tag(10, 2, 2,
                                                 {0b00'1000000011'0000, 0b00'0111111100'0000, //
                                                  0b00'0100000000'0000, 0b00'1011111111'0000}));
    const auto picture = readPicture(*driver, path);
    ASSERT_TRUE(picture);
    Pixels expected;
    for (const char bit : std::string("0100000000"
                                      "1000000011")) {
        const std::uint8_t colour = bit == '1' ? 255 : 0;
        expected.insert(expected.end(), {255, colour, colour, colour});
    }
    EXPECT_EQ(picture->pixels, expected);
}

TEST_F(PictureTest, aDriverWithoutFilesServesWhatTheHostHasSet) {
    auto driver = mustStart(real("nullFilter"));
    EXPECT_FALSE(PictureSource::open(*driver, "any")) << "no size set";
    ASSERT_TRUE(driver->setBounds({0, 0, 3, 2}));
    const auto ramp = readPicture(*driver, "any");
    ASSERT_TRUE(ramp) << ramp.failure().text();
    EXPECT_EQ(Pixels(ramp->pixels.end() - 4, ramp->pixels.end()), (Pixels{255, 3, 1, 2}));
}

TEST_F(PictureTest, whatCannotBeIsRefused) {
    auto driver = mustStart(real("softimageFilter"));
    const auto out = folder() / "a.pic";
    for (const auto& [width, height] : {std::pair(0, 1), std::pair(1, 0), std::pair(-1, 1),
                                        std::pair(32768, 1), std::pair(1, 32768)}) {
        const auto writer = PictureTarget::open(*driver, out, width, height);
        ASSERT_FALSE(writer) << width << " x " << height;
        EXPECT_EQ(writer.failure().kind, FailureKind::BadArgument);
    }
    EXPECT_FALSE(writePicture(*driver, out, Picture{2, 2, Pixels(15)}));
    EXPECT_FALSE(writePicture(*driver, out, Picture{0, 0, {}}));
    EXPECT_FALSE(std::filesystem::exists(out));

    ASSERT_TRUE(writePicture(*driver, out, motley(4, 4)));
    const auto tooMuch = readPicture(*driver, out, 63);
    ASSERT_FALSE(tooMuch);
    EXPECT_EQ(tooMuch.failure().kind, FailureKind::NoMemory);
    EXPECT_TRUE(readPicture(*driver, out, 64));

    auto reader = PictureSource::open(*driver, out);
    auto small = SharedBlock::create(lineBytes(4) - 1);
    auto block = SharedBlock::create(lineBytes(4));
    ASSERT_TRUE(reader && small && block);
    EXPECT_EQ(reader->readLine(*small, 0).failure().kind, FailureKind::BadArgument);
    EXPECT_EQ(reader->readLine(*block, 4).failure().kind, FailureKind::Refused);
    EXPECT_EQ(reader->readLine(*block, -1).failure().kind, FailureKind::Refused);
    EXPECT_TRUE(reader->readLine(*block, 3)) << "the session goes on";
}

} // namespace
