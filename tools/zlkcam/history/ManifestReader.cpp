#include "tools/zlkcam/history/ManifestReader.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "tools/zlkcam/history/DateTime.h"
#include "tools/zlkcam/history/ManifestFormat.h"
#include "tools/zlkcam/history/XmlNames.h"
#include "tools/zlkcam/history/XmlTokens.h"

namespace zlk {
namespace {

using Kind = XmlToken::Kind;

// The most bytes of an element that is parsed as a whole, such as that of a file. This limit and
// the depth that XmlTokens allows bound the memory of an element.
constexpr std::size_t largestElement = 1 << 20;
constexpr std::size_t longestOwnText = 4095;

std::optional<std::uint64_t> parseSize(std::string_view text) {
    std::uint64_t size = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole ? std::optional(size) : std::nullopt;
}

/// An unknown or missing action counts as Original.
HashAction actionOf(pugi::xml_node sum) {
    const std::string_view action = sum.attribute("action").value();
    if (action == "failed") return HashAction::Failed;
    return action == "verified" ? HashAction::Verified : HashAction::Original;
}

Digest digestOf(DigestKind kind, pugi::xml_node element) {
    const std::optional<Digest> digest = Digest::parse(kind, textOf(element));
    if (!digest) throw UnusableFile(std::string("a sum in it is no ") + digestName(kind));
    return *digest;
}

class ManifestReader {
  public:
    explicit ManifestReader(const ByteSource& source) : tokens_(source) {}

    RunContent read() {
        step();
        readRoot();
        // What follows the root is read, too, to find out whether the document is well-formed to
        // its end.
        while (tokens_.next(token_)) {
        }
        return std::move(content_);
    }

  private:
    /// Reads the next token, in a place where the document mustn't end. XmlTokens throws if it
    /// does; the check here only makes sure.
    void step() {
        if (!tokens_.next(token_)) throw UnusableFile("it ends in the middle");
    }
    bool isElement() const { return token_.kind == Kind::Start || token_.kind == Kind::Empty; }

    /// The functions from here to readToEnd begin with the token of an element's start, and return
    /// at its end.
    void readRoot();
    void readHashes();
    void skip();
    // Parses the element as a whole; the result is valid until the next call.
    pugi::xml_node parse();
    // Calls `take` with the text of each token after the start of the element, up to its end.
    template <class Take>
    void readToEnd(Take take);

    // Parses `piece_`. Throws UnusableFile.
    void parsePiece(pugi::xml_document& document) const;
    void addRecord(pugi::xml_node hash);
    // The text of one of our own elements in `metadata`; empty if there is none, or if it is
    // too long.
    std::string ownText(pugi::xml_node metadata, std::string_view name) const;

    XmlTokens tokens_;
    XmlToken token_;
    // The XML of the element in hand.
    std::string piece_;
    // The root is kept for the namespaces that it declares; `element_` is the element in hand.
    pugi::xml_document root_, element_;
    RunContent content_;
};

void ManifestReader::parsePiece(pugi::xml_document& document) const {
    // Names may consist of blanks, which the default flags would drop.
    constexpr unsigned keepBlankNames = pugi::parse_default | pugi::parse_ws_pcdata_single;
    const auto result =
        document.load_buffer(piece_.data(), piece_.size(), keepBlankNames, pugi::encoding_utf8);
    if (!result || !document.document_element())
        throw UnusableFile(std::string("it isn't XML (") + result.description() + ")");
}

void ManifestReader::readRoot() {
    // Only the start tag is there yet. Closing it makes it a document that pugixml can parse.
    const bool isEmpty = token_.kind == Kind::Empty;
    piece_ = token_.text;
    if (!isEmpty) piece_.insert(piece_.size() - 1, "/");
    parsePiece(root_);
    const pugi::xml_node root = root_.document_element();
    if (localName(root) != "hashlist") throw UnusableFile("it is no media hash list");
    const std::string version = root.attribute("version").value();
    if (version != manifestVersion || namespaceOf(root) != manifestNamespace)
        throw UnusableFile("it is of version \"" + version + "\", and only " + manifestVersion +
                           " is known");
    if (isEmpty) return;
    // Elements of other tools, and those that we don't need, are skipped.
    for (step(); token_.kind != Kind::End; step()) {
        if (!isElement()) continue;
        if (token_.localName() == "hashes")
            readHashes();
        else if (token_.localName() == "metadata")
            content_.device = ownText(parse(), "device");
        else
            skip();
    }
}

void ManifestReader::readHashes() {
    if (token_.kind == Kind::Empty) return;
    for (step(); token_.kind != Kind::End; step()) {
        if (!isElement()) continue;
        if (token_.localName() == "hash")
            addRecord(parse());
        else
            skip();
    }
}

template <class Take>
void ManifestReader::readToEnd(Take take) {
    std::size_t depth = token_.kind == Kind::Start ? 1 : 0;
    while (depth > 0) {
        step();
        if (token_.kind == Kind::Start) ++depth;
        if (token_.kind == Kind::End) --depth;
        take(token_.text);
    }
}

void ManifestReader::skip() {
    readToEnd([](std::string_view) {});
}

pugi::xml_node ManifestReader::parse() {
    piece_ = token_.text;
    readToEnd([&](std::string_view text) {
        piece_ += text;
        if (piece_.size() > largestElement)
            throw UnusableFile("it has an element of more than a megabyte");
    });
    parsePiece(element_);
    return element_.document_element();
}

void ManifestReader::addRecord(pugi::xml_node hash) {
    HashRecord record;
    std::string previousPath;
    for (const pugi::xml_node child : hash) {
        const std::string_view name = localName(child);
        if (name == "path") {
            record.path = textOf(child);
            record.size = parseSize(child.attribute("size").value());
            record.modified = parseDateTime(child.attribute("lastmodificationdate").value());
        } else if (name == "previousPath") {
            previousPath = textOf(child);
        } else if (name == "metadata") {
            record.source = ownText(child, "source");
        } else if (const auto kind = digestKind(name); kind && !record.sum(*kind)) {
            // Should a kind occur twice, the first one counts.
            record.sums.push_back(digestOf(*kind, child));
            // Failed is the largest action: if one sum failed, the file is damaged.
            record.action = std::max(record.action, actionOf(child));
        }
    }
    // Sums, size and time of a failed record are those of the damaged file. RecordMerge takes those
    // that the file should have from older records.
    if (record.action == HashAction::Failed) {
        record.sums.clear();
        record.size.reset();
        record.modified.reset();
    }
    // A previous path says that the file was renamed since the last generation. The index is that
    // of the record added below.
    if (!previousPath.empty())
        content_.renames.push_back({content_.records.size(), std::move(previousPath)});
    content_.add(std::move(record));
}

std::string ManifestReader::ownText(pugi::xml_node metadata, std::string_view name) const {
    const pugi::xml_node root = root_.document_element();
    const pugi::xml_node own = metadata.find_child([&](pugi::xml_node child) {
        return localName(child) == name && namespaceOf(child, root) == ownNamespace;
    });
    std::string text = textOf(own);
    // No real path or name of a device is longer; somebody forged the text.
    return text.size() > longestOwnText ? std::string() : text;
}

}  // namespace

RunContent readManifest(const ByteSource& source) {
    return ManifestReader(source).read();
}

}  // namespace zlk
