#pragma once
// The chain file of an ASC media hash list. It names the manifests of the list with their sums, so
// that readers notice if a manifest was changed or removed.

#include <pugixml.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/zlkcam/history/HistoryFile.h"

namespace zlk {

/// A chain file in memory, which can be extended. Keeps what other tools have written into it, with
/// the exceptions that text() names. Used by one thread at a time.
class ChainFile {
  public:
    /// A `hashlist` element of the file, which names one manifest and has its sum.
    struct Entry {
        std::uint64_t number;
        std::string manifest;
        std::optional<Digest> sum;  ///< none if the entry has no sum of a known kind
    };

    /// Reads the chain file of an open folder `ascmhl`. The chain is empty if the folder has no
    /// chain file. Throws UnusableFile.
    static ChainFile read(int folder);

    const std::vector<Entry>& entries() const { return entries_; }
    /// Null if the manifest isn't listed.
    const Entry* find(const std::string& manifest) const;

    /// Appends an entry; `c4` is the C4 sum of the manifest's bytes.
    void add(std::uint64_t number, const std::string& manifest, const Digest& c4);
    /// The whole document. What was read is kept, also elements that we don't know, except for a
    /// document type declaration and the white space between elements.
    std::string text() const;

  private:
    ChainFile();
    void parse(const std::string& bytes);
    void list(Entry entry);

    pugi::xml_document document_;
    std::vector<Entry> entries_;
    // Index into `entries_`; for a manifest that is listed twice, the last entry counts.
    std::unordered_map<std::string, std::size_t> byManifest_;
};

}  // namespace zlk
