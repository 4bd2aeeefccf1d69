#include "tools/zlkcam/history/ChainFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <sstream>
#include <utility>

#include "tools/zlkcam/history/HistoryNames.h"
#include "tools/zlkcam/history/ManifestFormat.h"
#include "tools/zlkcam/history/XmlNames.h"

namespace zlk {
namespace {

// An entry has some 200 bytes, so that this is a history of tens of thousands of generations.
constexpr std::uint64_t largestChain = 16 << 20;

std::string readAll(HistoryFile& file) {
    std::string bytes;
    std::vector<char> block(64 * 1024);
    while (const std::size_t read = file.read(block)) bytes.append(block.data(), read);
    return bytes;
}

/// The sum of the first of `digestKinds` that the entry has; none if it has no sum of a known kind.
/// Throws UnusableFile if the sum can't be understood.
std::optional<Digest> sumOf(pugi::xml_node line) {
    for (const DigestKind kind : digestKinds) {
        const pugi::xml_node sum = childNamed(line, digestName(kind));
        if (!sum) continue;
        const std::optional<Digest> digest = Digest::parse(kind, textOf(sum));
        if (!digest) throw UnusableFile("a sum in it can't be understood");
        return digest;
    }
    return std::nullopt;
}

ChainFile::Entry entryOf(pugi::xml_node line) {
    const std::string_view number = line.attribute("sequencenr").value();
    ChainFile::Entry entry{0, textOf(childNamed(line, "path")), sumOf(line)};
    const auto [end, error] =
        std::from_chars(number.data(), number.data() + number.size(), entry.number);
    const bool isNumber = error == std::errc() && end == number.data() + number.size();
    if (!isNumber || entry.manifest.empty() || entry.manifest.find('/') != std::string::npos)
        throw UnusableFile("a line in it is no number with a manifest");
    return entry;
}

}  // namespace

ChainFile::ChainFile() = default;

ChainFile ChainFile::read(int folder) {
    ChainFile chain;
    struct stat status {};
    const bool isThere = ::fstatat(folder, chainName, &status, AT_SYMLINK_NOFOLLOW) == 0;
    if (!isThere && errno != ENOENT)
        throw UnusableFile(std::string("it can't be looked at (") + std::strerror(errno) + ")");
    // A new history gets an empty document. Only ENOENT may lead here, or an existing chain would
    // be overwritten.
    if (!isThere) {
        pugi::xml_node declaration = chain.document_.append_child(pugi::node_declaration);
        declaration.append_attribute("version") = "1.0";
        declaration.append_attribute("encoding") = "UTF-8";
        chain.document_.append_child("ascmhldirectory").append_attribute("xmlns") = chainNamespace;
        return chain;
    }
    HistoryFile file(folder, chainName, largestChain);
    chain.parse(readAll(file));
    return chain;
}

void ChainFile::parse(const std::string& bytes) {
    // parse_full keeps comments and processing instructions that other tools may have put there, so
    // that text() gives them back. A document type is dropped.
    const auto result =
        document_.load_buffer(bytes.data(), bytes.size(), pugi::parse_full & ~pugi::parse_doctype);
    if (!result) throw UnusableFile(std::string("it isn't XML (") + result.description() + ")");
    const pugi::xml_node root = document_.document_element();
    if (localName(root) != "ascmhldirectory" || namespaceOf(root) != chainNamespace)
        throw UnusableFile("it is no chain of version 2.0");
    for (const pugi::xml_node line : root)
        if (localName(line) == "hashlist") list(entryOf(line));
}

void ChainFile::list(Entry entry) {
    byManifest_[entry.manifest] = entries_.size();
    entries_.push_back(std::move(entry));
}

const ChainFile::Entry* ChainFile::find(const std::string& manifest) const {
    const auto found = byManifest_.find(manifest);
    return found == byManifest_.end() ? nullptr : &entries_[found->second];
}

void ChainFile::add(std::uint64_t number, const std::string& manifest, const Digest& c4) {
    pugi::xml_node root = document_.document_element();
    // Other tools may have bound the namespace to a prefix; new elements have to use that prefix,
    // too.
    const std::string prefix = prefixOf(root);
    pugi::xml_node line = root.append_child((prefix + "hashlist").c_str());
    line.append_attribute("sequencenr") = static_cast<unsigned long long>(number);
    line.append_child((prefix + "path").c_str()).text() = manifest.c_str();
    line.append_child((prefix + "c4").c_str()).text() = c4.text().c_str();
    list({number, manifest, c4});
}

std::string ChainFile::text() const {
    std::ostringstream text;
    document_.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
    return text.str();
}

}  // namespace zlk
