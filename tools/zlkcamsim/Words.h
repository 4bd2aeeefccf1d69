#pragma once
// Splits lines of the control channel into words, and parses the words.

#include <map>
#include <string>
#include <vector>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// The words between blanks.
std::vector<std::string> wordsOf(const std::string& line);

/// Parses a name in UTF-8. In it `%` with two hexadecimal digits stands for a byte, and `%u` with
/// four for a unit of UTF-16, which may be invalid, as in `%uD800`. Throws std::invalid_argument if
/// no number follows a `%`.
std::u16string nameOf(const std::string& word);

/// Options of a command, as `key=value`.
class Options {
  public:
    /// Parses the words from `first` on. Throws std::invalid_argument for a word without `=`.
    explicit Options(const std::vector<std::string>& words, std::size_t first);

    bool has(const std::string& key) const { return values_.contains(key); }
    /// Empty if the key isn't there.
    std::string text(const std::string& key) const;
    /// `otherwise` if the key isn't there. Throws std::invalid_argument if the value isn't a
    /// number.
    std::uint64_t number(const std::string& key, std::uint64_t otherwise) const;
    /// Throws std::invalid_argument if there is a key that isn't among `keys`.
    void allow(const std::vector<std::string>& keys) const;

  private:
    std::map<std::string, std::string> values_;
};

}  // namespace zlk::camsim
