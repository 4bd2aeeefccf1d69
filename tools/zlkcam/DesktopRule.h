#pragma once
// A rule for udev that keeps the file managers of desktops away from one model of camera. Some file
// managers open each device that udev calls a camera or a media player as soon as it is plugged in,
// and then nobody else can open it.

#include <cstdint>
#include <string>

namespace zlk {

/// The folder for rules that an administrator adds.
inline constexpr char udevRulesFolder[] = "/etc/udev/rules.d";

/// The rule for the model with these USB ids. Only writeInto() writes it anywhere.
class DesktopRule {
  public:
    DesktopRule(std::uint16_t vid, std::uint16_t pid);

    /// As in "65-zlkcam-5af1-7c36.rules".
    const std::string& fileName() const { return fileName_; }
    /// The file's content: an explanation for people, and the rule.
    const std::string& text() const { return text_; }

    /// Writes the file as a whole into an existing folder, and returns the file's path. A file that
    /// exists is never replaced; the call succeeds if that file has the same text. Throws Failure
    /// (FileUnusable).
    std::u16string writeInto(const std::u16string& folder) const;

  private:
    std::string fileName_, text_;
};

}  // namespace zlk
