// SPDX-License-Identifier: MIT
// The command line: exit statuses, standard output and standard error, drivers, query and info.
#include "commandTesting.h"
#include "support/pictureFiles.h"

#include <array>
#include <nlohmann/json.hpp>

namespace {

using namespace commandTesting;

TEST_F(CommandTest, usageErrorsExitWith2AndSayNothingOnStdout) {
    const struct {
        std::vector<std::string> line;
        const char* says;
    } cases[] = {
        {{}, "subcommand"},
        {{"nosuch"}, "unknown argument: nosuch\ntdr: Usage: tdr [OPTIONS] SUBCOMMAND\n"},
        {{"covnert", "a"}, "covnert (did you mean convert?)"},
        {{"scene", "chek", "a"}, "chek (did you mean check?)\ntdr: Usage: tdr scene [OPTIONS] "},
        {{"convert", "a", "b", "--verfy"},
         "--verfy (did you mean --verify?)\ntdr: Usage: tdr convert "},
        {{"hash", "a", "--drivr-dir", "."}, "(did you mean --driver-dir?)"},
        {{"info", "--x"}, "unknown argument: --x\n"},
        {{"query"}, "driver"},
        {{"query", "a", "b"}, "argument: b"},
        {{"info"}, "files"},
        {{"info", "-b.pic"}, "argument: -b.pic"},
        {{"info", "--jsn", "a"}, "--jsn"},
        {{"convert", "a"}, "a file to write is missing"},
        {{"convert", "a", "b", "c"}, "several files need -o"},
        {{"convert", "-o", "a"}, "name a file to read"},
        {{"convert", "a.pic", "b.png", "--frames", "1"}, "--frames needs a pattern"},
        {{"convert", "a.%d.pic", "b.png", "--frames", "2-"}, "frames are A, A-B or A-BxSTEP"},
        {{"convert", "a.pic", "b.png", "-0"}, "--null requires --files-from"},
        {{"convert", "--start", "3", sample("cutout.png"), in("o.pic")}, "files of a pattern"},
        {{"convert", "--step=2", sample("cutout.png"), "-o", in("o/")}, "files of a pattern"},
        {{"convert", "--threshold=9", sample("cutout.png"), in("o.pic")}, "needs a matte"},
        {{"check", "--force", sample("cutout.png")}, "--force requires --html"},
        {{"compare", "--force", "a", "b"}, "--force requires --diff"},
        {{"convert", "a.pic", "b.png", "--force", "--skip-existing"}, "--skip-existing"},
        {{"drivers", "--timeout", "soon"}, "soon"},
        {{"drivers", "--timeout", "0"}, "--timeout"},
        {{"drivers", "--timeout", "-NaN"}, "--timeout: not a number: -NaN"},
        {{"view", "--rate", "nan", "a"}, "--rate: not a number: nan"},
        {{"drivers", "--driver-dir", "/nowhere"}, "/nowhere"},
        {{"query", ""}, "driver: may not be empty"},
        {{"info", sample("cutout.png"), ""}, "files: may not be empty"},
        {{"convert", sample("cutout.png"), ""}, "files: may not be empty"},
        {{"convert", "", "a.png"}, "files: may not be empty"},
        {{"check", "--quiet=", sample("cutout.png")}, "--quiet= has no value"},
        {{"check", "--html=", in("new"), sample("cutout.png")}, "--html= has no value"},
        {{"convert", "a.%d.pic", "b.png", "--frames=1="}, "frames are A, A-B or A-BxSTEP"},
        {{"convert", "--to=", "pic", sample("cutout.png"), in("a.pic")}, "--to= has no value"},
        {{"help", "chekc"}, "chekc (did you mean check?)\ntdr: Usage: tdr help "},
        {{"help", "scene", "chek"}, "chek (did you mean check?)"},
        {{"help", "check", "a.pic"}, "unknown argument: a.pic\n"},
        {{"help", "-x"}, "unknown argument: -x\n"},
        {{"scene"}, "subcommand"},
        {{"scene", "check"}, "file"},
        {{"scene", "polish", "a.spl"}, "polish"},
        {{"scene", "format", "a.spl"}, "scene format: --output or --in-place is required"},
        {{"scene", "text", "a.spl", "--force"}, "--output or --in-place is required"},
        {{"scene", "binary", "a.spl", "--in-place", "-o", "b.spl"}, "--in-place"},
        {{"scene", "check", "a.spl", "-o", "x"}, "-o"},
        {{"scene", "format", "a.spl", "-o", ""}, "empty"}, // must not replace the file itself
        {{"plot", "a.spl"}, "--output"},
        {{"plot", "a.spl", "-o", "o.png"}, "only SVG can be written: o.png"},
        {{"plot", "a.spl", "-o", "o", "--frames", "5"}, "frames are A-B"},
        {{"plot", "a.spl", "-o", "o", "--frames", "9-5"}, "frames are A-B"},
        {{"plot", "a.spl", "-o", "o", "--frames", "1-99999999999"}, "frames are A-B"},
        {{"plot", "a.spl", "-o", "o", "--frames", "1-2x"}, "frames are A-B"},
        {{"plot", "a.spl", "-o", "o", "--show", "meshes"}, "meshes"},
        {{"plot", sample("vase.spl"), "-o", in("o"), "--frames", "1-2"}, "draws splines"},
        {{"plot", sample("lighthouse.scn"), "-o", in("o"), "--show=trees", "--curve=CAM_FOV"},
         "draws trees"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(expectFailed(c.line, c.says, 2).out, "");
    }
}

TEST_F(CommandTest, helpAndVersionAreNoFailures) {
    EXPECT_TRUE(expectDone({"--version"}).out.starts_with("tdr "));
    EXPECT_EQ(expectDone({"help", "convert"}).out, expectDone({"convert", "--help"}).out);
    EXPECT_EQ(expectDone({"help", "scene", "text"}).out,
              expectDone({"scene", "text", "--help"}).out);
    EXPECT_EQ(expectDone({"--timeout", "5", "help"}).out, expectDone({"--help"}).out);
    // Only an option can have an empty value.
    expectFailed({"info", "--", "--json="}, "--json=: No such file");
    for (const char* subcommand : {"drivers", "query", "info", "convert"}) {
        EXPECT_TRUE(contains(expectDone({subcommand, "--help"}).out, subcommand));
    }
}

TEST_F(CommandTest, driversListsWhatIsBesideItAndInOtherFolders) {
    const Ended own = expectDone({"drivers"});
    for (const char* driver : {"nullFilter", "pngFilter", "softimageFilter  SOFTIMAGE Inc."}) {
        EXPECT_TRUE(contains(own.out, driver));
    }
    const Ended more = expectFailed({"drivers", "--driver-dir", driverFolder({"echo", "dies"})},
                                    "(exit status 7): no licence found\n", 3);
    EXPECT_TRUE(contains(more.out, "echoFilter       1025-0          1033-0     1039-1  1039-2"));
    EXPECT_TRUE(contains(more.out, "softimageFilter"));
    EXPECT_TRUE(contains(more.err, "diesFilter"));
    fs::create_symlink("loopFilter", in("loopFilter")); // what cannot be examined tells why
    expectFailed({"drivers", "--driver-dir", files().path()}, "Too many levels", 3);
}

TEST_F(CommandTest, bashCompletesSubcommandsAndTheirOptions) {
    const auto script = files().write("completion", expectDone({"completion", "bash"}).out);
    const struct {
        const char* typed;
        const char* words;
    } cases[] = {
        {"tdr co", "convert compare completion "},
        {"tdr scene --sync f", "format "},
        {"tdr convert a.pic --verif", "--verify "},
        {"tdr scene check a.scn --driver", "--driver-dir "},
        {"tdr help he", "help "},
        {"tdr help scene f", "format "},
        {"tdr help scene text ", ""},
        {"tdr plot a", ""},
        {"tdr --driver-dir ", ""},
        {"tdr --driver-dir drivers scene --driver-dir = check t", "text "},
        {"tdr completion ", "bash zsh "},
        {"tdr plot --show ", "curves splines trees "},
        {"tdr plot -o help --show =", "curves splines trees "},
        {"tdr plot --show = t", "trees "},
        {"tdr plot --show trees --cur", "--curve "},
        {"tdr check ", ""}, // files
        {"tdr scene ", "check format binary text "},
    };
    for (const auto& c : cases) {
        support::Program bash({"bash", "-c",
                               ". \"$0\"; read -ra COMP_WORDS <<< \"$1\"; "
                               "[[ $1 == *' ' ]] && COMP_WORDS+=(''); "
                               "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tdr; "
                               "printf '%s ' ${COMPREPLY[@]}",
                               script, c.typed});
        EXPECT_EQ(bash.exitStatus(), 0);
        EXPECT_EQ(bash.out(), *c.words == '\0' ? " " : c.words) << c.typed << bash.err();
    }
}

TEST_F(CommandTest, theFirstDriverOfANameIsUsed) {
    setenv("TDR_DRIVER_PATH", (":" + in("a") + ":" + in("b")).c_str(), 1);
    setenv("HOME", in("home").c_str(), 1);
    const fs::path folders[] = {in("option"), in("a"),
                                in("b"),      in("home") + "/.local/lib/tdr/drivers",
                                in("bin"),    in("lib") + "/tdr/drivers"};
    for (const fs::path& folder : folders) {
        fs::create_directories(folder);
        fs::create_symlink(TDR_SCRIPTED_DRIVER, folder / "echoFilter");
    }
    fs::copy_file(TDR_COMMAND, in("bin/tdr"));
    for (const fs::path& folder : folders) {
        support::Program listing({in("bin/tdr"), "drivers", "--driver-dir", in("option")});
        EXPECT_EQ(listing.exitStatus(), folder == folders[0] ? 0 : 1) << "an empty --driver-dir";
        EXPECT_TRUE(contains(listing.out(), (folder / "echoFilter").string() + "\n"));
        fs::remove(folder / "echoFilter");
    }
}

TEST_F(CommandTest, aFolderWithoutDriversIsNamed) {
    const Ended ended = run({"drivers", "--driver-dir", files().path().string()});
    EXPECT_EQ(ended.exit, 1);
    EXPECT_EQ(ended.err, "tdr: " + files().path().string() +
                             ": no drivers in this folder (executables named *Filter)\n");
    EXPECT_TRUE(contains(ended.out, "pngFilter")) << "the others are there";

    if (geteuid() == 0) { // the user nobody may not read it
        const std::string locked = in("locked");
        std::filesystem::create_directory(locked);
        std::filesystem::permissions(files().path(), std::filesystem::perms(0755));
        std::filesystem::permissions(locked, std::filesystem::perms(0700));
        expectFailed({"drivers", "--driver-dir", locked},
                     "tdr: " + locked + ": Permission denied\n", 1, {.otherUser = true});
    }
}

TEST_F(CommandTest, queryShowsAllSixteenAnswers) {
    EXPECT_EQ(expectDone({"query", "softimageFilter"}).out,
              R"(CODE  QUERY                       ANSWER
1024  access modes                0x4033: 0x4000 (no outside commands around transfers), 0x0033
1025  vendor name                 "SOFTIMAGE Inc."
1026  format count                1
1027  current format              -1 (none set)
1028  formats                     0: 4 channels of 8 bits (0x40 0x20 0x10 0x08); 1: 1 channel of 1 bit (0x02)
1029  bounds                      x 0, y 0, width -1, height -1
1030  tiling                      1, 1
1031  stamp bounds                0, 0
1032  current cell                2147483647 (none set)
1033  format name                 "SOFTIMAGE"
1034  start cell                  -2147483648 (none set)
1035  end cell                    2147483647 (none set)
1036  default pre-read command    ""
1037  default post-write command  ""
1038  write direction             8
1039  file naming                 prefix "test.", extension ".pic", number 1, template "%s.%d.pic"
)");
    const Ended png = expectDone({"query", std::string(TDR_BIN_DIR) + "/pngFilter"});
    for (const char* row :
         {"modes                0x4033: 0x4000 (no outside", "\"Tarvo Works\"",
          "count                1\n", "0: 4 channels of 8 bits (0x40 0x20 0x10 0x08)\n1029",
          "\"PNG\"", "direction             8\n",
          "prefix \"test.\", extension \".png\", number 1, template \"%s.%d.png\""}) {
        EXPECT_TRUE(contains(png.out, row));
    }
}

TEST_F(CommandTest, aDriverThatFailsExitsWith3AndItsReason) {
    const std::string folder = driverFolder({"dies", "exits", "freezes", "refuses"});
    const struct {
        const char* driver;
        const char* says;
    } cases[] = {
        {"noneFilter", "noneFilter: no such driver"},
        {"/nowhere/aFilter", "No such file or directory"},
        {"diesFilter", "(exit status 7): no licence found"},
        {"exitsFilter", "access modes: the driver died (exit status 9): out of ideas"},
        {"freezesFilter", "access modes: no answer within 0.5 s"},
    };
    for (const auto& c : cases) {
        const Ended ended = expectFailed(
            {"query", c.driver, "--driver-dir", folder, "--timeout", "0.5"}, c.says, 3);
        EXPECT_EQ(ended.out, "");
    }
    const Ended refused = run({"query", "refusesFilter", "--driver-dir", folder});
    EXPECT_EQ(refused.exit, 1) << "it is alive and answers";
    EXPECT_TRUE(contains(refused.out, "cannot do that"));
}

TEST_F(CommandTest, aSignalEndsTheWaitForADriverThatHangsInItsStart) {
    const std::string folder = driverFolder({"mute", "silent", "halfInit"});
    for (const char* driver : {"muteFilter", "silentFilter", "halfInitFilter"}) {
        auto running = startRun({"query", driver, "--driver-dir", folder, "--timeout", "100000"});
        pid_t child = 0;
        while (stateOf(child) != 'S') {
            const auto children = childrenOf(running->pid());
            child = children.empty() ? 0 : *children.begin();
        }
        running->kill(SIGTERM);
        const Ended ended = running->wait();
        EXPECT_EQ(ended.signal, SIGTERM) << driver;
        EXPECT_TRUE(contains(ended.err, std::string(driver) + ": start: interrupted"));
        EXPECT_EQ(stateOf(child), '\0') << driver << " is left";
    }
}

/// A picture with another ratio, field code, comment and version, and two packets, one of them of
/// an unknown encoding.
std::string oddPicture() {
    std::string file = support::fileHeader("PICT", 3, 2);
    file.replace(4, 4, support::bytes({0x40, 0x2C, 0xCC, 0xCD})); // 2.7
    file.replace(8, 13, "caf\xe9 \x1b-note-1");
    file.replace(96, 6, support::bytes({0x7F, 0xC0, 0, 0, 0, 7}));
    return file + support::bytes({1, 8, 0x12, 0xE0, 0, 8, 7, 0x10});
}

TEST_F(CommandTest, infoReadsHeadersWithoutADriver) {
    const auto pic = files().write("a.pic", support::rawPic(2, 1, 0xE0, ""));
    const auto tag = files().write("any", support::tag(10, 1, 3, {0, 0, 0}));
    const auto odd = files().write("odd.png", oddPicture());
    const Ended text = expectEnd(0, {"info", pic, tag, odd, sample("cutout.png")},
                                 "tdr: " + odd + ": file version 2.7 is later than");
    EXPECT_TRUE(contains(text.out, pic + ": picture\n  size      2 x 1\n  format    PIC\n"
                                         "  ratio     1\n  fields    full frame\n"
                                         "  packet    red green blue, 8 bits, raw\n"
                                         "  version   2.6\n"));
    EXPECT_TRUE(contains(text.out, tag + ": matte\n  size      10 x 1\n  format    TAG\n"));
    EXPECT_TRUE(contains(text.out, "  channels  3 of 1 bit\n"));
    EXPECT_TRUE(contains(text.out, "  ratio     nan\n  fields    code 7\n"
                                   "  packet    red green blue, 8 bits, mixed\n"
                                   "  packet    alpha, 8 bits, unknown coding 7\n"
                                   "  comment   \"caf\\xe9 \\x1b-note-1\"\n  version   2.7\n"));
    EXPECT_TRUE(contains(text.out, "pngFilter (Tarvo Works, PNG)"));
    // A driver with this ending would never answer.
    expectDone({"info", pic, "--driver-dir", driverFolder({"freezes"}), "--timeout", "1"});
}

/// Checks the output of `--json` against its schema with a program that knows only JSON.
void expectValid(const support::TempDir& folder, const std::string& json,
                 const std::string& subcommand = "info") {
    support::Program validator(
        {"/usr/bin/python3", "-c",
         "import json, sys, jsonschema\n"
         "jsonschema.validate(*(json.load(open(name)) for name in sys.argv[1:]))",
         folder.write(".valid.json", json),
         std::string(TDR_SOURCE_DIR) + "/docs/" + subcommand + ".schema.json"});
    EXPECT_EQ(validator.exitStatus(), 0) << validator.err() << json;
}

TEST_F(CommandTest, infoAsJsonFitsItsSchemaWhateverTheNames) {
    const std::string name = "a\xff\"\x01.pic";
    const auto pic = files().write(name, oddPicture());
    const auto scene =
        files().write("s.scn", "SSCN \nmade by hand v2.60 \n\nLIGHT \n   LIGHT_NAME 'caf\xe9' \n"
                               "WAVE \n   '\xe9' \n\nSPLINE LINEAR \n   NAME 'l\xff' \n");
    const auto tag = files().write("m.tag", support::tag(10, 1, 3));
    const Ended ended =
        run({"info", "--json", pic, in("none\xff.pic"), tag, sample("cutout.png"), scene,
             sample("lighthouse.scn"), sample("desk_lamp.hrc"), sample("vase.spl")});
    EXPECT_EQ(ended.exit, 1);
    expectValid(files(), ended.out);
    const auto all = nlohmann::json::parse(ended.out);
    ASSERT_EQ(all.size(), 8U);
    EXPECT_EQ(all[0]["file"], in("a\\xff\"\x01.pic"));
    EXPECT_EQ(all[0]["fileBase64"].get<std::string>().substr(0, 4), "L3Rt") << "/tmp";
    EXPECT_EQ(all[0]["comment"], "caf\\xe9 \x1b-note-1");
    EXPECT_EQ(all[0]["commentBase64"], "Y2Fm6SAbLW5vdGUtMQ==");
    EXPECT_EQ(all[0]["ratio"], nullptr);
    EXPECT_EQ(all[0]["fields"], 7);
    EXPECT_EQ(all[0]["packets"][0]["channels"], (std::vector{"red", "green", "blue"}));
    EXPECT_EQ(all[0]["packets"][0]["coding"], "mixed");
    EXPECT_EQ(all[0]["packets"][1]["coding"], 7);
    EXPECT_EQ(all[1]["code"], "missing");
    EXPECT_EQ(all[1]["error"], in("none\\xff.pic: No such file or directory"));
    EXPECT_EQ(all[1]["errorBase64"].get<std::string>().substr(0, 4), "L3Rt");
    EXPECT_EQ(all[2]["kind"], "matte");
    EXPECT_EQ(all[2]["channelCount"], 3);
    EXPECT_EQ(all[3]["driver"], "pngFilter");
    EXPECT_EQ(all[3]["format"]["channels"], (std::vector{0x40, 0x20, 0x10, 0x08}));
    EXPECT_EQ(all[4]["lights"][0]["name"], "caf\\xe9");
    EXPECT_EQ(all[4]["lights"][0]["nameBase64"], "Y2Fm6Q==");
    EXPECT_EQ(all[4]["splines"][0]["nameBase64"], "bP8=");
    const auto& rendering = all[5]["rendering"];
    EXPECT_EQ((nlohmann::json{rendering["type"], rendering["antialias"], rendering["frameBuffer"],
                              rendering["picture"]["format"], all[5]["camera"]["depthOfField"]}),
              (nlohmann::json{"renderingLine", "adaptive", false, "NTSC", "automatic"}));
}

TEST_F(CommandTest, infoTellsApartWhyAFileIsNotRead) {
    const std::string pic = support::rawPic(2, 1, 0xE0, "");
    const std::string folder = driverFolder({"dies"});
    fs::create_directory(in("folder.pic"));
    const struct {
        std::string file;
        std::string says;
        const char* code;
        int exit = 1;
    } cases[] = {
        {in("none.pic"), "No such file or directory", "missing"},
        {files().write("empty.pic", ""), "the file is empty", "empty"},
        {in("folder.pic"), "Is a directory", "notAFile"},
        {files().fifo("pipe.pic"), "not a regular file", "notAFile"},
        {files().write("early.pic", pic.substr(0, 50)), "ends inside its header", "damaged"},
        {files().write("cut.pic", pic.substr(0, 100)), "ends inside its header", "damaged"},
        {files().write("packets.pic", pic.substr(0, 106)), "ends inside its channel packets",
         "damaged"},
        {files().write("wide.tag", support::tag(-1, 1, 3)),
         "is 65535 pixels wide and 1 high: must be 1 to 32767", "damaged"},
        {files().write("cut.scn", "SPLN"), "", "damaged"},
        {files().write("text.pic", "abcdef"), "no driver reads it", "wrongKind"},
        {files().write("text.xyz", "abcdef"), "no licence found", "driver", 3},
    };
    for (const auto& c : cases) {
        const bool dead = c.exit == 3;
        std::vector<std::string> line = {"info", "--json", c.file};
        if (dead) {
            line.insert(line.end(), {"--driver-dir", folder});
        }
        const Ended ended = expectFailed(line, c.file + ": " + (dead ? "" : c.says), c.exit);
        const auto all = nlohmann::json::parse(ended.out);
        EXPECT_EQ(all[0]["code"], c.code) << c.file;
        EXPECT_TRUE(contains(all[0]["error"], c.says));
        expectValid(files(), ended.out);
    }
}

TEST_F(CommandTest, infoPrintsEachFileAsSoonAsItIsKnown) {
    const auto pic = files().write("a.pic", support::rawPic(2, 1, 0xE0, ""));
    const std::string drivers = driverFolder({"freezes"});
    for (const char* form : {"--json", "--sync"}) {
        auto running = startRun({"info", form, pic, files().write("b.1039-1", "x"), pic,
                                 "--driver-dir", drivers, "--timeout", "100"});
        support::eventually("the first file",
                            [&] { return running->out().find("PIC") != std::string::npos; });
        running->kill(SIGTERM);
        running->wait();
        EXPECT_EQ(running->out().find("PIC"), running->out().rfind("PIC")) << "and it ends";
    }
}

TEST_F(CommandTest, infoOfADamagedFileSaysSoOnceAndExitsWith1) {
    const std::string drivers = driverFolder({"earlyDamage"});
    const struct {
        std::string file;
        std::string says; ///< after the file's name
        const char* out = "";
        std::vector<std::string> options = {"--timeout", "100"};
    } cases[] = {
        {files().write("cut.png", contentOf(sample("cutout.png")).substr(0, 30)), ": "},
        {files().write("a.1039-1", "x"),
         "' is cut short or damaged\n",
         "size      3 x 2",
         {"--driver-dir", drivers}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> line = {"info", c.file};
        line.insert(line.end(), c.options.begin(), c.options.end());
        const Ended ended = expectFailed(line, c.file + c.says);
        EXPECT_EQ(ended.err.find(c.file), ended.err.rfind(c.file)) << ended.err;
        EXPECT_FALSE(contains(ended.err, "no driver reads it"));
        EXPECT_TRUE(contains(ended.out, c.out));
        line.emplace_back("--json");
        const auto json = run(line);
        EXPECT_EQ(json.exit, 1);
        const std::string error = nlohmann::json::parse(json.out)[0]["error"];
        EXPECT_TRUE(contains(error, c.file));
    }
}

// --- Check ---------------------------------------------------------------------------------------

/// A picture of 2 x 3 pixels with one mixed packet; each line is a literal of two pixels, 7 bytes
/// from 108 on.
std::string mixedPicture() {
    std::string file = support::fileHeader("PICT", 2, 3) + support::bytes({0, 8, 2, 0xE0});
    for (const char* line : {"abcdef", "ghijkl", "mnopqr"}) {
        file += '\1' + std::string(line);
    }
    return file;
}

TEST_F(CommandTest, checkTellsWhereAFileIsDamagedAndGoesOn) {
    const std::string mixed = mixedPicture();
    std::string overlong = mixed;
    overlong[115] = 2; // three pixels in a line of two
    // Runs without pixels could go on to the end of a file.
    std::string pure = support::rawPic(2, 3, 0xE0, support::bytes({2, 1, 2, 3}));
    pure[106] = 1;
    const std::string png = contentOf(sample("cutout.png"));
    std::string note = support::bytes({0, 0, 0, 1}) + "tEXta" + support::bytes({1, 2, 3, 4});
    note = std::string(png).insert(33, note);
    expectDone({"scene", "binary", sample("vase.spl"), "-o", in("b.spl")});
    expectDone({"scene", "binary", sample("desk_lamp.hrc"), "-o", in("b.hrc")});
    const std::string spline = contentOf(in("b.spl"));
    const std::string tag = support::tag(10, 2, 2, {0, 0, 0, 0});
    const std::string scene = contentOf(sample("lighthouse.scn"));
    using Json = nlohmann::json;
    const struct {
        const char* name;
        std::string content;
        Json expected; ///< members of the object
    } cases[] = {
        {"whole.pic", mixed, {{"kind", "picture"}, {"whole", true}, {"lines", 3}}},
        {"longer", mixed + "x", {{"whole", false}, {"linesIntact", 3}, {"byte", 129}}},
        {"overlong.pic", overlong, {{"linesIntact", 1}, {"line", 1}, {"byte", 115}}},
        {"cut.pic", mixed.substr(0, 128), {{"linesIntact", 2}, {"line", 2}, {"byte", 122}}},
        {"zeros.pic", mixed + std::string(9, '\0'), {{"linesIntact", 3}, {"byte", 129}}},
        {"crash.pic", mixed.substr(0, 115) + std::string(14, '\0'), {{"linesIntact", 1}}},
        {"sparse.pic", pure + std::string(3, '\1'), {{"linesIntact", 1}, {"byte", 112}}},
        {"none.pic", support::rawPic(2, 3, 0, ""), {{"linesIntact", 0}, {"byte", 108}}},
        {"coding.pic", oddPicture(), {{"whole", false}, {"linesIntact", 0}, {"byte", 112}}},
        {"whole.tag", tag, {{"kind", "matte"}, {"whole", true}, {"linesIntact", 2}}},
        {"cut.tag", tag.substr(0, 111), {{"whole", false}, {"line", 1}, {"byte", 108}}},
        {"narrow.tag", support::tag(14, 3, 1, {0, 0, 0}), {{"whole", true}, {"lines", 3}}},
        {"crash.tag",
         support::tag(20, 3, 1, {0x8014, 0x2AAA, 0x0500, 0, 0}),
         {{"linesIntact", 2}, {"line", 2}, {"byte", 110}}},
        {"half.tag", support::tag(30, 2, 1, {0x801E, 0x2AAA, 0, 0}), {{"linesIntact", 1}}},
        {"more.tag", support::tag(30, 1, 1, {0x2AAA, 0x8010, 0}), {{"linesIntact", 1}}},
        {"whole.png", png, {{"kind", "picture"}, {"whole", true}, {"lines", 508}}},
        {"cut.png", png.substr(0, png.size() / 2), {{"whole", false}, {"code", "damaged"}}},
        {"whole.scn", scene, {{"kind", "scene"}, {"whole", true}, {"remarks", Json::array()}}},
        {"odd.scn", "SSCN \nby hand v2.60 \n\nGIZMO \n", {{"whole", false}, {"line", 4}}},
        {"trail.png", png + "x", {{"linesIntact", 508}, {"byte", png.size()}}},
        {"note.png", note, {{"whole", false}, {"linesIntact", 508}, {"byte", 33}}},
        // The first bytes decide, the ending only if they are of nothing known.
        {"spline", spline, {{"kind", "spline"}, {"whole", true}}},
        {"cut", spline.substr(0, spline.size() - 5), {{"whole", false}, {"code", "damaged"}}},
        {"tree.pic", contentOf(in("b.hrc")), {{"kind", "hierarchy"}, {"whole", true}}},
        {"mixed.scn", mixed, {{"kind", "picture"}, {"whole", true}}},
        {"png.hrc", png, {{"kind", "picture"}, {"whole", true}}},
        {"text.spl", "text", {{"whole", false}, {"code", "wrongKind"}}},
        {"text.pic", "text", {{"whole", false}, {"code", "wrongKind"}}},
    };
    std::vector<std::string> line = {"check", "--json"};
    for (const auto& c : cases) {
        line.push_back(files().write(c.name, c.content));
    }
    fs::resize_file(in("sparse.pic"), std::uintmax_t{1} << 40);
    const Ended ended =
        expectFailed(line, "tdr: 28 files: 9 whole, 17 damaged, 2 failed, 0 skipped\n");
    expectValid(files(), ended.out, "check");
    const Json all = Json::parse(ended.out);
    ASSERT_EQ(all.size(), std::size(cases));
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i]["file"], in(cases[i].name));
        for (const auto& [name, value] : cases[i].expected.items()) {
            EXPECT_EQ(all[i].value(name, Json()), value) << name << " of " << all[i];
        }
    }
    EXPECT_EQ(all[18]["remarks"][0]["line"], all[18]["line"]);

    EXPECT_EQ(expectDone({"check", in("whole.pic")}).out,
              in("whole.pic") + ": all 3 lines are intact\n");
    EXPECT_EQ(run({"check", in("cut.pic")}).out,
              in("cut.pic") +
                  ": 2 of 3 lines are intact, line 2 from the top is damaged (byte 122)\n");
    EXPECT_TRUE(contains(run({"check", files().write("more.spl", spline + "x")}).out,
                         "1 byte behind the end"));
    EXPECT_EQ(run({"check", in("odd.scn")}).out, run({"scene", "check", in("odd.scn")}).out);
    expectFailed({"check", "-q", in("whole.pic"), in("text.pic")}, "text.pic: no driver reads it");
    EXPECT_EQ(run({"check", "-q", in("whole.pic"), in("cut.pic")}).out,
              run({"check", in("cut.pic")}).out);
    for (const char* subcommand : {"check", "info", "hash"}) {
        const Ended told = run({subcommand, "-v", in("whole.pic"), in("whole.png")});
        EXPECT_TRUE(contains(told.err, "tdr: " + in("whole.pic") + ": 0.")) << subcommand;
        EXPECT_TRUE(contains(told.err, "tdr: " + in("whole.png") + ": 0.")) << subcommand;
    }
}

TEST_F(CommandTest, checkFindsFilesInFoldersByContentAndEnding) {
    fs::create_directories(in("a/deep"));
    fs::create_directory_symlink(in("a"), in("a/deep/loop"));
    files().write("a/2", support::rawPic(2, 1, 0xE0, "abcdef"));
    files().write("a/deep/1.tag", support::tag(2, 1, 1, {0}));
    files().write("a/notes.txt", "nothing of ours");
    files().write("a/.keep", "");
    const Ended whole = run({"check", "-r", in("a")});
    EXPECT_EQ(whole.exit, 0);
    EXPECT_EQ(whole.out, in("a/2") + ": the only line is intact\n" + in("a/deep/1.tag") +
                             ": the only line is intact\n");
    EXPECT_TRUE(contains(whole.err, "tdr: 3 files: 2 whole, 0 damaged, 0 failed, 1 skipped\n"));

    files().write("a/empty.png", "");
    expectFailed({"check", "-r", in("a")}, "2 whole, 0 damaged, 1 failed, 1 skipped\n");
    expectFailed({"check", in("a")}, "Is a directory");
    fs::permissions(files().path(), fs::perms(0755));
    fs::permissions(in("a/deep"), fs::perms(0444)); // its names can be listed
    const Around around{.otherUser = geteuid() == 0};
    expectFailed({"check", "-r", "--json", in("a/deep")}, "1.tag: Permission denied", 1, around);
    fs::permissions(in("a/deep"), fs::perms(0));
    EXPECT_TRUE(contains(
        expectFailed({"check", "-r", "--json", in("a/deep")}, "deep: Permission denied", 1, around)
            .out,
        "\"code\": \"unreadable\""));
    fs::permissions(in("a/deep"), fs::perms(0700));
}

TEST_F(CommandTest, compareTellsEqualFromDifferentFromNotComparable) {
    const auto a = files().write("a.pic", support::rawPic(2, 1, 0xE0, "abcdef"));
    const auto same = files().write("same.pic", support::rawPic(2, 1, 0xF0,
                                                                "abc\xff"
                                                                "def\xff"));
    const auto other = files().write("other.pic", support::rawPic(2, 1, 0xE0, "abcdeF"));
    const auto higher = files().write("higher.pic", support::rawPic(2, 2, 0xE0, "abcdefabcdef"));
    const auto text = files().write("text.pic", "abcdef");
    const auto tag = files().write("a.tag", support::tag(2, 1, 2, {0x2000, 0x1000}));
    const auto last = files().write("b.tag", support::tag(2, 1, 2, {0x2000, 0x3000}));
    const auto one = files().write("c.tag", support::tag(2, 1, 1, {0x2000}));
    const std::string folder = driverFolder({"dies"});
    const struct {
        std::vector<std::string> line;
        int exit;
        std::string says;
    } cases[] = {
        {{a, same}, 0, a + " and " + same + ": 2 x 1, all 2 pixels are equal\n"},
        {{tag, tag}, 0, "2 x 1 with 2 mattes, all 2 pixels are equal\n"},
        {{a, other}, 1, "differ: 1 of 2 pixels, first at column 1 of line 0 from the top"},
        {{a, higher}, 1, "differ: 2 x 1 and 2 x 2\n"},
        {{tag, last}, 1, "differ: 1 of 2 pixels, matte 2, first at column 0"},
        {{tag, one}, 1, "differ: 2 x 1 with 2 mattes and 2 x 1\n"},
        {{a}, 2, "required"},
        {{a, in("none.pic")}, 4, "none.pic: No such file or directory\n"},
        {{text, a}, 4, "text.pic: no driver reads it"},
        {{"--driver-dir", folder, text, a}, 3, "no licence found"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> line = c.line;
        line.insert(line.begin(), "compare");
        const Ended ended = expectEnd(c.exit, line, c.exit == 0 ? "" : c.says);
        EXPECT_TRUE(contains(ended.out + ended.err, c.says));
        EXPECT_EQ(ended.out.empty(), c.exit != 0);
    }
    const base::UniqueFd device(open("/dev/full", O_WRONLY | O_CLOEXEC));
    expectFailed({"compare", a, same}, "No space left", 4, {.stdoutFd = device.get()});
    EXPECT_TRUE(contains(run({"compare", "--help"}).out, "4 could not be compared"));
}

TEST_F(CommandTest, aReaderThatHasSeenEnoughIsNoFailureAndEndsTheRun) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const base::UniqueFd writeEnd(ends[1]);
    close(ends[0]);
    expectDone({"drivers"}, {.stdoutFd = writeEnd.get()});
    const base::UniqueFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    const std::string scene = sample("lighthouse.scn");
    const std::string picture = sample("cutout.png");
    const std::vector<std::string> lines[] = {{"scene", "check", scene},    {"info", picture},
                                              {"info", "--json", picture},  {"hash", picture},
                                              {"check", "--json", picture}, {"check", scene}};
    for (std::vector<std::string> line : lines) {
        const std::string file = line.back();
        line.insert(line.end(), {file, file, in("none")});
        // The exit status of a check is about all files, whoever reads the output.
        const bool checks = line[0] == "check" || line[1] == "check";
        const Ended ended = run(line, {.stdoutFd = writeEnd.get()});
        EXPECT_EQ(ended.exit, checks ? 1 : 0) << ended.err;
        EXPECT_EQ(contains(ended.err, "none: No such file"), checks);
        const std::string failed =
            expectFailed(line, "output: No space left on device\n", 1, {.stdoutFd = full.get()})
                .err;
        EXPECT_EQ(failed.find("output"), failed.rfind("output")) << failed;
    }
    // A page is for another reader.
    expectFailed({"check", "--html", in("page"), scene, in("none")}, "none: No such file", 1,
                 {.stdoutFd = writeEnd.get()});
    EXPECT_TRUE(fs::exists(in("page/index.html")));
}

} // namespace
