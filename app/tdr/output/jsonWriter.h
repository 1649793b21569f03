// SPDX-License-Identifier: MIT
// Writes JSON piece by piece, indented by two blanks a level. Nothing is kept: a document may be
// many times larger than the memory.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

class JsonWriter {
  public:
    using Json = nlohmann::ordered_json;
    using Sink = std::function<void(std::string_view bytes)>;

    /// The document goes to `sink` in pieces, in their order.
    explicit JsonWriter(Sink sink) : sink_(std::move(sink)) {}

    void beginObject() { begin('{', '}'); }
    void beginArray() { begin('[', ']'); }
    /// Ends the innermost object or array that was begun.
    void end();

    /// The name of what comes next; only inside an object.
    JsonWriter& key(std::string_view name);

    /// A value that is small enough to be held; bytes that are no UTF-8 are replaced in it.
    void value(const Json& small);

    void member(std::string_view name, const Json& small) { key(name).value(small); }
    /// All members of a small object.
    void members(const Json& small);

    /// A text of any length, as a string; bytes that are no UTF-8 are written as "\x9f".
    void text(std::string_view bytes);
    /// The bytes as a string of hexadecimal digits.
    void hex(std::span<const std::uint8_t> bytes);

    /// Ends the document; everything has gone to the sink then.
    void finish();

  private:
    void begin(char opening, char closing);
    void place();
    void newLine();
    void put(std::string_view bytes);

    Sink sink_;
    std::string waiting_;  ///< for the sink
    std::string closings_; ///< of what is open, the innermost last
    bool first_ = true;    ///< nothing stands yet in the innermost
    bool named_ = false;   ///< the place of the next value was taken by its name
};
