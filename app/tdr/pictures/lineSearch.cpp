// SPDX-License-Identifier: MIT
#include "lineSearch.h"

#include <algorithm>
#include <bit>
#include <optional>

namespace {

/// Bytes that are tried at most: seconds, and more than any picture of usual size needs.
constexpr std::int64_t kMostWork = std::int64_t{1} << 32;

/// Places for one line that are kept: in a picture that is not hostile there are a few.
constexpr std::size_t kMostPlaces = 32;

/// One group of channels, which are stored together.
struct Group {
    int encoding;
    std::int64_t channels;
};

/// A place from which a group can be decoded up to another one.
struct Place {
    std::int64_t at;
    std::size_t next; ///< index in the places of the group after it
};
using Places = std::vector<Place>;

std::vector<Group> groupsOf(const ChannelPacket* chain) {
    std::vector<Group> groups;
    for (; chain != nullptr; chain = chain->next) {
        if (const int channels = std::popcount(chain->channels & 0xF0U); channels > 0) {
            groups.push_back({chain->type & 0x0F, channels});
        }
    }
    return groups;
}

/// A run or some literal pixels.
struct Packet {
    std::int64_t pixels;
    std::int64_t bytes;
};

class Search {
  public:
    Search(std::span<const std::uint8_t> bytes, std::int64_t begin, std::int64_t width)
        : bytes_(bytes), begin_(begin), width_(width) {}

    /// Appends the places from which `group` reaches `places[index]` exactly.
    void addBefore(const Group& group, const Places& places, std::size_t index, Places& found) {
        const std::int64_t end = places[index].at;
        if (group.encoding == kEncodingRaw) {
            addPlace(end - width_ * group.channels, index, found);
            return;
        }
        // No encoder takes more than one packet a pixel.
        const std::int64_t most = std::min(width_ * (1 + group.channels), end - begin_);
        work_ += most;
        pixels_.assign(static_cast<std::size_t>(most) + 1, kNowhere);
        pixels_[0] = 0; // indexed by the distance to the end
        for (std::int64_t left = 1; left <= most; ++left) {
            const auto packet = packetAt(group, end - left);
            if (!packet || packet->bytes > left) {
                continue;
            }
            const std::int64_t after = pixels_[static_cast<std::size_t>(left - packet->bytes)];
            const std::int64_t pixels = packet->pixels + after;
            if (after != kNowhere && pixels <= width_) {
                pixels_[static_cast<std::size_t>(left)] = static_cast<std::int32_t>(pixels);
                if (pixels == width_) {
                    addPlace(end - left, index, found);
                }
            }
        }
    }

    [[nodiscard]] bool isExhausted() const { return work_ > kMostWork; }

  private:
    static constexpr std::int32_t kNowhere = -1; ///< the end is not reached

    void addPlace(std::int64_t at, std::size_t next, Places& found) const {
        if (at >= begin_ && found.size() < kMostPlaces) {
            found.push_back({at, next});
        }
    }

    /// None if the file ends inside it, or for an empty one, which no encoder writes.
    [[nodiscard]] std::optional<Packet> packetAt(const Group& group, std::int64_t at) const {
        const auto byte = [&](std::int64_t i) {
            return static_cast<std::int64_t>(bytes_[static_cast<std::size_t>(i)]);
        };
        const std::int64_t control = byte(at);
        if (group.encoding == kEncodingPure) {
            return control > 0 ? std::optional(Packet{control, 1 + group.channels}) : std::nullopt;
        }
        if (control < 128) {
            return Packet{control + 1, 1 + (control + 1) * group.channels};
        }
        if (control > 128) {
            return Packet{control - 127, 1 + group.channels};
        }
        const bool isThere = at + 2 < static_cast<std::int64_t>(bytes_.size());
        const std::int64_t count = isThere ? byte(at + 1) << 8 | byte(at + 2) : 0;
        return count > 0 ? std::optional(Packet{count, 3 + group.channels}) : std::nullopt;
    }

    std::span<const std::uint8_t> bytes_;
    std::int64_t begin_;
    std::int64_t width_;
    std::int64_t work_ = 0;
    std::vector<std::int32_t> pixels_;
};

} // namespace

std::vector<std::int64_t> findLastLines(std::span<const std::uint8_t> bytes, std::int64_t begin,
                                        const Picture& picture, const ChannelPacket* chain) {
    const std::vector<Group> groups = groupsOf(chain);
    Search search(bytes, begin, picture.width);
    std::vector<Places> steps = {{{static_cast<std::int64_t>(bytes.size()), 0}}};
    const std::size_t most = groups.size() * static_cast<std::size_t>(picture.height);
    while (steps.size() <= most && !search.isExhausted()) {
        const Group& group = groups[groups.size() - 1 - (steps.size() - 1) % groups.size()];
        Places found;
        for (std::size_t i = 0; i < steps.back().size() && !search.isExhausted(); ++i) {
            search.addBefore(group, steps.back(), i, found);
        }
        if (found.empty()) {
            break;
        }
        steps.push_back(std::move(found));
    }
    while ((steps.size() - 1) % std::max<std::size_t>(groups.size(), 1) != 0) {
        steps.pop_back(); // the beginning of a line is missing
    }
    std::vector<std::int64_t> lines;
    std::size_t index = 0;
    for (std::size_t step = steps.size(); step-- > 0; index = steps[step][index].next) {
        if (step % std::max<std::size_t>(groups.size(), 1) == 0) {
            lines.push_back(steps[step][index].at);
        }
    }
    return lines;
}
