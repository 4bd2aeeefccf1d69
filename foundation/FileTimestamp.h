#pragma once
// The time value of file records and of a device's clock, and its form as text.

#include <cstdint>
#include <string>

namespace zlk {

/// Seconds since 1970-01-01 00:00 UTC. Its text is in local time and in one form whatever the
/// locale: `MM/DD/YYYY hh:mm:ss`.
class FileTimestamp {
  public:
    FileTimestamp() = default;
    explicit FileTimestamp(std::int64_t seconds) : seconds_(seconds) {}

    std::int64_t seconds() const { return seconds_; }

    /// "00/00/0000 -1:-1:-1" for a time that can't be converted to a date.
    std::u16string toText() const;

    /// Reads what toText() writes. A text without a blank is taken for a time of day. A field that
    /// isn't a number counts as 0, and each field is clamped to its range. So every text gives a
    /// time; the empty one gives 1971-01-01.
    void fromText(const std::u16string& text);

    /// A document of one element with this name, whose text is toText(). Empty if there is no XML
    /// component, or if `name` isn't a valid name.
    std::u16string toXml(const std::u16string& name) const;

    /// Reads a document of the form that toXml() gives, with `name` as its root element. The time
    /// is 0 if the document can't be read or has another root.
    void fromXml(const std::u16string& xml, const std::u16string& name);

  private:
    std::int64_t seconds_ = 0;
};

}  // namespace zlk
