// SPDX-License-Identifier: MIT
#include "lineChain.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace {

/// Steps that decide together what is usual.
constexpr std::ptrdiff_t kNear = 16;

/// Lines with wrong pixels that follow each other at most.
constexpr std::ptrdiff_t kMostWrong = 4;

double medianOf(std::span<const double> steps) {
    std::vector<double> sorted(steps.begin(), steps.end());
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    return sorted.empty() ? 0 : *middle;
}

/// At most `kNear` steps before `end`, or from `begin` on.
std::span<const double> before(const LineChain& chain, std::ptrdiff_t end) {
    const std::ptrdiff_t from = std::max<std::ptrdiff_t>(end - kNear, 0);
    return std::span(chain.steps)
        .subspan(static_cast<std::size_t>(from), static_cast<std::size_t>(end - from));
}
std::span<const double> from(const LineChain& chain, std::ptrdiff_t begin) {
    const std::ptrdiff_t left = std::ssize(chain.steps) - begin;
    return std::span(chain.steps)
        .subspan(static_cast<std::size_t>(begin),
                 static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(left, 0, kNear)));
}

double usualAt(const LineChain& chain, Damage damage, std::ptrdiff_t step) {
    const auto above = before(chain, step);
    const auto below = from(chain, step + 1);
    const auto& far = damage == Damage::After ? above : below;
    const auto& near = damage == Damage::After ? below : above;
    const bool both = far.empty() || std::ssize(near) > kMostWrong;
    return std::max(medianOf(far), both ? medianOf(near) : 0);
}

} // namespace

Outcome<LinesAt> LinesAt::of(ToolkitPicture& file, const std::string& name,
                             std::span<const std::uint8_t> bytes) {
    LinesAt lines(file, bytes);
    lines.stream_.reset(
        ::fmemopen(const_cast<std::uint8_t*>(bytes.data()), bytes.size(), "r")); // which only reads
    const std::int64_t begin = ::ftello(file.stream.get());
    if (lines.stream_ == nullptr || begin < 0 ||
        ::fseeko(lines.stream_.get(), begin, SEEK_SET) != 0) {
        return problemWith(name, errno);
    }
    lines.reader_.reset(pictureReaderAllocate(lines.stream_.get()));
    if (lines.reader_ == nullptr) {
        return problemWith(name, errno);
    }
    lines.position_ = pictureReaderPosition(lines.reader_.get());
    for (Slot& slot : lines.slots_) {
        slot.line.resize(static_cast<std::size_t>(file.picture.width) * kPictureChannels);
    }
    return lines;
}

bool LinesAt::read(std::int64_t begin, int slot) {
    Slot& to = slots_[slot];
    if (to.begin == begin) {
        position_ = to.end;
        return true;
    }
    std::uint8_t* at = to.line.data();
    for (std::uint8_t*& line : file_->picture.linePointers) {
        line = at;
        at += file_->picture.width;
    }
    const bool whole =
        pictureReaderSeek(reader_.get(), begin) != 0 &&
        pictureReaderScanline(reader_.get(), &file_->picture, file_->chain.get()) != 0;
    position_ = pictureReaderPosition(reader_.get());
    to.begin = whole ? begin : -1;
    to.end = position_;
    return whole;
}

double LinesAt::difference(std::int64_t a, std::int64_t b) {
    const int slot = slots_[1].begin == a || slots_[0].begin == b ? 1 : 0;
    read(a, slot);
    read(b, 1 - slot);
    const auto one = channels(0);
    const auto other = channels(1);
    std::uint32_t sum = 0; // at most 4 x 32767 x 255
    for (std::size_t i = 0; i < one.size(); ++i) {
        sum += static_cast<std::uint32_t>(std::abs(one[i] - other[i]));
    }
    return sum;
}

bool LineChain::add(LinesAt& lines) {
    const std::int64_t begin = end();
    const std::int64_t last = count() > 0 ? this->begin(count() - 1) : begin;
    const std::int64_t size = begin - last;
    const auto bytes = lines.bytes();
    if (size > 0 && begin + size <= std::ssize(bytes) &&
        std::equal(bytes.begin() + last, bytes.begin() + begin, bytes.begin() + begin)) {
        steps.push_back(0); // the same bytes: the same line, which need not be decoded
        begins.push_back(begin + size);
        return true;
    }
    if (!lines.read(begin, count() % 2)) {
        return false;
    }
    const std::int64_t next = lines.position();
    if (count() > 0) {
        steps.push_back(lines.difference(last, begin));
    }
    begins.push_back(next);
    return true;
}

LineChain LineChain::through(LinesAt& lines, const std::vector<std::int64_t>& begins) {
    LineChain chain{{begins.front()}, {}};
    while (chain.count() + 1 < std::ssize(begins) && chain.add(lines)) {
    }
    return chain;
}

double changeOf(double step, double usual) {
    constexpr double kMost = 8; // one line cannot outweigh many
    return std::min(step / usual, kMost);
}

std::vector<double> changesOf(const LineChain& chain, Damage damage, double least) {
    std::vector<double> changes(chain.steps.size());
    for (std::size_t i = 0; i < changes.size(); ++i) {
        const double usual = usualAt(chain, damage, static_cast<std::ptrdiff_t>(i));
        changes[i] = changeOf(chain.steps[i], std::max(usual, least));
    }
    return changes;
}

double usualBeside(const LineChain& chain, Damage damage, std::int32_t line) {
    return medianOf(damage == Damage::After ? before(chain, std::max(line - 1, 0))
                                            : from(chain, line));
}
