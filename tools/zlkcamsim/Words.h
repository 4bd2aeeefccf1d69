#pragma once
// A line of the control channel, taken apart.

#include <map>
#include <string>
#include <vector>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// What stands between blanks.
std::vector<std::string> wordsOf(const std::string& line);

/// UTF-8 in which `%20` is a byte, and `%uD800` a unit of UTF-16 as it stands.
std::u16string nameOf(const std::string& word);

/// Words of the form `key=value`.
class Options {
  public:
    /// Throws std::invalid_argument for other words.
    explicit Options(const std::vector<std::string>& words, std::size_t first);

    bool has(const std::string& key) const { return values_.contains(key); }
    std::string text(const std::string& key) const;
    /// `otherwise` where the key isn't there; throws std::invalid_argument for what is no number.
    std::uint64_t number(const std::string& key, std::uint64_t otherwise) const;
    /// Throws std::invalid_argument for any other key.
    void allow(const std::vector<std::string>& keys) const;

  private:
    std::map<std::string, std::string> values_;
};

}  // namespace zlk::camsim
