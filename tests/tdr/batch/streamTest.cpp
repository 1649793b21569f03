// SPDX-License-Identifier: MIT
// tdr convert through pipes, with mattes, outside commands and a limit of time.
#include "support/pictureFiles.h"
#include "tdr/commandTesting.h"

#include <algorithm>

namespace {

using namespace commandTesting;

class StreamTest : public CommandTest {
  protected:
    std::string pic(const std::string& name, std::string_view rgba, int width = 1) {
        const int height = static_cast<int>(rgba.size()) / 4 / width;
        return files().write(name, support::rawPic(width, height, 0xF0, rgba));
    }

    /// Runs a line of the shell in the test's folder, where $tdr is the command.
    Ended shell(const std::string& line) {
        const std::string before =
            "set -o pipefail; tdr='" TDR_COMMAND "'; cd '" + files().path().string() + "'; ";
        support::Program program({"bash", "-c", before + line});
        const int exit = program.exitStatus();
        return {exit, 0, program.out(), program.err()};
    }
    bool hasProgram(const std::string& name) { return shell("command -v " + name).exit == 0; }
};

std::string pam(int width, int height, int depth, int largest, std::string_view samples) {
    return "P7\n# a comment\nWIDTH " + std::to_string(width) + "\nHEIGHT " +
           std::to_string(height) + "\nDEPTH " + std::to_string(depth) + "\nMAXVAL " +
           std::to_string(largest) + "\nENDHDR\n" + std::string(samples);
}

/// A picture of one pixel.
std::string typed(int depth, const std::string& type, std::string_view samples) {
    return pam(1, 1, depth, 255, samples).insert(3, "TUPLTYPE " + type + '\n');
}

const std::string kHead =
    "P7\nWIDTH 1\nHEIGHT 2\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";

TEST_F(StreamTest, picturesFollowEachOther) {
    pic("a.1.pic", "ABCDabcd");
    pic("a.2.pic", "1234efgh");
    const std::string both = kHead + "ABCDabcd" + kHead + "1234efgh";
    EXPECT_EQ(shell("$tdr convert -q a.%d.pic -").out, both);
    EXPECT_EQ(shell("$tdr convert -q a.%d.pic - | $tdr convert - 'b.###.pic' && "
                    "$tdr compare a.2.pic b.002.pic")
                  .exit,
              0);
    fs::remove(in("b.001.pic"));
    EXPECT_TRUE(contains(shell("$tdr convert -q a.%d.pic - | $tdr convert --skip-existing - -o "
                               "'b.###.pic' && $tdr compare a.1.pic b.001.pic")
                             .err,
                         "1 done, 1 skipped, 0 damaged, 0 failed"));
    EXPECT_TRUE(
        contains(shell("(cat b.001.pic; $tdr convert a.1.pic -) | $tdr convert - -o d.#.pic").err,
                 "0 done, 0 skipped, 0 damaged, 1 failed"));
    for (const char* rest : {"echo P7", "$tdr convert a.1.pic - | head -c -1"}) {
        EXPECT_TRUE(contains(shell(std::string("($tdr convert a.1.pic -; ") + rest +
                                   ") | $tdr convert --force - -o d.#.pic")
                                 .err,
                             "1 done, 0 skipped, 1 damaged, 0 failed"))
            << rest;
    }
    EXPECT_EQ(shell("$tdr convert -q a.%d.pic - | $tdr convert - -").out, both);
    EXPECT_EQ(shell("$tdr convert a.1.pic - | $tdr convert - c.png").exit, 0);
    const Ended more = shell("$tdr convert -q a.%d.pic - | $tdr convert - --force c.png");
    EXPECT_EQ(more.exit, 1);
    EXPECT_TRUE(contains(more.err, "c.png: written, but standard input has more pictures"));
    const Ended damaged =
        shell("head -c 110 a.1.pic > cut.pic; $tdr convert a.1.pic cut.pic a.2.pic -o -");
    EXPECT_EQ(damaged.out, both) << "nothing of a damaged picture";
    EXPECT_EQ(damaged.exit, 1);
    for (const char* line :
         {"--verify a.1.pic -", "- a.1.pic -o x/", "- a.1.pic -o x.tag", "a.1.pic - -o x.tag",
          "--channel 2 - x.pic", "--from pic - x.pic", "--preserve-time - x.pic",
          "a.1.pic - --report -", "a.1.pic -o x/ --step 2"}) {
        EXPECT_EQ(shell(std::string("$tdr convert ") + line + " </dev/null").exit, 2) << line;
    }
}

TEST_F(StreamTest, aReaderThatHasSeenEnoughIsNoFailure) {
    const std::string photograph = sample("photograph.png"); // larger than a pipe
    const Ended ended =
        shell("$tdr convert " + photograph + " " + photograph + " -o - | head -c 10");
    EXPECT_EQ(ended.exit, 0);
    EXPECT_EQ(ended.err, "tdr: 0 done, 2 skipped, 0 damaged, 0 failed\n");
}

TEST_F(StreamTest, everyKindOfPamIsRead) {
    using support::bytes;
    const struct {
        std::string pam;
        std::string rgba; ///< empty: refused
        std::string says = {};
    } cases[] = {
        {pam(1, 2, 4, 255, "abcdefgh"), "abcdefgh"},
        {pam(1, 1, 3, 255, "abc"), "abc\xff"},
        {pam(1, 1, 2, 255, "gA"), "gggA"},
        {pam(2, 1, 1, 1, bytes({1, 0})), bytes({255, 255, 255, 255, 0, 0, 0, 255})},
        {pam(1, 1, 3, 4, bytes({0, 2, 9})), bytes({0, 128, 255, 255})},
        {pam(1, 1, 1, 65535, bytes({0x12, 0x34})), bytes({18, 18, 18, 255}), "16 bits a sample"},
        {"", "", "has no picture"},
        {"P6\n1 1\n255\nabc", "", "not a PAM picture"},
        {"P7\nWIDTH 1\n", "", "ends inside a PAM header"},
        {"P7\nWIDTH 1x\nENDHDR\n", "", "a number in a PAM header is malformed"},
        {"P7\n" + std::string(5000, 'x'), "", "a line of a PAM header is too long"},
        {pam(0, 1, 1, 1, ""), "", "0 x 1 pixels with 1 sample up to 1 cannot be read"},
        {pam(32768, 1, 1, 1, ""), "", "cannot be read"},
        {pam(1, 1, 5, 255, "abcde"), "", "with 5 samples"},
        {typed(3, "RGB", "abc"), "abc\xff"},
        {typed(4, " RGB_ALPHA \r", "abcd"), "abcd"},
        {typed(1, "BLACKANDWHITE", "a"), "aaa\xff"},
        {typed(2, "GRAYSCALE_ALPHA", "aA"), "aaaA"},
        {typed(1, "", "a"), "aaa\xff"},
        {typed(4, "CMYK", "abcd"), "", "a PAM picture of type CMYK with 4 samples a pixel cannot"},
        {typed(4, "RGB", "abcd"), "", "of type RGB with 4 samples"},
        {typed(3, "RGB\nTUPLTYPE X", "abc"), "", "of type RGB X with"},
        {pam(1, 3, 1, 255, "ab"), "", "ends inside a PAM picture, 1 line before its end"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pam);
        files().write("in.pam", c.pam);
        const Ended ended = shell("$tdr convert --force - out.pic < in.pam");
        EXPECT_EQ(ended.exit, c.rgba.empty() ? 1 : 0) << ended.err;
        EXPECT_TRUE(contains(ended.err, c.says));
        if (!c.rgba.empty()) {
            EXPECT_TRUE(shell("$tdr convert out.pic -").out.ends_with("ENDHDR\n" + c.rgba));
        }
    }
}

TEST_F(StreamTest, otherProgramsUnderstandIt) {
    fs::copy_file(sample("cutout.png"), in("s.1.png"));
    pic("s.2.png", "");
    ASSERT_EQ(shell("$tdr convert -q --force s.1.png s.1.pic && cp s.1.pic s.2.pic").exit, 0);
    if (hasProgram("ffmpeg")) {
        const Ended hashes =
            shell("$tdr convert -q s.%d.pic - | ffmpeg -v error -f image2pipe -c:v pam -i - -c:v "
                  "png shot.mkv && ffmpeg -v error -i shot.mkv -f image2pipe -c:v pam - | "
                  "$tdr convert - t.%d.pic && $tdr hash s.1.png t.1.pic t.2.pic | grep -v '^#' | "
                  "cut -d, -f6 | uniq -c | awk '{print $1}'");
        EXPECT_EQ(hashes.out, "3\n") << hashes.err;
    }
    if (hasProgram("pamtopnm") || hasProgram("pamfile")) {
        EXPECT_TRUE(contains(shell("$tdr convert s.1.pic - | pamfile").out, "RGB_ALPHA"));
        EXPECT_EQ(shell("$tdr convert s.1.pic - | pamflip -tb | pamflip -tb | $tdr convert - u.pic "
                        "&& $tdr compare s.1.pic u.pic >/dev/null")
                      .exit,
                  0);
    }
}

TEST_F(StreamTest, picturesBecomeMattesAndMattesPictures) {
    const std::string black = support::bytes({0, 0, 0, 255});
    const std::string white = support::bytes({255, 255, 255, 255});
    pic("bright.pic", support::bytes({100, 100, 100, 255, 200, 200, 200, 255}), 2);
    pic("alpha.pic", support::bytes({255, 255, 255, 200, 255, 255, 255, 100}), 2);
    pic("small.pic", white);
    const struct {
        std::string line;
        int channels;
        std::vector<int> words; ///< of the rows
    } cases[] = {
        {"bright.pic o.tag", 1, {0x1000}},
        {"--threshold 99 bright.pic o.tag", 1, {0x3000}},
        {"--threshold 200 bright.pic o.tag", 1, {0}},
        {"--verify alpha.pic o.tag", 1, {0x2000}},
        {"--verify bright.pic alpha.pic bright.pic -o o.tag", 3, {0x1000, 0x2000, 0x1000}},
        {"--to tag bright.pic -o out/", 1, {0x1000}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const Ended ended = shell("$tdr convert -q --force " + c.line);
        EXPECT_EQ(ended.err, "");
        EXPECT_EQ(contentOf(in(c.line.ends_with('/') ? "out/bright.tag" : "o.tag")),
                  support::tag(2, 1, c.channels, c.words));
    }
    EXPECT_TRUE(contains(shell("$tdr convert bright.pic small.pic -o p.tag").err,
                         "one size: bright.pic has 2 x 1 pixels, small.pic has 1 x 1"));
    EXPECT_FALSE(fs::exists(in("p.tag")));
    EXPECT_EQ(shell("$tdr convert bright.pic - | $tdr convert - s.tag").exit, 0);
    EXPECT_EQ(contentOf(in("s.tag")), support::tag(2, 1, 1, {0x1000}));

    const std::string bright = contentOf(in("bright.pic"));
    files().write("cut.pic", bright.substr(0, bright.size() - 1));
    const Ended damaged = shell("$tdr convert --keep-damaged cut.pic bright.pic -o d.tag");
    EXPECT_EQ(damaged.exit, 1);
    EXPECT_TRUE(contains(damaged.err, "d.tag: written, but cut.pic is damaged"));
    EXPECT_TRUE(contains(damaged.err, "0 done, 0 skipped, 1 damaged, 0 failed"));
    EXPECT_TRUE(fs::exists(in("d.tag")));
    const Ended mixed = shell("$tdr convert --keep-damaged cut.pic small.pic bright.pic -o e.tag");
    EXPECT_EQ(mixed.exit, 1);
    EXPECT_TRUE(contains(mixed.err, "0 done, 0 skipped, 0 damaged, 1 failed"));
    EXPECT_FALSE(fs::exists(in("e.tag")));

    files().write("m.tag", support::tag(2, 1, 3, {0x1000, 0x2000, 0x3000}));
    EXPECT_EQ(shell("$tdr convert -q m.tag m.%d.pic && $tdr convert -q m.?.pic -o n.tag && "
                    "cmp m.tag n.tag && $tdr convert --verify m.tag c.tag && cmp m.tag c.tag")
                  .exit,
              0);
    EXPECT_EQ(namesIn(files().path()).count("m.3.pic"), 1U);
}

TEST_F(StreamTest, outsideCommandsGetTheNamedFileAndTheFrame) {
    pic("kept.pic", "ABCD");
    // Unpacks the file that is read, and notes what was written.
    files().write("fetch", "#!/bin/sh\necho \"$@\" >> log\ncp kept.pic \"$3\"\n", 0755);
    files().write("store", "#!/bin/sh\necho \"$@\" >> log\nmv \"$3\" \"$3.stored\"\n", 0755);
    EXPECT_EQ(shell("PATH=.:$PATH $tdr convert -q -j 1 f.%d.pic --frames 7-8 g.%d.png --pre-read "
                    "./fetch --post-write ./store")
                  .err,
              "");
    EXPECT_TRUE(
        contentOf(in("log")).starts_with("-r -f f.7.pic -s -2147483648 -i 7\n-w -f g.7.png "));
    EXPECT_EQ(shell("$tdr convert g.8.png.stored - | tail -c 4").out, "ABCD");
    for (const char* line :
         {"kept.pic 'a b.png' --post-write x", "kept.pic 'a;b.png' --post-write x",
          "kept.pic a.PNG --post-write x", "kept.pic a.jpg --post-write x",
          "kept.pic a.png --post-write x --verify", "kept.pic a.png --pre-read x --verify",
          "kept.pic a.pic --to png --post-write x", "kept.pic - --pre-read x",
          "kept.pic a.png --pre-read x --channel 1",
          "kept.pic a.png --skip-existing --post-write x"}) {
        EXPECT_EQ(shell(std::string("$tdr convert ") + line).exit, 2) << line;
    }
    const std::string old = contentOf(in("kept.pic"));
    EXPECT_TRUE(contains(shell("$tdr convert --force kept.pic kept.pic --post-write true").err,
                         "kept.pic: would be written from kept.pic, and is also to be read"));
    const Ended part = shell("$tdr convert -j 1 kept.pic kept.pic -o '@.png' --start 5 "
                             "--post-write 'touch 6.png;'");
    EXPECT_EQ(part.exit, 1);
    EXPECT_TRUE(contains(part.err, "6.png: exists already (see --force)"));
    EXPECT_EQ(contentOf(in("6.png")), "");
    EXPECT_EQ(contentOf(in("kept.pic")), old);
    // What appears after the plan is skipped like what was there before.
    const Ended late =
        shell("$tdr convert --skip-existing kept.pic l.png --pre-read 'touch l.png;'");
    EXPECT_EQ(late.exit, 0) << late.err;
    EXPECT_EQ(contentOf(in("l.png")), "");
}

TEST_F(StreamTest, aPictureThatTakesTooLongEndsWithAllThatItsDriverStarted) {
    pic("a.pic", "ABCD");
    pic("b.pic", "abcd");
    files().write("hang",
                  "#!/bin/sh\n[ $3 = a.pic ] || exit 0\ntrap '' TERM\necho $$ > pid\n"
                  "sleep 60 & wait; wait\n",
                  0755);
    const Ended ended = shell("$tdr convert -j 1 a.pic b.pic -o o/ --to png --pre-read ./hang "
                              "--picture-timeout 1.5");
    EXPECT_EQ(ended.exit, 1);
    EXPECT_TRUE(contains(ended.err, "a.pic: connect to file: not done in the time for the picture "
                                    "(softimageFilter)"));
    EXPECT_TRUE(contains(ended.err, "1 done, 0 skipped, 0 damaged, 1 failed"));
    const pid_t hanging = std::stoi(contentOf(in("pid")));
    support::eventually("the end of the command",
                        [&] { return stateOf(hanging) == '\0' || stateOf(hanging) == 'Z'; });
    EXPECT_EQ(namesIn(in("o")), Names{"b.png"});
}

} // namespace
