// SPDX-License-Identifier: MIT
// How the command replaces files: attributes of the new file, interference by others, and what is
// left after a kill.
#include "base/uniqueFile.h"
#include "files/replacedFile.h"
#include "host/processMark.h"
#include "output/outcome.h"
#include "support/denyCall.h"
#include "support/failingMemory.h"
#include "tdr/commandTesting.h"
#include "tdr/interruptGuard.h"
#include "tdr/privateFolder.h"
#include "tdr/sharedBlock.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <list>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <thread>

namespace {

using namespace commandTesting;

constexpr char kAccessList[] = "system.posix_acl_access";

// Owner: 6, user 65534: 4, owning group: 4, mask: 6, others: 0.
const std::string kList("\2\0\0\0\1\0\6\0\377\377\377\377\2\0\4\0\376\377\0\0\4\0\4\0\377\377\377"
                        "\377\20\0\6\0\377\377\377\377\40\0\0\0\377\377\377\377",
                        44);

class FilesTest : public CommandTest {
  protected:
    FilesTest() { setenv("TMPDIR", folder_.path().c_str(), 1); }
    ~FilesTest() override { unsetenv("TMPDIR"); }

    /// The folder of private folders; empty after cleanup.
    [[nodiscard]] Names privateNames() const { return namesIn(folder_.path()); }

    std::string picture(const std::string& name = "a.png") {
        fs::copy_file(sample("cutout.png"), in(name));
        return in(name);
    }

    /// Replaces `target` by `text`; returns the message of a failure.
    static std::string replace(const std::string& target, const std::string& text) {
        auto file = ReplacedFile::begin(target, ".txt");
        if (!file) {
            return file.failure().text;
        }
        const auto written = file->write(text);
        const auto done = written ? file->commit() : written;
        return done ? "" : done.failure().text;
    }

  private:
    support::TempDir folder_;
};

// --- Attributes of the new file ------------------------------------------------------------------

TEST_F(FilesTest, theNewFileKeepsModeGroupOwnerAndAttributes) {
    const bool root = geteuid() == 0;
    const auto file = files().write("a.txt", "old");
    ASSERT_EQ(chown(file.c_str(), root ? 65534 : -1U, root ? 100 : -1U), 0);
    const bool lists = setxattr(file.c_str(), kAccessList, kList.data(), kList.size(), 0) == 0;
    const bool attributes = setxattr(file.c_str(), "user.note", "kept", 4, 0) == 0;
    chmod(file.c_str(), lists ? 0660 : 02654);
    struct stat before {};
    ASSERT_EQ(stat(file.c_str(), &before), 0);

    EXPECT_EQ(replace(file, "new"), "");
    struct stat after {};
    ASSERT_EQ(stat(file.c_str(), &after), 0);
    EXPECT_EQ(contentOf(file), "new");
    EXPECT_NE(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    char value[64];
    if (lists) {
        ASSERT_EQ(getxattr(file.c_str(), kAccessList, value, sizeof value), 44);
        EXPECT_EQ(std::string(value, 44), kList);
    }
    if (attributes) {
        ASSERT_EQ(getxattr(file.c_str(), "user.note", value, sizeof value), 4);
    }

    const mode_t mask = umask(0027);
    EXPECT_EQ(replace(in("new.txt"), "new"), "");
    umask(mask);
    EXPECT_EQ(fs::status(in("new.txt")).permissions(), fs::perms(0640));
}

TEST_F(FilesTest, aListOfTheFolderIsNotPutOnAFileThatHadNone) {
    const auto file = files().write("a.txt", "old", 0640);
    if (setxattr(files().path().c_str(), "system.posix_acl_default", kList.data(), 44, 0) != 0) {
        GTEST_SKIP() << "no access control lists here";
    }
    EXPECT_EQ(replace(file, "new"), "");
    EXPECT_LT(getxattr(file.c_str(), kAccessList, nullptr, 0), 0);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
}

TEST_F(FilesTest, aGroupThatCannotBeKeptIsAllowedNoMoreThanOthers) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs another user";
    }
    const auto pic = picture();
    const auto target = files().write("b.png", "old", 0676);
    fs::permissions(files().path(), fs::perms(0777));
    fs::permissions(pic, fs::perms(0644));
    unsetenv("TMPDIR");
    expectDone({"convert", "--force", pic, target}, {.otherUser = true});
    struct stat after {};
    ASSERT_EQ(stat(target.c_str(), &after), 0);
    EXPECT_EQ(after.st_uid, 65534U);
    EXPECT_EQ(after.st_gid, 65534U);
    EXPECT_EQ(after.st_mode & 0777, 0666U);
}

TEST_F(FilesTest, linksStayLinks) {
    fs::create_directory(in("folder"));
    fs::create_symlink("folder/../folder/real.txt", in("to.txt"));
    fs::create_symlink("to.txt", in("dangling.txt"));
    for (const std::string text : {"first", "second"}) { // first it dangles, then it does not
        EXPECT_EQ(replace(in("dangling.txt"), text), "");
        EXPECT_TRUE(fs::is_symlink(in("dangling.txt")) && fs::is_symlink(in("to.txt")));
        EXPECT_EQ(contentOf(in("folder/real.txt")), text);
    }
    fs::create_symlink("loop.txt", in("loop.txt"));
    EXPECT_TRUE(contains(replace(in("loop.txt"), "x"), "Too many levels of symbolic links"));
    EXPECT_EQ(namesIn(in("folder")), Names{"real.txt"});
}

TEST_F(FilesTest, aNamedPipeGetsEverything) {
    const auto pipe = files().fifo("p.png");
    EXPECT_TRUE(contains(run({"convert", sample("photograph.png"), pipe}).err,
                         "p.png: nobody reads this named pipe"));
    std::string got;
    const auto startReader = [&] {
        return std::thread([&] {
            std::ifstream stream(pipe, std::ios::binary);
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // the pipe is full by then
            got.assign(std::istreambuf_iterator<char>(stream), {});
        });
    };
    std::thread first = startReader();
    while (run({"convert", sample("photograph.png"), pipe}).exit != 0) { // the reader comes
    }
    first.join();
    EXPECT_EQ(run({"compare", files().write("got", got), sample("photograph.png")}).exit, 0);

    std::thread second = startReader(); // of the bytes that a driver itself writes to a pipe
    base::UniqueFile file;
    while (!file) {
        file = base::openFile(pipe.c_str(), 'w');
    }
    const std::string much(300'000, 'x');
    EXPECT_EQ(std::fwrite(much.data(), 1, much.size(), file.get()), much.size());
    file.reset();
    second.join();
    EXPECT_EQ(got, much);
}

TEST_F(FilesTest, syncIsAskedForAndItsFailureIsReported) {
    const auto pic = picture();
    const auto old = files().write("b.png", "old");
    const Around failing{.prepare = [] { support::denyCall(SYS_fsync, EIO); }};
    expectFailed({"convert", "--force", "--sync", pic, old},
                 old + ": not on the disk: Input/output error", 1, failing);
    EXPECT_EQ(contentOf(old), "old");
    EXPECT_EQ(run({"convert", "--force", pic, old}, failing).exit, 0)
        << "only when it is asked for";
    EXPECT_EQ(run({"convert", "--force", "--sync", pic, old}).exit, 0);
    EXPECT_EQ(namesIn(files().path()), (Names{"a.png", "b.png"}));
}

TEST_F(FilesTest, aFileThatAppearsMeanwhileIsKept) {
    const struct {
        const char* name;
        void (*prepare)();
    } systems[] = {
        {"a system that knows how", [] {}},
        {"one that only adds names", [] { support::denyCall(SYS_renameat2, EINVAL); }},
        {"one that does not even that", [] { support::denyCall(SYS_linkat, EPERM); }},
    };
    const pid_t child = support::startChild([&] {
        for (const auto& system : systems) { // each can do less than the one before
            system.prepare();
            auto file = ReplacedFile::begin(in("a.txt"), ".txt", Existing::Kept);
            EXPECT_TRUE(file && file->write("new"));
            files().write("a.txt", "other");
            const auto refused = file->commit();
            EXPECT_FALSE(refused) << system.name;
            EXPECT_EQ(refused.failure().text, in("a.txt") + ": exists already (see --force)");
            EXPECT_EQ(contentOf(in("a.txt")), "other") << system.name;
            fs::remove(in("a.txt"));
            EXPECT_TRUE(file->commit()) << system.name;
            EXPECT_EQ(contentOf(in("a.txt")), "new") << system.name;
            fs::remove(in("a.txt"));
        }
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(support::exitStatusOf(child), 0);
    EXPECT_EQ(namesIn(files().path()), Names());
}

// --- Interference --------------------------------------------------------------------------------

TEST_F(FilesTest, nobodyLeadsTheWriterAwayBySwappingNames) {
    const support::TempDir elsewhere;
    const auto victim = elsewhere.write("victim", "precious");
    std::atomic<bool> done = false;
    std::thread swapper([&] {
        while (!done) {
            for (const std::string& name : namesIn(files().path())) {
                if (name.starts_with(".tdr-")) {
                    rename(in(name).c_str(), in("away").c_str());
                    (void)!symlink(victim.c_str(), in(name).c_str());
                }
            }
        }
    });
    int refused = 0;
    for (int i = 0; i < 300; ++i) {
        fs::remove(in("a.txt")); // it may be the other's link by now, which would be followed
        auto file = ReplacedFile::begin(in("a.txt"), ".txt");
        ASSERT_TRUE(file) << file.failure().text;
        std::this_thread::yield();
        {
            std::ofstream writer(file->path()); // as a driver does, by its name
            writer << "new";
        }
        const bool committed = static_cast<bool>(file->commit());
        refused += committed ? 0 : 1;
    }
    done = true;
    swapper.join();
    EXPECT_EQ(contentOf(victim), "precious");
    EXPECT_GT(refused, 0) << "nothing was swapped in time; the test shows nothing";
}

// --- Left-overs ----------------------------------------------------------------------------------

TEST_F(FilesTest, memoryThatRunsOutLeavesNothing) {
    const auto old = files().write("a.txt", "old");
    std::string outcome = "none";
    const auto call = [&] {
        try {
            outcome = replace(old, "new").empty() ? "done" : "failed";
        } catch (const std::bad_alloc&) {
            outcome = "threw"; // which the command's end answers
        }
    };
    support::withEachAllocationFailing(call, [&](bool failed) {
        EXPECT_EQ(contentOf(old), outcome == "done" ? "new" : "old");
        EXPECT_TRUE(failed || outcome == "done");
        EXPECT_EQ(namesIn(files().path()), Names{"a.txt"});
        EXPECT_EQ(privateNames(), Names());
        files().write("a.txt", "old");
    });
}

TEST_F(FilesTest, onlyTheMarksOfCertainlyDeadProcessesAreDead) {
    const pid_t dead = support::startChild([] { return 0; });
    EXPECT_EQ(support::exitStatusOf(dead), 0);
    const std::string text = std::to_string(dead);
    const std::string mark = tdr::ownMark(); // tdr-WORLD-PID-START-NUMBER
    const std::string world = mark.substr(0, 20);
    const std::string pid = std::to_string(getpid());
    const std::string rest = mark.substr(21 + pid.size());
    ASSERT_EQ(mark, world + "-" + pid + rest);
    std::string otherWorld = world;
    otherWorld[10] = otherWorld[10] == '0' ? '1' : '0';
    const std::pair<std::string, bool> cases[] = {
        {mark, false},
        {world + "-" + text + rest, true},
        {world + "-" + text + rest + ".f.pic", true},
        {world + "-" + pid + "-1-1", true}, // the number now belongs to another process
        {world + "-1" + rest, true},
        {otherWorld + "-" + text + rest, false},
        {"tdr-0000000000000000-" + text + rest, false},
        {world + "-0" + rest, false},
        {world + "-" + text, false},
        {world + "--5" + rest, false},
        {world + "-99999999999999999999" + rest, false},
        {"a.png", false},
        {"", false},
    };
    for (const auto& [name, gone] : cases) {
        EXPECT_EQ(tdr::isOfDeadProcess(name), gone) << name;
    }
}

TEST_F(FilesTest, whatAKilledRunLeavesIsRemovedByTheNext) {
    const std::string drivers = driverFolder({"freezesAtPut"});
    const auto pic = picture();
    auto running = startRun({"convert", pic, in("o.1039-1"), "--driver-dir", drivers});
    auto checking = startRun({"query", "--lint", drivers + "/freezesAtPutFilter"});
    ASSERT_GT(running->awaitStoppedChild(), 0);
    ASSERT_GT(checking->awaitStoppedChild(), 0);
    for (auto* each : {running.get(), checking.get()}) {
        const auto children = childrenOf(each->pid());
        each->kill(SIGKILL);
        (void)each->wait();
        for (const pid_t child : children) {
            kill(child, SIGKILL);
        }
    }
    fs::path scratch; // of the check, in the private folder
    for (const auto& entry : fs::recursive_directory_iterator(getenv("TMPDIR"))) {
        scratch = entry.is_directory() ? entry.path() : scratch;
    }
    std::ofstream(scratch / "lines.png") << "a picture";
    const Names left = namesIn(files().path());
    EXPECT_EQ(left.size(), 2U) << "the new file is left";
    const auto other = files().write(".tdr-0123456789abcdef-1-1-1", "of another machine");
    auto block = tdr::SharedBlock::create(10); // its maker lives
    const int foreign = shmget(IPC_PRIVATE, 10, 0700);

    const Ended ended = run({"info", pic}); // in an unrelated folder
    EXPECT_EQ(ended.exit, 0) << ended.err;
    EXPECT_EQ(namesIn(files().path()), (Names{"a.png", ".tdr-0123456789abcdef-1-1-1"}));
    EXPECT_TRUE(support::segmentsOf(running->pid()).empty());
    EXPECT_EQ(support::segmentsOf(), (std::set<int>{block->id(), foreign}));
    EXPECT_EQ(privateNames(), Names());
    shmctl(foreign, IPC_RMID, nullptr);
}

TEST_F(FilesTest, aRunEntersItsFolderOnceUnlessSomebodyRemovesIt) {
    std::list<tdr::Result<tdr::PrivateFolder>> folders;
    folders.push_back(tdr::PrivateFolder::open());
    folders.push_back(tdr::PrivateFolder::open());
    ASSERT_TRUE(folders.front() && folders.back());
    EXPECT_EQ(folders.front()->fd(), folders.back()->fd());
    EXPECT_NE(folders.front()->mark(), folders.back()->mark());
    const fs::path path = fs::read_symlink(tdr::pathOfDescriptor(folders.front()->fd()));
    EXPECT_EQ(namesIn(path).size(), 1U) << "one entry holds it";

    fs::remove_all(path);
    {
        const auto again = tdr::PrivateFolder::open();
        ASSERT_TRUE(again);
        EXPECT_EQ(symlinkat("anything", again->fd(), "link"), 0);
        folders.clear(); // does not remove the new folder
        EXPECT_EQ(namesIn(path).size(), 2U);
        unlinkat(again->fd(), "link", 0);
    }
    EXPECT_EQ(privateNames(), Names());
}

TEST_F(FilesTest, signalsLeaveNothing) {
    const std::string folder = driverFolder({"freezesAtPut"});
    const auto pic = picture();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU,
                             SIGVTALRM, SIGPROF, SIGIO, SIGPWR, SIGSTKFLT, SIGRTMIN, SIGRTMAX}) {
        SCOPED_TRACE(strsignal(signal));
        auto running = startRun({"convert", pic, in("o.1039-1"), "--driver-dir", folder});
        ASSERT_GT(running->awaitStoppedChild(), 0);
        EXPECT_EQ(namesIn(files().path()).size(), 2U) << "it writes next to the target";
        const auto drivers = childrenOf(running->pid());
        running->kill(SIGPIPE); // must not end the run
        running->kill(signal);
        const Ended ended = running->wait();
        EXPECT_EQ(ended.signal, signal);
        EXPECT_TRUE(contains(ended.err, "interrupted"));
        EXPECT_TRUE(std::ranges::all_of(drivers, [](pid_t pid) { return stateOf(pid) == '\0'; }));
        EXPECT_EQ(namesIn(files().path()), Names{"a.png"});
        EXPECT_EQ(privateNames(), Names());
    }
}

TEST_F(FilesTest, aDriverThatDiesOfTheTerminalsSignalIsNoNews) {
    const tdr::InterruptGuard guard;
    const tdr::Failure died{tdr::FailureKind::Died, "get line: the driver died", {}, ""};
    EXPECT_TRUE(contains(problemWith("a.pic", died).text, "died"));
    raise(SIGINT);
    EXPECT_EQ(problemWith("a.pic", died).text, "a.pic: interrupted");
}

TEST_F(FilesTest, aFailureBeginsWithTheFileAndEndsWithTheDriver) {
    const struct {
        const char* line; ///< of the driver
        const char* text;
    } cases[] = {
        {"PNG Filter: Unable to open file 'a' - IHDR: CRC error.",
         "a: IHDR: CRC error (pngFilter)"},
        {"PNG Filter: Unable to open file 'b/a' - x",
         "a: PNG Filter: Unable to open file 'b/a' - x (pngFilter)"},
        {"Softimage Filter: 'a': No such file or directory.",
         "a: No such file or directory (pngFilter)"},
        {"cannot", "a: cannot (pngFilter)"},
        {"", "a: connect to file: refused (pngFilter)"},
    };
    for (const auto& c : cases) {
        const tdr::Failure refused{
            tdr::FailureKind::Refused, "pngFilter: connect to file: refused", {}, c.line};
        EXPECT_EQ(problemWith("a", refused).text, c.text);
    }
    EXPECT_EQ(problemWith("a", {tdr::FailureKind::NoMemory, "shared block: no room", {}, {}}).text,
              "a: shared block: no room");
}

TEST_F(FilesTest, aLimitOfFileSizeIsAReasonAndLeavesNothing) {
    const auto scene = in("a.scn");
    fs::copy_file(sample("lighthouse.scn"), scene);
    const std::string before = contentOf(scene);
    expectFailed({"plot", scene, "-o", in("a.svg")}, "a.svg: File too large", 1,
                 {.largestFile = 1000});
    expectFailed({"scene", "format", scene, "--in-place"}, "File too large", 1,
                 {.largestFile = 100});
    EXPECT_EQ(contentOf(scene), before);
    EXPECT_EQ(namesIn(files().path()), Names{"a.scn"});
    EXPECT_EQ(privateNames(), Names());
}

// --- Standard streams ----------------------------------------------------------------------------

TEST_F(FilesTest, closedStreamsAreNotTakenByFiles) {
    const auto pic = picture();
    const Around closed{.prepare = [] {
        for (int fd = 0; fd < 3; ++fd) {
            close(fd);
        }
    }};
    EXPECT_EQ(run({"convert", pic, in("b.png")}, closed).exit, 0);
    EXPECT_EQ(run({"compare", pic, in("b.png")}).exit, 0);
    expectFailed({"info", pic}, "standard output: Bad file descriptor", 1,
                 {.prepare = [] { close(STDOUT_FILENO); }});
}

TEST_F(FilesTest, aTerminalGetsNoControlCharacters) {
    const base::UniqueFd screen(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_EQ(grantpt(screen.get()) | unlockpt(screen.get()), 0);
    const base::UniqueFd terminal(open(ptsname(screen.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    const auto pic = picture("a\xc2\x9b\x9b\x1b.png");
    for (const bool json : {true, false}) {
        const Ended ended =
            run({"info", pic, json ? "--json" : "--"}, {.stdoutFd = terminal.get()});
        EXPECT_EQ(ended.exit, 0) << ended.err;
        char text[4096];
        const ssize_t size = read(screen.get(), text, sizeof text);
        const std::string shown(text, size > 0 ? static_cast<std::size_t>(size) : 0);
        EXPECT_EQ(shown.find('\x9b'), std::string::npos) << shown;
        EXPECT_EQ(shown.find('\x1b'), std::string::npos) << shown;
        EXPECT_TRUE(contains(shown, json ? "\\u009b" : "\\xc2\\x9b"));
    }
}

} // namespace
