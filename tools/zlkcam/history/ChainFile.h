#pragma once
// The chain file of a media hash list: which manifests there are, and their sums.

#include <pugixml.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/zlkcam/history/HistoryFile.h"

namespace zlk {

class ChainFile {
  public:
    struct Entry {
        std::uint64_t number;
        std::string manifest;
        std::optional<Digest> sum;  ///< none where it is of a kind that nobody here knows
    };

    /// The one in an open folder `ascmhl`; an empty one if there is none. Throws UnusableFile.
    static ChainFile read(int folder);

    const std::vector<Entry>& entries() const { return entries_; }
    /// Null if it isn't listed.
    const Entry* find(const std::string& manifest) const;

    void add(std::uint64_t number, const std::string& manifest, const Digest& c4);
    /// The whole document; what it held when it was read stands there as it did.
    std::string text() const;

  private:
    ChainFile();
    void parse(const std::string& bytes);
    void list(Entry entry);

    pugi::xml_document document_;
    std::vector<Entry> entries_;
    std::unordered_map<std::string, std::size_t> byManifest_;
};

}  // namespace zlk
