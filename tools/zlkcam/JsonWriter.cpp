#include "tools/zlkcam/JsonWriter.h"

#include <array>
#include <cstdio>
#include <utility>

#include "platform/text.h"

namespace zlk {

JsonWriter& JsonWriter::key(std::string_view name) {
    separate();
    quote(name);
    text_ += ':';
    first_ = true;
    return *this;
}

JsonWriter& JsonWriter::value(std::string_view text) {
    separate();
    quote(text);
    return *this;
}

JsonWriter& JsonWriter::value(std::u16string_view text) {
    return value(utf8Text(text));
}

std::string JsonWriter::take() {
    return std::exchange(text_, {});
}

JsonWriter& JsonWriter::open(char bracket) {
    separate();
    text_ += bracket;
    first_ = true;
    return *this;
}

JsonWriter& JsonWriter::close(char bracket) {
    text_ += bracket;
    first_ = false;
    return *this;
}

JsonWriter& JsonWriter::raw(std::string_view text) {
    separate();
    text_ += text;
    return *this;
}

void JsonWriter::quote(std::string_view text) {
    text_ += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') text_ += '\\';
        // Control characters can't stand in a JSON string.
        if (static_cast<unsigned char>(c) < 0x20) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
            text_ += escape.data();
        } else {
            text_ += c;
        }
    }
    text_ += '"';
}

void JsonWriter::separate() {
    if (!first_) text_ += ',';
    first_ = false;
}

}  // namespace zlk
