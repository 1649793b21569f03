// SPDX-License-Identifier: MIT
#include "reducedPicture.h"

namespace {

/// Behind so many equal lines of a damaged picture nothing is expected.
constexpr int kMostBlank = 1024;

} // namespace

tdr::Result<Raster> readReduced(const tdr::Session& driver, tdr::PictureSource& source,
                                AlphaChange alpha, PixelSize reduced) {
    auto block = tdr::SharedBlock::create(tdr::lineBytes(source.width()));
    if (!block) {
        return block.failure();
    }
    LineReducer reducer({source.width(), source.height()}, reduced);
    for (std::int32_t line = source.height(); line-- > 0;) {
        if (const auto read = source.readLine(*block, line); !read) {
            return read.failure();
        }
        changeAlpha(alpha, block->bytes());
        reducer.add(block->bytes());
        if (line % kMostBlank == 0 && !driver.damage().empty() && reducer.repeats(kMostBlank)) {
            reducer.repeat();
            break;
        }
    }
    return reducer.finish();
}
