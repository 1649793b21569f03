// SPDX-License-Identifier: MIT
// Memory that runs out at every place of every call on a whole file: the call answers its failure,
// nothing is left behind.
#include "pictureTesting.h"
#include "support/captureStderr.h"
#include "support/failingMemory.h"
#include "tinyFile.h"
#include "tinyTag.h"

namespace {

using namespace picturetesting;
using support::withEachAllocationFailing;
using UniqueTag = Owned<Tag, tagDispose>;

/// A call that answers with a record: null, or a right one where it could do without the memory,
/// as streams can without their buffers.
template <class Record, class Read, class IsRight>
void expectNullWithoutMemory(Read read, IsRight isRight) {
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
    const std::string matte =
        dir.write("a.tag", support::fileHeader("STAG", 3, 2) + be16(1) + "\x20\x00\x20\x00"s);
    expectNullWithoutMemory<UniqueTag>(
        [&] { return tagReadFile(matte.c_str()); },
        [](const Tag& read) { return tagRow(&read, 0, 1)[0] == 0x80; });
    for (const auto read : {stringReadBinary, stringReadAscii}) {
        const base::UniqueFile text = streamOf("\"abc\"");
        static_cast<void>(std::getc(text.get())); // takes the stream's buffer
        expectNullWithoutMemory<MallocString>(
            [&] {
                std::rewind(text.get());
                return read(text.get());
            },
            [](const char&) { return true; });
    }
}

} // namespace
