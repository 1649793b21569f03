// SPDX-License-Identifier: MIT
// The headers of PIC pictures and TAG mattes for `tdr info`.
#include "fileInfo.h"
#include "output/console.h"
#include "output/formatted.h"
#include "pictures/toolkitPicture.h"
#include "scene/sceneFields.h"

#include <array>
#include <cmath>
#include <iterator>
#include <memory>

namespace {

using Json = JsonWriter::Json;

constexpr const char* kChannels[kPictureChannels] = {"red", "green", "blue", "alpha"};
constexpr const char* kCodings[] = {"raw", "pure", "mixed"}; // by PictureEncoding
constexpr std::int16_t kFullFrame = 3;

/// How a packet is encoded. Only these have names.
constexpr int codingOf(const ChannelPacket& packet) {
    return packet.type & 0x0F;
}

Json codingJson(const ChannelPacket& packet) {
    const int coding = codingOf(packet);
    return coding < std::ssize(kCodings) ? Json(kCodings[coding]) : Json(coding);
}

std::vector<const char*> channelsOf(const ChannelPacket& packet) {
    std::vector<const char*> channels;
    for (int c = 0; c < kPictureChannels; ++c) {
        if ((packet.channels & kChannelMasks[c]) != 0) {
            channels.push_back(kChannels[c]);
        }
    }
    return channels;
}

/// "red green blue, 8 bits, mixed".
std::string packetText(const ChannelPacket& packet) {
    std::string channels;
    for (const char* channel : channelsOf(packet)) {
        channels += (channels.empty() ? "" : " ") + std::string(channel);
    }
    const int coding = codingOf(packet);
    return formatted(
        "{}, {}, {}", channels.empty() ? "no channel" : channels, counted(packet.size, "bit"),
        coding < std::ssize(kCodings) ? kCodings[coding] : formatted("unknown coding {}", coding));
}

/// What the header says.
struct HeaderFacts {
    int width, height;
    PictureNotes notes;
    std::vector<ChannelPacket> packets; ///< of a picture
    int mattes;                         ///< channels of a matte; 0 for a picture
};

InfoRows rowsOf(const HeaderFacts& facts) {
    InfoRows rows = {
        {"size", formatted("{} x {}", facts.width, facts.height)},
        {"format", facts.mattes > 0 ? "TAG" : "PIC"},
        {"ratio", formatted("{:g}", shortest(facts.notes.ratio))},
        {"fields", facts.notes.fields == kFullFrame ? "full frame"
                                                    : formatted("code {}", facts.notes.fields)},
    };
    if (facts.mattes > 0) {
        rows.emplace_back("channels", formatted("{} of 1 bit", facts.mattes));
    }
    for (const ChannelPacket& packet : facts.packets) {
        rows.emplace_back("packet", packetText(packet));
    }
    if (facts.notes.comment[0] != '\0') {
        rows.emplace_back("comment", '"' + printable(facts.notes.comment) + '"');
    }
    rows.emplace_back("version", formatted("{:g}", shortest(facts.notes.version)));
    return rows;
}

Json number(float value) {
    return std::isfinite(value) ? Json(shortest(value)) : Json();
}

Json jsonOf(const HeaderFacts& facts) {
    const PictureNotes& notes = facts.notes;
    Json json = {{"width", facts.width},
                 {"height", facts.height},
                 {"matte", facts.mattes > 0},
                 {"formatName", facts.mattes > 0 ? "TAG" : "PIC"},
                 {"ratio", number(notes.ratio)},
                 {"fields", notes.fields == kFullFrame ? Json("full") : Json(notes.fields)},
                 {"version", number(notes.version)},
                 {"comment", notes.comment}};
    if (facts.mattes > 0) {
        json["channelCount"] = facts.mattes;
        return json;
    }
    json["packets"] = Json::array();
    for (const ChannelPacket& packet : facts.packets) {
        json["packets"].push_back({{"channels", channelsOf(packet)},
                                   {"bits", packet.size},
                                   {"coding", codingJson(packet)}});
    }
    return json;
}

} // namespace

FileInfo describeHeader(const ToolkitPicture& file) {
    HeaderFacts facts{file.picture.width,
                      file.picture.height,
                      file.notes,
                      {},
                      file.matte != nullptr ? file.matte->channelCount : 0};
    for (const ChannelPacket* packet = file.chain.get(); packet != nullptr; packet = packet->next) {
        facts.packets.push_back(*packet);
    }
    return {facts.mattes > 0 ? "matte" : "picture", [facts] { return rowsOf(facts); },
            [facts](JsonWriter& out) { out.members(jsonOf(facts)); }};
}
