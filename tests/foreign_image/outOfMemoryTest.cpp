// SPDX-License-Identifier: MIT
// Out of memory at every allocation of every call on a whole file: the call returns its failure and
// leaves nothing behind.
#include "foreign_image/picture/pictureTesting.h"
#include "foreign_image/textFiles.h"
#include "support/failingMemory.h"
#include "tinyFile.h"
#include "tinyTag.h"

namespace {

using namespace picturetesting;
using support::withEachAllocationFailing;
using UniqueTag = std::unique_ptr<Tag, TagDisposer>;

/// A call that returns a record: null, or a correct one if it did not need the memory (streams work
/// without their buffers).
template <class Record>
void expectNullWithoutMemory(auto read, auto isRight) {
    Record record;
    withEachAllocationFailing([&] { record.reset(read()); },
                              [&](bool failed) {
                                  EXPECT_TRUE(record == nullptr ? failed : isRight(*record));
                                  record.reset();
                              });
}

class OutOfMemory : public PictureFiles {
  protected:
    support::CaptureStderr said_;
};

TEST_F(OutOfMemory, ReadersAnswerNull) {
    write(picture(300, 41, 0xF0));
    expectNullWithoutMemory<UniquePicture>(
        [&] { return pictureReadFile(path.c_str()); },
        [last = picture(300, 41, 0xF0)](const Picture& read) {
            return std::equal(read.planes[kAlpha], read.planes[kAlpha] + std::ptrdiff_t{300} * 41,
                              last->planes[kAlpha]);
        });
    const std::string matte = dir.write("a.tag", support::tag(3, 2, 1, {0x2000, 0x2000}));
    expectNullWithoutMemory<UniqueTag>(
        [&] { return tagReadFile(matte.c_str()); },
        [](const Tag& read) { return tagRow(&read, 0, 1)[0] == 0x80; });
    for (const auto read : {stringReadBinary, stringReadAscii}) {
        const base::UniqueFile text = streamOf("\"abc\"");
        static_cast<void>(std::getc(text.get())); // allocates the stream's buffer
        expectNullWithoutMemory<MallocString>(
            [&] {
                std::rewind(text.get());
                return read(text.get());
            },
            [](const char&) { return true; });
    }
}

TEST_F(OutOfMemory, ScenesSplinesAndTreesAreRightOrFail) {
    const std::string copy = dir / "copy";
    for (const textfiles::Kind& kind : textfiles::kKinds) {
        SCOPED_TRACE(kind.sample);
        bool passed = false;
        withEachAllocationFailing([&] { passed = kind.pass(kind.sample, copy); },
                                  [&](bool failed) {
                                      EXPECT_TRUE(passed ? contentOf(copy + kind.ending) ==
                                                               contentOf(kind.sample + kind.ending)
                                                         : failed);
                                  });
    }
}

} // namespace
