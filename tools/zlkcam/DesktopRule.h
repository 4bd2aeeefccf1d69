#pragma once
// A rule for udev that keeps the file managers of desktops away from one model of camera. They
// take what udev calls a camera or a media player as soon as it is plugged in, and nobody else
// can open it then.

#include <cstdint>
#include <string>

namespace zlk {

/// Where rules that an administrator adds have their place.
inline constexpr char udevRulesFolder[] = "/etc/udev/rules.d";

class DesktopRule {
  public:
    DesktopRule(std::uint16_t vid, std::uint16_t pid);

    const std::string& fileName() const { return fileName_; }
    /// The file's whole content: what it is for, and the rule.
    const std::string& text() const { return text_; }

    /// Writes the file, whole or not at all, into a folder that is there; a file of that name
    /// stays as it is, and counts if it has the same text. Its path; throws Failure (FileUnusable).
    std::u16string writeInto(const std::u16string& folder) const;

  private:
    std::string fileName_, text_;
};

}  // namespace zlk
