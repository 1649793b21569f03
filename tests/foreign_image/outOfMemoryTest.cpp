// SPDX-License-Identifier: MIT
// Out of memory at every allocation of every call on a whole file: the call returns its failure and
// leaves nothing behind.
#include "foreign_image/picture/pictureTesting.h"
#include "support/captureStderr.h"
#include "support/failingMemory.h"
#include "tinyFile.h"
#include "tinyScene.h"
#include "tinySpline.h"
#include "tinyTag.h"

#include <memory>

namespace {

using namespace picturetesting;
using support::withEachAllocationFailing;
using UniqueTag = Owned<Tag, tagDispose>;

/// A call that returns a record: null, or a correct one if it did not need the memory (streams work
/// without their buffers).
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

/// Reads and writes a sample with failing allocations: if a call reports success, its result is
/// right.
template <class Owner, class Read, class Write>
void expectSampleOrFailure(const std::string& sample, Read read, Write write,
                           const std::string& copy) {
    SCOPED_TRACE(sample);
    const auto isWhole = [&](const typename Owner::element_type& record) {
        return write(record) == 1 && contentOf(copy) == contentOf(sample);
    };
    expectNullWithoutMemory<Owner>(read, isWhole);
    const Owner record(read());
    int written = 0;
    withEachAllocationFailing([&] { written = write(*record); },
                              [&](bool failed) {
                                  EXPECT_TRUE(written == 1 ? contentOf(copy) == contentOf(sample)
                                                           : failed);
                              });
}

TEST_F(OutOfMemory, ScenesSplinesAndTrees) {
    const std::string samples = TDR_SOURCE_DIR "/samples/";
    const std::string vase = samples + "vase";
    const std::string lamp = samples + "desk_lamp";
    const std::string lighthouse = samples + "lighthouse";
    const std::string copy = dir / "copy";
    expectSampleOrFailure<std::unique_ptr<Spline, SplineDisposer>>(
        vase + ".spl", [&] { return splineReadFile(vase.c_str()); },
        [&](const Spline& spline) { return splineWriteFile(copy.c_str(), &spline, 0); },
        copy + ".spl");
    expectSampleOrFailure<std::unique_ptr<Model, ModelDisposer>>(
        lamp + ".hrc", [&] { return modelReadFile(lamp.c_str()); },
        [&](const Model& root) { return modelWriteFile(copy.c_str(), &root, 0); }, copy + ".hrc");
    expectSampleOrFailure<std::unique_ptr<Scene, SceneDisposer>>(
        lighthouse + ".scn",
        [&]() -> Scene* {
            std::unique_ptr<Scene, SceneDisposer> scene(sceneAllocate());
            if (scene != nullptr) {
                scene->name = strdup(lighthouse.c_str());
            }
            return scene != nullptr && sceneReadAsciiAnimation(scene.get()) == 1 ? scene.release()
                                                                                 : nullptr;
        },
        [&](const Scene& scene) {
            Scene renamed = scene;
            renamed.name = const_cast<char*>(copy.c_str());
            return sceneWriteAsciiAnimation("Niofle scene", 2.6F, &renamed);
        },
        copy + ".scn");
}

} // namespace
