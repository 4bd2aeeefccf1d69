#pragma once
// Builds one JSON document, piece by piece.

#include <concepts>
#include <string>
#include <string_view>

namespace zlk {

class JsonWriter {
  public:
    JsonWriter& beginObject() { return open('{'); }
    JsonWriter& endObject() { return close('}'); }
    JsonWriter& beginArray() { return open('['); }
    JsonWriter& endArray() { return close(']'); }
    /// The name of the next value of an object.
    JsonWriter& key(std::string_view name);

    /// UTF-8; a text that may be none of it goes through utf8Text first.
    JsonWriter& value(std::string_view text);
    JsonWriter& value(const char* text) { return value(std::string_view(text)); }
    JsonWriter& value(std::u16string_view text);
    template <std::integral Number>
    JsonWriter& value(Number number) {
        if constexpr (std::same_as<Number, bool>) {
            return raw(number ? "true" : "false");
        } else {
            return raw(std::to_string(number));
        }
    }

    template <class Value>
    JsonWriter& member(std::string_view name, const Value& itsValue) {
        return key(name).value(itsValue);
    }

    bool empty() const { return text_.empty(); }
    /// What has been written since the last call: a document too long to be kept is handed out
    /// in pieces.
    std::string take();

  private:
    JsonWriter& open(char bracket);
    JsonWriter& close(char bracket);
    JsonWriter& raw(std::string_view text);
    void quote(std::string_view text);
    void separate();

    std::string text_;
    bool first_ = true;  // nothing in front of the next value that a comma must part it from
};

}  // namespace zlk
