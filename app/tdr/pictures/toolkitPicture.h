// SPDX-License-Identifier: MIT
// PIC pictures and TAG mattes, opened by the file toolkit without a driver.
#pragma once

#include "base/uniqueFd.h"
#include "base/uniqueFile.h"
#include "output/outcome.h"
#include "tinyPicture.h"
#include "tinyPictureNotes.h"
#include "tinyTag.h"

#include <memory>
#include <optional>
#include <string>

/// An open file: its stream is at the first scanline.
struct ToolkitPicture {
    base::UniqueFile stream;
    Picture picture = {};                                        ///< of a matte: only the size
    std::unique_ptr<ChannelPacket, ChannelPacketDisposer> chain; ///< null for a matte
    std::unique_ptr<Tag, TagDisposer> matte;                     ///< null for a picture
    PictureNotes notes = {};
    std::string warning; ///< of the toolkit about the file's version, or empty
};

/// True if a packet of the chain has a channel that can be read: without one lines have no bytes.
[[nodiscard]] bool hasChannels(const ChannelPacket* chain);

/// Opens `file`, whatever its name; `name` is the user's. None if it is of another kind. Fails if
/// its header is damaged or cannot be read.
[[nodiscard]] Outcome<std::optional<ToolkitPicture>> openToolkitPicture(const std::string& name,
                                                                        base::UniqueFd file);
