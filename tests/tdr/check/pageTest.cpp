// SPDX-License-Identifier: MIT
// tdr check --html: the page in a browser, and its folder.
#include "support/pictureFiles.h"
#include "tdr/browser.h"
#include "tdr/commandTesting.h"

#include <regex>

namespace {

using namespace commandTesting;

/// What the expression finds in a text, in order.
std::vector<std::string> all(const std::string& text, const std::string& expression) {
    const std::regex regex(expression);
    std::vector<std::string> found;
    for (std::sregex_iterator at(text.begin(), text.end(), regex), end; at != end; ++at) {
        found.push_back(at->str(1));
    }
    return found;
}

std::string percentDecoded(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool coded = text[i] == '%';
        bytes += coded ? static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)) : text[i];
        i += coded ? 2 : 0;
    }
    return bytes;
}

class PageTest : public CommandTest {
  protected:
    /// A whole picture, two damaged ones, a scene with a loss, and a file that is none of these.
    void write() {
        const std::string pixels = "abcdefghijklmnopqr";
        files().write("f/10.pic", support::rawPic(2, 3, 0xE0, pixels));
        files().write("f/9.pic", support::rawPic(2, 3, 0xE0, pixels.substr(0, 13)));
        files().write("f/8.pic", support::rawPic(2, 3, 0xE0, pixels + "more"));
        std::string scene = contentOf(sample("lighthouse.scn"));
        files().write("f/odd.scn", scene.insert(scene.find("FRAME"), "GIZMO \n"));
        files().write("f/text.pic", "hello");
    }
    void SetUp() override { fs::create_directory(in("f")); }

    std::string page() { return contentOf(in("page/index.html")); }

    /// The names of the files in the order of the rows, after `script` has run in the page that is
    /// opened with `hash`.
    std::vector<std::string> order(const std::string& script, const std::string& hash = "") {
        std::string html = page();
        html.replace(html.find("</body>"), 0, "<script>" + script + "</script>");
        files().write("page/copy.html", html);
        return all(browser::dom(in("page/copy.html") + hash), "href=\"\\.\\./f/([a-z0-9]+)\\.");
    }
};

class PageInBrowserTest : public PageTest {
  protected:
    void SetUp() override {
        PageTest::SetUp();
        if (!browser::isInstalled()) {
            GTEST_SKIP() << browser::kProgram << " is missing: scripts/setup test";
        }
    }
};

using Order = std::vector<std::string>;

TEST_F(PageInBrowserTest, rowsAreSortedByTheHeadThatIsClickedOrByTheAddress) {
    write();
    run({"check", "-r", in("f"), "--html", in("page")});
    const Order given = {"10", "8", "9", "odd", "text"};
    const Order byByte = {"9", "8", "10", "odd", "text"};
    const auto click = [](const std::string& column) {
        return "document.querySelector('[data-sort=" + column + "] button').click();";
    };
    EXPECT_EQ(order(""), given);
    EXPECT_EQ(order(click("byte")), byByte) << "without a number at the end, as they were";
    EXPECT_EQ(order(click("byte") + click("byte")), (Order{"8", "9", "10", "odd", "text"}));
    EXPECT_EQ(order(click("byte") + click("file")), (Order{"8", "9", "10", "odd", "text"}))
        << "numbers in names count as numbers";
    EXPECT_EQ(order("", "#-state"), (Order{"text", "8", "9", "odd", "10"}));
    EXPECT_EQ(order("", "#none"), given);
}

TEST_F(PageInBrowserTest, namesOfAllKindsAreTextAndLeadToTheirFiles) {
    const std::string names[] = {"<img src=x onerror=alert(1)>", "\"'&amp;", "a\nb%41#?c",
                                 "\xff\xe9:", "ä日本"};
    std::vector<std::string> line = {"check", "--html", in("page")};
    for (const std::string& name : names) {
        line.push_back(files().write("f/" + name + ".pic", support::rawPic(1, 1, 0xE0, "abc")));
    }
    expectEnd(0, line, "5 whole");
    const auto links = all(page(), "href=\"([^\"]*)\"");
    ASSERT_EQ(links.size(), std::size(names));
    for (std::size_t i = 0; i < links.size(); ++i) {
        EXPECT_EQ(percentDecoded(links[i]), "../f/" + names[i] + ".pic");
    }
    (void)order("onload = () => document.title = [...document.images].map(image => "
                "image.complete && image.naturalWidth).join() + "
                "document.querySelectorAll('script').length + document.links[0].textContent");
    EXPECT_TRUE(contains(browser::dom(in("page/copy.html")),
                         "<title>1,1,1,1,12" + in("f/&lt;img src=x onerror=alert(1)&gt;.pic<")));
}

TEST_F(PageTest, aRowTellsWhatTheCommandTells) {
    write();
    const Ended plain = run({"check", "--json", "-r", in("f")});
    const Ended ended = run({"check", "--json", "-r", in("f"), "--html", in("page/")});
    EXPECT_EQ(ended.exit, 1);
    EXPECT_EQ(ended.out, plain.out);
    EXPECT_EQ(ended.err, plain.err);
    const std::string html = page();
    for (const char* part :
         {"<h1>5 files: 1 whole, 3 damaged, 1 failed, 0 skipped</h1>", ">2 × 3<", "2 of 3<",
          "<td data-column=\"First bad line\" data-key=\"2\">2<", "data-key=\"120\">120<",
          "line 12: unknown word &quot;GIZMO&quot;", ">scene<", "no image", "no driver reads it"}) {
        EXPECT_TRUE(contains(html, part));
    }
    const auto images = all(html, "src=\"([^\"]*)\"");
    ASSERT_EQ(images.size(), 4U);
    for (const std::string& image : images) {
        const bool plot = image.ends_with(".svg");
        EXPECT_EQ(contentOf(in("page/" + image)).substr(plot ? 0 : 1, plot ? 4 : 3),
                  plot ? "<svg" : "PNG");
    }
    EXPECT_TRUE(run({"check", "-r", in("f"), in("page"), "--html", in("page"), "--force"})
                    .err.starts_with("tdr: " + in("f/text.pic")));
}

TEST_F(PageTest, aFolderHasAWholePageOrTheOneBefore) {
    const std::string pic = files().write("f/a.pic", support::rawPic(1, 1, 0xE0, "abc"));
    fs::create_directory(in("page"));
    expectDone({"check", pic, "--html", in("page")});
    const std::string before = page();
    EXPECT_TRUE(contains(before, "<h1>1 file: 1 whole, 0 damaged"));
    EXPECT_EQ(namesIn(in("page")), (Names{"images-1", "index.html"}));
    files().write("page/notes", "kept");

    expectFailed({"check", pic, "--html", in("page")}, in("page") + ": is not empty (see --force)");
    Around full;
    full.largestFile = 3000; // room for the image
    expectFailed({"check", pic, "--html", in("page"), "--force"}, "File too large", 1, full);
    full.largestFile = 50; // none for it
    expectFailed({"check", pic, "--html", in("page"), "--force"}, "File too large", 1, full);
    expectFailed({"check", pic, "--html", in("deep/er")}, "File too large", 1, full);
    EXPECT_EQ(namesIn(in("deep")), Names{});
    EXPECT_EQ(page(), before);
    EXPECT_EQ(namesIn(in("page")), (Names{"images-1", "index.html", "notes"}));

    expectEnd(0, {"check", pic, pic, "--html", in("page"), "--force"}, "2 whole");
    EXPECT_EQ(namesIn(in("page")), (Names{"images-2", "index.html", "notes"}));
    EXPECT_EQ(namesIn(in("page/images-2")), (Names{".tdr-page", "000001.png", "000002.png"}));
    EXPECT_TRUE(contains(page(), "images-2/000002.png"));
    expectFailed({"check", pic, "--html", pic}, "Not a directory");
    const base::UniqueFd device(open("/dev/full", O_WRONLY | O_CLOEXEC));
    expectFailed({"check", pic, "--html", in("page"), "--force"}, "No space", 1,
                 {.stdoutFd = device.get()});
    EXPECT_EQ(namesIn(in("page")), (Names{"images-2", "index.html", "notes"}));

    fs::remove(in("page/index.html")); // as a killed run has it
    fs::remove(in("page/notes"));
    expectDone({"check", pic, "--html", in("page")});
    EXPECT_EQ(namesIn(in("page")), (Names{"images-1", "index.html"}));
}

TEST_F(PageTest, onlyImagesOfPagesAreReplacedOrPassedOver) {
    const std::string picture = support::rawPic(1, 1, 0xE0, "abc");
    const std::string users[] = {"f/images-2024/000001.pic", "elsewhere/000002.pic"};
    fs::create_directory(in("f/images-2024"));
    fs::create_directory(in("elsewhere"));
    for (const std::string& name : users) {
        expectDone({"convert", files().write(name, picture), in(name + ".png")});
        fs::rename(in(name + ".png"), fs::path(in(name)).replace_extension(".png"));
    }
    fs::create_directory_symlink("../elsewhere", in("f/images-7"));
    for (int i = 0; i < 2; ++i) { // the second run meets the images of the first
        expectEnd(0, {"check", "-r", in("f"), "--html", in("f"), "--force"},
                  i == 0 ? "2 files: 2 whole, 0 damaged, 0 failed, 0 skipped"
                         : "3 files: 2 whole, 0 damaged, 0 failed, 1 skipped");
        for (const std::string& name : users) {
            EXPECT_TRUE(fs::exists(fs::path(in(name)).replace_extension(".png"))) << name;
        }
    }
    EXPECT_EQ(namesIn(in("f")), (Names{"images-2", "images-2024", "images-7", "index.html"}));
}

TEST_F(PageTest, anInterruptedRunLeavesNothingThatTheNextOneKeeps) {
    const std::string large = files().write("f/large.pic", support::rawPic(20000, 20000, 0xE0, ""));
    fs::resize_file(large, 20000U * 20000U * 3 + 108);
    const auto running = startRun({"check", large, "--html", in("page")});
    support::eventually("the folder is there", [&] { return fs::exists(in("page/images-1")); });
    running->kill(SIGINT);
    EXPECT_EQ(running->wait().signal, SIGINT);
    EXPECT_FALSE(fs::exists(in("page")));

    const auto killed = startRun({"check", large, "--html", in("page")});
    support::eventually("the folder is there",
                        [&] { return fs::exists(in("page/images-1/.tdr-page")); });
    killed->kill(SIGKILL);
    (void)killed->wait();
    EXPECT_GT(namesIn(in("page")).size(), 1U) << "the new page is left";
    const std::string red = files().write("red.pic", support::rawPic(1, 1, 0x80, "r"));
    expectEnd(0, {"check", red, "--html", in("page")},
              "no thumbnail: " + red + ": Unsupported pixel format (softimageFilter)");
    EXPECT_EQ(namesIn(in("page")), (Names{"images-2", "index.html"}));
}

} // namespace
