// SPDX-License-Identifier: MIT
#include "viewCanvas.h"

#include "pictures/pixelRatio.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

constexpr std::uint64_t kOpaque = 255;

int rounded(double side, int most) {
    return static_cast<int>(std::clamp(std::lround(side), 1L, static_cast<long>(most)));
}

/// Scales `from` samples to `to`: both cover a length of from * to, in which a sample of the source
/// is `to` long and one of the result `from`. Cuts the source sample that begins at `position` at
/// the borders of results, calls add(result, length) for each piece and done(result) after the last
/// piece of a result. Moves `position` to the sample's end.
template <typename Add, typename Done>
void distribute(std::uint64_t& position, std::uint64_t from, std::uint64_t to, Add add, Done done) {
    const std::uint64_t end = position + to;
    while (position < end) {
        const std::uint64_t result = position / from;
        const std::uint64_t border = (result + 1) * from;
        const std::uint64_t next = std::min(end, border);
        add(static_cast<std::size_t>(result), next - position);
        position = next;
        if (position == border) {
            done(static_cast<std::size_t>(result));
        }
    }
}

} // namespace

ViewSize viewSize(ViewSize picture, double ratio, ViewSize room) {
    const double stretch = meantRatio(ratio);
    const double width = picture.width * std::max(stretch, 1.0);
    const double height = picture.height / std::min(stretch, 1.0);
    const double scale = std::min({1.0, room.width / width, room.height / height});
    return {rounded(width * scale, room.width), rounded(height * scale, room.height)};
}

ViewCanvas::ViewCanvas(ViewSize picture, ViewSize shown)
    : picture_(picture), shown_(shown), line_(static_cast<std::size_t>(shown.width)),
      rows_(static_cast<std::size_t>(shown.width)),
      pixels_(static_cast<std::size_t>(shown.width) * static_cast<std::size_t>(shown.height)) {}

void ViewCanvas::narrowLine(std::span<const std::uint8_t> line) {
    std::ranges::fill(line_, Sums<std::uint32_t>{});
    const auto from = static_cast<std::uint64_t>(picture_.width);
    const auto to = static_cast<std::uint64_t>(shown_.width);
    std::uint64_t position = 0;
    for (std::size_t i = 0; i < from; ++i) {
        const auto pixel = line.subspan(4 * i, 4);
        const auto add = [&](std::size_t column, std::uint64_t length) {
            const std::uint32_t alpha = static_cast<std::uint32_t>(length) * pixel[0];
            Sums<std::uint32_t>& sums = line_[column];
            sums[0] += alpha;
            for (std::size_t channel = 1; channel < sums.size(); ++channel) {
                sums[channel] += alpha * pixel[channel]; // at most 32767 x 255 x 255 in all
            }
        };
        distribute(position, from, to, add, [](std::size_t) {});
    }
}

void ViewCanvas::addLine(std::span<const std::uint8_t> line) {
    narrowLine(line);
    const auto add = [&](std::size_t, std::uint64_t length) {
        for (std::size_t column = 0; column < line_.size(); ++column) {
            for (std::size_t channel = 0; channel < line_[column].size(); ++channel) {
                rows_[column][channel] += length * line_[column][channel];
            }
        }
    };
    distribute(position_, static_cast<std::uint64_t>(picture_.height),
               static_cast<std::uint64_t>(shown_.height), add,
               [this](std::size_t row) { emitRow(static_cast<int>(row)); });
}

void ViewCanvas::emitRow(int row) {
    const std::uint64_t whole = kOpaque * static_cast<std::uint64_t>(picture_.width) *
                                static_cast<std::uint64_t>(picture_.height);
    const auto fromBottom = static_cast<std::size_t>(shown_.height - 1 - row);
    std::uint32_t* to = &pixels_[fromBottom * rows_.size()];
    for (int column = 0; column < shown_.width; ++column) {
        Sums<std::uint64_t>& sums = rows_[static_cast<std::size_t>(column)];
        const std::uint64_t below = checkerboard(column, row) * (whole - sums[0]);
        const auto over = [&](std::size_t channel) {
            return static_cast<std::uint32_t>((sums[channel] + below + whole / 2) / whole);
        };
        *to++ = over(3) | over(2) << 8 | over(1) << 16 | 0xffU << 24;
        sums = {};
    }
}
