#pragma once
// Where a file goes below the folder that is unloaded into, as a text with fields says.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/unload/LocalTime.h"

namespace zlk {

struct NameFields {
    std::u16string path;              ///< the file's, below the device's root
    std::u16string camera{};          ///< the device's name
    unsigned counter = 1;             ///< of the run's files; those of one shot share it
    std::optional<LocalTime> date{};  ///< none reads as `undated`
};

class NameTemplate {
  public:
    /// Throws Failure (Usage) for one that can't be understood, leads out of the folder, or gives
    /// no file a name.
    explicit NameTemplate(const std::string& text);

    /// Whether the files' dates have to be found out.
    bool needsDate() const;

    /// The file's place, relative, with `/` between its parts. Each part is safe and at most 220
    /// bytes; a folder that comes out empty is left out.
    std::string apply(const NameFields& fields) const;

  private:
    struct Piece {
        enum class Kind { Text, Date, Name, Stem, Extension, Folder, Path, Camera, Counter };
        Kind kind;
        std::string text;  ///< itself, or what stands behind the colon
    };
    struct Values;

    void addField(const std::string& field);
    void addText(char byte);
    void requireFileName() const;
    static void append(std::string& place, const Piece& piece, const Values& values);

    std::vector<Piece> pieces_;
};

/// The templates that count where none is given.
inline constexpr char defaultTemplate[] = "{path}/{name}", flatTemplate[] = "{name}";

}  // namespace zlk
