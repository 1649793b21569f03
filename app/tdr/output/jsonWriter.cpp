// SPDX-License-Identifier: MIT
#include "jsonWriter.h"

#include "utf8Text.h"

#include <algorithm>
#include <nettle/base64.h>

namespace {

/// Long texts are converted to JSON in pieces of this size, and passed to the sink in such pieces.
constexpr std::size_t kPiece = 32768;

std::string dumped(const JsonWriter::Json& value, int indent) {
    return value.dump(indent, ' ', false, JsonWriter::Json::error_handler_t::replace);
}

constexpr char kBase64[] = "Base64"; // after the name of a member

std::string base64Of(std::string_view bytes) {
    std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
    base64_encode_raw(text.data(), bytes.size(),
                      reinterpret_cast<const std::uint8_t*>(bytes.data()));
    return text;
}

/// True for a text that JSON cannot express.
bool isForeign(const JsonWriter::Json& value) {
    return value.is_string() && !isUtf8(value.get_ref<const std::string&>());
}

/// True when a text in it is foreign.
bool holdsForeign(const JsonWriter::Json& value) {
    return value.is_structured() ? std::ranges::any_of(value, holdsForeign) : isForeign(value);
}

/// A beginning of the text of at most `kPiece` bytes that does not end inside a character.
std::string_view pieceOf(std::string_view text) {
    std::size_t size = std::min(text.size(), kPiece);
    for (int i = 0;
         i < 3 && size < text.size() && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80;
         ++i) {
        --size;
    }
    return text.substr(0, size);
}

} // namespace

JsonWriter::Json JsonWriter::expressible(const JsonWriter::Json& value) {
    if (isForeign(value)) {
        return validUtf8(value.get_ref<const std::string&>());
    }
    if (!value.is_structured()) {
        return value;
    }
    Json all = value.is_array() ? Json::array() : Json::object();
    for (const auto& [name, part] : value.items()) {
        if (value.is_array()) {
            all.push_back(expressible(part));
            continue;
        }
        all[name] = expressible(part);
        if (isForeign(part)) {
            all[name + kBase64] = base64Of(part.get_ref<const std::string&>());
        }
    }
    return all;
}

void JsonWriter::begin(char opening, char closing) {
    place();
    put({&opening, 1});
    closings_ += closing;
    first_ = true;
}

void JsonWriter::end() {
    const char closing = closings_.back();
    closings_.pop_back();
    if (!first_) {
        newLine();
    }
    put({&closing, 1});
    first_ = false;
}

JsonWriter& JsonWriter::key(std::string_view name) {
    place();
    put(dumped(name, -1) + ": ");
    named_ = true;
    return *this;
}

void JsonWriter::value(const Json& small) {
    place();
    for (const char c : dumped(holdsForeign(small) ? expressible(small) : small,
                               2)) { // line ends in strings are escaped
        c == '\n' ? newLine() : put({&c, 1});
    }
}

void JsonWriter::member(std::string_view name, const Json& small) {
    key(name).value(small);
    if (isForeign(small)) {
        key(std::string(name) + kBase64).base64(small.get_ref<const std::string&>());
    }
}

void JsonWriter::members(const Json& small) {
    for (const auto& [name, value] : small.items()) {
        member(name, value);
    }
}

void JsonWriter::text(std::string_view bytes) {
    place();
    put("\"");
    while (!bytes.empty()) {
        const std::string_view piece = pieceOf(bytes);
        const std::string quoted = dumped(validUtf8(piece), -1);
        put(std::string_view(quoted).substr(1, quoted.size() - 2));
        bytes.remove_prefix(piece.size());
    }
    put("\"");
}

void JsonWriter::base64(std::string_view bytes) {
    constexpr std::size_t kWhole = kPiece / 4 * 3; // without padding, except in the last piece
    place();
    put("\"");
    for (std::size_t at = 0; at < bytes.size(); at += kWhole) {
        put(base64Of(bytes.substr(at, kWhole)));
    }
    put("\"");
}

void JsonWriter::hex(std::span<const std::uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    place();
    put("\"");
    for (const std::uint8_t byte : bytes) {
        const char digits[] = {kDigits[byte >> 4], kDigits[byte & 15]};
        put({digits, sizeof digits});
    }
    put("\"");
}

void JsonWriter::flush() {
    sink_(waiting_);
    waiting_.clear();
}

void JsonWriter::finish() {
    waiting_ += '\n';
    flush();
}

/// Starts a value or a name: after a comma, on a new line.
void JsonWriter::place() {
    if (named_) {
        named_ = false;
        return;
    }
    put(first_ ? "" : ",");
    first_ = false;
    if (!closings_.empty()) {
        newLine();
    }
}

void JsonWriter::newLine() {
    put("\n");
    waiting_.append(2 * closings_.size(), ' ');
}

void JsonWriter::put(std::string_view bytes) {
    waiting_ += bytes;
    if (waiting_.size() >= kPiece) {
        sink_(waiting_);
        waiting_.clear();
    }
}
