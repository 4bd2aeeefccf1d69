#include "tools/zlkcamsim/Quirks.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "tools/zlkcamsim/NumberText.h"

namespace zlk::camsim {
namespace {

// Words that switch a habit on; all-parameters may have a value and is parsed apart.
constexpr std::array<std::pair<std::string_view, bool Quirks::*>, 6> switches{
    {{"no-count", &Quirks::noCount},
     {"no-format-filter", &Quirks::noFormatFilter},
     {"root-only", &Quirks::rootOnly},
     {"lists-itself", &Quirks::listsItself},
     {"lists-parent", &Quirks::listsParent},
     {"lists-twice", &Quirks::listsTwice}}};

}  // namespace

Quirks quirksOf(const std::vector<std::string>& words) {
    Quirks quirks;
    for (const std::string& word : words) {
        const std::size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const bool hasCode = equals != std::string::npos;
        // A switch takes no value; with one, the word is an error.
        const auto known = std::ranges::find(switches, name, [](auto& row) { return row.first; });
        if (known != switches.end() && !hasCode)
            quirks.*known->second = true;
        else if (name == "all-parameters")
            quirks.missingParameter =
                hasCode ? static_cast<Code>(parseNumber(word.substr(equals + 1), 0xFFFF))
                        : response::InvalidParameter;
        else
            throw std::invalid_argument("there is no quirk " + word);
    }
    return quirks;
}

}  // namespace zlk::camsim
