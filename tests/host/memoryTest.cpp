// SPDX-License-Identifier: MIT
// Out of memory at every allocation of every call: the call returns a failure, and a call that
// succeeds returns the right result.
#include "hostTesting.h"
#include "support/failingMemory.h"
#include "support/pictureFiles.h"
#include "tdr/picture.h"

#include <cstring>
#include <optional>

namespace {

using namespace testing_host;

class MemoryTest : public HostTest {
  protected:
    /// Records the result of a call.
    template <typename Answer>
    bool note(const Answer& answer) {
        if (!answer) {
            const Failure& failure = answer.failure();
            const bool noMemory = failure.kind == FailureKind::NoMemory ||
                                  (failure.kind == FailureKind::CouldNotStart &&
                                   failure.what.find(std::strerror(ENOMEM)) != std::string::npos);
            outOfMemory_ = outOfMemory_ || noMemory;
            others_ = others_ || (!noMemory && failure.kind != FailureKind::Died);
        }
        return answer.ok();
    }

    bool outOfMemory_ = false;
    bool others_ = false; ///< failures for other reasons than out of memory
};

TEST_F(MemoryTest, everyCallAnswersItsFailure) {
    const std::filesystem::path program = real("softimageFilter");
    const std::string path = folder() / "a.pic";
    const std::string cut = folder().write("cut.pic", support::rawPic(30, 20, 0xE0, "abc"));
    const std::string foreign = folder().write("foreign.pic", "text");
    Picture picture{2, 3, {}};
    for (std::uint8_t i = 0; i < 24; ++i) {
        picture.pixels.push_back(i);
    }
    std::optional<Result<Picture>> read;
    bool asked = false;
    bool damageTold = false;
    bool retried = true;
    const auto session = [&] {
        asked = damageTold = false;
        auto driver = Session::start(program);
        if (!note(driver)) {
            return;
        }
        asked = note(driver->vendorName()) && note(driver->fileNaming()) &&
                note(driver->format(0)) && note(driver->queryLongs(1028));
        if (!note(writePicture(*driver, path, picture)) && driver->alive()) {
            retried = writePicture(*driver, path, picture).ok();
        }
        read.emplace(readPicture(*driver, path));
        note(*read);
        const auto damaged = readPicture(*driver, cut);
        damageTold = !note(damaged) || !driver->damage().empty();
        const auto refused = readPicture(*driver, foreign);
        if (refused || refused.failure().kind != FailureKind::NotMyFormat) {
            note(refused);
        }
        note(driver->end());
    };
    support::withEachAllocationFailing(session, [&](bool failed) {
        EXPECT_TRUE(failed || !outOfMemory_) << "there was memory";
        EXPECT_FALSE(others_);
        // The start succeeds without some allocations: their lookups then give no result.
        EXPECT_TRUE(outOfMemory_ || (asked && read && *read && damageTold));
        EXPECT_TRUE(!read || !*read || (*read)->pixels == picture.pixels);
        EXPECT_TRUE(retried) << "the next job after a failed one";
        EXPECT_FALSE(support::hasChildren());
        EXPECT_EQ(support::segmentsOf().size(), 0U);
        read.reset();
        outOfMemory_ = others_ = false;
    });
}

} // namespace
