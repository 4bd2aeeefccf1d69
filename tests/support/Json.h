#pragma once
// JSON documents, as the client answers them.

#include <string>
#include <vector>

namespace zlk::test {

struct Json {
    /// Fails the test, and gives an empty value, for what isn't one whole document.
    static Json parse(const std::string& document);

    /// A text's content; the spelling of a number, `true` or `false`.
    std::string text;
    std::vector<Json> items;         ///< of an array or object
    std::vector<std::string> names;  ///< of an object's items

    /// A member; an empty value if there is none.
    const Json& operator[](const std::string& name) const;
    /// One member's text of each item.
    std::vector<std::string> each(const std::string& name) const;
};

}  // namespace zlk::test
