// SPDX-License-Identifier: MIT
// tdr query --lint: our drivers pass, and each flaw of a driver is found.
#include "support/denyCall.h"
#include "tdr/commandTesting.h"

#include <map>
#include <sys/syscall.h>

namespace {

using namespace commandTesting;

class LintTest : public CommandTest {
  protected:
    /// Path of the manual's driver with this flaw.
    std::string flawed(const std::string& flaw) {
        fs::create_symlink(TDR_FLAWED_DRIVER, files() / (flaw + "Filter"));
        return in(flaw + "Filter");
    }
};

TEST_F(LintTest, ourDriversHaveNoFaults) {
    expectDone({"convert", sample("photograph.png"), in("a.pic")});
    const struct {
        const char* driver;
        std::vector<std::string> file;
        const char* says;
    } cases[] = {
        {"softimageFilter", {}, "softimageFilter: no faults\n"},
        {"softimageFilter", {in("a.pic")}, "softimageFilter: no faults\n"},
        {"pngFilter", {sample("cutout.png")}, "pngFilter: no faults\n"},
        {"nullFilter", {}, "nullFilter: note: writing: it writes no file and reads without one"},
        {TDR_PPM_DRIVER, {}, "ppmFilter: no faults\n"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> line = {"query", "--lint", c.driver};
        line.insert(line.end(), c.file.begin(), c.file.end());
        EXPECT_TRUE(contains(expectDone(line).out, c.says));
    }
}

TEST_F(LintTest, eachFlawIsFound) {
    constexpr struct {
        const char* flaw;
        const char* says;
    } kCases[] = {
        {"predicateFails", "predicate: with -predicate it exits neither with 0, yes, nor with 1"},
        {"noVendor", "identity: no vendorName"},
        {"noEnding", "identity: namingExtension is not an ending with its dot"},
        {"noFormats", "identity: no formats"},
        {"ownBounds", "settings: the bounds are not those that were set"},
        {"noFormatSet", "settings: currentFormat is not the format that was set"},
        {"agrees", "settings: an unknown action is not refused"},
        {"needsNoFile", "without a file: get line without an open file is not refused"},
        {"mustBeOpen", "without a file: disconnect without an open file failed"},
        {"acceptsAll", "other files: a missing file is not refused"},
        {"complains", "other files: a file of another format is refused with a line"},
        {"upsideDown", "writing: line 0 has other pixels than were put, when the lines come in the "
                       "order 4, 3, 2, 1, 0"},
        {"asTheyCome", "other pixels than were put, when the lines come in the order 0, 1, 2"},
        {"keepsName",
         "writing: every request succeeds, but no file is there, when the lines come in "
         "the order 0, 1"},
        {"losesWhole", "no file is there, when they come as a whole picture"},
        {"pastTheLine", "writing: line 4 is written past its end"},
        {"anyDirection", "get line from a file that is being written is not refused"},
        {"anyLine", "reading: get line -1, below the picture, is not refused"},
        {"anyBlock", "reading: get line with a block that is one byte too small is not refused"},
        {"noCurrentFormat", "a connect for reading sets no currentFormat"},
        {"emptyBounds", "connect for reading, with bounds and format failed"},
        {"inOrder", "reading: lines have other pixels when they are got in another order"},
        {"oneConnect", "reading: connect while a file is open failed"},
        {"otherCache", "whole pictures: line 1 of the whole picture has other pixels"},
        {"ignoresCaches", "whole pictures: line 0 of the whole picture has other pixels"},
        {"slashEnding", "identity: namingExtension has a / or more than 32 bytes"},
        {"longEnding", "identity: namingExtension has a / or more than 32 bytes"},
        {"mixesVendor", "identity: vendor name failed: mixesVendorFilter: vendor name: an answer"},
        {"diesCount", "identity: format count failed: diesCountFilter: format count: the driver"},
        {"diesAccess", "identity: access modes failed"},
        {"diesEndCell", "identity: end cell failed"},
        {"silentMissing", "other files: a missing file is refused without a line"},
        {"resizes", "reading: set bounds changes the size of a picture that is open"},
        {"dropsCommand", "post-write command: a connect while a written file is open does not run"},
        {"silentDamage", "damage: a file that was cut is read without a line with 'cut short"},
        {"dies", "failed: diesFilter: disconnect from file: the driver died"},
        {"failsAtEnd", "end with an open file: ends with exit status 3"},
    };
    // The command's parent ignores the ends of its children, and there is no such TMPDIR.
    setenv("TMPDIR", in("missing").c_str(), 1);
    const Around around{.prepare = [] { std::signal(SIGCHLD, SIG_IGN); }};
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.flaw);
        const Ended ended = run({"query", "--lint", flawed(c.flaw)}, around);
        EXPECT_EQ(ended.exit, 1) << ended.err;
        EXPECT_TRUE(contains(ended.out, c.says));
    }
    unsetenv("TMPDIR");
    EXPECT_TRUE(contains(expectDone({"query", "--lint", flawed("notHere")}).out,
                         "note: predicate: it says that it cannot work on this machine"));
    EXPECT_TRUE(contains(expectDone({"query", "--lint", flawed("refusesCaches")}).out,
                         "note: whole pictures: it refuses whole pictures"));
    files().write("a.ppm", "P6 1 1 255\nabc");
    EXPECT_TRUE(contains(expectDone({"query", "--lint", flawed("readsOnly"), in("a.ppm")}).out,
                         "note: writing: it refuses to write, so writing is not checked: "
                         "PPM Filter: 'lines4.ppm' is not a PPM."));
    expectFailed({"query", "--lint", flawed("none"), in("none.ppm")}, "No such file");
}

TEST_F(LintTest, aDriverThatHangsIsAFaultAfterTheUsersLimit) {
    for (const auto& [flaw, says] : std::map<std::string, std::string>{
             {"hangsPredicate", "predicate: with -predicate it exits neither with 0"},
             {"hangsVendor", "identity: vendor name failed"},
             {"hangsWriting", "writing: connect for writing failed"}}) {
        const Ended ended = run({"--timeout", "1", "query", "--lint", flawed(flaw)});
        EXPECT_EQ(ended.exit, 1) << ended.err;
        EXPECT_TRUE(contains(ended.out, says));
        EXPECT_TRUE(contains(ended.out, flaw + "Filter: 1 fault\n"));
    }
}

TEST_F(LintTest, whatADriverHasStartedEndsWithIt) {
    const std::string script = files().write(
        "slowFilter", "#!/bin/sh\nsleep 100 & echo $! > '" + in("pid") + "'\nwait\n", 0755);
    expectFailed({"--timeout", "1", "query", "--lint", script}, "not ready in time", 3);
    const pid_t started = std::stoi(contentOf(in("pid")));
    for (int i = 0; i < 2000 && stateOf(started) == 'S'; ++i) { // killed, but not yet gone
        usleep(1000);
    }
    EXPECT_NE(stateOf(started), 'S');
    kill(started, SIGKILL);
}

TEST_F(LintTest, withoutSharedMemoryNothingIsSaidOfTheDriver) {
    const Around around{.prepare = [] { support::denyCall(SYS_shmget, ENOSPC); }};
    const Ended ended =
        expectFailed({"query", "--lint", flawed("none")}, "No space left on device", 1, around);
    EXPECT_EQ(ended.out, "");
}

} // namespace
