#pragma once
// Writes and reads PTP datasets field by field: little-endian numbers, and strings of UTF-16 with a
// count that includes the terminating zero. Arrays, which are only written, have a 32-bit count in
// front.

#include <string>
#include <string_view>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// Appends the fields of a dataset. The calls can be chained.
class DatasetWriter {
  public:
    DatasetWriter& u8(std::uint8_t value) { return number(value, 1); }
    DatasetWriter& u16(std::uint16_t value) { return number(value, 2); }
    DatasetWriter& u32(std::uint32_t value) { return number(value, 4); }
    DatasetWriter& u64(std::uint64_t value) { return number(value, 8); }
    /// Cuts the text to 254 units. With the terminating zero these are 255, the most that a count
    /// of one byte can give.
    DatasetWriter& text(std::u16string_view value);
    DatasetWriter& u16s(const std::vector<std::uint16_t>& values) { return array(values); }
    DatasetWriter& u32s(const std::vector<std::uint32_t>& values) { return array(values); }

    /// Returns the dataset and leaves this empty.
    Payload take() { return Payload::of(std::move(bytes_)); }

  private:
    DatasetWriter& number(std::uint64_t value, std::size_t size) {
        appendNumber(bytes_, value, size);
        return *this;
    }
    template <class Number>
    DatasetWriter& array(const std::vector<Number>& values) {
        u32(static_cast<std::uint32_t>(values.size()));
        for (const Number value : values) number(value, sizeof value);
        return *this;
    }

    Bytes bytes_;
};

/// Reads the fields of a dataset, whose bytes are borrowed, and never beyond their end. A field
/// that isn't there reads as 0 or empty, and good() is false from then on.
class DatasetReader {
  public:
    explicit DatasetReader(ByteView bytes) : rest_(bytes) {}

    std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    void skip(std::size_t size);
    std::u16string text();

    bool good() const { return good_; }
    /// Whether everything has been read, and nothing was missing.
    bool complete() const { return good_ && rest_.empty(); }

  private:
    std::uint64_t number(std::size_t size);
    bool have(std::size_t size);

    ByteView rest_;
    bool good_ = true;
};

}  // namespace zlk::camsim
