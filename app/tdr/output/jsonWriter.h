// SPDX-License-Identifier: MIT
// Writes JSON piece by piece, indented by two blanks a level. Nothing is kept, so a document may be
// much larger than the memory.
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

    /// Passes the document to `sink` in pieces, in order.
    explicit JsonWriter(Sink sink) : sink_(std::move(sink)) {}

    void beginObject() { begin('{', '}'); }
    void beginArray() { begin('[', ']'); }
    /// Ends the innermost open object or array.
    void end();

    /// The name of the next value; only inside an object.
    JsonWriter& key(std::string_view name);

    /// A small value, which is held in memory. Names and texts in it may have any bytes: one that
    /// is not UTF-8 is written with "\x9f" for each wrong byte, and the next member of its object,
    /// called as its own with Base64 appended, has its bytes.
    void value(const Json& small);

    /// The value as `value` writes it, for another writer.
    [[nodiscard]] static Json expressible(const Json& value);

    void member(std::string_view name, const Json& small);
    /// All members of a small object.
    void members(const Json& small);

    /// A text of any length, as a string; bytes that are not UTF-8 are written as "\x9f".
    void text(std::string_view bytes);
    void base64(std::string_view bytes);
    /// The bytes as a string of hexadecimal digits.
    void hex(std::span<const std::uint8_t> bytes);

    /// Passes to the sink what is known so far.
    void flush();
    /// Ends the document and passes everything to the sink.
    void finish();

  private:
    void begin(char opening, char closing);
    void place();
    void newLine();
    void put(std::string_view bytes);

    Sink sink_;
    std::string waiting_;  ///< for the sink
    std::string closings_; ///< of all open objects and arrays, the innermost last
    bool first_ = true;    ///< the innermost is empty
    bool named_ = false;   ///< the name of the next value has been written
};
