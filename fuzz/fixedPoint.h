// SPDX-License-Identifier: MIT
// The property of spline and hierarchy files: every record that is read can be written in both
// flavours, and from then on reading and writing again changes nothing. Names from a binary file
// may hold quotes, which the text form cannot: such a record is only written in binary.
#pragma once

#include "fuzzInput.h"

#include "tinySoftType.h"

#include <memory>

namespace fuzz {

enum Flavour : int { kText = 0, kBinary = 1 };

/// `Format` names a record with its `Disposer`, and has `extension`, `read(baseName)` and
/// `write(baseName, record, flavour)`. One run of a fuzz target; always 0.
template <typename Format>
int expectFixedPoint(const std::uint8_t* data, std::size_t size) {
    static const InputFolder folder;
    option.level = 0;
    using Pointer = std::unique_ptr<typename Format::Record, typename Format::Disposer>;
    const auto file = [](const char* name) { return std::string(name) + Format::extension; };
    folder.write(file("input"), data, size);
    const Pointer input(Format::read(folder.path("input").c_str()));
    if (!input) {
        return 0;
    }
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const bool binary = bytes.rfind("\x53\x80", 0) == 0;
    if (!binary && holdsZero(bytes)) {
        return 0;
    }
    for (const Flavour flavour : {kText, kBinary}) {
        if (flavour == kText && binary) {
            continue;
        }
        if (Format::write(folder.path("once").c_str(), input.get(), flavour) == 0) {
            continue; // the record does not fit this flavour
        }
        const Pointer again(Format::read(folder.path("once").c_str()));
        if (!again || Format::write(folder.path("twice").c_str(), again.get(), flavour) == 0 ||
            folder.read(file("once")) != folder.read(file("twice"))) {
            std::abort();
        }
    }
    return 0;
}

} // namespace fuzz
