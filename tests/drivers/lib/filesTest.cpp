// SPDX-License-Identifier: MIT
// Access checks and outside commands, without a host.
#include "recordingDriver.h"
#include "support/captureStderr.h"
#include "support/processState.h"
#include "support/tempDir.h"

namespace fs = std::filesystem;

namespace {

/// A new folder that every user may enter, so that a test can continue as another user.
class Files : public ::testing::Test {
  protected:
    Files() { fs::permissions(folder.path(), fs::perms::all); }

    struct Check {
        int result;
        std::string directory, baseName;
        bool operator==(const Check&) const = default;
    };
    static Check check(const std::string& path, int forWriting) {
        RecordingDriver driver(0);
        char directory[base::kPathCapacity] = "?";
        char baseName[base::kPathCapacity] = "?";
        const int result =
            driver.checkFilePermissions(path.c_str(), forWriting, directory, baseName);
        return {result, directory, baseName};
    }

    support::TempDir folder;
};

/// Runs `body` in a child as an unprivileged user and returns its result.
int asNobody(const std::function<int()>& body) {
    return support::exitStatusInChild([&] {
        const bool dropped = getuid() != 0 || (setgid(65534) == 0 && setuid(65534) == 0);
        return dropped ? body() & 0xFF : 99;
    });
}

TEST_F(Files, PathIsSplitAtItsLastSlash) {
    const std::string folderPath = folder.path().string();
    const std::string longest(1022, 'x');
    const std::pair<std::string, Check> cases[] = {
        {folderPath + "/a.pic", {0, folderPath, "a.pic"}},
        {"no-such-file.pic", {0, ".", "no-such-file.pic"}},
        {"/x.pic", {-1, "", "x.pic"}},
        {longest + "/y", {-1, longest, ""}}, // cut before it is split
        {longest + "xy", {0, ".", longest + "x"}},
    };
    for (const auto& [path, expected] : cases) {
        EXPECT_EQ(check(path, 1), expected) << path;
    }
}

TEST_F(Files, ReadingNeedsAReadableFile) {
    const std::string open = folder.write("open.pic", "x");
    const std::string closed = folder.write("closed.pic", "x", 0);
    EXPECT_EQ(check(folder / "missing.pic", 0).result, -1);
    EXPECT_EQ(asNobody([&] { return check(open, 0).result; }), 0);
    EXPECT_EQ(asNobody([&] { return check(closed, 0).result; }), 255);
}

TEST_F(Files, WritingNeedsOnlyADirectoryThatCanBeSearched) {
    const std::string readOnly = folder.write("old.pic", "x", 0404);
    EXPECT_EQ(asNobody([&] { return check(readOnly, 1).result; }), 0);
    fs::create_directory(folder / "shut");
    fs::permissions(folder / "shut", fs::perms::none); // also closed for its owner
    EXPECT_EQ(asNobody([&] { return check(folder / "shut/x.pic", 1).result; }), 255);
    EXPECT_EQ(check(folder / "missing/x.pic", 1).result, -1);
}

// --- Outside commands ----------------------------------------------------------------------------

/// The base's own commands; RecordingDriver only records them.
class Commands : public Files {
  protected:
    Commands() {
        driver.startCell = 4;
        driver.currentCell = -5;
    }
    void TearDown() override { signal(SIGCHLD, SIG_DFL); }

    /// A program for the shell that appends what `does` prints to the log.
    std::string command(const std::string& does) const {
        return folder.write("command.sh",
                            "#!/bin/sh\n" + does + " >> " + (folder / "log") + "\nexit 3\n", 0777);
    }
    std::string logged() const { return support::contentOf(folder / "log"); }
    int preRead() { return driver.TDR_Driver::executePreReadCommand(); }
    int postWrite() { return driver.TDR_Driver::executePostWriteCommand(); }

    RecordingDriver driver{0};
    std::string script = command("echo \"$@\"");
};

TEST_F(Commands, AreToldFileAndCells) {
    driver.set_pre_read_cmd(script.c_str());
    driver.set_post_write_cmd((script + " -q").c_str());
    snprintf(driver.fileName, sizeof driver.fileName, "dir/x.pic");
    EXPECT_EQ(preRead(), 0); // the command's own exit status is ignored
    EXPECT_EQ(postWrite(), 0);
    EXPECT_EQ(logged(), "-r -f dir/x.pic -s 4 -i -5\n-q -w -f dir/x.pic -s 4 -i -5\n");
}

TEST_F(Commands, SetEmptyOrNeverRunNothing) {
    EXPECT_EQ(preRead(), 0);
    driver.set_post_write_cmd(script.c_str());
    driver.set_post_write_cmd("");
    EXPECT_EQ(postWrite(), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(Commands, RunWithTheDefaultChildSignalAndRestoreIt) {
    // As after a connect to a host: the process ignores SIGCHLD.
    signal(SIGCHLD, SIG_IGN);
    driver.set_pre_read_cmd(command("grep SigIgn /proc/self/status").c_str());
    EXPECT_EQ(preRead(), 0);
    EXPECT_EQ(signal(SIGCHLD, SIG_IGN), SIG_IGN);
    const std::string ignored = logged();
    ASSERT_EQ(ignored.rfind("SigIgn:", 0), 0U);
    EXPECT_EQ(std::stoull(ignored.substr(7), nullptr, 16) & (1ULL << (SIGCHLD - 1)), 0U) << ignored;
}

TEST_F(Commands, TooLongForItsBufferIsNotRunInPart) {
    const std::string tail = " -r -f unused -s 4 -i -5";
    const std::string padding(2047 - tail.size() - script.size() - 3, 'x');
    driver.set_pre_read_cmd((script + " # " + padding).c_str());
    EXPECT_EQ(preRead(), 0); // exactly the 2047 characters that fit
    EXPECT_EQ(logged(), "\n");
    driver.set_pre_read_cmd((script + " # " + padding + "x").c_str());
    const support::CaptureStderr said;
    EXPECT_EQ(preRead(), -1);
    EXPECT_EQ(said.lines(), 1);
    EXPECT_EQ(logged(), "\n");
}

} // namespace
