#pragma once
// A template for the names of copies: a text with fields, such as `{date:%Y}/{name}`, from which
// each file gets its place below the destination.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/unload/LocalTime.h"

namespace zlk {

/// What the fields of a template stand for in the name of one file.
struct NameFields {
    std::u16string path;      ///< of the file, below the device's root
    std::u16string camera{};  ///< the device's name
    unsigned counter = 1;     ///< of the run's shots, from 1 on; the files of one shot share it
    std::optional<LocalTime> date{};  ///< when the picture was taken; none reads as `undated`
};

/// A template that was parsed once and is applied to many files. Constant once constructed.
class NameTemplate {
  public:
    /// Throws Failure (Usage) for a template that can't be understood, leads out of the folder,
    /// hides files, or gives a file no name.
    explicit NameTemplate(const std::string& text);

    /// Whether it has a date field, so that the pictures' dates have to be found out.
    bool needsDate() const;

    /// The file's relative path, with `/` as separator. Each component is safe for the file system
    /// and at most 220 bytes long; a folder that comes out empty is left out.
    std::string apply(const NameFields& fields) const;

  private:
    /// A field, or a text between fields.
    struct Piece {
        enum class Kind { Text, Date, Name, Stem, Extension, Folder, Path, Camera, Counter };
        Kind kind;
        std::string text;  ///< the text itself, or a field's format after the colon
    };
    struct Values;

    void addField(const std::string& field);
    void addText(char byte);
    void requireFileName() const;
    static void append(std::string& place, const Piece& piece, const Values& values);

    std::vector<Piece> pieces_;
};

/// The templates that are used if the user gives none: with the device's folders, and without.
inline constexpr char defaultTemplate[] = "{path}/{name}", flatTemplate[] = "{name}";

}  // namespace zlk
