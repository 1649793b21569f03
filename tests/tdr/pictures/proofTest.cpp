// SPDX-License-Identifier: MIT
// What proves that pixels are the same: tdr hash, tdr convert --verify, tdr compare with its
// figures and its picture.
#include "support/effort.h"
#include "support/pictureFiles.h"
#include "tdr/commandTesting.h"

#include <algorithm>

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
    expectDone({"convert", rgb, in("a.png")});
    const Ended ended = expectFailed({"hash", rgb, in("a.png"), in("none.pic"), rgba, high, mattes},
                                     "tdr: " + in("none.pic") + ": No such file or directory\n");
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
    const base::UniqueFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    const Ended untold = run({"hash", rgb, rgb}, {.stdoutFd = full.get()});
    EXPECT_EQ(untold.exit, 1);
    EXPECT_EQ(std::count(untold.err.begin(), untold.err.end(), '\n'), 1) << untold.err;
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

TEST_F(ProofTest, aPictureThatReadsBackAsItWasReadIsWritten) {
    const auto matte = files().write("m.tag", support::tag(2, 1, 2, {0x2000, 0x1000}));
    files().write("old.pic", "text");
    const auto cut = files().write("cut.pic", contentOf(pic("a.pic")).substr(0, 110));
    // Large enough to be converted line by line, with alpha to multiply by.
    const int lines = support::kWholeSeries ? 520 : 2;
    const auto large = files().write(
        "large.pic",
        support::rawPic(32767, lines, 0xF0,
                        std::string(std::size_t{32767} * 4 * static_cast<unsigned>(lines), 'l')));
    const struct {
        std::vector<std::string> line;
        int exit = 0;
    } cases[] = {
        {{sample("photograph.png"), in("old.pic")}},
        {{"--premultiply", sample("cutout.png"), in("o.pic")}},
        {{in("o.pic"), in("o.pic")}},
        {{"--channel", "2", matte, in("o.png")}},
        {{"--keep-damaged", cut, in("o.png")}, 1},
        {{"--premultiply", large, in("o.pic")}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> line = {"convert", "--force", "--verify"};
        line.insert(line.end(), c.line.begin(), c.line.end());
        expectEnd(c.exit, line, c.exit == 0 ? "" : "damaged");
        expectDone({"hash", line.back()}); // a whole picture
    }
}

TEST_F(ProofTest, aPictureThatReadsBackOtherwiseIsNotWritten) {
    const std::string black(18, '\0');
    const auto good = files().write("good.pic", support::rawPic(3, 2, 0xE0, black));
    const auto other =
        files().write("other.pic", support::rawPic(3, 2, 0xE0, black.substr(6) + "abcdef"));
    const auto small = pic("small.pic");
    const auto target = files().write("o.1039-1", "old"); // the ending of the scripted driver
    const std::string unlike = target + ": not written, because ";
    const struct {
        const char* driver; ///< reads every file back as black, 3 x 2
        std::string from;
        int exit;
        std::string says;
    } cases[] = {
        {"black", good, 0, ""},
        {"black", other, 1,
         "tdr: " + unlike + "its pixels would differ from those of " + other +
             ": first at column 1 of line 1 from the top: #000000ff and #616263ff\n"},
        {"black", small, 1, "tdr: " + unlike + "it would have 3 x 2 pixels instead of 2 x 1\n"},
        {"lateDamage", good, 1,
         "damaged, and so cannot be verified (the new file, when read back)\n"},
        {"echo", good, 1,
         "tdr: " + target + ": the file is empty (the new file, when read back)\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.driver) + " " + c.from);
        files().write("o.1039-1", "old");
        fs::remove_all(driverFolder({}));
        const auto before = namesIn(files().path());
        expectEnd(c.exit,
                  {"convert", "--force", "--verify", c.from, target, "--driver-dir",
                   driverFolder({c.driver})},
                  c.says);
        EXPECT_EQ(contentOf(target), c.exit == 0 ? "written" : "old");
        EXPECT_EQ(namesIn(files().path()), before);
    }
}

TEST_F(ProofTest, differencesAreDrawnAndMeasured) {
    const auto rgba = [&](const std::string& name, std::initializer_list<int> pixels) {
        return files().write(name, support::rawPic(2, 1, 0xF0, support::bytes(pixels)));
    };
    const auto a = rgba("a.pic", {10, 20, 30, 255, 9, 9, 9, 255});
    const auto b = rgba("b.pic", {10, 25, 31, 255, 9, 9, 9, 245}); // by 5, 1 and, in alpha, 10
    const auto drawn = rgba("drawn.pic", {0, 127, 25, 255, 255, 255, 255, 255});
    const auto black = rgba("black.pic", {0, 0, 0, 255, 0, 0, 0, 255});
    const auto first = rgba("first.pic", {255, 255, 255, 255, 0, 0, 0, 255});
    const auto tag = files().write("a.tag", support::tag(2, 1, 2, {0x2000, 0x1000}));
    const auto last = files().write("b.tag", support::tag(2, 1, 2, {0x2000, 0x3000}));
    const auto high = files().write("c.pic", support::rawPic(2, 2, 0xE0, "abcdefabcdef"));
    fs::create_symlink("/dev/full", in("full.png"));
    const struct {
        std::string one;
        std::string other;
        std::string out;
        int exit;
        std::string says;
        std::string drawn = {}; ///< empty: nothing is written
    } cases[] = {
        // 10 log 255^2 / (126 / 8)
        {a, b, "o.png", 1,
         "; largest difference 10 of 255, PSNR 36.16 dB over red, green, blue and alpha\n", drawn},
        {a, a, "o.pic", 0, "", black},
        {tag, last, "o.png", 1, "matte 2, first at column 0", first},
        {a, high, "o.png", 1, "2 x 1 and 2 x 2; " + in("o.png") + " is not written\n"},
        {a, in("none.pic"), "o.png", 4, "none.pic: No such file"},
        {a, b, "o.tag", 4, "o.tag: mattes are written only by 'tdr convert'"},
        {a, b, "o.0001", 4, "o.0001: no driver has this name or writes files with this ending"},
        {a, b, "full.png", 4, "No space left on device"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.one + " " + c.other + " " + c.out);
        const auto before = namesIn(files().path());
        expectEnd(c.exit, {"compare", c.one, c.other, "--diff", in(c.out)}, c.says);
        if (c.drawn.empty()) {
            EXPECT_EQ(namesIn(files().path()), before);
        } else {
            EXPECT_EQ(run({"compare", in(c.out), c.drawn}).exit, 0);
            fs::remove(in(c.out));
        }
    }
}

constexpr int kRemoved = -1;
constexpr int kInserted = -2;
constexpr std::size_t kRest = std::string::npos;

/// Removes or inserts `count` bytes of the file, or sets them to `value`.
std::string damagedBy(std::string file, std::size_t at, std::size_t count, int value) {
    count = value == kInserted ? count : std::min(count, file.size() - at);
    return value == kRemoved    ? file.erase(at, count)
           : value == kInserted ? file.insert(at, count, '\0')
                                : file.replace(at, count, count, static_cast<char>(value));
}

/// The number before " of 303 lines".
int linesIn(const std::string& report) {
    int lines = -1;
    std::sscanf(report.c_str() + report.find(": "), ": %d of 303", &lines);
    return lines;
}

TEST_F(CommandTest, salvageFindsTheLinesAfterTheDamage) {
    const std::string pic = in("p.pic");
    expectDone({"convert", sample("photograph.png"), pic});
    const std::string mixed = contentOf(pic);
    const std::string pam = run({"convert", sample("photograph.png"), "-"}).out;
    const std::string raw =
        support::rawPic(640, 303, 0xF0, pam.substr(pam.find("ENDHDR\n") + sizeof "ENDHDR"));
    const struct {
        const std::string& file;
        std::size_t at; ///< in thousandths of the file
        std::size_t count;
        int value;
        int lost;              ///< lines
        const char* says = ""; ///< after them
    } cases[] = {
        {mixed, 100, 64, 0, 1},
        {mixed, 100, 64, 0xFF, 1},
        {mixed, 420, 512, kRemoved, 1},
        {mixed, 300, 1, kRemoved, 1},
        {mixed, 500, 9000, kRemoved, 6},
        {mixed, 1000, 9, kInserted, 0, "; some bytes belong to no line (bytes 564897 to 564906)\n"},
        {raw, 600, 64, kInserted, 0, "; some bytes belong to no line (bytes 466028 to 466092)\n"},
        {raw, 30, 1500, kRemoved, 1},
        // Cut off, inside a line and after one; filled with zero bytes.
        {mixed, 191, kRest, kRemoved, 242},
        {raw, 54, kRest, kRemoved, 287},
        {mixed, 700, kRest, 0, 90},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << (&c.file == &raw) << ' ' << c.at << ' ' << c.value);
        const std::string bad = files().write(
            "bad.pic", damagedBy(c.file, c.file.size() * c.at / 1000, c.count, c.value));
        const Ended ended = run({"salvage", bad, in("good.pic"), "--force", "--fill", "#00000000"});
        EXPECT_EQ(ended.exit, 1) << ended.err;
        const int lines = linesIn(ended.out);
        EXPECT_EQ(lines, 303 - c.lost) << ended.out;
        EXPECT_TRUE(contains(ended.out, c.says)) << ended.out;
        // Every line that is not lost is right: the photograph has no black line.
        const std::string compared = run({"compare", pic, in("good.pic")}).err;
        EXPECT_TRUE(c.lost == 0 ||
                    contains(compared, std::to_string(c.lost * 640) + " of 193920 pixels"))
            << compared << ended.out;
        if (c.count == kRest) {
            EXPECT_EQ(linesIn(run({"check", bad}).out), lines);
        }
    }
}

TEST_F(CommandTest, salvageGuessesWhereWholeLinesAreMissing) {
    const std::string dark(std::size_t{3} * 64 * 10, '\x10');
    const std::string light(std::size_t{3} * 64 * 10, '\xC0');
    const struct {
        std::string pixels; ///< of 30 lines
        const char* says;
    } cases[] = {
        {dark + light, "lost are lines 10 to 19 from the top (a guess: no byte is between the "},
        {dark, "lost are lines 10 to 29 from the top (a guess"},
        {dark + light + dark, " 30 of 30 lines"},
    };
    for (const auto& c : cases) {
        const auto bad = files().write("bad.pic", support::rawPic(64, 30, 0xE0, c.pixels));
        EXPECT_TRUE(contains(run({"salvage", bad, in("o.pic"), "--force"}).out, c.says)) << c.says;
    }
}

TEST_F(CommandTest, salvageRefusesWhatItCannotDo) {
    const auto pic = files().write("a.pic", support::rawPic(2, 1, 0xE0, "abcdef"));
    const auto none = files().write("none.pic", support::rawPic(2, 2, 0xE0, "abc"));
    const struct {
        std::vector<std::string> line;
        const char* says;
        int exit = 1;
    } cases[] = {
        {{pic, in("o.png")}, "only PIC", 2},
        {{pic, in("o.pic"), "--fill", "#ff00f"}, "#rrggbb", 2},
        {{pic, in("o.pic"), "--fill", "#ff00fg"}, "#rrggbb", 2},
        {{files().write("t.tag", support::tag(1, 1, 1)), in("o.pic")}, "not a PIC picture"},
        {{in("gone.pic"), in("o.pic")}, "No such file"},
        {{pic, none}, "exists already"},
        {{none, none, "--force"}, "is the picture itself"},
        {{files().write("e.pic", support::rawPic(2, 1, 0, "")), in("o.pic")}, "has a channel"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> line = c.line;
        line.insert(line.begin(), "salvage");
        expectFailed(line, c.says, c.exit);
        EXPECT_FALSE(fs::exists(in("o.pic")));
    }
    EXPECT_EQ(expectDone({"salvage", pic, in("o.pic")}).out,
              in("o.pic") + ": 1 of 1 line of " + pic + "\n");
    EXPECT_TRUE(contains(run({"salvage", none, in("o.pic"), "--force"}).out,
                         ": 0 of 2 lines of " + none + "; lost are lines 0 to 1 from the top"));
    // Every byte could begin a line: the search is bounded.
    const auto hostile =
        files().write("h.pic", support::fileHeader("PICT", 32767, 32767) +
                                   support::bytes({0, 8, 2, 0x10}) + std::string(200000, '\x01'));
    EXPECT_EQ(run({"salvage", hostile, in("o.pic"), "--force"}).exit, 1);
}

} // namespace
