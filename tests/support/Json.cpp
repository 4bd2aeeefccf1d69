#include "tests/support/Json.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace zlk::test {
namespace {

Json valueOf(const nlohmann::ordered_json& parsed) {
    Json value;
    if (parsed.is_object()) {
        for (const auto& [name, item] : parsed.items()) {
            value.names.push_back(name);
            value.items.push_back(valueOf(item));
        }
    } else if (parsed.is_array()) {
        for (const auto& item : parsed) value.items.push_back(valueOf(item));
    } else {
        value.text = parsed.is_string() ? parsed.get<std::string>() : parsed.dump();
    }
    return value;
}

}  // namespace

Json Json::parse(const std::string& document) {
    try {
        return valueOf(nlohmann::ordered_json::parse(document));
    } catch (const nlohmann::json::exception& error) {
        ADD_FAILURE() << error.what() << "\n" << document;
        return {};
    }
}

const Json& Json::operator[](const std::string& name) const {
    static const Json none;
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? none : items[static_cast<std::size_t>(found - names.begin())];
}

std::vector<std::string> Json::each(const std::string& name) const {
    std::vector<std::string> texts;
    for (const Json& item : items) texts.push_back(item[name].text);
    return texts;
}

}  // namespace zlk::test
