// SPDX-License-Identifier: MIT
// What proves that pixels are the same: tdr hash.
#include "support/pictureFiles.h"
#include "tdr/commandTesting.h"

namespace {

using namespace commandTesting;

class ProofTest : public CommandTest {
  protected:
    /// 2 x 1 pixels.
    std::string pic(const std::string& name, const std::string& rgb = "abcdef") {
        return files().write(name, support::rawPic(2, 1, 0xE0, rgb));
    }
};

const std::string kHead = "#format: frame checksums\n#version: 2\n#hash: MD5\n";
const std::string kColumns = "#stream#, dts,        pts, duration,     size, hash\n";

std::string stream(const std::string& number, const std::string& size) {
    return "#tb " + number + ": 1/25\n#media_type " + number + ": video\n#codec_id " + number +
           ": rawvideo\n#dimensions " + number + ": " + size + "\n#sar " + number + ": 0/1\n";
}

TEST_F(ProofTest, hashIsOfThePixelsAndNotOfTheFile) {
    const auto rgb = pic("a.pic");
    const auto rgba = files().write("b.pic", support::rawPic(2, 1, 0xF0,
                                                             "abc\xff"
                                                             "def\xff"));
    const auto high = files().write("c.pic", support::rawPic(2, 2, 0xE0, "ABCDEFabcdef"));
    const auto mattes = files().write("d.tag", support::tag(2, 1, 2, {0x2000, 0x1000}));
    EXPECT_EQ(run({"convert", rgb, in("a.png")}).exit, 0);
    const Ended ended = run({"hash", rgb, in("a.png"), in("none.pic"), rgba, high, mattes});
    EXPECT_EQ(ended.exit, 1);
    EXPECT_EQ(ended.err, "tdr: " + in("none.pic") + ": No such file or directory\n");
    EXPECT_EQ(
        ended.out,
        kHead + stream("0", "2x1") + kColumns +
            "0,          0,          0,        1,        8, 90b74918ba5ef1eb5a4e02898ff30d0d\n"
            "0,          1,          1,        1,        8, 90b74918ba5ef1eb5a4e02898ff30d0d\n"
            "0,          3,          3,        1,        8, 90b74918ba5ef1eb5a4e02898ff30d0d\n" +
            stream("0", "2x2") +
            "0,          4,          4,        1,       16, bed636083f11f7db280f73faacc85616\n" +
            stream("0", "2x1") +
            "0,          5,          5,        1,        8, 4c3f70d2027bec6874b487e24ca1d277\n" +
            stream("1", "2x1") +
            "1,          5,          5,        1,        8, a37b9efbb7ddaaf92ac941fb12053a35\n");
}

TEST_F(ProofTest, hashAgreesWithFfmpeg) {
    for (const std::string name : {"photograph.png", "cutout.png"}) {
        support::Program ffmpeg({"ffmpeg", "-v", "error", "-i", sample(name), "-pix_fmt", "rgba",
                                 "-fflags", "+bitexact", "-f", "framemd5", "-"});
        if (ffmpeg.exitStatus() == 127) {
            GTEST_SKIP() << "ffmpeg is not installed";
        }
        EXPECT_EQ(run({"hash", sample(name)}).out, ffmpeg.out()) << ffmpeg.err();
    }
}

} // namespace
