#pragma once
// Builds a JSON document piece by piece. It doesn't check that the calls make sense together.

#include <concepts>
#include <string>
#include <string_view>

namespace zlk {

/// The text of one JSON document. The calls that write return the writer, so that they can be
/// chained.
class JsonWriter {
  public:
    JsonWriter& beginObject() { return open('{'); }
    JsonWriter& endObject() { return close('}'); }
    JsonWriter& beginArray() { return open('['); }
    JsonWriter& endArray() { return close(']'); }
    /// Writes the name of a member, whose value has to follow.
    JsonWriter& key(std::string_view name);

    /// A text in UTF-8. A text that may not be valid UTF-8 has to be passed as wideText(text).
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
    /// Returns what was written since the last take(), so that a long document can be printed in
    /// pieces.
    std::string take();

  private:
    JsonWriter& open(char bracket);
    JsonWriter& close(char bracket);
    // Writes text that is JSON already.
    JsonWriter& raw(std::string_view text);
    void quote(std::string_view text);
    // Writes a comma, unless what follows is the first in its brackets or the value of a key.
    void separate();

    std::string text_;
    bool first_ = true;  // no comma is needed before the next value
};

}  // namespace zlk
