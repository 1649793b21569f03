// SPDX-License-Identifier: MIT
// tdr convert with many files: patterns, folders, lists, what is refused, counts and the report.
#include "support/pictureFiles.h"
#include "tdr/commandTesting.h"

#include <nlohmann/json.hpp>
#include <pty.h>

namespace {

using namespace commandTesting;

class BatchTest : public CommandTest {
  protected:
    std::string pic(const std::string& name, const std::string& rgb = "abc") {
        fs::create_directories(fs::path(in(name)).parent_path());
        return files().write(name, support::rawPic(1, 1, 0xE0, rgb));
    }

    /// Runs convert in the test's folder.
    Ended convert(std::vector<std::string> arguments, const Around& around = {}) {
        arguments.insert(arguments.begin(), {TDR_COMMAND, "convert"});
        std::string line = "cd '" + files().path().string() + "' && exec \"$@\"";
        arguments.insert(arguments.begin(), {"sh", "-c", line, "sh"});
        return Running(std::move(arguments), around).wait();
    }

    static std::string counts(int done, int skipped, int damaged, int failed) {
        return "tdr: " + std::to_string(done) + " done, " + std::to_string(skipped) + " skipped, " +
               std::to_string(damaged) + " damaged, " + std::to_string(failed) + " failed\n";
    }
};

TEST_F(BatchTest, framesAreFoundNumberedAndNamed) {
    for (const char* name :
         {"s.0001.pic", "s.0003.pic", "s.0004.pic", "s.12345.pic", "s.01234.pic"}) {
        pic(name);
    }
    pic("l.%d.pic", "lit"); // a name that exists is no pattern
    pic("l.7.pic");
    for (const char* name : {"c.7.pic", "c.020261122160001.pic", "c.20261122160001.pic"}) {
        pic(name);
    }
    const struct {
        std::vector<std::string> line;
        std::string err;
        Names written;
    } cases[] = {
        {{"s.%04d.pic", "o.#.png"},
         "tdr: s.%04d.pic: no frame 2, 5-12344; skipped\n" + counts(4, 0, 0, 0),
         {"o.1.png", "o.3.png", "o.4.png", "o.12345.png"}},
        {{"s.####.pic", "--frames", "3-4", "o@.png", "--start", "10", "--step", "5"},
         counts(2, 0, 0, 0),
         {"o10.png", "o15.png"}},
        {{"s.####.pic", "--frames", "1-5", "o@.png"}, "tdr: s.####.pic: no frame 2, 5\n", {}},
        {{"t.####.pic", "o@.png"}, "tdr: t.####.pic: no file has a name of this pattern\n", {}},
        {{"-n", "c.%d.pic", "o@.png"},
         "tdr: c.20261122160001.pic: the number of its frame is above 2147483647\n",
         {}},
        {{"-q", "c.%d.pic", "o@.png", "--frames", "7"}, "", {"o7.png"}},
        {{"-q", "s.%04d.pic", "-o", "o/", "--to", "png", "--frames", "1,3"}, "", {"o"}},
        {{"l.%d.pic", "o.png"}, "", {"o.png"}},
        {{"s.%04d.pic", "o.png", "--frames", "1,3"},
         "tdr: o.png: one file for 2 pictures; a folder ends in / and a pattern has a number, as "
         "in %04d\n",
         {}},
    };
    const Names before = namesIn(files().path());
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.line));
        const Ended ended = convert(c.line);
        EXPECT_EQ(ended.err, c.err);
        EXPECT_EQ(ended.exit, c.written.empty() ? 1 : 0);
        Names written;
        std::ranges::set_difference(namesIn(files().path()), before,
                                    std::inserter(written, written.end()));
        EXPECT_EQ(written, c.written);
        for (const std::string& name : written) {
            fs::remove_all(in(name));
        }
    }
}

TEST_F(BatchTest, foldersAndListsAreFoundWithTheirStructure) {
    pic("in/a.pic");
    pic("in/deep/er/b");
    pic("in/.hidden/c.pic");
    pic("in/out/d.pic");
    files().write("in/notes.txt", "text");
    files().write("in/odd.PIC", "no picture");
    const Ended ended = convert({"-r", "in", "-o", "in/out/", "--to", ".PNG", "-j", "3"});
    EXPECT_EQ(ended.exit, 1);
    EXPECT_TRUE(contains(ended.err, "tdr: in/odd.PIC: no driver reads it"));
    EXPECT_TRUE(ended.err.ends_with(counts(2, 0, 0, 1)));
    EXPECT_EQ(namesIn(in("in/out")), (Names{"a.PNG", "d.pic", "deep"}));
    EXPECT_EQ(namesIn(in("in/out/deep/er")), Names{"b.PNG"});

    const std::string names = "in/a.pic\nin/deep/er/b\n\n";
    files().write("lines", names);
    files().write("zeros", std::string("in/a.pic\0l.%d\0", 14));
    pic("l.%d");
    pic("deep/b.png");
    EXPECT_EQ(convert({"in/deep/er/b", "deep/b.png", "-o", "x/", "--to", "png", "-n"}).err,
              "tdr: x/b.png: would be written from in/deep/er/b and from deep/b.png\n");
    EXPECT_EQ(convert({"--files-from", "zeros", "-0", "-o", "x/", "--to", "pngFilter", "-n"}).out,
              "in/a.pic -> x/a.png\nl.%d -> x/l.png\n");
    EXPECT_EQ(convert({"--files-from", "zeros", "-o", "x/", "--to", "png"}).err,
              "tdr: zeros: names with zero bytes behind them need -0\n");
    static std::string list;
    list = in("lines");
    EXPECT_EQ(convert({"--files-from", "-", "-o", "y/", "--to", "png"},
                      {.prepare = [] { dup2(open(list.c_str(), O_RDONLY), STDIN_FILENO); }})
                  .err,
              counts(2, 0, 0, 0));
    EXPECT_EQ(namesIn(in("y")), (Names{"a.png", "b.png"}));
    EXPECT_FALSE(fs::exists(in("x")));
}

TEST_F(BatchTest, aBadFileEndsNothingAndIsCounted) {
    pic("a.pic");
    files().write("b.pic", contentOf(in("a.pic")).substr(0, 109));
    files().write("c\xff.pic", "no picture");
    pic("d.pic");
    pic("e.pic");
    files().write("o.d.png", "old");
    fs::create_directory(in("o"));
    fs::rename(in("o.d.png"), in("o/d.png"));
    const std::vector<std::string> line = {"a.pic",    "b.pic", "c\xff.pic", "d.pic",
                                           "none.pic", "e.pic", "-o",        "o",
                                           "--to",     "png",   "-j",        "2"};
    const auto with = [&](std::vector<std::string> more) {
        more.insert(more.end(), line.begin(), line.end());
        return convert(more);
    };
    EXPECT_EQ(with({}).err, "tdr: o/d.png: exists already (see --force)\n");
    EXPECT_EQ(namesIn(in("o")), Names{"d.png"}) << "a refused plan writes nothing";

    const Ended ended = with({"--skip-existing", "--report", "r.jsonl"});
    EXPECT_EQ(ended.exit, 1);
    EXPECT_TRUE(ended.err.ends_with(counts(2, 1, 1, 2))) << ended.err;
    EXPECT_EQ(namesIn(in("o")), (Names{"a.png", "d.png", "e.png"}));
    EXPECT_EQ(contentOf(in("o/d.png")), "old");
    std::ifstream report(in("r.jsonl"));
    std::string fates;
    for (std::string text; std::getline(report, text);) {
        const auto job = nlohmann::json::parse(text);
        fates += job["result"].get<std::string>() + " ";
        if (job["output"] == "o/c\\xff.png") {
            EXPECT_EQ(job["outputBase64"], "by9j/y5wbmc=");
            EXPECT_TRUE(contains(job["messages"], "c\\xff.pic: no driver reads it"));
            EXPECT_EQ(job["code"], "wrongKind");
        }
    }
    EXPECT_EQ(fates, "done damaged failed skipped failed done ");
    EXPECT_TRUE(with({"--skip-existing", "--report", "r.jsonl"}).err.ends_with(counts(0, 3, 1, 2)))
        << "goes on";
    std::ifstream longer(in("r.jsonl"));
    EXPECT_EQ(std::count(std::istreambuf_iterator<char>(longer), {}, '\n'), 12);
    EXPECT_EQ(with({"--skip-existing", "--report", "-", "-q"}).out.substr(0, 9), "{\"input\":");

    const Ended kept = with({"--force", "--keep-damaged", "-v"});
    EXPECT_TRUE(kept.err.ends_with(counts(3, 0, 1, 2))) << kept.err;
    EXPECT_TRUE(contains(kept.err, "tdr: b.pic -> o/b.png: damaged\n"));
    EXPECT_EQ(namesIn(in("o")), (Names{"a.png", "b.png", "d.png", "e.png"}));
}

TEST_F(BatchTest, whatCannotBeReadInAFolderIsNotPassedOver) {
    pic("in/a.pic");
    fs::create_symlink("nowhere.pic", in("in/b.pic"));
    fs::create_symlink("nowhere", in("in/c"));
    const Ended missing = convert({"-r", "in", "-o", "o/", "--to", "png"});
    EXPECT_EQ(missing.exit, 1);
    EXPECT_EQ(missing.err, "tdr: in/b.pic: No such file or directory\n" + counts(1, 0, 0, 1));
}

TEST_F(BatchTest, twoNamesOfOneNewFileClash) {
    pic("s.1.pic");
    pic("s.2.pic");
    fs::create_symlink("o.2.png", in("o.1.png"));
    EXPECT_EQ(convert({"s.%d.pic", "-o", "o.%d.png", "--force"}).err,
              "tdr: o.2.png: would be written from s.1.pic and from s.2.pic\n");
    EXPECT_EQ(convert({"s.1.pic", in("p.png"), "--report", "p.png", "--force"}).err,
              "tdr: " + in("p.png") + ": would also be written by --report\n");
    EXPECT_FALSE(fs::exists(in("p.png")));
}

TEST_F(BatchTest, timesArePreservedAndMemoryIsLimited) {
    fs::copy_file(sample("photograph.png"), in("a.png"));
    const auto then = fs::file_time_type::clock::now() - std::chrono::hours(99);
    fs::last_write_time(in("a.png"), then);
    EXPECT_EQ(convert({"a.png", "b.pic", "--preserve-time"}).exit, 0);
    EXPECT_EQ(fs::last_write_time(in("b.pic")), fs::last_write_time(in("a.png")));
    EXPECT_EQ(
        convert({"a.png", "b.pic", "-o", "o/", "--to", "pic", "--max-memory", "1", "-j", "2"}).exit,
        0); // half a megabyte each is less than the picture, which goes line by line
    EXPECT_EQ(contentOf(in("o/a.pic")), contentOf(in("b.pic")));
}

TEST_F(BatchTest, progressIsShownOnATerminalOnly) {
    for (int i = 0; i < 3; ++i) {
        pic("a." + std::to_string(i) + ".pic");
    }
    static int stderrOfRun = -1;
    const Around around = {.prepare = [] { dup2(stderrOfRun, STDERR_FILENO); }};
    const auto shownBy = [&](const std::function<Ended()>& command) {
        int screen = -1;
        EXPECT_EQ(openpty(&screen, &stderrOfRun, nullptr, nullptr, nullptr), 0);
        const base::UniqueFd owned(screen);
        EXPECT_EQ(command().exit, 0);
        close(stderrOfRun);
        std::string shown;
        std::array<char, 4096> some{};
        for (ssize_t got = 0; (got = read(screen, some.data(), some.size())) > 0;) {
            shown.append(some.data(), static_cast<std::size_t>(got));
        }
        return shown;
    };
    const std::string shown = shownBy([&] { return convert({"a.#.pic", "b.#.png"}, around); });
    EXPECT_TRUE(contains(shown, "\r\x1b[K1 of 3, "));
    EXPECT_TRUE(contains(shown, " left: a.0.pic"));
    EXPECT_TRUE(contains(shown, "\r\x1b[Ktdr: 3 done"));

    const std::string folder = files().path().string();
    EXPECT_TRUE(contains(shownBy([&] {
                             return run({"check", "-r", folder}, around);
                         }),
                         "\r\x1b[K0 of 6: " + in("a.0.pic")));
    const std::vector<std::string> hash = {"hash", in("a.0.pic"), in("a.1.pic"), in("a.2.pic")};
    EXPECT_TRUE(contains(shownBy([&] { return run(hash, around); }), "\r\x1b[K0 of 3: "));
    EXPECT_EQ(shownBy([&] {
                  return run({"hash", "-q", in("a.0.pic"), in("a.1.pic")}, around);
              }),
              "");
}

TEST_F(BatchTest, aKilledDriverIsReplacedForTheNextPicture) {
    const std::string drivers = driverFolder({"dies"});
    pic("a.pic");
    pic("b.pic");
    fs::create_directory(in("o"));
    // With the driver that dies asked for, each picture fails; with the others, none does.
    const Ended failed =
        convert({"--driver-dir", drivers, "a.pic", "b.pic", "-o", "o/x.#", "--to", "diesFilter"});
    EXPECT_EQ(failed.exit, 1);
    EXPECT_TRUE(failed.err.ends_with(counts(0, 0, 0, 2))) << failed.err;
    EXPECT_EQ(
        convert({"--driver-dir", drivers, "a.pic", "b.pic", "-o", "o/x.#", "--to", "png"}).exit, 0);
    EXPECT_EQ(namesIn(in("o")), (Names{"x.1", "x.2"}));
}

} // namespace
