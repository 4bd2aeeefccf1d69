#pragma once
// The chain file of an ASC media hash list, which lists the manifests and their sums, so that a
// manifest that was changed or removed is noticed.

#include <pugixml.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/zlkcam/history/HistoryFile.h"

namespace zlk {

/// The whole file in memory, with what other tools have written into it.
class ChainFile {
  public:
    /// A `hashlist` element of the file. It names the manifest of one run, which is called a
    /// generation, and has the manifest's sum.
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
