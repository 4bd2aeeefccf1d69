#include "IdlParser.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "IdlScanner.h"
#include "TypeLibraryFormat.h"

namespace zlk::idl {
namespace {

/// The attributes that stand in brackets before a declaration or a parameter.
struct Attributes {
    std::set<std::string> flags;
    std::optional<Guid> uuid;
    std::optional<std::string> helpString;
    std::optional<std::int32_t> id;
    std::optional<std::pair<std::uint16_t, std::uint16_t>> version;
    std::optional<std::uint32_t> locale;

    bool has(const char* flag) const { return flags.contains(flag); }
};

constexpr std::pair<std::string_view, Type> typeNames[] = {
    {"BSTR", Type::Bstr},   {"long", Type::Long}, {"short", Type::Short},
    {"ULONG", Type::ULong}, {"BYTE", Type::Byte}, {"VARIANT", Type::Variant},
};

// A recursive-descent parser that looks one word ahead.
class Parser {
  public:
    explicit Parser(std::string_view text) : scanner_(text) {}

    File file() {
        while (scanner_.peek().kind != Token::Kind::End) {
            auto comment = scanner_.takeComment();
            // Interfaces and the library share this list, because what follows the attributes isn't
            // known yet. interface() and library() refuse what isn't theirs.
            const Attributes attributes =
                attributeList({"object", "dual", "uuid", "helpstring", "version", "lcid"});
            if (accept("interface")) {
                file_.interfaces.push_back(interface(attributes, std::move(comment)));
            } else if (accept("library")) {
                if (!file_.library.name.empty()) scanner_.fail("a second library");
                library(attributes, std::move(comment));
            } else {
                scanner_.fail("interface or library expected");
            }
        }
        if (file_.library.name.empty()) scanner_.fail("a file without a library");
        return std::move(file_);
    }

  private:
    bool accept(std::string_view word) {
        // A quoted text is never a keyword or sign.
        if (scanner_.peek().kind == Token::Kind::Text || scanner_.peek().text != word) return false;
        scanner_.take();
        return true;
    }
    void expect(std::string_view word) {
        if (!accept(word)) scanner_.fail(std::string(word) + " expected");
    }
    std::string take(Token::Kind kind, const char* what) {
        if (scanner_.peek().kind != kind) scanner_.fail(std::string(what) + " expected");
        return scanner_.take().text;
    }
    std::string name() { return take(Token::Kind::Name, "a name"); }

    template <class Integer>
    Integer integer(std::string_view text) {
        const bool hex = text.starts_with("0x");
        if (hex) text.remove_prefix(2);
        Integer value{};
        const auto [end, error] =
            std::from_chars(text.data(), text.data() + text.size(), value, hex ? 16 : 10);
        if (error != std::errc{} || end != text.data() + text.size())
            scanner_.fail("not a number in range");
        return value;
    }

    Attributes attributeList(const std::set<std::string>& allowed) {
        Attributes attributes;
        std::set<std::string> seen;
        expect("[");
        do {
            const std::string word = name();
            if (!allowed.contains(word)) scanner_.fail("attribute " + word + " isn't known here");
            if (!seen.insert(word).second) scanner_.fail("attribute " + word + " stands twice");
            attribute(word, attributes);
        } while (accept(","));
        expect("]");
        return attributes;
    }

    void attribute(const std::string& word, Attributes& attributes) {
        if (word == "uuid") {
            attributes.uuid = scanner_.takeBracketedGuid();
            if (!ids_.insert(*attributes.uuid).second) scanner_.fail("an id that stands twice");
            return;
        }
        if (word == "helpstring") {
            expect("(");
            attributes.helpString = take(Token::Kind::Text, "a text");
        } else if (word == "id" || word == "version" || word == "lcid") {
            expect("(");
            const std::string number = take(Token::Kind::Number, "a number");
            if (word == "id") attributes.id = integer<std::int32_t>(number);
            if (word == "lcid") attributes.locale = integer<std::uint32_t>(number);
            if (word == "version") {
                const std::size_t dot = std::min(number.find('.'), number.size());
                attributes.version = {
                    integer<std::uint16_t>(std::string_view(number).substr(0, dot)),
                    dot < number.size()
                        ? integer<std::uint16_t>(std::string_view(number).substr(dot + 1))
                        : std::uint16_t{0}};
            }
        } else {
            attributes.flags.insert(word);
            return;
        }
        expect(")");
    }

    Guid requiredId(const Attributes& attributes) {
        if (!attributes.uuid) scanner_.fail("attribute uuid is missing");
        return *attributes.uuid;
    }

    void unique(std::set<std::string>& names, const std::string& added) {
        if (!names.insert(added).second) scanner_.fail("name " + added + " stands twice");
    }

    Interface interface(const Attributes& attributes, std::vector<std::string> comment) {
        Interface made;
        made.comment = std::move(comment);
        made.id = requiredId(attributes);
        made.dual = attributes.has("dual");
        made.helpString = attributes.helpString.value_or("");
        if (!attributes.has("object")) scanner_.fail("attribute object is missing");
        if (attributes.version || attributes.locale)
            scanner_.fail("version and lcid are attributes of a library");
        made.name = name();
        unique(names_, made.name);
        expect(":");
        expect(made.dual ? "IDispatch" : "IUnknown");
        expect("{");
        while (!accept("}")) made.methods.push_back(method(made));
        expect(";");
        return made;
    }

    Method method(const Interface& owner) {
        Method made;
        made.comment = scanner_.takeComment();
        const Attributes attributes = attributeList({"propget", "propput", "id", "helpstring"});
        if (attributes.has("propget") && attributes.has("propput"))
            scanner_.fail("a method is propget or propput and not both");
        if (attributes.has("propget")) made.kind = MethodKind::PropGet;
        if (attributes.has("propput")) made.kind = MethodKind::PropPut;
        made.dispatchId = attributes.id;
        made.helpString = attributes.helpString.value_or("");
        expect("HRESULT");
        made.name = name();
        expect("(");
        if (!accept(")")) {
            do made.parameters.push_back(parameter(made));
            while (accept(","));
            expect(")");
        }
        if (made.parameters.size() > typelib::mostParameters)
            scanner_.fail("more parameters than a type library has");
        check(made, owner);
        expect(";");
        return made;
    }

    Parameter parameter(const Method& owner) {
        // The reader of type libraries checks these rules again, but not that the names differ.
        const Attributes attributes = attributeList({"in", "out", "retval"});
        Parameter made;
        made.in = attributes.has("in");
        made.out = attributes.has("out");
        made.retval = attributes.has("retval");
        if (made.in == made.out) scanner_.fail("a parameter is in or out");
        if (made.retval && !made.out) scanner_.fail("a retval parameter is out");
        if (!owner.parameters.empty() && owner.parameters.back().retval)
            scanner_.fail("the retval parameter is the last one");
        const std::string type = name();
        const auto* known = std::find_if(std::begin(typeNames), std::end(typeNames),
                                         [&](const auto& entry) { return entry.first == type; });
        if (known == std::end(typeNames)) scanner_.fail("type " + type + " isn't known");
        made.type = known->second;
        made.pointer = accept("*");
        if (made.pointer != (made.out || made.type == Type::Variant))
            scanner_.fail("a pointer is due for an out parameter and a VARIANT, and nowhere else");
        made.name = name();
        for (const Parameter& other : owner.parameters)
            if (other.name == made.name) scanner_.fail("name " + made.name + " stands twice");
        return made;
    }

    /// Checks three rules. A method has an id if its interface is dual, and only then. A property
    /// has one parameter. No two methods share a name or id, except the reader and the writer of
    /// one property, which share their name and, in a dual interface, their id.
    void check(const Method& added, const Interface& owner) {
        if (added.dispatchId.has_value() != owner.dual)
            scanner_.fail("a method has an id in a dual interface, and only there");
        const bool getter = added.kind == MethodKind::PropGet;
        if (added.kind != MethodKind::Method &&
            (added.parameters.size() != 1 || added.parameters[0].retval != getter))
            scanner_.fail("a property has one parameter: [out, retval] to read, [in] to write");
        for (const Method& other : owner.methods) {
            const bool pair = other.kind != added.kind && other.kind != MethodKind::Method &&
                              added.kind != MethodKind::Method;
            const bool sameName = other.name == added.name;
            const bool sameId = owner.dual && other.dispatchId == added.dispatchId;
            if ((sameName || sameId) && !(pair && sameName && sameId == owner.dual))
                scanner_.fail(added.name + " shares its name or id with " + other.name);
        }
    }

    void library(const Attributes& attributes, std::vector<std::string> comment) {
        Library& made = file_.library;
        if (!attributes.flags.empty())
            scanner_.fail("object and dual are attributes of interfaces");
        made.comment = std::move(comment);
        made.id = requiredId(attributes);
        made.helpString = attributes.helpString.value_or("");
        made.locale = attributes.locale.value_or(0);
        if (attributes.version)
            std::tie(made.majorVersion, made.minorVersion) = *attributes.version;
        made.name = name();
        expect("{");
        while (!accept("}")) {
            if (accept("importlib")) {
                // The base interfaces are built in, so the imported library is only named and never
                // looked for.
                expect("(");
                made.import = take(Token::Kind::Text, "a text");
                expect(")");
                expect(";");
            } else {
                made.coclasses.push_back(coclass());
            }
        }
        expect(";");
    }

    Coclass coclass() {
        Coclass made;
        made.comment = scanner_.takeComment();
        const Attributes attributes = attributeList({"uuid", "helpstring"});
        made.id = requiredId(attributes);
        made.helpString = attributes.helpString.value_or("");
        expect("coclass");
        made.name = name();
        unique(names_, made.name);
        expect("{");
        attributeList({"default"});
        expect("interface");
        const std::string wanted = name();
        const auto found =
            std::find_if(file_.interfaces.begin(), file_.interfaces.end(),
                         [&](const Interface& entry) { return entry.name == wanted; });
        if (found == file_.interfaces.end())
            scanner_.fail("interface " + wanted + " isn't defined above");
        made.interface = static_cast<std::size_t>(found - file_.interfaces.begin());
        expect(";");
        expect("}");
        expect(";");
        return made;
    }

    Scanner scanner_;
    File file_;
    // The uuids in the file, and the names of its interfaces and classes. Each may be given only
    // once.
    std::set<Guid> ids_;
    std::set<std::string> names_;
};

}  // namespace

File parse(std::string_view text) {
    return Parser(text).file();
}

}  // namespace zlk::idl
