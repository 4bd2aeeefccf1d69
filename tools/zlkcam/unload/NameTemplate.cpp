#include "tools/zlkcam/unload/NameTemplate.h"

#include <algorithm>
#include <array>

#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/unload/SafeName.h"

namespace zlk {
namespace {

constexpr std::string_view dateLetters = "YymdHMS%";
constexpr char defaultDateFormat[] = "%Y-%m-%d";
// Stands for the date of a file that has none.
constexpr char undated[] = "undated";
constexpr std::size_t maxCounterWidth = 9;

[[noreturn]] void refuse(const std::string& what) {
    throw Failure(ExitStatus::Usage, "A template for names can't be used: " + what,
                  "Its fields are {date:%Y-%m-%d}, {name}, {stem}, {ext}, {folder}, {path}, "
                  "{camera}, {counter} and {counter:04}; {{ and }} are braces. For example: "
                  "\"{date:%Y}/{date:%Y-%m-%d}/{name}\".");
}

/// Rejects what is wrong whatever the fields stand for, such as a path that leads out of the
/// destination, or a hidden name.
void requireInside(const std::string& text) {
    if (text.empty()) refuse("it is empty.");
    const bool isDrive = text.size() > 1 && text[1] == ':' && text[0] != '{';
    if (text.front() == '/' || isDrive) refuse("it leads out of the folder that is copied into.");
    if (text.find('\\') != text.npos) refuse("folders are separated by a /.");
    if (("/" + text).find("/.") != text.npos)
        refuse("a name that begins with a dot is hidden, or leads out of the folder.");
    if (text.back() == '/') refuse("its last part names the file, and is empty.");
}

void requireDateFormat(std::string_view format) {
    // Each step passes two characters, since the second `%` of `%%` begins nothing.
    for (std::size_t at = 0; (at = format.find('%', at)) != format.npos; at += 2)
        if (at + 1 == format.size() || dateLetters.find(format[at + 1]) == dateLetters.npos)
            refuse("a date has %Y, %y, %m, %d, %H, %M, %S and %%, and not " +
                   std::string(format.substr(at, 2)) + ".");
    if (format.ends_with('/')) refuse("a date can't end in a slash.");
}

void requireCounterWidth(std::string_view width) {
    const bool isWidth = width.size() == 2 && width[0] == '0' && width[1] >= '1' &&
                         width[1] <= static_cast<char>('0' + maxCounterWidth);
    if (!width.empty() && !isWidth)
        refuse("a counter's digits are given as in {counter:04}, from 01 to 09.");
}

std::string padded(unsigned number, std::size_t digits) {
    const std::string text = std::to_string(number);
    return std::string(digits > text.size() ? digits - text.size() : 0, '0') + text;
}

std::string datePart(char letter, const LocalTime& date) {
    const auto number = [](int value, std::size_t digits = 2) {
        return padded(static_cast<unsigned>(value), digits);
    };
    switch (letter) {
        case 'Y':
            return number(date.year, 4);
        case 'y':
            return number(date.year % 100);
        case 'm':
            return number(date.month);
        case 'd':
            return number(date.day);
        case 'H':
            return number(date.hour);
        case 'M':
            return number(date.minute);
        case 'S':
            return number(date.second);
        default:
            return "%";
    }
}

std::string dateText(std::string_view format, const LocalTime& date) {
    std::string text;
    for (std::size_t i = 0; i < format.size(); ++i)
        text += format[i] == '%' ? datePart(format[++i], date) : std::string(1, format[i]);
    return text;
}

}  // namespace

/// What is known of one file, and the safe parts of its path, from which its fields are made.
struct NameTemplate::Values {
    explicit Values(const NameFields& of) : fields(of), folders(safePath(of.path)) {
        // safePath always returns at least the file's name.
        name = std::move(folders.back());
        folders.pop_back();
        const std::size_t dot = extensionOf(name);
        stem = name.substr(0, dot);
        extension = name.substr(dot);
    }

    std::string path() const {
        std::string text;
        for (const std::string& folder : folders)
            text.append(text.empty() ? "" : "/").append(folder);
        return text;
    }
    std::string date(const std::string& format) const {
        return fields.date ? dateText(format, *fields.date) : undated;
    }

    const NameFields& fields;
    std::vector<std::string> folders;
    std::string name, stem;
    std::string extension;  ///< with its dot
};

NameTemplate::NameTemplate(const std::string& text) {
    requireInside(text);
    const std::string readable = utf8Text(pathArgument(text));
    std::string_view rest = readable;
    while (!rest.empty()) {
        const bool isBrace = rest.starts_with("{{") || rest.starts_with("}}");
        // A doubled brace stands for a single one, and is text.
        if (isBrace || (rest.front() != '{' && rest.front() != '}')) {
            addText(rest.front());
            rest.remove_prefix(isBrace ? 2 : 1);
            continue;
        }
        const std::size_t end = rest.find('}');
        if (rest.front() == '}') refuse("a } closes no field.");
        if (end == rest.npos) refuse("a { isn't closed.");
        addField(std::string(rest.substr(1, end - 1)));
        rest.remove_prefix(end + 1);
    }
    requireFileName();
}

void NameTemplate::addText(char byte) {
    if (pieces_.empty() || pieces_.back().kind != Piece::Kind::Text)
        pieces_.push_back({Piece::Kind::Text, {}});
    pieces_.back().text += byte;
}

void NameTemplate::addField(const std::string& field) {
    struct Known {
        std::string_view name;
        Piece::Kind kind;
    };
    constexpr std::array known{
        Known{"date", Piece::Kind::Date},     Known{"name", Piece::Kind::Name},
        Known{"stem", Piece::Kind::Stem},     Known{"ext", Piece::Kind::Extension},
        Known{"folder", Piece::Kind::Folder}, Known{"path", Piece::Kind::Path},
        Known{"camera", Piece::Kind::Camera}, Known{"counter", Piece::Kind::Counter}};
    const std::size_t colon = std::min(field.find(':'), field.size());
    const std::string name = field.substr(0, colon);
    std::string form = field.substr(std::min(colon + 1, field.size()));
    const auto* const found = std::ranges::find(known, name, &Known::name);
    if (found == known.end()) refuse("there is no field {" + name + "}.");
    if (found->kind == Piece::Kind::Date) {
        if (form.empty()) form = defaultDateFormat;
        requireDateFormat(form);
    } else if (found->kind == Piece::Kind::Counter) {
        requireCounterWidth(form);
    } else if (colon < field.size()) {
        refuse("{" + name + "} takes nothing behind a colon.");
    }
    pieces_.push_back({found->kind, std::move(form)});
}

void NameTemplate::requireFileName() const {
    const Piece::Kind last = pieces_.back().kind;
    if (last == Piece::Kind::Path || last == Piece::Kind::Folder)
        refuse("its last part names the file, and can't end in the name of a folder.");
}

bool NameTemplate::needsDate() const {
    return std::ranges::find(pieces_, Piece::Kind::Date, &Piece::kind) != pieces_.end();
}

std::string NameTemplate::apply(const NameFields& fields) const {
    const Values values(fields);
    std::string place;
    for (const Piece& piece : pieces_) append(place, piece, values);
    const Piece::Kind last = pieces_.back().kind;
    // A copy keeps the extension of its original even if the template forgets it. Otherwise no
    // program would know how to open the copy.
    if (last != Piece::Kind::Name && last != Piece::Kind::Extension) place += values.extension;

    // Fields may have brought in characters that no name may have, and empty folders. Each
    // component is made safe by itself; slashes of the template and of {path} separate components.
    const std::size_t start = place.rfind('/') + 1;
    std::string safe;
    for (std::size_t at = 0, end = 0; at < start; at = end + 1) {
        end = place.find('/', at);
        if (end > at)
            safe += safeName(wideText(std::string_view(place).substr(at, end - at))) + '/';
    }
    return safe + safeName(wideText(std::string_view(place).substr(start)));
}

void NameTemplate::append(std::string& place, const Piece& piece, const Values& values) {
    switch (piece.kind) {
        case Piece::Kind::Text:
            place += piece.text;
            break;
        case Piece::Kind::Date:
            place += values.date(piece.text);
            break;
        case Piece::Kind::Name:
            place += values.name;
            break;
        case Piece::Kind::Stem:
            place += values.stem;
            break;
        case Piece::Kind::Extension:
            // If the file has no extension, the dot before {ext} is removed.
            if (values.extension.empty() && place.ends_with('.')) place.pop_back();
            place += values.extension.substr(values.extension.empty() ? 0 : 1);
            break;
        case Piece::Kind::Folder:
            if (!values.folders.empty()) place += values.folders.back();
            break;
        case Piece::Kind::Path:
            place += values.path();
            break;
        case Piece::Kind::Camera:
            place += safeName(values.fields.camera);
            break;
        case Piece::Kind::Counter:
            place += padded(values.fields.counter, piece.text.empty() ? 1 : piece.text[1] - '0');
            break;
    }
}

}  // namespace zlk
