// SPDX-License-Identifier: MIT
// tdr info and tdr scene on scenes, splines and hierarchies.
#include "base/uniqueFd.h"
#include "tdr/commandTesting.h"

#include <algorithm>
#include <fcntl.h>
#include <nlohmann/json.hpp>

namespace {

using namespace commandTesting;
using namespace std::string_literals;
using Json = nlohmann::json;

const std::string kScene = "SSCN \nmade by hand v2.60 \n\nFRAME 5 25 1 1 \nRATE 25 \n";

class SceneTest : public CommandTest {
  protected:
    /// The JSON of the one file.
    Json info(const std::string& file) {
        return Json::parse(expectDone({"info", "--json", file}).out).at(0); // throws for no JSON
    }

    /// A copy of a sample in the test's folder.
    std::string copyOf(const std::string& name) {
        return files().write(name, contentOf(sample(name)));
    }
};

// --- Info ----------------------------------------------------------------------------------------

TEST_F(SceneTest, infoTellsWhatASceneHolds) {
    const Ended ended = expectDone({"info", sample("lighthouse.scn")});
    for (const char* part :
         {": scene\n", "frames    1 to 240\n", "rate      30 frames per second",
          "path      objects \"MODELS\"\n", "camera    at along the path \"cam_flight\"\n",
          "field of view curve CAM_FOV (4 keys), roll 0", "\"beam\": spot, at 0 17.2 0",
          "tree      \"lighthouse\", 5 nodes\n",
          "      \"lantern\": translation 0 0.6 0; rotation [",
          "scaling 1 1 1; 1 block (MATERIAL)\n", "spline    \"shore line\": BSPLINE, 5 points\n",
          "wave      1 block (WAVE)\n", "curves    20: FAD_END, CAM_POS"}) {
        EXPECT_TRUE(contains(ended.out, part));
    }
}

TEST_F(SceneTest, jsonHasEverythingInTheRecord) {
    const Json scene = info(sample("lighthouse.scn"));
    EXPECT_EQ(scene["rendering"]["postRendering"], "compress -f lighthouse");
    EXPECT_EQ(scene["camera"]["fieldOfView"]["keys"][2]["leftSlope"], -0.09);
    EXPECT_EQ(scene["camera"]["position"]["path"]["points"][3]["position"],
              Json::array({12, 7, 29.5}));
    EXPECT_EQ(scene["lights"][0]["colour"][1]["channel"], "LIG_COL_G");
    EXPECT_EQ(scene["lights"][1]["interest"]["curves"]["x"]["before"], "cycle");
    const Json& tree = scene["trees"][0];
    EXPECT_EQ(tree[3]["name"], "lantern");
    EXPECT_EQ(tree[3]["parent"], 2);
    EXPECT_EQ(tree[0]["rotation"], Json::array({0, 12.5, 0}));
    EXPECT_EQ(tree[4]["shapes"][1]["weights"][0]["channel"], "SWEIGHT");

    const Json lamp = info(sample("desk_lamp.hrc"));
    EXPECT_EQ(lamp["trees"][0][0]["userData"][0]["tag"], "NOTE");
    EXPECT_EQ(lamp["trees"][0][0]["userData"][0]["size"], 51);
    EXPECT_TRUE(contains(lamp["trees"][0][1]["contents"][0], "mesh\n"));
    const Json odd = info(files().write(
        "odd.scn", kScene + "SPLINE LINEAR \n   NAME 'l' \n   POINTS 1 \n      POSITION 1 2 3 \n"
                            "      PREVIOUS 4 5 6 \n      CONSTRAINT G1 \n"));
    EXPECT_EQ(odd["splines"][0]["points"][0]["previous"], Json::array({4, 5, 6}));
    EXPECT_EQ(odd["splines"][0]["points"][0]["constraint"], "G1");
    const Json vase = info(sample("vase.spl"));
    EXPECT_EQ(vase["spline"]["points"][4]["segment"], "LINEAR");
    EXPECT_EQ(vase["spline"]["points"][2]["flags"], 65536);
}

TEST_F(SceneTest, jsonIsValidWhateverTheFileSays) {
    const std::string numbers = kScene + "PIXEL_RATIO 1e999 \nCAMERA \n   ROLL NAN \n   "
                                         "NEAR -INFINITE \n   FAR 9e99 \n";
    const Json extreme = info(files().write("numbers.scn", numbers));
    EXPECT_TRUE(extreme["camera"]["roll"].is_number());
    EXPECT_GT(extreme["camera"]["far"], 3e38);

    const std::string name = "a\"b\\<&>\xff\xc3\xa9\x01";
    const Json named = info(files().write("name.scn", kScene + "LIGHT \n   LIGHT_NAME '" + name +
                                                          "' \n   LIGHT_TYPE POINT \n"));
    EXPECT_EQ(named["lights"][0]["name"], "a\"b\\<&>\\xff\xc3\xa9\x01");
    EXPECT_TRUE(contains(run({"info", in("name.scn")}).out, "a\"b\\<&>\\xff\xc3\xa9\\x01"));

    std::string deep = kScene + "HIERARCHY \n   MODEL 'n0' '' \n";
    for (int i = 1; i < 4000; ++i) {
        deep += "   MODEL 'n" + std::to_string(i) + "' 'n" + std::to_string(i - 1) + "' \n";
    }
    const Json chain = info(files().write("deep.scn", deep));
    EXPECT_EQ(chain["trees"][0].size(), 4000U);
    EXPECT_EQ(chain["trees"][0][3999]["parent"], 3998);
    EXPECT_LT(run({"info", in("deep.scn")}).out.size(), 100000U) << "rows are bounded";
}

#if !defined(__SANITIZE_ADDRESS__)
TEST_F(SceneTest, aBigFileTakesLittleMemoryAndTooLittleIsSaid) {
    std::string tree = "HRCH: x v2.60\n\n\nmodel\n{\n";
    std::string scene = kScene + "HIERARCHY \n   MODEL 'n' '' \n";
    for (int i = 0; i < 80000; ++i) {
        tree += "model {\n}\n";
        scene += "   MODEL 'a node with a name' 'n' \n      SCALING 1 1 1 \n      ROTATION 0 12.5 "
                 "0 \n      TRANSLATION STATIC \n         0.4 15.1 0 \n      WIRE_COLOUR 12 \n";
    }
    const std::string nodes = files().write("nodes.hrc", tree + "}\n");
    const std::string big = files().write("big.scn", scene);
    const auto with = [](const std::string& file) {
        const std::string out = file + ".out";
        return std::vector<std::vector<std::string>>{
            {"info", file, "--json"},
            {"scene", "check", file},
            {"scene", "format", file, "-o", out, "--force"}};
    };
    const rlim_t enough = 3 * scene.size() + (rlim_t{40} << 20);
    for (const auto& line : with(big)) {
        EXPECT_EQ(run(line, {.memory = enough}).exit, 0) << testing::PrintToString(line);
    }
    for (const auto& line : with(nodes)) {
        EXPECT_EQ(run(line, {.memory = enough}).exit, 0) << testing::PrintToString(line);
        fs::remove(nodes + ".out");
        expectFailed(line, "tdr: " + nodes + ": out of memory\n", 1, {.memory = rlim_t{22} << 20});
    }
    EXPECT_EQ(namesIn(files().path()), (Names{"big.scn", "big.scn.out", "nodes.hrc"}));
}
#endif

// --- Check ---------------------------------------------------------------------------------------

TEST_F(SceneTest, checkTellsEachLossOnceWithItsLine) {
    const std::string curve = "CAMERA \n   FIELD_OF_VIEW \nCURVE_TYPE CAM_FOV \nKEYS 2 \n"
                              "TIME 1 VALUE 2 KEYTYPE KEYFRAME \n\n";
    const std::string lamp = contentOf(sample("desk_lamp.hrc"));
    const std::string spline = "SPLN: x v2.60\n\n\nspline\n{\n";
    const std::string scene = contentOf(sample("lighthouse.scn"));
    std::string mistyped = scene;
    mistyped[mistyped.find("FLAGS", mistyped.find("LIG_INTX")) + 1] = 'Q';
    std::string dos;
    for (const char c : scene) {
        dos += c == '\n' ? "\r\n" : std::string(1, c);
    }
    expectDone({"scene", "binary", sample("desk_lamp.hrc"), "-o", in("tokens.hrc")});
    std::string tokens = contentOf(in("tokens.hrc")); // with two lists of unknown kinds
    tokens.insert(tokens.find("PROT") + 4, "\0\x63\0\1\0\0\0\x62\0\0"s);
    const struct {
        const char* name;
        std::string bytes;
        std::vector<const char*> lines; ///< the whole output, in consecutive parts
    } cases[] = {
        {"words.scn",
         kScene + "GIZMO 7 \nCAMERA \n   NEAR 0.5 \nLIGHT \n   LIGHT_TYPE TORCH \n   "
                  "COLOUR 1 1 1 \nWIDGET \nPAUSE 0 \n",
         {":6: unknown word \"GIZMO\" and 1 word behind it\n", ":10: unknown word \"TORCH\"\n",
          ":12: unknown word \"WIDGET\"\n", ": 4 unknown words\n"}},
        {"typo.scn",
         kScene + curve + "TIME 2 VALEU 3 \n   LEFT_SLOPE 0 \n\nTIME 3 VALUE 2 \nFAR 7 \n",
         {":12: ",
          "unknown word \"VALEU\" (did you mean VALUE?) and 9 words behind it, up to line 16\n",
          ": 10 unknown "}},
        {"curve.scn",
         mistyped,
         {":224: missing \"KEYS\": the curve is dropped; unknown word \"FQAGS\" (did you mean "
          "FLAGS?) and ",
          ": 339 unknown words, 1 missing\n"}},
        {"dos.scn", dos, {":1: DOS line ends\n", ": line ends of another system\n"}},
        {"numbers.scn",
         kScene + "PAUSE 0 \nFRAME 1 40000 1 1 \nRATE thirty \n",
         {":7: dropped \"FRAME\" given before; one of the values is lost; ",
          "bad number \"40000\" (expected: whole number from -32768 to 32767)\n",
          ":8: ", "bad number \"thirty\" (expected: number)\n", ": 2 bad numbers, 2 dropped\n"}},
        {"cut.scn",
         kScene + "OUTPUT_FILE '" + std::string(300, 'x') + "' \n",
         {":6: cut \"'xxx", ": 1 cut\n"}},
        {"end.hrc", lamp.substr(0, lamp.size() - 2), {": 1 missing\n"}},
        {"points.spl", spline + "  nbKeys 3\n  controlPoints\n  {\n  }\n}\n", {": 1 missing\n"}},
        {"typo.spl",
         spline + "  tensoin 1\n  controlPoints\n  {\n  }\n}\n",
         {":6: unknown word \"tensoin\" (did you mean tension?)"}},
        {"channel.scn",
         kScene + "CAMERA \n   FIELD_OF_VIEW \nCURVE_TYPE CAM_FOW \nKEYS 1 \nTIME 1 VALUE 2 \n",
         {":8: unknown word kept \"CAM_FOW\" (did you mean CAM_FOV?)\n", ": everything"}},
        {"word.spl", spline + "  colour\n  controlPoints\n  {\n  }\n}\n", {": 1 unknown word\n"}},
        {"tokens.hrc",
         tokens,
         {" byte 96: unknown word \"99\" (token of a field)\n",
          " byte 102: unknown word \"98\" (token of a field)\n", ": 2 unknown words\n"}},
        {"newer.scn",
         "SSCN \nx v3.25 \n\nPAUSE 0 \n",
         {": Warning: scene file version 3.25 is later than", ": everything was read\n"}},
    };
    std::vector<std::string> line = {"scene", "check", sample("vase.spl"), in("none.scn")};
    std::string expected;
    for (const auto& c : cases) {
        line.push_back(files().write(c.name, c.bytes));
    }
    const Ended ended =
        expectFailed(line, "tdr: " + in("none.scn") + ": No such file or directory\n");
    EXPECT_TRUE(contains(ended.out, "vase.spl: everything was read\n"));
    for (const auto& c : cases) {
        std::size_t at = 0;
        for (const std::string part : c.lines) {
            const std::string whole = (part[0] == ':' ? in(c.name) : "") + part;
            at = ended.out.find(whole, at);
            ASSERT_NE(at, std::string::npos) << whole << "is not in:\n" << ended.out;
        }
    }
    EXPECT_EQ(std::ranges::count(ended.out, '\n'), 31) << ended.out;
    EXPECT_TRUE(contains(run({"info", in("words.scn")}).out, "check     4 unknown words"));
    EXPECT_EQ(expectDone({"scene", "check", sample("lighthouse.scn")}).out,
              sample("lighthouse.scn") + ": everything was read\n");
}

TEST_F(SceneTest, aFileOfNonsenseHasABoundedCheck) {
    std::string nonsense = kScene;
    for (int i = 0; i < 100000; ++i) {
        nonsense += "x \nPAUSE y \n";
    }
    const Ended ended = run({"scene", "check", files().write("x.scn", nonsense)});
    EXPECT_EQ(ended.exit, 1);
    EXPECT_LT(ended.out.size(), 200000U);
    EXPECT_TRUE(contains(ended.out, "further remarks\n"));
    EXPECT_TRUE(contains(ended.out, ": 100000 unknown words, 100000 bad numbers, 99999 dropped\n"));
}

TEST_F(SceneTest, theContentDecidesWhatAFileIs) {
    const struct {
        const char* sample;
        const char* name;
        const char* kind;
    } cases[] = {{"lighthouse.scn", "SHOT.SCN", "scene"},
                 {"vase.spl", "vase", "spline"},
                 {"desk_lamp.hrc", "lamp.scn", "hierarchy"}};
    for (const auto& c : cases) {
        const std::string file = files().write(c.name, contentOf(sample(c.sample)));
        EXPECT_TRUE(contains(run({"info", file}).out, file + ": " + c.kind + "\n"));
        EXPECT_TRUE(contains(run({"scene", "check", file}).out, file + ": everything was read"));
        EXPECT_EQ(run({"scene", "format", file, "--in-place"}).err, "");
        EXPECT_EQ(contentOf(file), contentOf(sample(c.sample)));
    }
    const Ended ended = run({"scene", "check", files().write("gone", "SPLN: x v2.60\n\n")});
    EXPECT_TRUE(contains(ended.err, "gone: cut short or damaged"));
    EXPECT_FALSE(contains(ended.err, ".spl"));
}

TEST_F(SceneTest, everyWayToFailHasItsOwnReason) {
    const std::string binary = "\x53\x80\xF6\x34" + std::string(84, '\0');
    std::filesystem::create_directory(in("folder.scn"));
    const struct {
        std::string file;
        const char* reason;
    } cases[] = {
        {in("none.scn"), "none.scn: No such file or directory"},
        {in("folder.scn"), "folder.scn: Is a directory"},
        {files().write("empty.spl", ""), "empty.spl: the file is empty"},
        {files().write("a.txt", "hello"), "a.txt: not a scene, spline or hierarchy"},
        {files().write("magic.scn", "hello"), "magic.scn: not a scene file: it does not begin with "
                                              "SSCN"},
        {files().write("magic.SPL", "hello"), "magic.SPL: not a spline file: it does not begin "
                                              "with SPLN or as a binary file"},
        {files().write("magic.hrc", "x"), "magic.hrc: not a hierarchy file"},
        {files().write("header.hrc", binary.substr(0, 50)), "header.hrc: ends inside its header"},
        {files().write("older.spl", binary + "BEZR"), "older.spl: is of the older layout BEZR"},
        {files().write("other.hrc", binary + "PICT"), "other.hrc: holds \"PICT\" and no hierarchy"},
        {files().write("short.spl", "SPLN: x v2.60\n\n\nspline\n{\n"), "short.spl: cut short or "
                                                                       "damaged (line "},
    };
    for (const auto& c : cases) {
        for (const std::vector<std::string>& line :
             {std::vector<std::string>{"scene", "check", c.file},
              {"scene", "format", c.file, "-o", in("out")},
              {"plot", c.file, "-o", in("out")}}) {
            EXPECT_EQ(expectFailed(line, c.reason).out, "");
            EXPECT_FALSE(std::filesystem::exists(in("out")));
        }
    }
}

// --- Writing -------------------------------------------------------------------------------------

TEST_F(SceneTest, formatWritesTheSamplesAsTheyAre) {
    for (const char* name : {"lighthouse.scn", "vase.spl", "desk_lamp.hrc"}) {
        EXPECT_EQ(expectDone({"scene", "format", sample(name), "-o", in("out"), "--force"}).out,
                  "");
        EXPECT_EQ(contentOf(in("out")), contentOf(sample(name))) << name;
        EXPECT_EQ(expectDone({"scene", "format", sample(name), "-o", "-"}).out,
                  contentOf(sample(name)));
        for (const char* other : {"a.pic", "a.PNG", "a.tag", "a.svg"}) {
            expectFailed({"scene", "format", sample(name), "-o", in(other)},
                         "can only be written as", 2);
        }
    }
    expectFailed({"scene", "text", sample("vase.spl"), "-o", in("a.hrc")},
                 "a.hrc: a spline can only be written as .spl", 2);
    EXPECT_EQ(namesIn(files().path()), Names{"out"});
    const base::UniqueFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    expectFailed({"scene", "format", sample("vase.spl"), "-o", "-"}, "standard output: No space", 1,
                 {.stdoutFd = full.get()});
    expectDone({"scene", "binary", sample("vase.spl"), "-o", in("A.SPL")});
    EXPECT_EQ(expectDone({"scene", "format", in("A.SPL"), "-o", "-"}).out, contentOf(in("A.SPL")));
}

TEST_F(SceneTest, formatWritesTheVersionOfTheToolkit) {
    const std::string file = files().write("old.scn", "SSCN \nold v2.00 \nFRAME 2 3 1 1 \n");
    EXPECT_EQ(run({"scene", "format", file, "-o", in("new.scn")}).exit, 0);
    EXPECT_TRUE(contains(contentOf(in("new.scn")), "Niofle scene v2.60 \n"));
    EXPECT_TRUE(contains(contentOf(in("new.scn")), "\nFRAME 2 3 1 1 \n"));
}

TEST_F(SceneTest, binaryAndTextReplaceTheFileAndComeBackEqual) {
    for (const char* name : {"vase.spl", "desk_lamp.hrc"}) {
        const std::string file = copyOf(name);
        expectFailed({"scene", "binary", file, "-o", file},
                     file + ": exists already (see --force)");
        EXPECT_EQ(run({"scene", "binary", file, "--in-place"}).exit, 0);
        EXPECT_TRUE(contentOf(file).starts_with("\x53\x80\xF6\x34"));
        EXPECT_EQ(info(file)["flavour"], "binary");
        EXPECT_EQ(run({"scene", "format", file, "-o", file, "--force"}).exit, 0)
            << "keeps the flavour";
        EXPECT_TRUE(contentOf(file).starts_with("\x53\x80\xF6\x34"));
        EXPECT_EQ(run({"scene", "text", "--in-place", file}).exit, 0);
        EXPECT_EQ(contentOf(file), contentOf(sample(name)));
    }
    expectFailed({"scene", "binary", sample("lighthouse.scn"), "-o", in("o")},
                 "lighthouse.scn: scenes have no binary flavour");
    expectFailed({"scene", "text", sample("lighthouse.scn"), "-o", in("o")}, "are text already");
}

TEST_F(SceneTest, aFileIsNeverReplacedByOneThatHoldsLess) {
    const auto spline = [](const std::string& member, const std::string& behind = {}) {
        return "SPLN: x v2.60\n\n\nspline\n{\n" + member + "  controlPoints\n  {\n  }\n}\n" +
               behind;
    };
    const struct {
        const char* what;
        std::string name;
        std::string content;
        std::string says; ///< why the file is not replaced
        bool loss = true; ///< otherwise a note
    } cases[] = {
        {"unknown", "a.spl", spline("  gloss\n"), "1 unknown word when it was read"},
        {"surplus", "a.spl", spline("", "spline\n{\n}\n"), "1 behind the end when it was read"},
        {"dropped", "a.scn", kScene + "PAUSE 0 \nPAUSE 1 \n", "1 dropped when it was read"},
        {"unwritable", "a.spl", spline("  segment CURVE\n"), "1 dropped"},
        {"rounded", "a.spl", spline("  tension 0.12345678\n"), "1 rounded number", false},
        {"by format", "a.scn", kScene + "FILTER 1 \nANTIALIAS ADAPTIVE 2 3 0.07 \n",
         "1 dropped by the format", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string file = files().write(c.name, c.content);
        const std::string out = in("b" + fs::path(c.name).extension().string());
        const Ended inPlace = run({"scene", "format", file, "--in-place"});
        EXPECT_EQ(inPlace.exit, 1);
        EXPECT_TRUE(contains(inPlace.err, "tdr: " + file +
                                              ": not replaced, name another file "
                                              "with -o: " +
                                              c.says));
        EXPECT_EQ(contentOf(file), c.content);
        const Ended beside = run({"scene", "format", file, "-o", out});
        EXPECT_EQ(beside.exit, c.loss ? 1 : 0) << beside.err;
        EXPECT_TRUE(
            contains(beside.err, c.loss ? out + ": written, but not everything is in it: " + c.says
                                        : "tdr: " + out + ": " + c.says + "\n"));
        EXPECT_EQ(namesIn(files().path()), (Names{c.name, fs::path(out).filename()}));
        fs::remove(file);
        fs::remove(out);
    }
    const std::string file = files().write("a.spl", spline("  gloss\n"));
    EXPECT_EQ(run({"scene", "text", file, "-o", file, "--force"}).exit, 1) << "in place too";
    EXPECT_EQ(contentOf(file), spline("  gloss\n"));
    EXPECT_TRUE(contains(run({"scene", "text", file, "-o", in("b.spl")}).err,
                         "a.spl:6: unknown word \"gloss\"\n"));
}

} // namespace
