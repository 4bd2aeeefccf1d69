#pragma once
// The text class of the PTP stack and of the floors that use it.

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/types.h"

namespace zlk {

/// A text of UTF-16 code units, which are counted and not interpreted. Nothing is thrown: where
/// there is no memory, the text is empty or stays as it was. Not thread-safe, not even narrow().
class wString {
  public:
    wString() = default;
    /// Copies a zero-terminated text. Null gives an empty text.
    explicit wString(const WCHAR* wide);
    /// Copies a zero-terminated text in UTF-8. Null or "" gives an empty text.
    explicit wString(const char* utf8);
    explicit wString(std::u16string_view wide);
    wString(const wString& other);
    wString(wString&& other) noexcept = default;
    virtual ~wString() = default;
    // There is no assignment operator: assign() ignores an empty text, which nobody would expect
    // of an operator.
    wString& operator=(const wString&) = delete;

    /// Copies the text of `source`. An empty text changes nothing, so that a dataset's defaults
    /// survive where a camera leaves a text empty.
    void assign(const wString& source);
    void append(const wString& source);
    void append(const WCHAR* wide);

    /// The unit at `index`; 0 at or beyond `capacity`.
    std::uint16_t charAt(std::uint32_t index) const;
    /// The text in UTF-8, valid until the next narrow() and as long as this object. "" if there is
    /// no memory.
    const char* narrow() const;

    std::u16string_view view() const { return {text ? text.get() : u"", length}; }
    /// Terminated by a zero; never null.
    const WCHAR* c_str() const { return text && length ? text.get() : u""; }

    std::unique_ptr<char[]> mutable narrowText;  ///< the result of the last narrow()
    std::unique_ptr<WCHAR[]> text;               ///< `capacity` units; zero-terminated if not empty
    std::uint32_t capacity = 0;                  ///< units of `text`, with room for the terminator
    std::uint32_t length = 0;                    ///< without the terminator

  private:
    /// Replaces the text, in `room` units of new memory. Without memory the text becomes empty.
    void take(std::u16string_view wide, std::size_t room);
};

}  // namespace zlk
