#pragma once
// The time value of file records and of a device's clock.

#include <cstdint>
#include <string>

namespace zlk {

/// Seconds since 1970-01-01 00:00 UTC. As text it is local time, month first whatever the
/// machine's locale: `MM/DD/YYYY hh:mm:ss`.
class FileTimestamp {
  public:
    FileTimestamp() = default;
    explicit FileTimestamp(std::int64_t seconds) : seconds_(seconds) {}

    std::int64_t seconds() const { return seconds_; }

    /// A moment that can't be broken down gives "00/00/0000 -1:-1:-1".
    std::u16string toText() const;

    /// Reads what toText writes. Fields that aren't numbers count as 0 and each is clamped to its
    /// range, so any text gives a moment; the empty one gives 1971-01-01.
    void fromText(const std::u16string& text);

    /// A document of one element called `name`; empty without an XML component.
    std::u16string toXml(const std::u16string& name) const;

    /// Reads the element `name`; 0 for a document that can't be read or hasn't that element.
    void fromXml(const std::u16string& xml, const std::u16string& name);

  private:
    std::int64_t seconds_ = 0;
};

}  // namespace zlk
