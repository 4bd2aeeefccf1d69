#include "tools/zlkcamsim/Words.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "platform/text.h"
#include "tools/zlkcamsim/NumberText.h"

namespace zlk::camsim {

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

std::u16string nameOf(const std::string& word) {
    std::u16string name;
    std::string utf8;
    // Bytes of UTF-8 are collected until a unit of UTF-16 or the end comes.
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (word[i] != '%') {
            utf8 += word[i];
        } else if (word.compare(i, 2, "%u") == 0) {
            name += wideText(utf8);
            utf8.clear();
            name += static_cast<char16_t>(parseNumber("0x" + word.substr(i + 2, 4), 0xFFFF));
            i += 5;
        } else {
            utf8 += static_cast<char>(parseNumber("0x" + word.substr(i + 1, 2), 0xFF));
            i += 2;
        }
    }
    return name + wideText(utf8);
}

Options::Options(const std::vector<std::string>& words, std::size_t first) {
    for (std::size_t i = first; i < words.size(); ++i) {
        const std::size_t equals = words[i].find('=');
        if (equals == std::string::npos) throw std::invalid_argument("key=value: " + words[i]);
        values_[words[i].substr(0, equals)] = words[i].substr(equals + 1);
    }
}

std::string Options::text(const std::string& key) const {
    const auto found = values_.find(key);
    return found == values_.end() ? std::string() : found->second;
}

std::uint64_t Options::number(const std::string& key, std::uint64_t otherwise) const {
    return has(key) ? parseNumber(text(key), ~std::uint64_t{0}) : otherwise;
}

void Options::allow(const std::vector<std::string>& keys) const {
    for (const auto& [key, value] : values_)
        if (std::find(keys.begin(), keys.end(), key) == keys.end())
            throw std::invalid_argument("unknown: " + key);
}

}  // namespace zlk::camsim
