#pragma once
// Takes values out of a fuzzer's bytes. When the bytes are used up, everything is 0 or empty.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

namespace zlk::fuzz {

/// The order of calls decides what a byte means, so seeds depend on it.
class Input {
  public:
    /// `data` stays the caller's and has to outlive this.
    Input(const std::uint8_t* data, std::size_t size) : bytes_(data, size) {}

    std::uint8_t byte() {
        if (bytes_.empty()) return 0;
        const std::uint8_t value = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return value;
    }
    /// Four bytes, the highest first.
    std::uint32_t number() {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) value = value << 8 | byte();
        return value;
    }
    /// Up to `most` of the bytes that are left.
    std::string narrow(std::size_t most) {
        const auto taken = bytes_.first(std::min(most, bytes_.size()));
        bytes_ = bytes_.subspan(taken.size());
        return {reinterpret_cast<const char*>(taken.data()), taken.size()};
    }
    /// Up to `most` UTF-16 units, which may be invalid.
    std::u16string wide(std::size_t most) {
        const std::string raw = narrow(2 * most);
        std::u16string text(raw.size() / 2, u'\0');
        std::memcpy(text.data(), raw.data(), 2 * text.size());
        return text;
    }

  private:
    std::span<const std::uint8_t> bytes_;
};

/// Ends the run with a crash, which the fuzzer records, if something doesn't hold that must.
inline void require(bool holds) {
    if (!holds) __builtin_trap();
}

}  // namespace zlk::fuzz
