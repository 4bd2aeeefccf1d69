#pragma once
// The text class of the PTP stack.

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/types.h"

namespace zlk {

/// A text of UTF-16 code units, which are counted and not interpreted. Raises nothing: where
/// memory can't be had, it is left without text.
class wString {
  public:
    wString() = default;
    /// Null or "" gives an empty text.
    explicit wString(const WCHAR* wide);
    /// UTF-8; null or "" gives an empty text.
    explicit wString(const char* utf8);
    explicit wString(std::u16string_view wide);
    wString(const wString& other);
    wString(wString&& other) noexcept = default;
    virtual ~wString() = default;
    // An assignment that can't empty its target has to say so by its name.
    wString& operator=(const wString&) = delete;

    /// Takes over the other's text. An empty one changes nothing: that is how a dataset's defaults
    /// survive what a camera leaves empty.
    void assign(const wString& source);
    void append(const wString& source);
    void append(const WCHAR* wide);

    /// The unit at `index`; 0 at or beyond `capacity`.
    std::uint16_t charAt(std::uint32_t index) const;
    /// UTF-8; lives until the next call, or as long as this.
    const char* narrow() const;

    std::u16string_view view() const { return {text ? text.get() : u"", length}; }
    /// Terminated by a zero; never null.
    const WCHAR* c_str() const { return text && length ? text.get() : u""; }

    std::unique_ptr<char[]> mutable narrowText;  ///< what narrow() gave out
    std::unique_ptr<WCHAR[]> text;               ///< `capacity` units; terminated if not empty
    std::uint32_t capacity = 0;
    std::uint32_t length = 0;  ///< without the terminator

  private:
    void take(std::u16string_view wide, std::size_t room);
};

}  // namespace zlk
