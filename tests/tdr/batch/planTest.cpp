// SPDX-License-Identifier: MIT
// Patterns, sets of frames, plans and the order of results, without drivers.
#include "batch/plan.h"
#include "batch/framePattern.h"
#include "batch/frameSet.h"
#include "batch/runner.h"

#include <atomic>
#include <gtest/gtest.h>
#include <limits>
#include <map>

namespace {

TEST(FramePattern, writesNumbersAndReadsOnlyWhatItWrites) {
    const struct {
        const char* pattern;
        std::int32_t frame;
        const char* name;
        std::vector<const char*> others; ///< which it does not match
    } cases[] = {
        {"a.%04d.pic", 7, "a.0007.pic", {"a.7.pic", "a.00007.pic", "a.-007.pic", "a.+007.pic"}},
        {"a.%04d.pic", 12345, "a.12345.pic", {"a.012345.pic", "a.0012345.pic"}},
        {"a.####.pic", 12345, "a.12345.pic", {"a.123.pic", "a..pic", "a.0x12.pic"}},
        {"a.%d.pic", 0, "a.0.pic", {"a.00.pic", "a.07.pic", "a.pic", "a..pic", "b.0.pic"}},
        {"a@", 10, "a10", {"a010", "a", "a10 ", "10"}},
        {"@@", 3, "03", {"3", "003", "+3"}},
        {"100%%_%d%s%n%%", 5, "100%_5%s%n%", {"100%%_5%s%n%%"}},
        {"%2d%d", 5, "%2d5", {"5"}},
        {"a%d",
         std::numeric_limits<std::int32_t>::max(),
         "a2147483647",
         {"a2147483648", "a99999999999999999999"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pattern);
        const auto pattern = FramePattern::parse(std::string("some/%d/") + c.pattern);
        ASSERT_TRUE(pattern && *pattern);
        EXPECT_EQ((*pattern)->folder(), "some/%d");
        EXPECT_EQ((*pattern)->path(c.frame), std::string("some/%d/") + c.name);
        EXPECT_EQ((*pattern)->frameOf(c.name), c.frame);
        for (const char* other : c.others) {
            EXPECT_FALSE((*pattern)->frameOf(other)) << other;
        }
    }
    for (const char* name : {"a.pic", "100%", "%%", "%04x", "%-4d", "%", "%0", "%0999d", "@/a"}) {
        const auto none = FramePattern::parse(name);
        EXPECT_TRUE(none && !*none) << name;
    }
    for (const char* name : {"%d%d", "a@b@", "##.%d"}) {
        EXPECT_FALSE(FramePattern::parse(name)) << name;
    }
}

TEST(FrameSet, isReadAndWritten) {
    const std::pair<const char*, const char*> good[] = {{"5", "5"},
                                                        {"3-5,4-7", "3-7"},
                                                        {"1-10x3,12", "1, 4, 7, 10, 12"},
                                                        {"9,1-2", "1-2, 9"},
                                                        {"4-4x9", "4"},
                                                        {"2147483647", "2147483647"},
                                                        {"0-999999", "0-999999"}};
    for (const auto& [text, written] : good) {
        const auto frames = parseFrames(text);
        ASSERT_TRUE(frames) << text;
        EXPECT_EQ(textOf(*frames), written);
    }
    for (const char* text :
         {"", ",", "1,", "1-", "-1", "1x2", "1-2x", "a", "1 ", "1--2", "1-2-3"}) {
        const auto frames = parseFrames(text);
        EXPECT_TRUE(!frames && frames.failure().text.starts_with("frames are A, ")) << text;
    }
    const std::pair<const char*, const char*> bad[] = {
        {"7,2-1", "a range of frames goes up, by at least 1: 2-1"},
        {"1-5x0", "a range of frames goes up, by at least 1: 1-5x0"},
        {"2147483648", "a frame is at most 2147483647: 2147483648"},
        {"0-99999999999999999999", "a frame is at most 2147483647: 0-99999999999999999999"},
        {"0-1000000", "more than 1000000 frames: 0-1000000"},
        {"0-500000,0-500000", "more than 1000000 frames: 0-500000"}};
    for (const auto& [text, says] : bad) {
        const auto frames = parseFrames(text);
        ASSERT_FALSE(frames) << text;
        EXPECT_EQ(frames.failure().text, says);
    }
    EXPECT_EQ(gapsIn(*parseFrames("1-3,5,9-10")), "4, 6-8");
    EXPECT_EQ(gapsIn(*parseFrames("1-10x2"), 2), "2, 4 and more");
}

/// The outputs of a plan, or its problem.
std::vector<std::string> outputsOf(const std::vector<PlannedInput>& inputs,
                                   const OutputRule& rule) {
    const auto jobs = planJobs(inputs, rule);
    std::vector<std::string> outputs;
    for (const Job& job : jobs ? *jobs : std::vector<Job>()) {
        outputs.push_back(job.output);
    }
    return jobs ? outputs : std::vector{jobs.failure().text};
}

TEST(Plan, namesWhatIsWritten) {
    using Names = std::vector<std::string>;
    const auto mattes = [](std::function<Outcome<std::int32_t>()> count) {
        return OutputRule{"o.%d", false, {}, {}, 1, false, [=](auto&) { return count(); }};
    };
    const std::vector<PlannedInput> frames = {{"a.8.pic", {}, 8}, {"a.10.pic", {}, 10}};
    const struct {
        std::vector<PlannedInput> inputs;
        OutputRule rule;
        Names outputs;
    } cases[] = {
        {{{"a.pic"}}, {"b@2x.png"}, {"b@2x.png"}}, // a pattern only where there are frames
        {{{"a.pic"}}, {"b@.png", false, {}, 5}, {"b5.png"}},
        {frames, {"b.%03d.png"}, {"b.008.png", "b.010.png"}},
        {frames, {"b.#.png", false, {}, 100, 5}, {"b.100.png", "b.105.png"}},
        {frames, {"b.#.png", false, {}, {}, 5}, {"b.8.png", "b.13.png"}},
        {frames, {"-"}, {"-", "-"}},
        {frames,
         {"b.png"},
         {"b.png: one file for 2 pictures; a folder ends in / and a pattern has a number, as in "
          "%04d"}},
        {{{"a"}, {"b"}}, {"c.%d"}, {"c.1", "c.2"}},
        {frames, {"%d%d"}, {"%d%d: has 2 places for the number of a frame; a pattern has one"}},
        {{{"a"}, {"b"}},
         {"@", false, {}, 2147483647},
         {"b: the number of its new file is out of range"}},
        {{{"in/x.tar.PIC"}, {"y.0001"}, {".pic"}, {"s/z", "s"}},
         {"out/", true, ".png"},
         {"out/x.tar.png", "out/y.0001.png", "out/.pic.png", "out/s/z.png"}},
        {{{"in/x.PIC"}}, {"out", true}, {"out/x.PIC"}},
        {{{"m"}}, mattes([] { return 2; }), {"o.1", "o.2"}},
        {{{"m"}}, mattes([] { return 1; }), {"o.%d"}}, // a picture like others
        {{{"m"}},
         mattes([] {
             return Problem{ExitCode::Failed, "m: not read"};
         }),
         {"m: not read"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(outputsOf(c.inputs, c.rule), c.outputs);
    }
}

TEST(Plan, isRefusedWhereSomethingWouldBeLost) {
    // Names on a system where "link" leads to "a" and these files exist.
    const auto lookUp = [](const std::string& path) {
        return Standing{std::string("a b link").find(path) != std::string::npos,
                        path == "link" ? "a" : path, path == "folder"};
    };
    using Pairs = std::vector<std::pair<const char*, const char*>>;
    using Names = std::vector<std::string>;
    const std::string exists = ": exists already (see --force)";
    const struct {
        Pairs jobs;
        IfExisting existing;
        Names problems;
        std::size_t skipped = 0;
    } cases[] = {
        {{{"a", "x"}, {"b", "y"}}, IfExisting::Refuse, {}},
        {{{"a", "x"}, {"b", "x"}}, IfExisting::Replace, {"x: would be written from a and from b"}},
        {{{"a", "-"}, {"b", "-"}}, IfExisting::Refuse, {}},
        {{{"x", "a"}, {"y", "b"}}, IfExisting::Refuse, {"a" + exists, "b" + exists}},
        {{{"x", "a"}, {"y", "z"}}, IfExisting::Skip, {}, 1},
        {{{"x", "a"}, {"y", "link"}},
         IfExisting::Skip,
         {"link: would be written from x and from y"},
         2},
        {{{"x", "a"}}, IfExisting::Replace, {}},
        {{{"a", "a"}}, IfExisting::Replace, {}}, // in place
        {{{"x", "link"}, {"a", "y"}},
         IfExisting::Replace,
         {"link: would be written from x, and is also to be read"}},
        {{{"a", "a"}, {"link", "y"}},
         IfExisting::Replace,
         {"a: would be written from a, and is also to be read"}},
        {{{"folder", "y"}}, IfExisting::Replace, {"folder: is a folder (see -r)"}},
        {{{"x", "folder"}},
         IfExisting::Replace,
         {"folder: names a folder; name the file to write in it"}},
        {{{"x", "r"}}, IfExisting::Refuse, {"r: would also be written by --report"}},
        {{{"r", "y"}}, IfExisting::Replace, {"r: is also to be read"}},
        {{{"x", "l"}}, IfExisting::Replace, {"l: would be written from x, and is also to be read"}},
    };
    for (const auto& c : cases) {
        std::vector<Job> jobs;
        for (const auto& [input, output] : c.jobs) {
            jobs.push_back({{input}, output});
        }
        SCOPED_TRACE(c.jobs.front().first + std::string(" to ") + c.jobs.front().second);
        EXPECT_EQ(checkJobs(jobs, {c.existing, true, "r", "l"}, lookUp), c.problems);
        EXPECT_EQ(std::ranges::count(jobs, true, &Job::skipped), std::ptrdiff_t(c.skipped));
    }
    std::vector<Job> fetched = {{{"folder"}, "y"}};
    EXPECT_EQ(checkJobs(fetched, {.fetches = true}, lookUp), Names{});
    std::vector<Job> inPlace = {{{"a"}, "link"}};
    EXPECT_EQ(checkJobs(inPlace, {IfExisting::Replace, false}, lookUp),
              Names{"link: would be written from a, and is also to be read"});
}

TEST(Runner, reportsEachJobOnceAndInOrder) {
    std::vector<Job> jobs;
    for (int i = 0; i < 300; ++i) {
        jobs.push_back({{std::to_string(i)}, "o", i % 7 == 3});
    }
    for (const std::size_t workers : {1, 4}) {
        std::atomic<std::size_t> made = 0;
        std::size_t next = 0;
        runJobs(
            jobs, workers,
            [&]() -> Worker {
                ++made;
                return [](const Job& job) {
                    if (job.input.path == "100") {
                        throw std::bad_alloc();
                    }
                    return JobResult{Fate::Done, ExitCode::Done, job.input.path};
                };
            },
            [&](const Job& job, const JobResult& result) {
                EXPECT_EQ(job.input.path, std::to_string(next));
                EXPECT_EQ(result.fate, next % 7 == 3 ? Fate::Skipped
                                       : next == 100 ? Fate::Failed
                                                     : Fate::Done);
                EXPECT_EQ(result.messages, next == 100 ? "tdr: 100: out of memory\n" : "");
                ++next;
            });
        EXPECT_EQ(next, jobs.size());
        EXPECT_EQ(made, workers);
    }
}

TEST(Runner, reportsTheJobsThatNoWorkerCouldDo) {
    const std::vector<Job> jobs = {{{"a"}, "x"}, {{"b"}, "y", true}, {{"c"}, "z"}};
    std::string fates;
    runJobs(
        jobs, 2, []() -> Worker { throw std::bad_alloc(); },
        [&](const Job& job, const JobResult& result) {
            fates += job.input.path + std::to_string(static_cast<int>(result.fate)) + " ";
        });
    EXPECT_EQ(fates, "a3 b1 c3 ") << "failed, skipped, failed";
}

} // namespace
