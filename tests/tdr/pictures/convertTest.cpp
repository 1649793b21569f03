// SPDX-License-Identifier: MIT
// tdr convert: the pixels, and the files after failures.
#include "support/pictureFiles.h"
#include "tdr/commandTesting.h"
#include "tdr/picture.h"

#include <algorithm>
#include <map>

namespace {

using namespace commandTesting;

using Pixels = std::vector<std::uint8_t>;

const std::string kMattes =
    ": mattes are written only by 'tdr convert', to names that end in .tag\n";

/// By the content: "PICT", "STAG" or "PNG".
std::string kindOf(const std::string& content) {
    return content.starts_with("\x89PNG")
               ? "PNG"
               : content.substr(std::min<std::size_t>(content.size(), 88), 4);
}

class ConvertTest : public CommandTest {
  protected:
    /// Pixels of a file, bottom line first, read through `driver`.
    static Pixels pixelsOf(const std::string& driver, const std::string& file) {
        auto started = tdr::Session::start(fs::path(TDR_BIN_DIR) / driver);
        auto picture = tdr::readPicture(*started, file);
        EXPECT_TRUE(picture) << picture.failure().text();
        return picture ? picture->pixels : Pixels();
    }

    std::string smallPic(const std::string& name = "small.pic") {
        return files().write(name, support::rawPic(2, 1, 0xE0, support::bytes({1, 2, 3, 4, 5, 6})));
    }
};

TEST_F(ConvertTest, theSamplesGoToPicAndBackUnchanged) {
    for (const std::string name : {"photograph", "cutout"}) {
        const Ended there = expectDone({"convert", sample(name + ".png"), in(name + ".pic")});
        const Ended back = expectDone({"convert", in(name + ".pic"), in(name + ".png")});
        EXPECT_EQ(there.out + back.out, "") << "no news is good news";
        EXPECT_EQ(pixelsOf("pngFilter", in(name + ".png")),
                  pixelsOf("pngFilter", sample(name + ".png")));
    }
    EXPECT_EQ(namesIn(files().path()),
              (Names{"cutout.pic", "cutout.png", "photograph.pic", "photograph.png"}));
}

TEST_F(ConvertTest, whatCannotBeReadOrWrittenIsNamedWithItsReason) {
    const auto pic = smallPic();
    files().write("empty.pic", "");
    files().write("text.pic", std::string(500, 'x'));
    files().write("cut.pic", contentOf(pic).substr(0, 100));
    files().write("early.pic", contentOf(pic).substr(0, 50));
    std::string newer = contentOf(pic).replace(4, 4, support::bytes({0x40, 0x60, 0, 0}));
    files().write("newer.pic", newer.substr(0, 100));
    files().write("newer.mat", newer.replace(88, 4, "MATE"));
    files().write("secret.pic", contentOf(pic), 0000);
    files().write("mine.pic", contentOf(pic), 0644);
    fs::create_directory(in("folder.pic"));
    fs::create_symlink("/dev/full", in("full.pic"));
    fs::create_symlink("/dev/full", in("full.png"));
    fs::permissions(files().path(), fs::perms(0755));
    const auto before = namesIn(files().path());
    const struct {
        std::string input;
        std::string output;
        std::string says;
        bool otherUser = false;
    } cases[] = {
        {"none.pic", "o.png", "none.pic: No such file or directory"},
        {"none/a.pic", "o.png", "none/a.pic: No such file or directory"},
        {"small.pic/a", "o.png", "small.pic/a: Not a directory"},
        {"folder.pic", "o.png", "folder.pic: is a folder (see -r)"},
        {"empty.pic", "o.png", "empty.pic: the file is empty"},
        {"text.pic", "o.png", "text.pic: no driver reads it (asked: softimageFilter, "},
        {"cut.pic", "o.png", "cut.pic: ends inside its header (softimageFilter)"},
        {"early.pic", "o.png", "early.pic: ends inside its header\n"},
        {"newer.pic", "o.png", "newer.pic: ends inside its header (softimageFilter)"},
        {"newer.mat", "o.png", "newer.mat: no driver reads it (asked: "},
        {"secret.pic", "o.png", "secret.pic: Permission denied", true},
        {"small.pic", "folder.pic", "folder.pic: names a folder; name the file to write in it"},
        {"small.pic", "", "names a folder; name the file to write in it"}, // the test's own folder
        {"small.pic", "none/", "none/: names a folder; name the file to write in it, or use -o "},
        {"small.pic", "none/o.png", "none: No such file or directory"},
        {"small.pic", "small.pic/o.png", "small.pic/o.png: Not a directory"},
        {"small.pic", "o.png", "Permission denied", true},
        {"small.pic", "mine.pic", "mine.pic: Permission denied", true},
        {"small.pic", "full.pic", "No space left on device"},
        {"small.pic", "full.png", "No space left on device"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.input + " to " + c.output);
        if (c.otherUser && geteuid() != 0) {
            continue;
        }
        const Ended ended =
            expectFailed({"convert", "--force", "--report", "-", in(c.input), in(c.output)}, c.says,
                         1, {.otherUser = c.otherUser});
        EXPECT_TRUE(ended.err.starts_with("tdr: "));
        EXPECT_TRUE(contains(ended.err, files().path().string()));
        const bool damaged = contains(c.says, "ends inside");
        EXPECT_EQ(contains(ended.out, "\"code\":\"damaged\""), damaged) << ended.out;
    }
    EXPECT_EQ(namesIn(files().path()), before);
    EXPECT_TRUE(fs::is_character_file("/dev/full")) << "never replaced";
}

TEST_F(ConvertTest, aFileThatExistsIsReplacedOnlyWhenThatIsAskedFor) {
    const auto text = files().write("no-picture.pic", "text"); // so no driver has been asked
    const auto old = files().write("old.png", "old");
    fs::create_symlink("old.png", in("link.png"));
    fs::create_symlink("new.png", in("dangling.png"));
    for (const std::string name : {"old.png", "link.png"}) {
        expectFailed({"convert", text, in(name)},
                     "tdr: " + in(name) + ": exists already (see --force)\n");
        expectDone({"convert", "--skip-existing", text, in(name)});
        EXPECT_EQ(contentOf(old), "old");
    }
    expectFailed({"compare", text, text, "--diff", old}, old + ": exists already", 4);
    const auto pic = smallPic();
    for (const std::string name : {"dangling.png", "link.png"}) {
        expectDone({"convert", name == "link.png" ? "--force" : "--skip-existing", pic, in(name)});
        EXPECT_TRUE(fs::is_symlink(in(name)));
    }
    EXPECT_EQ(contentOf(old), contentOf(in("new.png")));
    expectDone({"compare", pic, pic, "--diff", old, "--force"});
    EXPECT_NE(contentOf(old), contentOf(in("new.png")));
    expectFailed({"compare", pic, old, "--diff", in("link.png"), "--force"}, "the picture itself",
                 4);
    expectDone({"convert", pic, "/dev/null", "--to", "pic"});
}

TEST_F(ConvertTest, aFailedWriteLeavesTheOldFileAndNoOther) {
    const auto old = smallPic("old.pic");
    const std::string oldContent = contentOf(old);
    for (const Around& around : {Around{.largestFile = 2000, .ignoreSizeSignal = true},
                                 {.largestFile = 90'000, .ignoreSizeSignal = true},
                                 {.largestFile = 90'000}}) {
        const Ended ended = expectFailed({"convert", "--force", sample("photograph.png"), old},
                                         old + ": File too large (softimageFilter)", 1, around);
        EXPECT_EQ(ended.err.find(old), ended.err.rfind(old)) << "the name once: " << ended.err;
        EXPECT_EQ(contentOf(old), oldContent);
        EXPECT_EQ(namesIn(files().path()), Names{"old.pic"});
    }
}

TEST_F(ConvertTest, exactlyTheNamedFileIsReadAndWritten) {
    const std::string pic = contentOf(smallPic());
    const std::string other = support::rawPic(2, 1, 0xE0, support::bytes({9, 9, 9, 9, 9, 9}));
    const std::string tag = support::tag(3, 1, 1, {0b00'101'00000000000});
    const Pixels colours = {255, 3, 2, 1, 255, 6, 5, 4};
    const Pixels matte = {255, 255, 255, 255, 255, 0, 0, 0, 255, 255, 255, 255};
    const std::string deep = std::string(200, 'd') + "/";
    fs::create_directories(in(deep + deep + deep + deep + deep + deep));
    const struct {
        std::string name;   ///< the input, replaced if a driver writes such files
        std::string beside; ///< the name that a driver would use instead, or empty
        const std::string* content = nullptr;
        const Pixels* pixels = nullptr;
        bool written = true; ///< false for mattes without their ending
    } cases[] = {
        {"holiday.jpg", "holiday.jpg.pic", &pic, &colours},
        {"UPPER.PIC", "UPPER.PIC.pic", &pic, &colours},
        {".PIC", ".PIC.pic", &pic, &colours},
        {".TAG", ".TAG.tag", &tag, &matte},
        {"matte.pic", "matte.pic.tag", &tag, &matte},
        {"matte.0001", "matte.0001.tag", &tag, &matte, false},
        {"shot.0001", "shot.0001.pic", &pic, &colours},
        {"bare", "bare.pic", &pic, &colours},
        {std::string(251, 'n') + ".pic", "", &pic, &colours},
        {std::string(255, 'n'), "", &pic, &colours},
        {"two\nlines '; \xff.pic", "", &pic, &colours},
        {deep + deep + deep + deep + deep + deep + "far.pic", "", &pic, &colours},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        files().write(c.name, *c.content);
        if (!c.beside.empty()) {
            files().write(c.beside, other);
        }
        expectDone({"convert", "--force", in(c.name), in("o.png")});
        EXPECT_EQ(pixelsOf("pngFilter", in("o.png")), *c.pixels);
        expectEnd(c.written ? 0 : 1, {"convert", "--force", in("o.png"), in(c.name)},
                  c.written ? "" : "tdr: " + in(c.name) + kMattes); // no guess
        EXPECT_EQ(kindOf(contentOf(in(c.name))), c.written && c.name != ".TAG" ? "PICT" : "STAG");
        EXPECT_EQ(run({"compare", in(c.name), in("o.png")}).exit, 0);
        EXPECT_TRUE(c.beside.empty() || contentOf(in(c.beside)) == other);
    }
    expectDone({"convert", "--force", in("bare"), in("bare")});
    expectDone({"compare", in("bare"), in("o.png")});
}

TEST_F(ConvertTest, theKindOfTheNewFileIsWhatIsSaidOrNamedOrThereOrRead) {
    const std::string text = "no picture";
    const std::string pic = contentOf(smallPic());
    const std::string png = contentOf(sample("cutout.png"));
    const std::string tag = support::tag(3, 1, 1, {0});
    const std::string guessed = ": written as .png, by the driver of ";
    const struct {
        const char* kind; ///< for --to, or null
        const char* target;
        const std::string* present;
        const char* written; ///< the kind; null: refused
        std::string says = {};
    } cases[] = {
        {"pic", "a.0001", nullptr, "PICT"},
        {".PIC", "a.png", &text, "PICT"},
        {"softimageFilter", "a", &png, "PICT"},
        {"png", "a.pic", nullptr, "PNG"},
        {nullptr, "a.Pic", &png, "PICT"},
        {nullptr, "a.0001", &pic, "PICT"},
        {nullptr, "a.0001", &text, "PNG", guessed},
        {nullptr, "a", nullptr, "PNG", guessed},
        {nullptr, "a.0001", &tag, nullptr, kMattes},
        {"tag", "a.png", nullptr, "STAG"},
        {"jpg", "a.png", nullptr, nullptr,
         "jpg: no driver has this name or writes files with this "
         "ending (known: .null, .png, .pic, .tag)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << (c.kind != nullptr ? c.kind : "") << ", " << c.target);
        if (c.present != nullptr) {
            files().write(c.target, *c.present);
        }
        std::vector<std::string> line = {"convert", "--force", sample("cutout.png"), in(c.target)};
        if (c.kind != nullptr) {
            line.insert(line.end(), {"--to", c.kind});
        }
        expectEnd(c.written != nullptr ? 0 : 1, line, c.says);
        const std::string left = contentOf(in(c.target));
        if (c.written != nullptr) {
            EXPECT_EQ(kindOf(left), c.written);
        } else {
            EXPECT_EQ(left, c.present != nullptr ? *c.present : "");
        }
        fs::remove(in(c.target));
    }
}

/// Files with a valid header and missing pixels.
class DamagedTest : public ConvertTest {
  protected:
    /// Names and contents.
    std::map<std::string, std::string> damaged() {
        EXPECT_EQ(run({"convert", sample("cutout.png"), in("whole.pic")}).exit, 0);
        const std::string pic = contentOf(in("whole.pic"));
        const std::string png = contentOf(sample("cutout.png"));
        fs::remove(in("whole.pic"));
        std::string unknown = support::rawPic(2, 1, 0xE0, support::bytes({1, 2, 3, 4, 5, 6}));
        unknown[106] = 9; // an unknown encoding
        return {{"half.pic", pic.substr(0, pic.size() / 2)},
                {"unknown.pic", unknown},
                {"half.png", png.substr(0, png.size() / 2)},
                {"tail.png", png.substr(0, png.size() - 12)}, // all pixels, but no end
                {"cut.tag", support::tag(40, 30, 1, {0})},
                // Large enough to be converted line by line.
                {"claim.pic", support::rawPic(32767, 32767, 0xE0, "")}};
    }
};

/// Processor time of the command and its drivers so far.
double secondsOfChildren() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec) / 1e6;
}

TEST_F(DamagedTest, endsWith1AndTheOldFileUnlessItIsToBeKept) {
    for (const auto& [name, content] : damaged()) {
        SCOPED_TRACE(name);
        const auto from = files().write(name, content);
        const auto to = files().write("old.png", "old");
        const double before = secondsOfChildren();
        const Ended ended =
            expectFailed({"convert", "--force", from, to}, from + "' is cut short or damaged");
        EXPECT_TRUE(contains(ended.err, "tdr: " + to + ": not written, because " + from +
                                            " is damaged (see --keep-damaged)\n"));
        EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 2) << ended.err;
        EXPECT_EQ(contentOf(to), "old");
        EXPECT_EQ(namesIn(files().path()), (Names{name, "old.png"}));
        EXPECT_LT(secondsOfChildren() - before, 2) << "it stops where nothing follows";
        if (name != "claim.pic") {
            const Ended kept = expectFailed({"convert", "--force", "--keep-damaged", from, to},
                                            from + "' is cut short or damaged");
            EXPECT_TRUE(contains(kept.err, to + ": written, but " + from + " is damaged\n"));
            const std::string reader = name.ends_with(".png") ? "pngFilter" : "softimageFilter";
            EXPECT_EQ(pixelsOf("pngFilter", to), pixelsOf(reader, from));
        }
        fs::remove(from);
    }
}

TEST_F(DamagedTest, cannotBeComparedOrHashed) {
    for (const auto& [name, content] : damaged()) {
        SCOPED_TRACE(name);
        const auto file = files().write(name, content);
        for (const std::string use : {"compare", "hash"}) {
            const Ended ended = expectFailed({use, file, file}, file + "' is cut short or damaged",
                                             use == "compare" ? 4 : 1);
            EXPECT_EQ(ended.out, "");
            EXPECT_TRUE(contains(ended.err, "tdr: " + file + ": damaged, and so cannot be " + use));
        }
    }
}

// The scripted driver reports the ending "1039-1", so it writes such a target.

TEST_F(ConvertTest, aDriverThatDiesOrHangsLeavesTheOldFile) {
    const std::string drivers = driverFolder({"freezesAtPut"});
    const auto target = files().write("o.1039-1", "old");
    auto running = startRun({"convert", "--force", smallPic(), target, "--driver-dir", drivers});
    const pid_t stopped = running->awaitStoppedChild();
    ASSERT_GT(stopped, 0);
    kill(stopped, SIGKILL);
    const Ended died = running->wait();
    EXPECT_EQ(died.exit, 3);
    EXPECT_TRUE(contains(died.err, target + ": put line: the driver died (signal 9 (Killed)): "));
    EXPECT_TRUE(died.err.ends_with(" (freezesAtPutFilter)\n"));
    expectFailed(
        {"convert", "--force", smallPic(), target, "--driver-dir", drivers, "--timeout", "2"},
        "put line: no answer within 2 s", 3);
    EXPECT_EQ(contentOf(target), "old");
    EXPECT_EQ(namesIn(files().path()), (Names{"o.1039-1", "small.pic"}));
}

TEST_F(ConvertTest, damageThatIsFoundAtTheCloseCounts) {
    const std::string drivers = driverFolder({"lateDamage"});
    const auto file = files().write("a.1039-1", "x");
    EXPECT_EQ(run({"compare", file, file, "--driver-dir", drivers}).exit, 4);
    EXPECT_EQ(run({"convert", file, in("o.png"), "--driver-dir", drivers}).exit, 1);
    EXPECT_FALSE(fs::exists(in("o.png")));
}

TEST_F(ConvertTest, aDriverThatWritesNothingIsAFailure) {
    expectFailed({"convert", smallPic(), in("o.1039-1"), "--driver-dir", driverFolder({"echo"})},
                 in("o.1039-1") + ": nothing was written");
    EXPECT_EQ(namesIn(files().path()), Names{"small.pic"});
}

} // namespace
